// Small helpers of the workbook's XML: text escapes, number attributes, children
// inserted in schema order.
#include "spreadsheet/WorkbookImpl.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <cwchar>
#include <cwctype>

namespace spreadsheet {

namespace {

// `_xHHHH_` stands for the character with that code.
bool isEscapeAt(std::wstring_view w, std::size_t i) {
    return w[i] == L'_' && i + 6 < w.size() && w[i + 1] == L'x' && w[i + 6] == L'_' &&
           std::all_of(w.begin() + long(i) + 2, w.begin() + long(i) + 6,
                       [](wchar_t c) { return std::iswxdigit(wint_t(c)); });
}

} // namespace

// Text of a string item (<si>, <is>): plain <t>, or the runs of rich text.
std::wstring stringItemText(pugi::xml_node item) {
    std::string utf8;
    for (auto c = item.first_child(); c; c = c.next_sibling()) {
        auto name = localName(c.name());
        if (name == "t")
            utf8 += c.text().get();
        else if (name == "r")
            utf8 += childNamed(c, "t").text().get();
    }
    std::wstring w = fromUtf8(utf8);
    // _xHHHH_ stands for a character that XML cannot carry.
    if (w.find(L"_x") == std::wstring::npos)
        return w;
    std::wstring out;
    for (std::size_t i = 0; i < w.size(); ++i) {
        if (isEscapeAt(w, i)) {
            out.push_back(wchar_t(std::wcstol(w.substr(i + 2, 4).c_str(), nullptr, 16)));
            i += 6;
        } else {
            out.push_back(w[i]);
        }
    }
    return out;
}

// The reverse of the decoding above: a literal `_xHHHH_` keeps its underscore as `_x005F_`,
// and characters XML cannot carry are written as escapes.
std::wstring escapeText(std::wstring_view w) {
    std::wstring out;
    out.reserve(w.size());
    for (std::size_t i = 0; i < w.size(); ++i) {
        wchar_t c = w[i];
        bool unfit = (c < 0x20 && c != L'\t' && c != L'\n' && c != L'\r') || c == 0xFFFE ||
                     c == 0xFFFF || (c >= 0xD800 && c <= 0xDFFF);
        if (unfit || isEscapeAt(w, i)) {
            wchar_t hex[8];
            std::swprintf(hex, 8, L"_x%04X_", unsigned(c));
            out += hex;
        } else {
            out.push_back(c);
        }
    }
    return out;
}

int intAttr(pugi::xml_attribute a, int fallback) {
    if (!a)
        return fallback;
    const char* s = a.value();
    int v = 0;
    auto res = std::from_chars(s, s + std::strlen(s), v);
    return res.ec == std::errc() ? v : fallback;
}

std::string numberText(double v) {
    char buf[64];
    auto res = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, res.ptr);
}

// Ensures a child element in schema order: inserted before the first of `before` present.
pugi::xml_node ensureChild(pugi::xml_node parent, const char* name,
                           std::initializer_list<const char*> before) {
    if (auto c = childNamed(parent, name))
        return c;
    for (auto c = parent.first_child(); c; c = c.next_sibling())
        for (const char* b : before)
            if (localName(c.name()) == b)
                return parent.insert_child_before(name, c);
    return parent.append_child(name);
}

} // namespace spreadsheet
