// OLE dates: days since 30 December 1899, the time as the fraction; the en-US date texts
// that VarDateFromStr reads, and COleDateTime on top of them.
#include <ctime>
#include <cmath>
#include <cwctype>
#include <string>
#include <vector>

#include "WideFormat.h"
#include "afxdisp.h"

namespace {

long long daysFromCivil(long long y, unsigned m, unsigned d) {
    y -= m <= 2;
    const long long era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<long long>(doe) - 719468;
}

void civilFromDays(long long z, int& y, int& m, int& d) {
    z += 719468;
    const long long era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const long long yy = static_cast<long long>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    y = static_cast<int>(yy + (m <= 2));
}

const long long kOleEpoch = daysFromCivil(1899, 12, 30);

int daysInMonth(int y, int m) {
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (m == 2 && ((y % 4 == 0 && y % 100 != 0) || y % 400 == 0))
        return 29;
    return days[m - 1];
}

DATE makeDate(long long days, double fraction) {
    // Before the epoch the time still counts forward from midnight: -1.25 is 29 Dec 1899 6:00.
    return days >= 0 ? double(days) + fraction : double(days) - fraction;
}

// Splits the OLE date into calendar fields; false outside the years 100..9999.
bool splitDate(DATE dt, int& y, int& mo, int& d, int& h, int& mi, int& s) {
    if (!(dt > -657435.0 && dt < 2958466.0))
        return false;
    double whole = std::trunc(dt);
    double fraction = std::fabs(dt - whole);
    long long seconds = std::llround(fraction * 86400.0);
    long long days = static_cast<long long>(whole);
    if (seconds >= 86400) {
        seconds -= 86400;
        days += dt >= 0 ? 1 : -1;
    }
    civilFromDays(days + kOleEpoch, y, mo, d);
    h = int(seconds / 3600);
    mi = int(seconds / 60 % 60);
    s = int(seconds % 60);
    return true;
}

const wchar_t* const kMonths[] = {L"january",   L"february", L"march",    L"april",
                                  L"may",       L"june",     L"july",     L"august",
                                  L"september", L"october",  L"november", L"december"};

struct Token {
    enum Kind { Number, Word, Sep } kind;
    std::wstring text;
    int value = 0;
    int digits = 0;
};

int monthOf(const std::wstring& word) {
    if (word.size() < 3)
        return 0;
    for (int i = 0; i < 12; ++i) {
        std::wstring full = kMonths[i];
        if (full.compare(0, word.size(), word) == 0)
            return i + 1;
    }
    return 0;
}

} // namespace

HRESULT VarDateFromStr(LPCOLESTR text, LCID, ULONG, DATE* date) {
    if (!text || !date)
        return E_INVALIDARG;
    std::vector<Token> tokens;
    for (const wchar_t* p = text; *p;) {
        if (std::iswspace(*p) || *p == L',') {
            ++p;
            continue;
        }
        if (std::iswdigit(*p)) {
            Token t{Token::Number, {}, 0, 0};
            while (std::iswdigit(*p)) {
                if (t.digits < 9)
                    t.value = t.value * 10 + (*p - L'0');
                ++t.digits;
                t.text += *p++;
            }
            tokens.push_back(t);
        } else if (std::iswalpha(*p)) {
            Token t{Token::Word, {}, 0, 0};
            while (std::iswalpha(*p))
                t.text += static_cast<wchar_t>(std::towlower(*p++));
            if (p[0] == L'.')
                ++p;
            tokens.push_back(t);
        } else if (*p == L'/' || *p == L'-' || *p == L':' || *p == L'.') {
            tokens.push_back({Token::Sep, std::wstring(1, *p++), 0, 0});
        } else {
            return DISP_E_TYPEMISMATCH;
        }
    }
    if (tokens.empty())
        return DISP_E_TYPEMISMATCH;

    // Time part: H:MM[:SS] with an optional AM/PM, or H AM.
    int hour = -1, minute = 0, second = 0;
    bool pm = false, am = false;
    std::vector<Token> dateTokens;
    for (size_t i = 0; i < tokens.size(); ++i) {
        const Token& t = tokens[i];
        if (t.kind == Token::Number && i + 2 < tokens.size() && tokens[i + 1].text == L":" &&
            tokens[i + 2].kind == Token::Number && hour < 0) {
            hour = t.value;
            minute = tokens[i + 2].value;
            i += 2;
            if (i + 2 < tokens.size() && tokens[i + 1].text == L":" &&
                tokens[i + 2].kind == Token::Number) {
                second = tokens[i + 2].value;
                i += 2;
            }
            continue;
        }
        if (t.kind == Token::Word &&
            (t.text == L"am" || t.text == L"a" || t.text == L"pm" || t.text == L"p")) {
            if (hour < 0) {
                if (dateTokens.empty() || dateTokens.back().kind != Token::Number)
                    return DISP_E_TYPEMISMATCH;
                hour = dateTokens.back().value;
                dateTokens.pop_back();
            }
            (t.text[0] == L'p' ? pm : am) = true;
            continue;
        }
        dateTokens.push_back(t);
    }
    if (hour >= 0) {
        if ((am || pm) && (hour < 1 || hour > 12))
            return DISP_E_TYPEMISMATCH;
        if (pm && hour < 12)
            hour += 12;
        if (am && hour == 12)
            hour = 0;
        if (hour > 23 || minute > 59 || second > 59)
            return DISP_E_TYPEMISMATCH;
    }

    // Date part: numbers and an optional month name, separators dropped.
    std::vector<Token> parts;
    int monthName = 0;
    for (const Token& t : dateTokens) {
        if (t.kind == Token::Sep)
            continue;
        if (t.kind == Token::Word) {
            int m = monthOf(t.text);
            if (!m || monthName)
                return DISP_E_TYPEMISMATCH;
            monthName = m;
            parts.push_back(t);
            continue;
        }
        parts.push_back(t);
    }
    long long days = 0;
    if (!parts.empty()) {
        int y = 0, m = 0, d = 0;
        int yearDigits = 0;
        std::vector<Token> numbers;
        for (const Token& t : parts)
            if (t.kind == Token::Number)
                numbers.push_back(t);
        if (monthName) {
            // "March 14 2024", "14 March 2024", "March 2024" (the first of the month).
            m = monthName;
            if (numbers.size() == 2) {
                d = numbers[0].value;
                y = numbers[1].value;
                yearDigits = numbers[1].digits;
                if (numbers[0].digits > 2) {
                    y = numbers[0].value;
                    yearDigits = numbers[0].digits;
                    d = numbers[1].value;
                }
            } else if (numbers.size() == 1) {
                if (numbers[0].digits > 2) {
                    y = numbers[0].value;
                    yearDigits = numbers[0].digits;
                    d = 1;
                } else {
                    return DISP_E_TYPEMISMATCH;
                }
            } else {
                return DISP_E_TYPEMISMATCH;
            }
        } else if (numbers.size() == 3) {
            if (numbers[0].digits > 2) { // 2024-03-14
                y = numbers[0].value;
                yearDigits = numbers[0].digits;
                m = numbers[1].value;
                d = numbers[2].value;
            } else { // 3/14/2024
                m = numbers[0].value;
                d = numbers[1].value;
                y = numbers[2].value;
                yearDigits = numbers[2].digits;
            }
        } else {
            return DISP_E_TYPEMISMATCH;
        }
        if (yearDigits > 4)
            return DISP_E_OVERFLOW;
        if (yearDigits <= 2)
            y += y < 30 ? 2000 : 1900;
        if (m < 1 || m > 12 || d < 1 || d > daysInMonth(y, m))
            return DISP_E_TYPEMISMATCH;
        if (y < 100 || y > 9999)
            return DISP_E_OVERFLOW;
        days = daysFromCivil(y, unsigned(m), unsigned(d)) - kOleEpoch;
    } else if (hour < 0) {
        return DISP_E_TYPEMISMATCH;
    }
    double fraction = hour < 0 ? 0.0 : (hour * 3600.0 + minute * 60.0 + second) / 86400.0;
    *date = makeDate(days, fraction);
    return S_OK;
}

// --- COleDateTime -------------------------------------------------------------------------

COleDateTime::COleDateTime(int year, int month, int day, int hour, int minute, int second) {
    SetDateTime(year, month, day, hour, minute, second);
}

int COleDateTime::SetDateTime(int year, int month, int day, int hour, int minute, int second) {
    if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 ||
        day > daysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
        second < 0 || second > 59) {
        m_dt = 0;
        m_status = invalid;
        return 1;
    }
    long long days = daysFromCivil(year, unsigned(month), unsigned(day)) - kOleEpoch;
    m_dt = makeDate(days, (hour * 3600.0 + minute * 60.0 + second) / 86400.0);
    m_status = valid;
    return 0;
}

bool COleDateTime::ParseDateTime(LPCTSTR text, DWORD flags, LCID lcid) {
    DATE value = 0;
    HRESULT hr = VarDateFromStr(text, lcid, flags, &value);
    if (FAILED(hr)) {
        m_dt = hr == DISP_E_TYPEMISMATCH ? 0.0 : -1.0;
        m_status = invalid;
        return false;
    }
    m_dt = value;
    m_status = valid;
    return true;
}

namespace {
struct Fields {
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0;
    bool ok = false;
};
Fields fieldsOf(const COleDateTime& t) {
    Fields f;
    if (t.GetStatus() == COleDateTime::valid)
        f.ok = splitDate(t.m_dt, f.y, f.mo, f.d, f.h, f.mi, f.s);
    return f;
}
} // namespace

int COleDateTime::GetYear() const {
    Fields f = fieldsOf(*this);
    return f.ok ? f.y : -1;
}
int COleDateTime::GetMonth() const {
    Fields f = fieldsOf(*this);
    return f.ok ? f.mo : -1;
}
int COleDateTime::GetDay() const {
    Fields f = fieldsOf(*this);
    return f.ok ? f.d : -1;
}
int COleDateTime::GetHour() const {
    Fields f = fieldsOf(*this);
    return f.ok ? f.h : -1;
}
int COleDateTime::GetMinute() const {
    Fields f = fieldsOf(*this);
    return f.ok ? f.mi : -1;
}
int COleDateTime::GetSecond() const {
    Fields f = fieldsOf(*this);
    return f.ok ? f.s : -1;
}
int COleDateTime::GetDayOfWeek() const {
    Fields f = fieldsOf(*this);
    if (!f.ok)
        return -1;
    long long days = daysFromCivil(f.y, unsigned(f.mo), unsigned(f.d));
    long long dow = (days % 7 + 7 + 4) % 7; // 1970-01-01 was a Thursday
    return int(dow) + 1;                    // Sunday is 1
}

CString COleDateTime::Format(LPCTSTR format) const {
    Fields f = fieldsOf(*this);
    if (!f.ok)
        return CString(m_status == null ? L"" : L"Invalid DateTime");
    static const wchar_t* const names[] = {L"January",   L"February", L"March",    L"April",
                                           L"May",       L"June",     L"July",     L"August",
                                           L"September", L"October",  L"November", L"December"};
    std::wstring out;
    for (const wchar_t* p = format ? format : L"%c"; *p; ++p) {
        if (*p != L'%' || !p[1]) {
            out += *p;
            continue;
        }
        ++p;
        int h12 = f.h % 12 == 0 ? 12 : f.h % 12;
        switch (*p) {
        case L'Y':
            out += lmhost::formatWide(L"%04d", f.y);
            break;
        case L'y':
            out += lmhost::formatWide(L"%02d", f.y % 100);
            break;
        case L'm':
            out += lmhost::formatWide(L"%02d", f.mo);
            break;
        case L'd':
            out += lmhost::formatWide(L"%02d", f.d);
            break;
        case L'H':
            out += lmhost::formatWide(L"%02d", f.h);
            break;
        case L'I':
            out += lmhost::formatWide(L"%02d", h12);
            break;
        case L'M':
            out += lmhost::formatWide(L"%02d", f.mi);
            break;
        case L'S':
            out += lmhost::formatWide(L"%02d", f.s);
            break;
        case L'p':
            out += f.h < 12 ? L"AM" : L"PM";
            break;
        case L'B':
            out += names[f.mo - 1];
            break;
        case L'b':
            out += std::wstring(names[f.mo - 1]).substr(0, 3);
            break;
        case L'c':
            out += lmhost::formatWide(L"%d/%d/%d %d:%02d:%02d %ls", f.mo, f.d, f.y, h12, f.mi, f.s,
                                      f.h < 12 ? L"AM" : L"PM");
            break;
        case L'%':
            out += L'%';
            break;
        default:
            out += L'%';
            out += *p;
        }
    }
    return CString(out);
}

COleDateTime COleDateTime::GetCurrentTime() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return COleDateTime(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                        local.tm_min, local.tm_sec);
}
