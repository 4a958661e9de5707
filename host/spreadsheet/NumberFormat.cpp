#include "spreadsheet/NumberFormat.h"
#include "spreadsheet/TextMetrics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace spreadsheet {

namespace {

constexpr int kMaxDecimals = 30;
constexpr double kMaxDateSerial = 2958466.0; // first day after 9999-12-31

const wchar_t* const kBuiltin[50] = {
    L"General",
    L"0",
    L"0.00",
    L"#,##0",
    L"#,##0.00",
    L"$#,##0_);($#,##0)",
    L"$#,##0_);[Red]($#,##0)",
    L"$#,##0.00_);($#,##0.00)",
    L"$#,##0.00_);[Red]($#,##0.00)",
    L"0%",
    L"0.00%",
    L"0.00E+00",
    L"# ?/?",
    L"# ?\?/??",
    L"m/d/yyyy",
    L"d-mmm-yy",
    L"d-mmm",
    L"mmm-yy",
    L"h:mm AM/PM",
    L"h:mm:ss AM/PM",
    L"h:mm",
    L"h:mm:ss",
    L"m/d/yyyy h:mm",
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr, // 23-29
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr, // 30-36
    L"#,##0_);(#,##0)",
    L"#,##0_);[Red](#,##0)",
    L"#,##0.00_);(#,##0.00)",
    L"#,##0.00_);[Red](#,##0.00)",
    L"_(* #,##0_);_(* \\(#,##0\\);_(* \"-\"_);_(@_)",
    L"_(\"$\"* #,##0_);_(\"$\"* \\(#,##0\\);_(\"$\"* \"-\"_);_(@_)",
    L"_(* #,##0.00_);_(* \\(#,##0.00\\);_(* \"-\"??_);_(@_)",
    L"_(\"$\"* #,##0.00_);_(\"$\"* \\(#,##0.00\\);_(\"$\"* \"-\"??_);_(@_)",
    L"mm:ss",
    L"[h]:mm:ss",
    L"mmss.0",
    L"##0.0E+0",
    L"@",
};

const wchar_t* const kMonths[12] = {L"January",   L"February", L"March",    L"April",
                                    L"May",       L"June",     L"July",     L"August",
                                    L"September", L"October",  L"November", L"December"};
const wchar_t* const kDays[7] = {L"Sunday",   L"Monday", L"Tuesday", L"Wednesday",
                                 L"Thursday", L"Friday", L"Saturday"};

wchar_t lower(wchar_t c) {
    return (c >= L'A' && c <= L'Z') ? wchar_t(c - L'A' + L'a') : c;
}

bool startsWithNoCase(std::wstring_view s, std::size_t at, std::wstring_view word) {
    if (s.size() - at < word.size())
        return false;
    for (std::size_t i = 0; i < word.size(); ++i)
        if (lower(s[at + i]) != lower(word[i]))
            return false;
    return true;
}

// ---- decimal digits of a double, rounded as the program rounds (15 significant digits) ----

struct Digits {
    std::string s;    // significant digits, no leading or trailing zeros; empty for zero
    int pointPos = 0; // digits before the decimal point
};

void trimZeros(Digits& d) {
    while (!d.s.empty() && d.s.back() == '0')
        d.s.pop_back();
    std::size_t lead = 0;
    while (lead < d.s.size() && d.s[lead] == '0')
        ++lead;
    if (lead) {
        d.s.erase(0, lead);
        d.pointPos -= int(lead);
    }
    if (d.s.empty())
        d.pointPos = 0;
}

Digits toDigits(double a) {
    Digits d;
    if (!(a > 0) || !std::isfinite(a))
        return d;
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.14e", a);
    const char* p = buf;
    for (; *p && *p != 'e'; ++p)
        if (*p >= '0' && *p <= '9')
            d.s.push_back(*p);
    int exp = *p == 'e' ? std::atoi(p + 1) : 0;
    d.pointPos = exp + 1;
    trimZeros(d);
    return d;
}

// Keeps the first `keep` digits, rounding half away from zero.
void roundAt(Digits& d, int keep) {
    if (keep >= int(d.s.size()))
        return;
    if (keep < 0) {
        d = Digits{};
        return;
    }
    bool up = d.s[std::size_t(keep)] >= '5';
    d.s.resize(std::size_t(keep));
    if (up) {
        int i = keep - 1;
        while (i >= 0 && d.s[std::size_t(i)] == '9') {
            d.s[std::size_t(i)] = '0';
            --i;
        }
        if (i >= 0) {
            ++d.s[std::size_t(i)];
        } else {
            d.s.insert(d.s.begin(), '1');
            ++d.pointPos;
        }
    }
    trimZeros(d);
}

struct Fixed {
    std::string intDigits; // empty when the integer part is 0
    std::string fracDigits;
};

Fixed toFixed(double a, int decimals) {
    Digits d = toDigits(a);
    roundAt(d, d.pointPos + decimals);
    Fixed f;
    for (int i = 0; i < d.pointPos; ++i)
        f.intDigits.push_back(i < int(d.s.size()) ? d.s[std::size_t(i)] : '0');
    for (int i = 0; i < decimals; ++i) {
        int at = d.pointPos + i;
        f.fracDigits.push_back(at >= 0 && at < int(d.s.size()) ? d.s[std::size_t(at)] : '0');
    }
    return f;
}

std::wstring widen(const std::string& s) {
    return std::wstring(s.begin(), s.end());
}

std::wstring exponentText(int exp, int minDigits, bool plus) {
    std::wstring out = exp < 0 ? L"-" : (plus ? L"+" : L"");
    std::wstring digits = std::to_wstring(std::abs(exp));
    while (int(digits.size()) < minDigits)
        digits.insert(digits.begin(), L'0');
    return out + digits;
}

// ---- tokens of a format section ----

enum class Tok {
    Literal,
    Digit, // text: '0', '#' or '?'
    Point,
    Comma,
    Percent,
    Exp, // flag: shows '+'
    Slash,
    FixedDen, // n: the denominator
    Year,
    Month,
    Day,
    Hour,
    Minute,
    Second,
    SubSec, // n: digits
    AmPm,   // text: "AM/PM" or "A/P" as written
    ElapsedH,
    ElapsedM,
    ElapsedS,
    General,
    At,
};

struct Token {
    Tok kind;
    std::wstring text;
    int n = 0;
    bool flag = false;
};

bool isDatePart(Tok k) {
    switch (k) {
    case Tok::Year:
    case Tok::Month:
    case Tok::Day:
    case Tok::Hour:
    case Tok::Minute:
    case Tok::Second:
    case Tok::SubSec:
    case Tok::AmPm:
    case Tok::ElapsedH:
    case Tok::ElapsedM:
    case Tok::ElapsedS:
        return true;
    default:
        return false;
    }
}

struct Section {
    std::vector<Token> tokens;
    bool hasCondition = false;
    std::wstring condOp;
    double condValue = 0;
    bool isDate = false;
    bool hasAt = false;
    bool hasGeneral = false;
    bool hasDigits = false;
};

void addLiteral(std::vector<Token>& toks, std::wstring text) {
    if (!toks.empty() && toks.back().kind == Tok::Literal)
        toks.back().text += text;
    else
        toks.push_back({Tok::Literal, std::move(text)});
}

bool parseCondition(std::wstring_view c, Section& sec) {
    std::size_t i = 0;
    std::wstring op;
    while (i < c.size() && (c[i] == L'<' || c[i] == L'>' || c[i] == L'='))
        op.push_back(c[i++]);
    if (op.empty() ||
        !(op == L"<" || op == L">" || op == L"=" || op == L"<=" || op == L">=" || op == L"<>"))
        return false;
    std::wstring num(c.substr(i));
    wchar_t* end = nullptr;
    double v = std::wcstod(num.c_str(), &end);
    if (num.empty() || end == num.c_str())
        return false;
    sec.hasCondition = true;
    sec.condOp = op;
    sec.condValue = v;
    return true;
}

void parseBracket(std::wstring_view c, Section& sec) {
    if (c.empty())
        return;
    if (c[0] == L'$') { // [$€-407]: currency symbol and locale; the locale plays no part
        auto dash = c.find(L'-');
        addLiteral(sec.tokens,
                   std::wstring(c.substr(
                       1, dash == std::wstring_view::npos ? std::wstring_view::npos : dash - 1)));
        return;
    }
    if (parseCondition(c, sec))
        return;
    wchar_t first = lower(c[0]);
    if (first == L'h' || first == L'm' || first == L's') {
        bool same = std::all_of(c.begin(), c.end(), [&](wchar_t x) { return lower(x) == first; });
        if (same) {
            Tok k = first == L'h' ? Tok::ElapsedH : first == L'm' ? Tok::ElapsedM : Tok::ElapsedS;
            sec.tokens.push_back({k, L"", int(c.size())});
            return;
        }
    }
    // Colours ([Red], [Color10]) and other modifiers change nothing in the text.
}

Section tokenize(std::wstring_view s) {
    Section sec;
    auto& t = sec.tokens;
    std::size_t i = 0;
    while (i < s.size()) {
        wchar_t c = s[i];
        switch (c) {
        case L'"': {
            auto end = s.find(L'"', i + 1);
            if (end == std::wstring_view::npos)
                end = s.size();
            addLiteral(t, std::wstring(s.substr(i + 1, end - i - 1)));
            i = end + 1;
            continue;
        }
        case L'\\':
            if (i + 1 < s.size())
                addLiteral(t, std::wstring(1, s[i + 1]));
            i += 2;
            continue;
        case L'_': // room for a character: one space
            addLiteral(t, L" ");
            i += 2;
            continue;
        case L'*': // repeat to fill the cell: nothing in the text
            i += 2;
            continue;
        case L'[': {
            auto end = s.find(L']', i + 1);
            if (end == std::wstring_view::npos)
                end = s.size();
            parseBracket(s.substr(i + 1, end - i - 1), sec);
            i = end + 1;
            continue;
        }
        case L'0':
        case L'#':
        case L'?':
            t.push_back({Tok::Digit, std::wstring(1, c)});
            ++i;
            continue;
        case L'.':
            t.push_back({Tok::Point, L"."});
            ++i;
            continue;
        case L',':
            t.push_back({Tok::Comma, L","});
            ++i;
            continue;
        case L'%':
            t.push_back({Tok::Percent, L"%"});
            ++i;
            continue;
        case L'@':
            t.push_back({Tok::At, L"@"});
            ++i;
            continue;
        case L'/': {
            bool afterDigit = !t.empty() && t.back().kind == Tok::Digit;
            if (afterDigit && i + 1 < s.size() && s[i + 1] >= L'1' && s[i + 1] <= L'9') {
                std::size_t j = i + 1;
                long den = 0;
                while (j < s.size() && s[j] >= L'0' && s[j] <= L'9' && den < 100000)
                    den = den * 10 + (s[j++] - L'0');
                t.push_back({Tok::Slash, L"/"});
                t.push_back({Tok::FixedDen, L"", int(den)});
                i = j;
            } else {
                t.push_back({Tok::Slash, L"/"});
                ++i;
            }
            continue;
        }
        default:
            break;
        }
        if ((c == L'E' || c == L'e') && i + 1 < s.size() &&
            (s[i + 1] == L'+' || s[i + 1] == L'-')) {
            t.push_back({Tok::Exp, L"", 0, s[i + 1] == L'+'});
            i += 2;
            continue;
        }
        if (startsWithNoCase(s, i, L"General")) {
            t.push_back({Tok::General, L""});
            i += 7;
            continue;
        }
        if (startsWithNoCase(s, i, L"AM/PM")) {
            t.push_back({Tok::AmPm, std::wstring(s.substr(i, 5))});
            i += 5;
            continue;
        }
        if (startsWithNoCase(s, i, L"A/P")) {
            t.push_back({Tok::AmPm, std::wstring(s.substr(i, 3))});
            i += 3;
            continue;
        }
        wchar_t lc = lower(c);
        if (lc == L'y' || lc == L'm' || lc == L'd' || lc == L'h' || lc == L's') {
            std::size_t j = i;
            while (j < s.size() && lower(s[j]) == lc)
                ++j;
            Tok k = lc == L'y'   ? Tok::Year
                    : lc == L'm' ? Tok::Month
                    : lc == L'd' ? Tok::Day
                    : lc == L'h' ? Tok::Hour
                                 : Tok::Second;
            t.push_back({k, L"", int(j - i)});
            i = j;
            continue;
        }
        addLiteral(t, std::wstring(1, c));
        ++i;
    }

    for (auto& tok : t) {
        if (isDatePart(tok.kind))
            sec.isDate = true;
        if (tok.kind == Tok::At)
            sec.hasAt = true;
        if (tok.kind == Tok::General)
            sec.hasGeneral = true;
        if (tok.kind == Tok::Digit)
            sec.hasDigits = true;
    }
    if (!sec.isDate)
        return sec;

    // In a date section: m next to h or s is minutes; ".00" after seconds is fractions of a
    // second; other number symbols are plain text.
    for (std::size_t k = 0; k < t.size(); ++k) {
        if (t[k].kind != Tok::Month || t[k].n > 2)
            continue;
        Tok prev = Tok::Literal, next = Tok::Literal;
        for (std::size_t b = k; b-- > 0;)
            if (isDatePart(t[b].kind) && t[b].kind != Tok::AmPm) {
                prev = t[b].kind;
                break;
            }
        for (std::size_t f = k + 1; f < t.size(); ++f)
            if (isDatePart(t[f].kind) && t[f].kind != Tok::AmPm) {
                next = t[f].kind;
                break;
            }
        if (prev == Tok::Hour || prev == Tok::ElapsedH || next == Tok::Second ||
            next == Tok::ElapsedS)
            t[k].kind = Tok::Minute;
    }
    std::vector<Token> out;
    for (std::size_t k = 0; k < t.size(); ++k) {
        if (t[k].kind == Tok::Point && k + 1 < t.size() && t[k + 1].kind == Tok::Digit &&
            t[k + 1].text == L"0") {
            int n = 0;
            while (k + 1 < t.size() && t[k + 1].kind == Tok::Digit && t[k + 1].text == L"0") {
                ++n;
                ++k;
            }
            out.push_back({Tok::SubSec, L"", std::min(n, 3)});
            continue;
        }
        if (isDatePart(t[k].kind) || t[k].kind == Tok::General)
            out.push_back(t[k]);
        else if (t[k].kind == Tok::FixedDen)
            addLiteral(out, std::to_wstring(t[k].n));
        else if (t[k].kind == Tok::Exp)
            addLiteral(out, t[k].flag ? L"E+" : L"E-");
        else
            addLiteral(out, t[k].text);
    }
    t = std::move(out);
    return sec;
}

std::vector<std::wstring> splitSections(std::wstring_view code) {
    std::vector<std::wstring> parts(1);
    for (std::size_t i = 0; i < code.size(); ++i) {
        wchar_t c = code[i];
        if (c == L'"') {
            auto end = code.find(L'"', i + 1);
            if (end == std::wstring_view::npos)
                end = code.size() - 1;
            parts.back() += code.substr(i, end - i + 1);
            i = end;
        } else if (c == L'[') {
            auto end = code.find(L']', i + 1);
            if (end == std::wstring_view::npos)
                end = code.size() - 1;
            parts.back() += code.substr(i, end - i + 1);
            i = end;
        } else if (c == L'\\' || c == L'_' || c == L'*') {
            parts.back() += code.substr(i, 2);
            ++i;
        } else if (c == L';') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

bool conditionHolds(const Section& s, double v) {
    const auto& op = s.condOp;
    if (op == L"<")
        return v < s.condValue;
    if (op == L">")
        return v > s.condValue;
    if (op == L"=")
        return v == s.condValue;
    if (op == L"<=")
        return v <= s.condValue;
    if (op == L">=")
        return v >= s.condValue;
    return v != s.condValue;
}

// ---- dates ----

struct Civil {
    int y, m, d;
};

Civil civilFromDays(long long z) { // days since 1970-01-01
    z += 719468;
    long long era = (z >= 0 ? z : z - 146096) / 146097;
    long long doe = z - era * 146097;
    long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long y = yoe + era * 400;
    long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long long mp = (5 * doy + 2) / 153;
    long long d = doy - (153 * mp + 2) / 5 + 1;
    long long m = mp < 10 ? mp + 3 : mp - 9;
    return {int(y + (m <= 2)), int(m), int(d)};
}

// Day number of 1899-12-30 and 1904-01-01 relative to 1970-01-01.
constexpr long long kEpoch1900 = -25569;
constexpr long long kEpoch1904 = -24107;

struct DateTime {
    Civil date{1900, 1, 0};
    int weekday = 0;          // 0 Sunday
    long long totalUnits = 0; // whole value in units of 10^-k seconds
    int hour = 0, minute = 0, second = 0, sub = 0;
};

DateTime splitSerial(double serial, bool date1904, int subDigits) {
    long long scale = 1;
    for (int i = 0; i < subDigits; ++i)
        scale *= 10;
    DateTime dt;
    long long perDay = 86400LL * scale;
    dt.totalUnits = std::llround(serial * double(perDay));
    long long day = dt.totalUnits / perDay;
    long long rem = dt.totalUnits % perDay;
    dt.hour = int(rem / (3600 * scale));
    dt.minute = int(rem / (60 * scale) % 60);
    dt.second = int(rem / scale % 60);
    dt.sub = int(rem % scale);
    if (date1904) {
        dt.date = civilFromDays(kEpoch1904 + day);
        dt.weekday = int((day + 5) % 7);
    } else {
        // The 1900 system counts 1900-02-29, a day that never was (serial 60).
        if (day == 0)
            dt.date = {1900, 1, 0};
        else if (day == 60)
            dt.date = {1900, 2, 29};
        else
            dt.date = civilFromDays(kEpoch1900 + day + (day < 60 ? 1 : 0));
        dt.weekday = int((day + 6) % 7);
    }
    return dt;
}

std::wstring pad2(long long v) {
    std::wstring s = std::to_wstring(v);
    return s.size() < 2 ? L"0" + s : s;
}

} // namespace

struct ParsedFormat {
    std::vector<Section> sections;
};

namespace {

std::wstring renderDate(const Section& sec, double v, const DisplayContext& ctx, bool& hashes) {
    bool elapsed = false;
    bool ampm = false;
    int subDigits = 0;
    for (const auto& t : sec.tokens) {
        if (t.kind == Tok::ElapsedH || t.kind == Tok::ElapsedM || t.kind == Tok::ElapsedS)
            elapsed = true;
        if (t.kind == Tok::AmPm)
            ampm = true;
        if (t.kind == Tok::SubSec)
            subDigits = std::max(subDigits, t.n);
    }
    std::wstring sign;
    if (v < 0) {
        if (!elapsed) {
            hashes = true;
            return L"";
        }
        sign = L"-";
        v = -v;
    }
    if (v >= kMaxDateSerial && !(elapsed && v < 1e9)) {
        hashes = true;
        return L"";
    }
    DateTime dt = splitSerial(v, ctx.date1904, subDigits);
    // The 1904 system reaches the year 10000 four years of serials earlier, and rounding
    // to the smallest unit shown can carry the last second of 9999 over as well.
    if (dt.date.y > 9999 && !elapsed) {
        hashes = true;
        return L"";
    }
    long long scale = 1;
    for (int i = 0; i < subDigits; ++i)
        scale *= 10;
    long long totalSeconds = dt.totalUnits / scale;
    bool bigHour = false, bigMinute = false;
    for (const auto& t : sec.tokens) {
        bigHour |= t.kind == Tok::ElapsedH;
        bigMinute |= t.kind == Tok::ElapsedM;
    }
    std::wstring out = sign;
    for (const auto& t : sec.tokens) {
        switch (t.kind) {
        case Tok::Literal:
            out += t.text;
            break;
        case Tok::Year:
            if (t.n <= 2)
                out += pad2(dt.date.y % 100);
            else
                out += std::to_wstring(dt.date.y);
            break;
        case Tok::Month:
            if (t.n == 1)
                out += std::to_wstring(dt.date.m);
            else if (t.n == 2)
                out += pad2(dt.date.m);
            else if (t.n == 3)
                out += std::wstring(kMonths[dt.date.m - 1]).substr(0, 3);
            else if (t.n == 5)
                out += std::wstring(kMonths[dt.date.m - 1]).substr(0, 1);
            else
                out += kMonths[dt.date.m - 1];
            break;
        case Tok::Day:
            if (t.n == 1)
                out += std::to_wstring(dt.date.d);
            else if (t.n == 2)
                out += pad2(dt.date.d);
            else if (t.n == 3)
                out += std::wstring(kDays[dt.weekday]).substr(0, 3);
            else
                out += kDays[dt.weekday];
            break;
        case Tok::Hour: {
            int h = dt.hour;
            if (ampm)
                h = h % 12 == 0 ? 12 : h % 12;
            out += t.n == 1 ? std::to_wstring(h) : pad2(h);
            break;
        }
        case Tok::Minute:
            out += t.n == 1 ? std::to_wstring(bigMinute ? totalSeconds / 60 : dt.minute)
                            : pad2(dt.minute);
            break;
        case Tok::Second:
            out += t.n == 1 ? std::to_wstring(dt.second) : pad2(dt.second);
            break;
        case Tok::SubSec: {
            std::wstring digits = std::to_wstring(dt.sub);
            while (int(digits.size()) < subDigits)
                digits.insert(digits.begin(), L'0');
            out += L"." + digits.substr(0, std::size_t(t.n));
            break;
        }
        case Tok::AmPm: {
            bool pm = dt.hour >= 12;
            if (t.text.size() == 5)
                out += pm ? L"PM" : L"AM";
            else
                out += pm ? (t.text[0] == L'a' ? L"p" : L"P") : (t.text[0] == L'a' ? L"a" : L"A");
            break;
        }
        case Tok::ElapsedH: {
            std::wstring h = std::to_wstring(totalSeconds / 3600);
            while (int(h.size()) < t.n)
                h.insert(h.begin(), L'0');
            out += h;
            break;
        }
        case Tok::ElapsedM: {
            long long m = bigHour ? (totalSeconds / 60) % 60 : totalSeconds / 60;
            std::wstring s = std::to_wstring(m);
            while (int(s.size()) < t.n)
                s.insert(s.begin(), L'0');
            out += s;
            break;
        }
        case Tok::ElapsedS: {
            long long sec2 = (bigHour || bigMinute) ? totalSeconds % 60 : totalSeconds;
            std::wstring s = std::to_wstring(sec2);
            while (int(s.size()) < t.n)
                s.insert(s.begin(), L'0');
            out += s;
            break;
        }
        case Tok::General:
            out += formatGeneral(v, -1);
            break;
        default:
            break;
        }
    }
    return out;
}

wchar_t emptySlot(const std::wstring& placeholder) {
    return placeholder == L"0" ? L'0' : placeholder == L"?" ? L' ' : 0;
}

std::wstring renderFraction(const Section& sec, double a, bool& anyDigit) {
    const auto& t = sec.tokens;
    std::size_t slash = 0;
    while (t[slash].kind != Tok::Slash)
        ++slash;
    // Numerator: the run of placeholders before the slash; integer part: placeholders before.
    std::size_t numStart = slash;
    while (numStart > 0 && t[numStart - 1].kind == Tok::Digit)
        --numStart;
    bool hasInt = false;
    for (std::size_t k = 0; k < numStart; ++k)
        hasInt |= t[k].kind == Tok::Digit;
    int fixedDen = 0, denSlots = 0;
    std::size_t denEnd = slash + 1;
    if (denEnd < t.size() && t[denEnd].kind == Tok::FixedDen) {
        fixedDen = std::max(1, t[denEnd].n);
        ++denEnd;
    } else {
        while (denEnd < t.size() && t[denEnd].kind == Tok::Digit) {
            ++denSlots;
            ++denEnd;
        }
    }
    double ip = hasInt ? std::floor(a) : 0;
    double frac = a - ip;
    long long num = 0, den = 1;
    if (fixedDen) {
        den = fixedDen;
        num = std::llround(frac * double(den));
    } else {
        int maxDen = 1;
        for (int k = 0; k < std::min(std::max(denSlots, 1), 4); ++k)
            maxDen *= 10;
        maxDen -= 1;
        double best = 2;
        for (int d = 1; d <= maxDen; ++d) {
            long long n = std::llround(frac * d);
            double err = std::fabs(frac - double(n) / d);
            if (err < best - 1e-12) {
                best = err;
                num = n;
                den = d;
            }
        }
    }
    if (hasInt && num == den) {
        ip += 1;
        num = 0;
    }
    bool blankFraction = hasInt && num == 0;
    std::wstring numText = std::to_wstring(num), denText = std::to_wstring(den);
    std::wstring out;
    std::string ipDigits = toFixed(ip, 0).intDigits;
    int intSlots = 0;
    for (std::size_t k = 0; k < numStart; ++k)
        intSlots += t[k].kind == Tok::Digit;
    int seen = 0;
    for (std::size_t k = 0; k < t.size(); ++k) {
        const Token& tok = t[k];
        if (k < numStart) {
            if (tok.kind != Tok::Digit) {
                if (tok.kind == Tok::Literal || tok.kind == Tok::Percent || tok.kind == Tok::Point)
                    out += tok.text;
                continue;
            }
            int p = intSlots - 1 - seen++;
            if (p == intSlots - 1 && int(ipDigits.size()) > intSlots)
                out += widen(ipDigits.substr(0, ipDigits.size() - std::size_t(intSlots)));
            if (p < int(ipDigits.size())) {
                out += wchar_t(ipDigits[ipDigits.size() - 1 - std::size_t(p)]);
                anyDigit = true;
            } else if (wchar_t e = emptySlot(tok.text)) {
                // A lone integer part of 0 shows as 0 when the fraction is blank.
                out += (e == L' ' && blankFraction && p == 0) ? L'0' : e;
            } else if (blankFraction && p == 0) {
                out += L'0';
            }
            continue;
        }
        if (k == numStart) {
            int numSlots = int(slash - numStart);
            std::wstring fracText;
            std::wstring n = numText;
            while (int(n.size()) < numSlots)
                n.insert(n.begin(), t[numStart].text == L"0" ? L'0' : L' ');
            fracText += n + L"/";
            std::wstring d = denText;
            if (!fixedDen)
                while (int(d.size()) < denSlots)
                    d.push_back(t[slash + 1].text == L"0" ? L'0' : L' ');
            fracText += d;
            if (blankFraction)
                fracText = std::wstring(fracText.size(), L' ');
            else
                anyDigit = true;
            out += fracText;
            k = denEnd - 1;
            continue;
        }
        if (tok.kind == Tok::Literal || tok.kind == Tok::Percent)
            out += tok.text;
    }
    return out;
}

std::wstring renderNumber(const Section& sec, double a, bool& anyDigit) {
    const auto& t = sec.tokens;
    std::size_t expAt = t.size(), pointAt = t.size();
    for (std::size_t k = 0; k < t.size(); ++k) {
        if (t[k].kind == Tok::Exp && expAt == t.size())
            expAt = k;
        if (t[k].kind == Tok::Point && pointAt == t.size() && k < expAt)
            pointAt = k;
    }
    std::size_t numEnd = expAt; // end of the mantissa
    std::vector<std::size_t> intSlots, fracSlots, expSlots;
    for (std::size_t k = 0; k < t.size(); ++k) {
        if (t[k].kind != Tok::Digit)
            continue;
        if (k < pointAt && k < numEnd)
            intSlots.push_back(k);
        else if (k < numEnd)
            fracSlots.push_back(k);
        else
            expSlots.push_back(k);
    }
    // Commas: between integer placeholders they group thousands; after the last
    // placeholder of the mantissa each one divides by 1000.
    bool grouping = false;
    int scaleDown = 0;
    std::vector<bool> commaShown(t.size(), false);
    std::size_t lastMantissaDigit = t.size();
    for (std::size_t k = 0; k < numEnd; ++k)
        if (t[k].kind == Tok::Digit)
            lastMantissaDigit = k;
    for (std::size_t k = 0; k < t.size(); ++k) {
        if (t[k].kind != Tok::Comma)
            continue;
        bool before = !intSlots.empty() && intSlots.front() < k;
        bool afterInInt = !intSlots.empty() && intSlots.back() > k;
        if (before && afterInInt)
            grouping = true;
        else if (lastMantissaDigit != t.size() && k > lastMantissaDigit && k < numEnd)
            ++scaleDown;
        else if (!(before && k < numEnd))
            commaShown[k] = true;
    }
    for (const auto& tok : t)
        if (tok.kind == Tok::Percent)
            a *= 100;
    for (int k = 0; k < scaleDown; ++k)
        a /= 1000;

    int decimals = std::min(int(fracSlots.size()), kMaxDecimals);
    std::string intDigits, fracDigits;
    int exponent = 0;
    bool hasExp = expAt != t.size();
    if (hasExp) {
        int k = std::max(1, int(intSlots.size()));
        bool engineering = k > 1 && std::any_of(intSlots.begin(), intSlots.end(),
                                                [&](auto i) { return t[i].text == L"#"; });
        Digits d = toDigits(a);
        if (!d.s.empty()) {
            for (int pass = 0; pass < 2; ++pass) {
                Digits r = d;
                int e = r.pointPos - 1;
                int exp = engineering ? int(std::floor(double(e) / k)) * k : e - (k - 1);
                int intCount = e - exp + 1;
                roundAt(r, intCount + decimals);
                if (r.pointPos - 1 != e && pass == 0) {
                    d = r; // rounding carried into a new digit: place the exponent again
                    continue;
                }
                exponent = exp;
                for (int i = 0; i < intCount; ++i)
                    intDigits.push_back(i < int(r.s.size()) ? r.s[std::size_t(i)] : '0');
                for (int i = 0; i < decimals; ++i) {
                    int at = intCount + i;
                    fracDigits.push_back(at < int(r.s.size()) ? r.s[std::size_t(at)] : '0');
                }
                std::size_t lead = 0;
                while (lead + 1 < intDigits.size() && intDigits[lead] == '0')
                    ++lead;
                intDigits.erase(0, lead);
                if (intDigits == "0")
                    intDigits.clear();
                break;
            }
        } else {
            fracDigits.assign(std::size_t(decimals), '0');
        }
    } else {
        Fixed f = toFixed(a, decimals);
        intDigits = f.intDigits;
        fracDigits = f.fracDigits;
    }
    anyDigit = !intDigits.empty() || fracDigits.find_first_not_of('0') != std::string::npos;

    int lastSig = -1;
    for (int k = 0; k < int(fracDigits.size()); ++k)
        if (fracDigits[std::size_t(k)] != '0')
            lastSig = k;

    std::wstring out;
    int totalIntDigits = std::max(int(intDigits.size()), 0);
    auto emitIntDigit = [&](wchar_t digit, int posFromRight) {
        out += digit;
        if (grouping && posFromRight > 0 && posFromRight % 3 == 0)
            out += L',';
    };
    int slotIndex = 0, fracIndex = 0;
    int nInt = int(intSlots.size());
    for (std::size_t k = 0; k < t.size(); ++k) {
        const Token& tok = t[k];
        if (k == pointAt && nInt == 0 && totalIntDigits > 0) {
            for (int i = 0; i < totalIntDigits; ++i)
                emitIntDigit(wchar_t(intDigits[std::size_t(i)]), totalIntDigits - 1 - i);
        }
        switch (tok.kind) {
        case Tok::Digit:
            if (k < pointAt && k < numEnd) {
                int p = nInt - 1 - slotIndex++;
                if (p == nInt - 1 && totalIntDigits > nInt)
                    for (int i = 0; i < totalIntDigits - nInt; ++i)
                        emitIntDigit(wchar_t(intDigits[std::size_t(i)]), totalIntDigits - 1 - i);
                if (p < totalIntDigits)
                    emitIntDigit(wchar_t(intDigits[std::size_t(totalIntDigits - 1 - p)]), p);
                else if (tok.text == L"0")
                    emitIntDigit(L'0', p);
                else if (tok.text == L"?")
                    out += L' ';
            } else if (k < numEnd) {
                int j = fracIndex++;
                if (j >= decimals)
                    break;
                if (j <= lastSig)
                    out += wchar_t(fracDigits[std::size_t(j)]);
                else if (tok.text == L"0")
                    out += L'0';
                else if (tok.text == L"?")
                    out += L' ';
            }
            break;
        case Tok::Exp: {
            int minDigits = 0;
            for (auto i : expSlots)
                minDigits += t[i].text == L"0" ? 1 : 0;
            out += L"E" + exponentText(exponent, std::max(minDigits, 1), tok.flag);
            k = expSlots.empty() ? k : expSlots.back();
            break;
        }
        case Tok::Comma:
            if (commaShown[k])
                out += L',';
            break;
        case Tok::Point:
            out += L'.';
            break;
        case Tok::Slash:
            out += L'/';
            break;
        case Tok::FixedDen:
            out += std::to_wstring(tok.n);
            break;
        case Tok::Literal:
        case Tok::Percent:
        case Tok::At:
            out += tok.text;
            break;
        default:
            break;
        }
    }
    return out;
}

} // namespace

std::wstring builtinFormatCode(int id) {
    if (id < 0 || id >= 50 || !kBuiltin[id])
        return L"General";
    return kBuiltin[id];
}

std::wstring formatGeneral(double value, int contentPixels) {
    if (std::isnan(value))
        return L"#NUM!";
    if (value == 0)
        return L"0";
    std::wstring sign = value < 0 ? L"-" : L"";
    double a = std::fabs(value);
    auto fits = [&](const std::wstring& s) {
        return contentPixels < 0 || textPixels(s) <= contentPixels;
    };
    Digits d = toDigits(a);
    int e = d.pointPos - 1;
    if (e >= -5 + 1 && e <= 10) {
        int maxDec = e >= 0 ? std::max(0, 10 - (e + 1)) : 9;
        for (int dec = maxDec; dec >= 0; --dec) {
            Fixed f = toFixed(a, dec);
            if (f.intDigits.size() > 11)
                break;
            while (!f.fracDigits.empty() && f.fracDigits.back() == '0')
                f.fracDigits.pop_back();
            std::wstring s = f.intDigits.empty() ? L"0" : widen(f.intDigits);
            if (!f.fracDigits.empty())
                s += L"." + widen(f.fracDigits);
            if (s == L"0")
                break; // nothing significant left: scientific keeps the digits
            if (fits(sign + s))
                return sign + s;
        }
    }
    for (int m = 5; m >= 0; --m) {
        Digits r = d;
        roundAt(r, 1 + m);
        std::wstring s(1, r.s.empty() ? L'0' : wchar_t(r.s[0]));
        if (r.s.size() > 1)
            s += L"." + widen(r.s.substr(1));
        s += L"E" + exponentText(r.pointPos - 1, 2, true);
        if (fits(sign + s))
            return sign + s;
    }
    return hashFill(contentPixels);
}

NumberFormat::NumberFormat(std::wstring_view code) : m_parsed(std::make_unique<ParsedFormat>()) {
    if (code.empty())
        code = L"General";
    auto parts = splitSections(code);
    if (parts.size() > 4)
        parts.resize(4);
    for (const auto& p : parts)
        m_parsed->sections.push_back(tokenize(p));
}

NumberFormat::~NumberFormat() = default;
NumberFormat::NumberFormat(NumberFormat&&) noexcept = default;
NumberFormat& NumberFormat::operator=(NumberFormat&&) noexcept = default;

bool NumberFormat::isDate() const {
    return !m_parsed->sections.empty() && m_parsed->sections[0].isDate;
}

std::wstring NumberFormat::formatNumber(double value, const DisplayContext& ctx) const {
    if (!std::isfinite(value))
        return L"#NUM!";
    const auto& secs = m_parsed->sections;
    // Sections for numbers: the text section (4th, or a lone "@" section) is not one.
    std::size_t n = std::min<std::size_t>(secs.size(), 3);
    if (n == 1 && secs[0].hasAt && !secs[0].hasDigits && !secs[0].isDate)
        return formatGeneral(value, ctx.contentPixels);
    bool anyCondition = false;
    for (std::size_t k = 0; k < n; ++k)
        anyCondition |= secs[k].hasCondition;

    const Section* sec = &secs[0];
    bool showSign = true;
    if (anyCondition) {
        // Conditions pick the section; an unconditioned second section takes the rest.
        if (secs[0].hasCondition ? conditionHolds(secs[0], value) : value >= 0) {
            sec = &secs[0];
        } else if (n >= 2 && (!secs[1].hasCondition || conditionHolds(secs[1], value))) {
            // Only the first section of a conditional format shows the minus sign.
            sec = &secs[1];
            showSign = false;
        } else if (n >= 3) {
            sec = &secs[2];
            showSign = false;
        } else {
            return hashFill(ctx.contentPixels);
        }
    } else if (n >= 2 && value < 0) {
        sec = &secs[1];
        showSign = false;
    } else if (n >= 3 && value == 0) {
        sec = &secs[2];
    }

    bool negative = value < 0;
    double a = std::fabs(value);
    if (sec->tokens.empty())
        return L"";

    // The plain General section fits itself to the width.
    if (sec->tokens.size() == 1 && sec->tokens[0].kind == Tok::General)
        return formatGeneral(showSign ? value : a, ctx.contentPixels);

    std::wstring out;
    bool hashes = false;
    bool anyDigit = true;
    if (sec->isDate) {
        out = renderDate(*sec, showSign ? value : a, ctx, hashes);
        if (hashes)
            return hashFill(ctx.contentPixels);
        negative = false;
    } else if (sec->hasGeneral) {
        for (const auto& t : sec->tokens)
            out += t.kind == Tok::General ? formatGeneral(a, -1) : t.text;
    } else {
        bool fraction = false;
        for (std::size_t k = 1; k < sec->tokens.size(); ++k)
            if (sec->tokens[k].kind == Tok::Slash && sec->tokens[k - 1].kind == Tok::Digit)
                fraction = true;
        out = fraction ? renderFraction(*sec, a, anyDigit) : renderNumber(*sec, a, anyDigit);
        if (!sec->hasDigits)
            anyDigit = true;
    }
    // A value that rounds to zero shows no minus sign.
    if (negative && showSign && anyDigit)
        out = L"-" + out;
    if (ctx.contentPixels >= 0 && textPixels(out) > ctx.contentPixels)
        return hashFill(ctx.contentPixels);
    return out;
}

std::wstring NumberFormat::formatText(const std::wstring& text) const {
    const auto& secs = m_parsed->sections;
    const Section* sec = nullptr;
    if (secs.size() >= 4)
        sec = &secs[3];
    else
        for (const auto& s : secs)
            if (s.hasAt)
                sec = &s;
    if (!sec)
        return text;
    std::wstring out;
    for (const auto& t : sec->tokens) {
        if (t.kind == Tok::At)
            out += text;
        else if (t.kind == Tok::Literal || t.kind == Tok::Digit || t.kind == Tok::Point ||
                 t.kind == Tok::Comma || t.kind == Tok::Percent || t.kind == Tok::Slash)
            out += t.text;
    }
    return out;
}

} // namespace spreadsheet
