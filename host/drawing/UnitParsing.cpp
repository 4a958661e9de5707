#include "drawing/UnitParsing.h"

#include "acedads.h"
#include "acutads.h"
#include "dbunits.h"

#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <locale.h>
#include <numbers>
#include <string>

namespace drawing {

std::optional<double> readNumber(std::string_view text) {
    double value = 0.0;
    const char* last = text.data() + text.size();
    auto [end, ec] = std::from_chars(text.data(), last, value);
    if (end != last || (ec != std::errc() && ec != std::errc::result_out_of_range))
        return std::nullopt;
    if (ec == std::errc())
        return value;
    // Out of range is either side; strtod tells overflow (infinity) from underflow.
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t{});
    std::string copy(text);
    value = strtod_l(copy.c_str(), nullptr, cLocale);
    if (std::isinf(value))
        return std::nullopt;
    return value;
}

namespace {

bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}
bool isSpace(wchar_t c) {
    return c == L' ' || c == L'\t';
}
wchar_t upper(wchar_t c) {
    return (c >= L'a' && c <= L'z') ? static_cast<wchar_t>(c - 32) : c;
}

std::wstring_view trim(std::wstring_view s) {
    while (!s.empty() && isSpace(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isSpace(s.back()))
        s.remove_suffix(1);
    return s;
}

struct Cursor {
    std::wstring_view s;
    std::size_t p = 0;

    bool atEnd() const { return p >= s.size(); }
    wchar_t peek() const { return atEnd() ? L'\0' : s[p]; }
    bool take(wchar_t c) {
        if (peek() != c)
            return false;
        ++p;
        return true;
    }
    bool skipSpaces() {
        std::size_t start = p;
        while (!atEnd() && isSpace(s[p]))
            ++p;
        return p != start;
    }

    // An unsigned number; `integral` tells whether it had neither '.' nor an exponent.
    std::optional<double> number(bool* integral = nullptr) {
        std::size_t start = p, digits = 0;
        bool whole = true;
        while (!atEnd() && isDigit(s[p]))
            ++p, ++digits;
        if (peek() == L'.') {
            whole = false;
            ++p;
            while (!atEnd() && isDigit(s[p]))
                ++p, ++digits;
        }
        if (digits == 0) {
            p = start;
            return std::nullopt;
        }
        if (peek() == L'e' || peek() == L'E') {
            std::size_t q = p + 1;
            if (q < s.size() && (s[q] == L'+' || s[q] == L'-'))
                ++q;
            if (q < s.size() && isDigit(s[q])) {
                while (q < s.size() && isDigit(s[q]))
                    ++q;
                p = q;
                whole = false;
            }
        }
        std::string narrow;
        if (s[start] == L'.')
            narrow = "0";
        for (std::size_t i = start; i < p; ++i)
            narrow.push_back(static_cast<char>(s[i]));
        auto value = readNumber(narrow);
        if (!value) {
            p = start;
            return std::nullopt;
        }
        if (integral)
            *integral = whole;
        return value;
    }

    // digits "/" digits, with no spaces; a zero denominator is no fraction.
    std::optional<double> fraction() {
        std::size_t start = p;
        bool integral = false;
        auto numerator = number(&integral);
        if (!numerator || !integral || !take(L'/')) {
            p = start;
            return std::nullopt;
        }
        auto denominator = number(&integral);
        if (!denominator || !integral || *denominator == 0.0) {
            p = start;
            return std::nullopt;
        }
        return *numerator / *denominator;
    }

    // A number, a fraction, or a whole number and a fraction ("2 1/2", "2-1/2").
    std::optional<double> mixed() {
        if (auto f = fraction())
            return f;
        bool integral = false;
        auto whole = number(&integral);
        if (!whole)
            return std::nullopt;
        if (integral) {
            std::size_t after = p;
            if (separator()) {
                if (auto f = fraction())
                    return *whole + *f;
            }
            p = after;
        }
        return whole;
    }

    // What joins two parts of one distance: spaces alone, or a dash with no space either
    // side. A dash with a space beside it is no separator (in an expression it subtracts).
    bool separator() {
        if (take(L'-'))
            return !atEnd() && !isSpace(peek());
        if (!skipSpaces())
            return false;
        return peek() != L'-';
    }

    // Sign before the whole text: -1, +1, or +1 with nothing taken.
    double sign() {
        if (take(L'-'))
            return -1.0;
        take(L'+');
        return 1.0;
    }
};

// Feet and inches, or inches alone. Takes the longest distance at the cursor and leaves
// the rest: "5' -9\"" reads as 5' followed by " -9\"".
std::optional<double> feetAndInches(Cursor& c) {
    std::size_t start = c.p;
    // Feet: a number before an apostrophe.
    if (auto feet = c.number(); feet && c.take(L'\'')) {
        double total = *feet * 12.0;
        std::size_t afterFeet = c.p;
        bool joined = !c.atEnd() && (isDigit(c.peek()) || c.peek() == L'.' || c.separator());
        if (!joined) {
            c.p = afterFeet;
            return total;
        }
        auto inches = c.mixed();
        if (!inches) {
            c.p = afterFeet;
            return total;
        }
        c.take(L'"');
        return total + *inches;
    }
    c.p = start;
    auto inches = c.mixed();
    if (!inches)
        return std::nullopt;
    c.take(L'"');
    return inches;
}

// The longest unsigned distance at the cursor in that mode.
std::optional<double> scan(Cursor& c, int mode) {
    switch (mode) {
    case kScientific:
    case kDecimal:
        return c.number();
    case kFractional:
        return c.mixed();
    default:
        return feetAndInches(c);
    }
}

constexpr double kPi = std::numbers::pi;

double degreesToRadians(double d) {
    return d * kPi / 180.0;
}

// Degrees written with marks: 10d20'30", 10d, 20'30", 30"; the first number is already read.
std::optional<double> degMinSec(Cursor& c, double first) {
    double degrees = 0.0;
    wchar_t mark = c.peek();
    if (mark == L'd' || mark == L'D' || mark == L'\u00B0') {
        ++c.p;
        degrees = first;
        if (c.atEnd())
            return degrees;
        auto n = c.number();
        if (!n)
            return std::nullopt;
        first = *n;
        mark = c.peek();
    }
    if (mark == L'\'') {
        ++c.p;
        degrees += first / 60.0;
        if (c.atEnd())
            return degrees;
        auto n = c.number();
        if (!n)
            return std::nullopt;
        first = *n;
        mark = c.peek();
    }
    if (mark == L'"') {
        ++c.p;
        degrees += first / 3600.0;
        return c.atEnd() ? std::optional<double>(degrees) : std::nullopt;
    }
    return std::nullopt;
}

bool isDegreeMark(wchar_t c) {
    return c == L'd' || c == L'D' || c == L'\u00B0' || c == L'\'' || c == L'"';
}

// Surveyor's bearing, in degrees counter-clockwise from east.
std::optional<double> bearing(Cursor& c) {
    wchar_t first = upper(c.peek());
    if (c.s.size() == 1) {
        switch (first) {
        case L'E':
            return 0.0;
        case L'N':
            return 90.0;
        case L'W':
            return 180.0;
        case L'S':
            return 270.0;
        default:
            return std::nullopt;
        }
    }
    if (first != L'N' && first != L'S')
        return std::nullopt;
    ++c.p;
    c.skipSpaces();
    auto n = c.number();
    if (!n)
        return std::nullopt;
    double theta = *n;
    if (isDegreeMark(c.peek())) {
        // The marked part ends where the east/west letter begins.
        std::size_t end = c.s.find_last_not_of(L" \tEWew");
        if (end == std::wstring_view::npos || end < c.p)
            return std::nullopt;
        Cursor part{c.s.substr(0, end + 1), c.p};
        auto d = degMinSec(part, theta);
        if (!d)
            return std::nullopt;
        theta = *d;
        c.p = part.p;
    }
    c.skipSpaces();
    wchar_t second = upper(c.peek());
    if (second != L'E' && second != L'W')
        return std::nullopt;
    ++c.p;
    if (!c.atEnd() || theta > 90.0)
        return std::nullopt;
    if (first == L'N')
        return second == L'E' ? 90.0 - theta : 90.0 + theta;
    return second == L'E' ? 270.0 + theta : 270.0 - theta;
}

double normalised(double radians) {
    double r = std::fmod(radians, 2.0 * kPi);
    if (r < 0.0)
        r += 2.0 * kPi;
    if (r >= 2.0 * kPi)
        r = 0.0;
    return r;
}

} // namespace

std::optional<double> parseDistance(std::wstring_view text, int mode) {
    if (mode < kScientific || mode > kFractional)
        return std::nullopt;
    Cursor c{trim(text)};
    double sign = c.sign();
    std::optional<double> value = scan(c, mode);
    if (!value || !c.atEnd() || !std::isfinite(*value))
        return std::nullopt;
    return sign * *value;
}

std::optional<double> scanDistance(std::wstring_view text, int mode, std::size_t& used) {
    used = 0;
    if (mode < kScientific || mode > kFractional)
        return std::nullopt;
    Cursor c{text};
    std::optional<double> value = scan(c, mode);
    if (!value || !std::isfinite(*value))
        return std::nullopt;
    used = c.p;
    return value;
}

std::optional<double> parseAngle(std::wstring_view text, int mode) {
    if (mode < kDegrees || mode > kSurveyor)
        return std::nullopt;
    Cursor c{trim(text)};
    if (c.atEnd())
        return std::nullopt;
    wchar_t first = upper(c.peek());
    if (first == L'N' || first == L'S' || first == L'E' || first == L'W') {
        auto degrees = bearing(c);
        if (!degrees)
            return std::nullopt;
        return normalised(degreesToRadians(*degrees));
    }
    double sign = c.sign();
    auto n = c.number();
    if (!n)
        return std::nullopt;
    double radians;
    wchar_t mark = c.peek();
    if (c.atEnd()) {
        switch (mode) {
        case kGrads:
            radians = *n * kPi / 200.0;
            break;
        case kRadians:
            radians = *n;
            break;
        default:
            radians = degreesToRadians(*n);
            break;
        }
    } else if (mark == L'g' || mark == L'G' || mark == L'r' || mark == L'R') {
        ++c.p;
        if (!c.atEnd())
            return std::nullopt;
        radians = (mark == L'g' || mark == L'G') ? *n * kPi / 200.0 : *n;
    } else {
        auto degrees = degMinSec(c, *n);
        if (!degrees)
            return std::nullopt;
        radians = degreesToRadians(*degrees);
    }
    if (!std::isfinite(radians))
        return std::nullopt;
    return normalised(sign * radians);
}

} // namespace drawing

namespace {

// The drawing's current mode from a system variable; -1 when it cannot be read.
int currentMode(const wchar_t* variable) {
    resbuf rb{};
    if (acedGetVar(variable, &rb) != RTNORM)
        return -1;
    if (rb.restype == RTSTR) {
        acutDelString(rb.resval.rstring);
        return -1;
    }
    return rb.restype == RTSHORT ? rb.resval.rint : -1;
}

int convert(const ACHAR* str, int unit, ads_real* v, const wchar_t* variable,
            std::optional<double> (*parse)(std::wstring_view, int)) {
    if (!str || !v)
        return RTERROR;
    if (unit == -1)
        unit = currentMode(variable);
    auto value = parse(str, unit);
    if (!value)
        return RTERROR;
    *v = *value;
    return RTNORM;
}

} // namespace

int acdbDisToF(const ACHAR* str, int unit, ads_real* v) {
    return convert(str, unit, v, L"LUNITS", &drawing::parseDistance);
}

int acdbAngToF(const ACHAR* str, int unit, ads_real* v) {
    return convert(str, unit, v, L"AUNITS", &drawing::parseAngle);
}
