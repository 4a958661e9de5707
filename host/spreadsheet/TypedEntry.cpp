#include "spreadsheet/TypedEntry.h"

#include "sdk/WideFormat.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cwctype>
#include <string_view>
#include <vector>

namespace spreadsheet {

namespace {

bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

// The largest number the program accepts as typed.
constexpr double kMaxTyped = 9.99999999999999e307;
// Typed digits beyond the fifteenth significant one are kept as zeros.
constexpr std::size_t kSignificantDigits = 15;

// A number as typed: sign or parentheses, "$" before it, thousands separators, decimals,
// an exponent, "%" after it. Any other shape is no number.
bool readNumber(std::wstring_view s, double& value, int& formatId) {
    bool negative = false, currency = false, percent = false;
    if (s.size() >= 2 && s.front() == L'(' && s.back() == L')') {
        negative = true;
        s = s.substr(1, s.size() - 2);
    } else if (!s.empty() && (s.front() == L'-' || s.front() == L'+')) {
        negative = s.front() == L'-';
        s.remove_prefix(1);
    }
    if (!s.empty() && s.front() == L'$') {
        currency = true;
        s.remove_prefix(1);
        // "$-3" is read like "-$3".
        if (!negative && !s.empty() && (s.front() == L'-' || s.front() == L'+')) {
            negative = s.front() == L'-';
            s.remove_prefix(1);
        }
    }
    if (!s.empty() && s.back() == L'%') {
        if (currency)
            return false;
        percent = true;
        s.remove_suffix(1);
    }

    std::string intDigits, fracDigits;
    std::size_t i = 0;
    bool grouped = false;
    std::size_t groupLen = 0;
    for (; i < s.size() && (isDigit(s[i]) || s[i] == L','); ++i) {
        if (s[i] == L',') {
            // The first group has one to three digits, every later one exactly three.
            if (grouped ? groupLen != 3 : (groupLen == 0 || groupLen > 3))
                return false;
            grouped = true;
            groupLen = 0;
        } else {
            intDigits.push_back(char(s[i]));
            ++groupLen;
        }
    }
    if (grouped && groupLen != 3)
        return false;
    if (i < s.size() && s[i] == L'.') {
        for (++i; i < s.size() && isDigit(s[i]); ++i)
            fracDigits.push_back(char(s[i]));
    }
    if (intDigits.empty() && fracDigits.empty())
        return false;
    long exponent = 0;
    bool scientific = false;
    if (i < s.size() && (s[i] == L'e' || s[i] == L'E')) {
        if (grouped || currency || percent)
            return false;
        scientific = true;
        ++i;
        bool expNegative = false;
        if (i < s.size() && (s[i] == L'+' || s[i] == L'-'))
            expNegative = s[i++] == L'-';
        std::size_t start = i;
        for (; i < s.size() && isDigit(s[i]); ++i)
            if (exponent < 100000)
                exponent = exponent * 10 + (s[i] - L'0');
        if (i == start)
            return false;
        if (expNegative)
            exponent = -exponent;
    }
    if (i != s.size())
        return false;

    // Keep fifteen significant digits; the rest become zeros, as the program stores them.
    std::string digits = intDigits + fracDigits;
    std::size_t first = digits.find_first_not_of('0');
    if (first != std::string::npos)
        for (std::size_t k = first + kSignificantDigits; k < digits.size(); ++k)
            digits[k] = '0';
    if (percent)
        exponent -= 2;
    std::string text = digits + "e" + std::to_string(exponent - long(fracDigits.size()));
    double v = 0;
    auto res = std::from_chars(text.data(), text.data() + text.size(), v);
    if (res.ec != std::errc() || res.ptr != text.data() + text.size() || !std::isfinite(v) ||
        v > kMaxTyped)
        return false;
    value = negative && v != 0 ? -v : v;
    bool decimals = !fracDigits.empty();
    formatId = scientific ? typedformat::kScientific
               : percent  ? (decimals ? typedformat::kPercentDecimal : typedformat::kPercent)
               : currency ? (decimals ? typedformat::kCurrencyDecimal : typedformat::kCurrency)
               : grouped  ? (decimals ? typedformat::kThousandsDecimal : typedformat::kThousands)
                          : 0;
    return true;
}

// Days since 1970-01-01 of a date of the proleptic Gregorian calendar.
long daysFromCivil(long y, long m, long d) {
    y -= m <= 2;
    long era = (y >= 0 ? y : y - 399) / 400;
    long yoe = y - era * 400;
    long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

bool leapYear(long y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

int monthFromName(std::wstring_view name) {
    static const std::array<const wchar_t*, 12> full = {
        L"january", L"february", L"march",     L"april",   L"may",      L"june",
        L"july",    L"august",   L"september", L"october", L"november", L"december"};
    for (std::size_t m = 0; m < full.size(); ++m) {
        std::wstring_view f(full[m]);
        if (lmhost::equalNoCase(name, f) || lmhost::equalNoCase(name, f.substr(0, 3)))
            return int(m) + 1;
    }
    return 0;
}

long fieldNumber(std::wstring_view f) {
    long v = 0;
    for (wchar_t c : f)
        v = v * 10 + (c - L'0');
    return v;
}

// Dates as typed: 2024-03-15 (or 2024/3/15), 3/15/2024 (or 3-15-24), 15-Mar-2024 (or
// 15 March 24, 15/mar/2024). Two-digit years 00-29 are 2000-2029, 30-99 are 1930-1999.
bool readDate(std::wstring_view s, bool date1904, double& serial, int& formatId) {
    std::vector<std::wstring_view> fields;
    wchar_t sep = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= s.size(); ++i) {
        if (i < s.size() && s[i] != L'-' && s[i] != L'/' && s[i] != L' ')
            continue;
        if (i < s.size()) {
            if (sep && s[i] != sep)
                return false;
            sep = s[i];
        }
        fields.push_back(s.substr(start, i - start));
        start = i + 1;
        if (fields.size() > 3)
            return false;
    }
    if (fields.size() != 3)
        return false;
    auto digits = [](std::wstring_view f, std::size_t lo, std::size_t hi) {
        if (f.size() < lo || f.size() > hi)
            return false;
        for (wchar_t c : f)
            if (!isDigit(c))
                return false;
        return true;
    };
    auto year = [&](std::wstring_view f, long& y) {
        if (digits(f, 4, 4))
            y = fieldNumber(f);
        else if (digits(f, 2, 2))
            y = fieldNumber(f) + (fieldNumber(f) < 30 ? 2000 : 1900);
        else
            return false;
        return true;
    };
    long y = 0, m = 0, d = 0;
    if (digits(fields[0], 4, 4) && digits(fields[1], 1, 2) && digits(fields[2], 1, 2) &&
        sep != L' ') {
        y = fieldNumber(fields[0]);
        m = fieldNumber(fields[1]);
        d = fieldNumber(fields[2]);
        formatId = typedformat::kDate;
    } else if (digits(fields[0], 1, 2) && digits(fields[1], 1, 2) && sep != L' ') {
        m = fieldNumber(fields[0]);
        d = fieldNumber(fields[1]);
        if (!year(fields[2], y))
            return false;
        formatId = typedformat::kDate;
    } else if (digits(fields[0], 1, 2) && (m = monthFromName(fields[1])) != 0) {
        d = fieldNumber(fields[0]);
        if (!year(fields[2], y))
            return false;
        formatId = typedformat::kDayMonthYear;
    } else {
        return false;
    }
    if (m < 1 || m > 12 || d < 1 || y > 9999)
        return false;
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    int last = kDays[m - 1] + (m == 2 && leapYear(y) ? 1 : 0);
    if (date1904) {
        if (d > last || y < 1904)
            return false;
        serial = double(daysFromCivil(y, m, d) - daysFromCivil(1904, 1, 1));
        return true;
    }
    if (y < 1900)
        return false;
    // The 1900 system counts a 29 February 1900 that never was.
    if (y == 1900 && m == 2 && d == 29) {
        serial = 60;
        return true;
    }
    if (d > last)
        return false;
    long days = daysFromCivil(y, m, d) - daysFromCivil(1899, 12, 30);
    serial = double(days < 61 ? days - 1 : days);
    return true;
}

} // namespace

TypedEntry readTypedEntry(const std::wstring& typed, bool date1904) {
    TypedEntry e;
    if (typed.empty())
        return e;
    if (typed.front() == L'\'') {
        e.kind = TypedEntry::Kind::Text;
        e.text = typed.substr(1);
        e.quoted = true;
        return e;
    }
    std::size_t b = typed.find_first_not_of(L' ');
    std::size_t last = typed.find_last_not_of(L' ');
    std::wstring_view t = b == std::wstring::npos
                              ? std::wstring_view()
                              : std::wstring_view(typed).substr(b, last - b + 1);
    if (lmhost::equalNoCase(t, L"TRUE") || lmhost::equalNoCase(t, L"FALSE")) {
        e.kind = TypedEntry::Kind::Boolean;
        e.number = lmhost::equalNoCase(t, L"TRUE") ? 1 : 0;
        return e;
    }
    if (!t.empty() &&
        (readNumber(t, e.number, e.formatId) || readDate(t, date1904, e.number, e.formatId))) {
        e.kind = TypedEntry::Kind::Number;
        return e;
    }
    e.kind = TypedEntry::Kind::Text;
    e.text = typed;
    return e;
}

} // namespace spreadsheet
