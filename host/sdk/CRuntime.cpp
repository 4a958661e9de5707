// The host platform's C runtime text functions.
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cwchar>
#include <cwctype>

#include "WideFormat.h"
#include "windows.h"

namespace {

// Reads as the host's runtime does: leading white space, an optional sign, then digits up
// to the first other character; overflow saturates.
long long readInteger(const wchar_t* text, long long low, long long high) {
    if (!text)
        return 0;
    while (std::iswspace(*text))
        ++text;
    bool negative = false;
    if (*text == L'+' || *text == L'-')
        negative = *text++ == L'-';
    long long value = 0;
    bool overflow = false;
    while (*text >= L'0' && *text <= L'9') {
        if (!overflow) {
            value = value * 10 + (*text - L'0');
            if (value > high + 1)
                overflow = true;
        }
        ++text;
    }
    if (overflow)
        return negative ? low : high;
    value = negative ? -value : value;
    return value < low ? low : (value > high ? high : value);
}

} // namespace

int _wtoi(const wchar_t* text) {
    return static_cast<int>(readInteger(text, INT32_MIN, INT32_MAX));
}

// long is 32 bits on the host platform.
long _wtol(const wchar_t* text) {
    return static_cast<long>(readInteger(text, INT32_MIN, INT32_MAX));
}

double _wtof(const wchar_t* text) {
    return text ? std::wcstod(text, nullptr) : 0.0;
}

namespace {

// The program runs in a UTF-8 locale whose lower case of ASCII letters is the plain one;
// names compared are mostly ASCII, so those skip the table lookup.
wint_t lowerOf(wchar_t c) {
    if (static_cast<wint_t>(c) < 0x80)
        return c >= L'A' && c <= L'Z' ? static_cast<wint_t>(c + 32) : static_cast<wint_t>(c);
    return std::towlower(static_cast<wint_t>(c));
}

} // namespace

int _wcsicmp(const wchar_t* a, const wchar_t* b) {
    for (;; ++a, ++b) {
        wint_t ca = lowerOf(*a), cb = lowerOf(*b);
        if (ca != cb || !ca)
            return static_cast<int>(ca) - static_cast<int>(cb);
    }
}

int _wcsnicmp(const wchar_t* a, const wchar_t* b, size_t n) {
    for (; n; --n, ++a, ++b) {
        wint_t ca = lowerOf(*a), cb = lowerOf(*b);
        if (ca != cb || !ca)
            return static_cast<int>(ca) - static_cast<int>(cb);
    }
    return 0;
}

namespace {

int copyFormatted(wchar_t* buffer, size_t count, size_t maxCount, const std::wstring& text) {
    if (!buffer || count == 0)
        return -1;
    size_t limit = maxCount < count - 1 ? maxCount : count - 1;
    if (text.size() > limit) {
        // Truncation: the secure forms empty the buffer unless asked to truncate.
        if (maxCount == static_cast<size_t>(-1) || maxCount < count) {
            std::wmemcpy(buffer, text.c_str(), limit);
            buffer[limit] = 0;
            return -1;
        }
        buffer[0] = 0;
        return -1;
    }
    std::wmemcpy(buffer, text.c_str(), text.size() + 1);
    return static_cast<int>(text.size());
}

} // namespace

int swprintf_s(wchar_t* buffer, size_t count, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring text = lmhost::formatWideV(format, args);
    va_end(args);
    if (!buffer || count == 0)
        return -1;
    if (text.size() >= count) {
        buffer[0] = 0;
        return -1;
    }
    std::wmemcpy(buffer, text.c_str(), text.size() + 1);
    return static_cast<int>(text.size());
}

int _snwprintf_s(wchar_t* buffer, size_t count, size_t maxCount, const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    std::wstring text = lmhost::formatWideV(format, args);
    va_end(args);
    return copyFormatted(buffer, count, maxCount, text);
}

int wcscpy_s(wchar_t* dest, size_t count, const wchar_t* src) {
    if (!dest || count == 0)
        return EINVAL;
    if (!src) {
        dest[0] = 0;
        return EINVAL;
    }
    size_t n = std::wcslen(src);
    if (n >= count) {
        dest[0] = 0;
        return ERANGE;
    }
    std::wmemcpy(dest, src, n + 1);
    return 0;
}

int wcscat_s(wchar_t* dest, size_t count, const wchar_t* src) {
    if (!dest || count == 0 || !src)
        return EINVAL;
    size_t have = wcsnlen(dest, count);
    if (have == count)
        return EINVAL;
    size_t n = std::wcslen(src);
    if (have + n >= count) {
        dest[0] = 0;
        return ERANGE;
    }
    std::wmemcpy(dest + have, src, n + 1);
    return 0;
}

int wcsncpy_s(wchar_t* dest, size_t count, const wchar_t* src, size_t maxCount) {
    if (!dest || count == 0)
        return EINVAL;
    if (!src) {
        dest[0] = 0;
        return EINVAL;
    }
    size_t n = wcsnlen(src, maxCount);
    if (n >= count) {
        dest[0] = 0;
        return ERANGE;
    }
    std::wmemcpy(dest, src, n);
    dest[n] = 0;
    return 0;
}
