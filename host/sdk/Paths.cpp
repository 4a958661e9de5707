// The shell's path canonicalization and relative paths, over both kinds of separator.
#include <cwchar>
#include <cwctype>
#include <string>
#include <vector>

#include "sdk/WideFormat.h"
#include "shlwapi.h"

namespace {

bool isSeparator(wchar_t c) {
    return c == L'/' || c == L'\\';
}

wchar_t separatorOf(const wchar_t* path) {
    return std::wcschr(path, L'\\') && !std::wcschr(path, L'/') ? L'\\' : L'/';
}

// A path taken apart: its root as written ("", "/", "C:", "C:\", "\\server") and its parts.
struct SplitPath {
    std::wstring root;
    std::vector<std::wstring> parts;
    bool trailingSeparator = false;
    bool windowsStyle = false;
};

SplitPath split(const wchar_t* path, wchar_t separator) {
    SplitPath result;
    size_t i = 0;
    size_t length = std::wcslen(path);
    if (length >= 2 && std::iswalpha(path[0]) && path[1] == L':') {
        result.windowsStyle = true;
        result.root = std::wstring(path, 2);
        i = 2;
        if (i < length && isSeparator(path[i])) {
            result.root += separator;
            ++i;
        }
    } else if (length >= 2 && isSeparator(path[0]) && isSeparator(path[1])) {
        // A server path keeps its server as part of the root.
        result.windowsStyle = true;
        result.root = std::wstring(2, separator);
        i = 2;
        size_t end = i;
        while (end < length && !isSeparator(path[end]))
            ++end;
        result.root += std::wstring(path + i, end - i);
        i = end;
    } else if (length >= 1 && isSeparator(path[0])) {
        result.root = std::wstring(1, separator);
        i = 1;
    }
    if (std::wcschr(path, L'\\'))
        result.windowsStyle = true;
    std::wstring part;
    for (; i <= length; ++i) {
        if (i == length || isSeparator(path[i])) {
            if (!part.empty())
                result.parts.push_back(part);
            part.clear();
        } else {
            part += path[i];
        }
    }
    result.trailingSeparator = length > 0 && isSeparator(path[length - 1]);
    return result;
}

// Resolves "." and ".." in place.
void normalize(SplitPath& path) {
    std::vector<std::wstring> kept;
    for (const std::wstring& part : path.parts) {
        if (part == L".")
            continue;
        if (part == L"..") {
            if (!kept.empty() && kept.back() != L"..")
                kept.pop_back();
            else if (path.root.empty())
                kept.push_back(part);
            continue;
        }
        kept.push_back(part);
    }
    path.parts = kept;
}

std::wstring join(const SplitPath& path, wchar_t separator) {
    std::wstring text = path.root;
    for (size_t i = 0; i < path.parts.size(); ++i) {
        if (!text.empty() && !isSeparator(text.back()))
            text += separator;
        text += path.parts[i];
    }
    if (path.trailingSeparator && !path.parts.empty())
        text += separator;
    return text;
}

bool samePart(const std::wstring& a, const std::wstring& b, bool ignoreCase) {
    return ignoreCase ? lmhost::equalNoCase(a, b) : a == b;
}

// The shell's calls take MAX_PATH buffers: a longer path is refused, never cut.
bool fits(LPCWSTR path) {
    return std::wcslen(path) < MAX_PATH;
}

bool copyOut(LPWSTR out, const std::wstring& text) {
    if (text.size() + 1 > MAX_PATH) {
        out[0] = 0;
        return false;
    }
    std::wmemcpy(out, text.c_str(), text.size() + 1);
    return true;
}

} // namespace

BOOL PathCanonicalizeW(LPWSTR pszBuf, LPCWSTR pszPath) {
    if (!pszBuf || !pszPath)
        return FALSE;
    if (!fits(pszPath)) {
        pszBuf[0] = 0;
        return FALSE;
    }
    wchar_t separator = separatorOf(pszPath);
    SplitPath path = split(pszPath, separator);
    normalize(path);
    std::wstring text = join(path, separator);
    // Nothing left of a relative path: the shell writes a lone separator.
    if (text.empty())
        text = std::wstring(1, separator);
    return copyOut(pszBuf, text) ? TRUE : FALSE;
}

BOOL PathRelativePathToW(LPWSTR pszPath, LPCWSTR pszFrom, DWORD dwAttrFrom, LPCWSTR pszTo, DWORD) {
    if (!pszPath || !pszFrom || !pszTo)
        return FALSE;
    pszPath[0] = 0;
    if (!fits(pszFrom) || !fits(pszTo))
        return FALSE;
    wchar_t separator = separatorOf(pszTo);
    SplitPath from = split(pszFrom, separator);
    SplitPath to = split(pszTo, separator);
    normalize(from);
    normalize(to);
    if (!(dwAttrFrom & FILE_ATTRIBUTE_DIRECTORY) && !from.parts.empty())
        from.parts.pop_back();
    bool ignoreCase = from.windowsStyle || to.windowsStyle;
    std::wstring fromRoot = from.root, toRoot = to.root;
    for (std::wstring* root : {&fromRoot, &toRoot})
        for (wchar_t& c : *root)
            if (isSeparator(c))
                c = L'/';
    if (!samePart(fromRoot, toRoot, ignoreCase))
        return FALSE;
    size_t common = 0;
    while (common < from.parts.size() && common < to.parts.size() &&
           samePart(from.parts[common], to.parts[common], ignoreCase))
        ++common;
    std::wstring text;
    if (common == from.parts.size())
        text = L".";
    for (size_t i = common; i < from.parts.size(); ++i)
        text += i == common ? L".." : std::wstring(1, separator) + L"..";
    for (size_t i = common; i < to.parts.size(); ++i)
        text += separator + to.parts[i];
    return copyOut(pszPath, text) ? TRUE : FALSE;
}
