// CString: the host framework's wide string, with its operations and their edge rules.
#pragma once

#include <cstdarg>
#include <string>

#include "windows.h"

class CString {
public:
    typedef wchar_t XCHAR;
    typedef const wchar_t* PCXSTR;

    CString() = default;
    CString(const wchar_t* text) : m_text(text ? text : L"") {}
    CString(const wchar_t* text, int length)
        : m_text(text ? std::wstring(text, length > 0 ? length : 0) : std::wstring()) {}
    CString(wchar_t ch, int repeat = 1) : m_text(repeat > 0 ? repeat : 0, ch) {}
    CString(const char* text); // narrow text is decoded as the host would
    CString(const std::wstring& text) : m_text(text) {}

    int GetLength() const { return static_cast<int>(m_text.size()); }
    bool IsEmpty() const { return m_text.empty(); }
    void Empty() { m_text.clear(); }
    const wchar_t* GetString() const { return m_text.c_str(); }
    operator const wchar_t*() const { return m_text.c_str(); }
    const std::wstring& str() const { return m_text; }

    wchar_t GetAt(int index) const;
    void SetAt(int index, wchar_t ch);
    wchar_t operator[](int index) const { return GetAt(index); }

    // GetBuffer gives room for at least minLength characters plus the terminator;
    // ReleaseBuffer(-1) takes the length up to the first zero.
    wchar_t* GetBuffer(int minLength = 0);
    wchar_t* GetBufferSetLength(int length);
    void ReleaseBuffer(int newLength = -1);

    CString& operator=(const wchar_t* text) {
        m_text = text ? text : L"";
        return *this;
    }
    CString& operator=(wchar_t ch) {
        m_text.assign(1, ch);
        return *this;
    }
    CString& operator+=(const CString& other) {
        m_text += other.m_text;
        return *this;
    }
    CString& operator+=(const wchar_t* text) {
        if (text)
            m_text += text;
        return *this;
    }
    CString& operator+=(wchar_t ch) {
        m_text += ch;
        return *this;
    }
    void Append(const wchar_t* text) { *this += text; }
    void AppendChar(wchar_t ch) { m_text += ch; }

    void Format(const wchar_t* format, ...);
    void FormatV(const wchar_t* format, va_list args);
    void AppendFormat(const wchar_t* format, ...);

    int Compare(const wchar_t* text) const;
    int CompareNoCase(const wchar_t* text) const;

    int Find(wchar_t ch, int start = 0) const;
    int Find(const wchar_t* sub, int start = 0) const;
    int ReverseFind(wchar_t ch) const;
    int FindOneOf(const wchar_t* chars) const;

    CString Left(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;
    CString Right(int count) const;
    CString SpanIncluding(const wchar_t* chars) const;
    CString SpanExcluding(const wchar_t* chars) const;
    // Skips leading delimiters and returns the next token; past the last token it returns an
    // empty text and sets start to -1. Empty fields between delimiters are never returned.
    CString Tokenize(const wchar_t* delimiters, int& start) const;

    CString& Trim();
    CString& Trim(wchar_t ch);
    CString& Trim(const wchar_t* chars);
    CString& TrimLeft();
    CString& TrimLeft(wchar_t ch);
    CString& TrimLeft(const wchar_t* chars);
    CString& TrimRight();
    CString& TrimRight(wchar_t ch);
    CString& TrimRight(const wchar_t* chars);
    CString& MakeUpper();
    CString& MakeLower();
    CString& MakeReverse();
    int Replace(wchar_t from, wchar_t to);
    int Replace(const wchar_t* from, const wchar_t* to);
    int Remove(wchar_t ch);
    int Insert(int index, wchar_t ch);
    int Insert(int index, const wchar_t* text);
    int Delete(int index, int count = 1);

    friend CString operator+(const CString& a, const CString& b) {
        return CString(a.m_text + b.m_text);
    }
    friend CString operator+(const CString& a, const wchar_t* b) {
        return CString(a.m_text + (b ? b : L""));
    }
    friend CString operator+(const wchar_t* a, const CString& b) {
        return CString((a ? std::wstring(a) : std::wstring()) + b.m_text);
    }
    friend CString operator+(const CString& a, wchar_t b) { return CString(a.m_text + b); }
    friend CString operator+(wchar_t a, const CString& b) { return CString(a + b.m_text); }
    friend bool operator==(const CString& a, const CString& b) { return a.m_text == b.m_text; }
    friend bool operator==(const CString& a, const wchar_t* b) { return a.Compare(b) == 0; }
    friend bool operator==(const wchar_t* a, const CString& b) { return b.Compare(a) == 0; }
    friend bool operator!=(const CString& a, const CString& b) { return !(a == b); }
    friend bool operator!=(const CString& a, const wchar_t* b) { return !(a == b); }
    friend bool operator!=(const wchar_t* a, const CString& b) { return !(b == a); }
    friend bool operator<(const CString& a, const CString& b) { return a.m_text < b.m_text; }

private:
    std::wstring m_text;
};

typedef CString CStringW;
