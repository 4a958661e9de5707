// The host's text type for names, expressions and cell texts.
#pragma once

#include <cwchar>
#include <string>

#include "AdAChar.h"

class AcString {
public:
    AcString() = default;
    AcString(const ACHAR* text) : m_text(text ? text : L"") {}
    AcString(const std::wstring& text) : m_text(text) {}
    AcString(ACHAR ch) : m_text(1, ch) {}

    const ACHAR* kwszPtr() const { return m_text.c_str(); }
    const ACHAR* kACharPtr() const { return m_text.c_str(); }
    const ACHAR* constPtr() const { return m_text.c_str(); }
    operator const ACHAR*() const { return m_text.c_str(); }

    bool isEmpty() const { return m_text.empty(); }
    unsigned length() const { return static_cast<unsigned>(m_text.size()); }
    unsigned tcharLength() const { return length(); }
    ACHAR getAt(unsigned index) const { return index < m_text.size() ? m_text[index] : 0; }
    AcString& setEmpty() {
        m_text.clear();
        return *this;
    }

    // Exact comparison, and one without regard to case; < 0, 0 or > 0.
    int compare(const ACHAR* other) const { return std::wcscmp(kwszPtr(), other ? other : L""); }
    int compareNoCase(const ACHAR* other) const;
    bool isEqual(const ACHAR* other) const { return compare(other) == 0; }

    AcString& operator=(const ACHAR* text) {
        m_text = text ? text : L"";
        return *this;
    }
    AcString& operator+=(const ACHAR* text) {
        m_text += text ? text : L"";
        return *this;
    }
    AcString& operator+=(const AcString& text) {
        m_text += text.m_text;
        return *this;
    }
    AcString& operator+=(ACHAR ch) {
        m_text += ch;
        return *this;
    }
    friend AcString operator+(const AcString& a, const AcString& b) {
        return AcString(a.m_text + b.m_text);
    }
    friend bool operator==(const AcString& a, const AcString& b) { return a.m_text == b.m_text; }
    friend bool operator!=(const AcString& a, const AcString& b) { return a.m_text != b.m_text; }
    friend bool operator==(const AcString& a, const ACHAR* b) { return a.compare(b) == 0; }
    friend bool operator!=(const AcString& a, const ACHAR* b) { return a.compare(b) != 0; }

    const std::wstring& str() const { return m_text; }

private:
    std::wstring m_text;
};

// The error-text argument for callers that do not want the text.
AcString& dummyString();
