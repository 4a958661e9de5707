#include "drawing/DxfGroups.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "sdk/WideFormat.h"

namespace drawing::dxf {

namespace {

struct Range {
    int first;
    int last;
    ValueType type;
};

// The value types of group codes, as the public DXF reference lists them.
constexpr Range kRanges[] = {
    {0, 4, ValueType::text},         {5, 5, ValueType::handle},
    {6, 9, ValueType::text},         {10, 59, ValueType::real},
    {60, 79, ValueType::int16},      {90, 99, ValueType::int32},
    {100, 102, ValueType::text},     {105, 105, ValueType::handle},
    {110, 149, ValueType::real},     {160, 169, ValueType::int64},
    {170, 179, ValueType::int16},    {210, 239, ValueType::real},
    {270, 289, ValueType::int16},    {290, 299, ValueType::boolean},
    {300, 309, ValueType::text},     {310, 319, ValueType::binary},
    {320, 369, ValueType::handle},   {370, 389, ValueType::int16},
    {390, 399, ValueType::handle},   {400, 409, ValueType::int16},
    {410, 419, ValueType::text},     {420, 429, ValueType::int32},
    {430, 439, ValueType::text},     {440, 459, ValueType::int32},
    {460, 469, ValueType::real},     {470, 479, ValueType::text},
    {480, 481, ValueType::handle},   {999, 999, ValueType::text},
    {1000, 1003, ValueType::text},   {1004, 1004, ValueType::binary},
    {1005, 1005, ValueType::handle}, {1010, 1059, ValueType::real},
    {1060, 1070, ValueType::int16},  {1071, 1071, ValueType::int32},
};

// A value line may be long (texts), never unbounded.
constexpr std::size_t kMaxLine = 1 << 20;

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t'))
        s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t'))
        s.remove_suffix(1);
    return s;
}

bool parseInteger(std::string_view s, std::int64_t& value) {
    s = trimmed(s);
    if (!s.empty() && s.front() == '+')
        s.remove_prefix(1);
    auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value);
    return !s.empty() && ec == std::errc() && end == s.data() + s.size();
}

bool parseReal(std::string_view s, double& value) {
    s = trimmed(s);
    if (!s.empty() && s.front() == '+')
        s.remove_prefix(1);
    auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value);
    return !s.empty() && ec == std::errc() && end == s.data() + s.size() && std::isfinite(value);
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

bool parseHandle(std::string_view s, std::uint64_t& value) {
    s = trimmed(s);
    value = 0;
    if (s.empty() || s.size() > 16)
        return false;
    for (char c : s) {
        int d = hexDigit(c);
        if (d < 0)
            return false;
        value = value * 16 + static_cast<unsigned>(d);
    }
    return true;
}

const char* typeName(ValueType type) {
    switch (type) {
    case ValueType::real:
        return "a real number";
    case ValueType::int16:
        return "a 16-bit integer";
    case ValueType::int32:
        return "a 32-bit integer";
    case ValueType::int64:
    case ValueType::boolean:
        return "an integer";
    case ValueType::handle:
        return "a hexadecimal handle";
    case ValueType::binary:
        return "hexadecimal binary data";
    default:
        return "text";
    }
}

bool valueFits(ValueType type, std::string_view v) {
    std::int64_t n = 0;
    double d = 0;
    std::uint64_t h = 0;
    switch (type) {
    case ValueType::real:
        return parseReal(v, d);
    case ValueType::int16:
    case ValueType::boolean:
        return parseInteger(v, n) && n >= -32768 && n <= 32767;
    case ValueType::int32:
        return parseInteger(v, n) && n >= std::numeric_limits<std::int32_t>::min() &&
               n <= std::numeric_limits<std::int32_t>::max();
    case ValueType::int64:
        return parseInteger(v, n);
    case ValueType::handle:
        return parseHandle(v, h);
    case ValueType::binary:
        v = trimmed(v);
        if (v.size() % 2)
            return false;
        for (char c : v)
            if (hexDigit(c) < 0)
                return false;
        return true;
    default:
        return true;
    }
}

} // namespace

ValueType valueType(int code) {
    for (const Range& r : kRanges)
        if (code >= r.first && code <= r.last)
            return r.type;
    return ValueType::none;
}

bool readGroups(std::string_view text, std::vector<Group>& groups, std::string& error) {
    groups.clear();
    if (text.starts_with("AutoCAD Binary DXF")) {
        error = "this is a binary DXF file; only ASCII DXF is read (save it as ASCII DXF)";
        return false;
    }
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    std::size_t pos = 0, line = 0;
    auto nextLine = [&](std::string_view& out) {
        if (pos >= text.size())
            return false;
        std::size_t end = text.find('\n', pos);
        if (end == std::string_view::npos)
            end = text.size();
        out = text.substr(pos, end - pos);
        if (!out.empty() && out.back() == '\r')
            out.remove_suffix(1);
        pos = end + 1;
        ++line;
        return true;
    };
    std::string_view codeLine, valueLine;
    while (nextLine(codeLine)) {
        if (trimmed(codeLine).empty() && pos >= text.size())
            break; // a final empty line after EOF
        std::size_t codeAt = line;
        std::int64_t code = 0;
        if (!parseInteger(codeLine, code) || code < -32768 || code > 32767) {
            error = "line " + std::to_string(codeAt) + ": a group code was expected, not \"" +
                    std::string(codeLine.substr(0, 40)) + "\"";
            return false;
        }
        if (!nextLine(valueLine)) {
            error = "line " + std::to_string(codeAt) + ": the file ends after group code " +
                    std::to_string(code) + " (truncated file)";
            return false;
        }
        if (valueLine.size() > kMaxLine) {
            error = "line " + std::to_string(line) + ": the value is longer than " +
                    std::to_string(kMaxLine) + " bytes";
            return false;
        }
        ValueType type = valueType(static_cast<int>(code));
        if (type == ValueType::none) {
            error =
                "line " + std::to_string(codeAt) + ": unknown group code " + std::to_string(code);
            return false;
        }
        if (!valueFits(type, valueLine)) {
            error = "line " + std::to_string(line) + ": group code " + std::to_string(code) +
                    " needs " + typeName(type) + ", not \"" + std::string(valueLine.substr(0, 40)) +
                    "\"";
            return false;
        }
        groups.push_back({static_cast<int>(code), valueLine, codeAt});
    }
    return true;
}

double realOf(const Group& g) {
    double d = 0;
    parseReal(g.value, d);
    return d;
}

std::int64_t integerOf(const Group& g) {
    std::int64_t n = 0;
    parseInteger(g.value, n);
    return n;
}

std::uint64_t handleOf(const Group& g) {
    std::uint64_t h = 0;
    parseHandle(g.value, h);
    return h;
}

std::string binaryOf(const Group& g) {
    std::string_view v = trimmed(g.value);
    std::string bytes;
    bytes.reserve(v.size() / 2);
    for (std::size_t k = 0; k + 1 < v.size(); k += 2)
        bytes +=
            static_cast<char>(std::max(hexDigit(v[k]), 0) * 16 + std::max(hexDigit(v[k + 1]), 0));
    return bytes;
}

std::wstring textOf(const Group& g) {
    std::string decoded;
    decoded.reserve(g.value.size());
    for (std::size_t i = 0; i < g.value.size(); ++i) {
        char c = g.value[i];
        if (c == '^' && i + 1 < g.value.size()) {
            char n = g.value[i + 1];
            if (n == ' ') {
                decoded += '^';
                ++i;
                continue;
            }
            if (n >= '@' && n <= '_') {
                decoded += static_cast<char>(n - '@');
                ++i;
                continue;
            }
        }
        decoded += c;
    }
    return lmhost::widen(decoded);
}

// ---------------------------------------------------------------------------------------

void Writer::code(int code) {
    char buffer[16];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, code);
    for (std::ptrdiff_t pad = 3 - (end - buffer); pad > 0; --pad)
        m_out += ' ';
    m_out.append(buffer, end);
    m_out += '\n';
}

void Writer::text(int c, std::wstring_view value) {
    code(c);
    std::wstring escaped;
    escaped.reserve(value.size());
    for (wchar_t ch : value) {
        if (ch == L'^') {
            escaped += L"^ ";
        } else if (ch >= 0 && ch < 0x20) {
            escaped += L'^';
            escaped += static_cast<wchar_t>(ch + L'@');
        } else {
            escaped += ch;
        }
    }
    m_out += lmhost::narrow(escaped);
    m_out += '\n';
}

void Writer::text(int c, const char* value) {
    code(c);
    m_out += value;
    m_out += '\n';
}

// The shortest text that reads back as the same number, with a decimal point.
void Writer::real(int c, double value) {
    code(c);
    if (!std::isfinite(value))
        value = 0.0;
    if (value == 0.0)
        value = 0.0; // no "-0"
    char buffer[64];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    std::string_view s(buffer, static_cast<std::size_t>(end - buffer));
    m_out += s;
    if (s.find_first_of(".e") == std::string_view::npos)
        m_out += ".0";
    m_out += '\n';
}

void Writer::integer(int c, std::int64_t value) {
    code(c);
    char buffer[32];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value);
    m_out.append(buffer, end);
    m_out += '\n';
}

void Writer::handle(int c, std::uint64_t value) {
    code(c);
    char buffer[32];
    auto [end, ec] = std::to_chars(buffer, buffer + sizeof buffer, value, 16);
    for (char* p = buffer; p != end; ++p)
        if (*p >= 'a' && *p <= 'f')
            *p = static_cast<char>(*p - 'a' + 'A');
    m_out.append(buffer, end);
    m_out += '\n';
}

void Writer::binary(int c, const void* data, std::size_t size) {
    code(c);
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i) {
        m_out += "0123456789ABCDEF"[bytes[i] >> 4];
        m_out += "0123456789ABCDEF"[bytes[i] & 15];
    }
    m_out += '\n';
}

void Writer::point(int c, double x, double y, double z) {
    real(c, x);
    real(c + 10, y);
    real(c + 20, z);
}

} // namespace drawing::dxf
