#include "drawing/UnitFormatting.h"

#include <cmath>
#include <cstdio>
#include <numbers>
#include <numeric>

namespace drawing {

namespace {

// Beyond this a scaled value no longer fits a 64-bit integer exactly.
constexpr double kLargestScaled = 1e15;

std::wstring printf(const char* format, int precision, double value) {
    char buffer[400];
    std::snprintf(buffer, sizeof buffer, format, precision, value);
    std::wstring out(buffer, buffer + std::char_traits<char>::length(buffer));
    // "-0.00" is zero.
    if (out.size() > 1 && out[0] == L'-' && out.find_first_of(L"123456789") == std::wstring::npos)
        out.erase(0, 1);
    return out;
}

std::wstring decimal(double value, int precision) {
    return printf("%.*f", precision, value);
}

// "n/d" reduced, or empty for no fraction.
std::wstring fraction(long long numerator, long long denominator) {
    if (numerator == 0)
        return L"";
    long long g = std::gcd(numerator, denominator);
    return std::to_wstring(numerator / g) + L"/" + std::to_wstring(denominator / g);
}

// A whole number and a fraction to the nearest 1/2^precision: "69 1/2", "1/2", "3".
std::wstring mixed(long long scaled, long long denominator) {
    long long whole = scaled / denominator;
    std::wstring part = fraction(scaled % denominator, denominator);
    if (part.empty())
        return std::to_wstring(whole);
    return whole == 0 ? part : std::to_wstring(whole) + L" " + part;
}

std::wstring engineering(double magnitude, int precision) {
    long long unit = 1;
    for (int i = 0; i < precision; ++i)
        unit *= 10;
    long long scaled = std::llround(magnitude * static_cast<double>(unit));
    long long feet = scaled / (12 * unit);
    long long rest = scaled % (12 * unit);
    std::wstring inches = std::to_wstring(rest / unit);
    if (precision > 0) {
        std::wstring digits = std::to_wstring(rest % unit);
        inches +=
            L"." + std::wstring(static_cast<std::size_t>(precision) - digits.size(), L'0') + digits;
    }
    return std::to_wstring(feet) + L"'-" + inches + L"\"";
}

std::wstring architectural(double magnitude, int precision) {
    long long denominator = 1LL << precision;
    long long scaled = std::llround(magnitude * static_cast<double>(denominator));
    long long feet = scaled / (12 * denominator);
    long long inches = scaled % (12 * denominator);
    std::wstring part = fraction(inches % denominator, denominator);
    return std::to_wstring(feet) + L"'-" + std::to_wstring(inches / denominator) +
           (part.empty() ? L"" : L" " + part) + L"\"";
}

// Degrees, minutes and seconds of a non-negative angle in degrees.
std::wstring degMinSec(double degrees, int precision) {
    if (precision == 0)
        return std::to_wstring(std::llround(degrees)) + L"d";
    if (precision <= 2) {
        long long minutes = std::llround(degrees * 60.0);
        return std::to_wstring(minutes / 60) + L"d" + std::to_wstring(minutes % 60) + L"'";
    }
    int decimals = precision > 4 ? precision - 4 : 0;
    long long unit = 1;
    for (int i = 0; i < decimals; ++i)
        unit *= 10;
    long long scaled = std::llround(degrees * 3600.0 * static_cast<double>(unit));
    long long seconds = scaled / unit;
    std::wstring out = std::to_wstring(seconds / 3600) + L"d" + std::to_wstring(seconds / 60 % 60) +
                       L"'" + std::to_wstring(seconds % 60);
    if (decimals > 0) {
        std::wstring digits = std::to_wstring(scaled % unit);
        out +=
            L"." + std::wstring(static_cast<std::size_t>(decimals) - digits.size(), L'0') + digits;
    }
    return out + L"\"";
}

std::wstring signed_(bool negative, const std::wstring& text) {
    bool zero = text.find_first_of(L"123456789") == std::wstring::npos;
    return negative && !zero ? L"-" + text : text;
}

} // namespace

std::wstring formatDistance(double value, int mode, int precision) {
    if (precision < 0 || precision > 8 || mode < 1 || mode > 5) {
        mode = 2;
        precision = 4;
    }
    if (!std::isfinite(value))
        return decimal(value, precision);
    double magnitude = std::fabs(value);
    bool fits = magnitude * std::pow(10.0, precision) < kLargestScaled &&
                magnitude * static_cast<double>(1LL << precision) < kLargestScaled;
    switch (mode) {
    case 1:
        return printf("%.*E", precision, value);
    case 3:
        if (fits)
            return signed_(value < 0, engineering(magnitude, precision));
        break;
    case 4:
        if (fits)
            return signed_(value < 0, architectural(magnitude, precision));
        break;
    case 5:
        if (fits) {
            long long denominator = 1LL << precision;
            return signed_(
                value < 0,
                mixed(std::llround(magnitude * static_cast<double>(denominator)), denominator));
        }
        break;
    default:
        break;
    }
    return decimal(value, precision);
}

std::wstring formatAngle(double radians, int mode, int precision) {
    if (precision < 0 || precision > 8 || mode < 0 || mode > 4) {
        mode = 0;
        precision = 4;
    }
    constexpr double pi = std::numbers::pi;
    double degrees = radians * 180.0 / pi;
    bool fits = std::isfinite(degrees) && std::fabs(degrees) * 3600.0 * 1e4 < kLargestScaled;
    switch (mode) {
    case 1:
        if (fits)
            return signed_(degrees < 0, degMinSec(std::fabs(degrees), precision));
        break;
    case 2:
        return printf("%.*f", precision, radians * 200.0 / pi) + L"g";
    case 3:
        return printf("%.*f", precision, radians) + L"r";
    case 4: {
        if (!fits)
            break;
        double d = std::fmod(degrees, 360.0);
        if (d < 0)
            d += 360.0;
        // A bearing: from north or south, so many degrees towards east or west.
        const wchar_t* pole = d <= 180.0 ? L"N" : L"S";
        const wchar_t* towards = d <= 90.0 || d > 270.0 ? L"E" : L"W";
        double angle = d <= 90.0    ? 90.0 - d
                       : d <= 180.0 ? d - 90.0
                       : d <= 270.0 ? 270.0 - d
                                    : d - 270.0;
        std::wstring inner = degMinSec(angle, precision);
        if (inner == degMinSec(0.0, precision))
            return pole;
        if (inner == degMinSec(90.0, precision))
            return towards;
        return std::wstring(pole) + L" " + inner + L" " + towards;
    }
    default:
        break;
    }
    return decimal(degrees, precision);
}

} // namespace drawing
