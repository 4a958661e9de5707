#include "WideFormat.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <locale>
#include <vector>

namespace lmhost {

namespace {

void appendNarrowAsWide(std::wstring& out, const char* text, size_t length) {
    out += widen(std::string(text, length));
}

// Pads a converted field to its width, as printf does for strings and characters.
void appendPadded(std::wstring& out, const std::wstring& field, int width, bool left) {
    size_t pad = width > 0 && static_cast<size_t>(width) > field.size() ? width - field.size() : 0;
    if (!left)
        out.append(pad, L' ');
    out += field;
    if (left)
        out.append(pad, L' ');
}

} // namespace

std::wstring widen(const char* text) {
    return widen(std::string(text ? text : ""));
}

std::wstring widen(const std::string& text) {
    std::wstring out;
    out.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        uint32_t cp;
        size_t extra;
        if (c < 0x80) {
            cp = c;
            extra = 0;
        } else if ((c & 0xE0) == 0xC0) {
            cp = c & 0x1F;
            extra = 1;
        } else if ((c & 0xF0) == 0xE0) {
            cp = c & 0x0F;
            extra = 2;
        } else if ((c & 0xF8) == 0xF0) {
            cp = c & 0x07;
            extra = 3;
        } else {
            out += static_cast<wchar_t>(0xFFFD);
            ++i;
            continue;
        }
        bool ok = true;
        for (size_t k = 1; k <= extra; ++k) {
            if (i + k >= text.size() || (static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80) {
                ok = false;
                break;
            }
            cp = (cp << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        }
        if (!ok) {
            out += static_cast<wchar_t>(0xFFFD);
            ++i;
            continue;
        }
        out += static_cast<wchar_t>(cp);
        i += extra + 1;
    }
    return out;
}

std::size_t narrowInto(std::wstring_view text, char* out) {
    char* at = out;
    for (wchar_t wc : text) {
        uint32_t cp = static_cast<uint32_t>(wc);
        if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            cp = 0xFFFD;
        if (cp < 0x80) {
            *at++ = static_cast<char>(cp);
        } else if (cp < 0x800) {
            *at++ = static_cast<char>(0xC0 | (cp >> 6));
            *at++ = static_cast<char>(0x80 | (cp & 0x3F));
        } else if (cp < 0x10000) {
            *at++ = static_cast<char>(0xE0 | (cp >> 12));
            *at++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            *at++ = static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            *at++ = static_cast<char>(0xF0 | (cp >> 18));
            *at++ = static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
            *at++ = static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            *at++ = static_cast<char>(0x80 | (cp & 0x3F));
        }
    }
    *at = 0;
    return static_cast<std::size_t>(at - out);
}

std::string narrow(const std::wstring& text) {
    std::string out(4 * text.size() + 1, '\0');
    out.resize(narrowInto(text, out.data()));
    return out;
}

std::wstring formatWide(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring out = formatWideV(format, args);
    va_end(args);
    return out;
}

std::wstring formatWideV(const wchar_t* format, va_list args) {
    std::wstring out;
    if (!format)
        return out;
    va_list ap;
    va_copy(ap, args);
    const wchar_t* p = format;
    while (*p) {
        if (*p != L'%') {
            out += *p++;
            continue;
        }
        const wchar_t* specStart = p++;
        if (*p == L'%') {
            out += L'%';
            ++p;
            continue;
        }
        std::string flags;
        while (*p && std::wcschr(L"-+ #0", *p))
            flags += static_cast<char>(*p++);
        int width = -1;
        if (*p == L'*') {
            width = va_arg(ap, int);
            if (width < 0) {
                flags += '-';
                width = -width;
            }
            ++p;
        } else if (*p >= L'0' && *p <= L'9') {
            width = 0;
            while (*p >= L'0' && *p <= L'9' && width < 100000)
                width = width * 10 + (*p++ - L'0');
            while (*p >= L'0' && *p <= L'9')
                ++p;
        }
        int precision = -1;
        if (*p == L'.') {
            ++p;
            precision = 0;
            if (*p == L'*') {
                precision = va_arg(ap, int);
                ++p;
            } else {
                while (*p >= L'0' && *p <= L'9' && precision < 100000)
                    precision = precision * 10 + (*p++ - L'0');
                while (*p >= L'0' && *p <= L'9')
                    ++p;
            }
        }
        // Length modifiers, including the host platform's I64, I32 and I.
        enum { kNone, kHH, kH, kL, kLL, kBigL, kSize, kMax, kPtrDiff, kWide } length = kNone;
        if (*p == L'h') {
            ++p;
            length = kH;
            if (*p == L'h') {
                ++p;
                length = kHH;
            }
        } else if (*p == L'l') {
            ++p;
            length = kL;
            if (*p == L'l') {
                ++p;
                length = kLL;
            }
        } else if (*p == L'L') {
            ++p;
            length = kBigL;
        } else if (*p == L'w') {
            ++p;
            length = kWide;
        } else if (*p == L'z') {
            ++p;
            length = kSize;
        } else if (*p == L'j') {
            ++p;
            length = kMax;
        } else if (*p == L't') {
            ++p;
            length = kPtrDiff;
        } else if (p[0] == L'I' && p[1] == L'6' && p[2] == L'4') {
            p += 3;
            length = kLL;
        } else if (p[0] == L'I' && p[1] == L'3' && p[2] == L'2') {
            p += 3;
            length = kNone;
        } else if (*p == L'I') {
            ++p;
            length = kSize;
        }
        wchar_t conv = *p;
        if (!conv) {
            out.append(specStart, p);
            break;
        }
        ++p;
        bool left = flags.find('-') != std::string::npos;
        std::string conversion = "%" + flags;
        if (width >= 0)
            conversion += std::to_string(width);
        if (precision >= 0)
            conversion += "." + std::to_string(precision);
        char buffer[512];
        std::vector<char> big;
        auto emit = [&](const std::string& s, auto value) {
            int n = std::snprintf(buffer, sizeof buffer, s.c_str(), value);
            if (n < 0)
                return;
            if (static_cast<size_t>(n) < sizeof buffer) {
                appendNarrowAsWide(out, buffer, n);
            } else {
                big.resize(n + 1);
                std::snprintf(big.data(), big.size(), s.c_str(), value);
                appendNarrowAsWide(out, big.data(), n);
            }
        };
        switch (conv) {
        case L'd':
        case L'i': {
            long long v;
            switch (length) {
            case kHH:
                v = static_cast<signed char>(va_arg(ap, int));
                break;
            case kH:
                v = static_cast<short>(va_arg(ap, int));
                break;
            case kL:
                v = va_arg(ap, long);
                break;
            case kLL:
                v = va_arg(ap, long long);
                break;
            case kSize:
                v = static_cast<long long>(va_arg(ap, ptrdiff_t));
                break;
            case kMax:
                v = static_cast<long long>(va_arg(ap, intmax_t));
                break;
            case kPtrDiff:
                v = static_cast<long long>(va_arg(ap, ptrdiff_t));
                break;
            default:
                v = va_arg(ap, int);
                break;
            }
            emit(conversion + "lld", v);
            break;
        }
        case L'u':
        case L'o':
        case L'x':
        case L'X': {
            unsigned long long v;
            switch (length) {
            case kHH:
                v = static_cast<unsigned char>(va_arg(ap, unsigned));
                break;
            case kH:
                v = static_cast<unsigned short>(va_arg(ap, unsigned));
                break;
            case kL:
                v = va_arg(ap, unsigned long);
                break;
            case kLL:
                v = va_arg(ap, unsigned long long);
                break;
            case kSize:
                v = va_arg(ap, size_t);
                break;
            case kMax:
                v = static_cast<unsigned long long>(va_arg(ap, uintmax_t));
                break;
            case kPtrDiff:
                v = static_cast<unsigned long long>(va_arg(ap, ptrdiff_t));
                break;
            default:
                v = va_arg(ap, unsigned);
                break;
            }
            emit(conversion + "ll" + static_cast<char>(conv), v);
            break;
        }
        case L'f':
        case L'F':
        case L'e':
        case L'E':
        case L'g':
        case L'G':
        case L'a':
        case L'A': {
            if (length == kBigL)
                emit(conversion + "L" + static_cast<char>(conv), va_arg(ap, long double));
            else
                emit(conversion + static_cast<char>(conv), va_arg(ap, double));
            break;
        }
        case L'c':
        case L'C': {
            int v = va_arg(ap, int);
            bool narrowChar = length == kH || (conv == L'C' && length != kL && length != kWide);
            std::wstring field;
            if (narrowChar)
                field = widen(std::string(1, static_cast<char>(v)));
            else
                field = std::wstring(1, static_cast<wchar_t>(v));
            appendPadded(out, field, width, left);
            break;
        }
        case L's':
        case L'S': {
            bool narrowText = length == kH || (conv == L'S' && length != kL && length != kWide);
            std::wstring field;
            if (narrowText) {
                const char* s = va_arg(ap, const char*);
                if (!s)
                    field = L"(null)";
                else if (precision >= 0)
                    field = widen(std::string(s, strnlen(s, precision)));
                else
                    field = widen(s);
            } else {
                const wchar_t* s = va_arg(ap, const wchar_t*);
                if (!s)
                    field = L"(null)";
                else if (precision >= 0)
                    field.assign(s, wcsnlen(s, precision));
                else
                    field = s;
            }
            appendPadded(out, field, width, left);
            break;
        }
        case L'p': {
            // The host platform prints a pointer as 16 upper-case hex digits.
            void* v = va_arg(ap, void*);
            std::snprintf(buffer, sizeof buffer, "%016llX",
                          static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(v)));
            appendPadded(out, widen(buffer), width, left);
            break;
        }
        case L'n':
            // Writing through %n is refused on the host platform; it prints nothing.
            (void)va_arg(ap, void*);
            break;
        default:
            // Unknown conversions are copied as written.
            out.append(specStart, p);
            break;
        }
    }
    va_end(ap);
    return out;
}

bool equalNoCase(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::towlower(wint_t(a[i])) != std::towlower(wint_t(b[i])))
            return false;
    return true;
}

} // namespace lmhost
