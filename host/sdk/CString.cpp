#include <algorithm>
#include <cwchar>
#include <cwctype>

#include "WideFormat.h"
#include "afx.h"

CString::CString(const char* text) : m_text(lmhost::widen(text)) {}

wchar_t CString::GetAt(int index) const {
    if (index < 0 || index >= GetLength())
        throw CInvalidArgException();
    return m_text[index];
}

void CString::SetAt(int index, wchar_t ch) {
    if (index < 0 || index >= GetLength())
        throw CInvalidArgException();
    m_text[index] = ch;
}

wchar_t* CString::GetBuffer(int minLength) {
    if (minLength > GetLength())
        m_text.resize(minLength, L'\0');
    return m_text.data();
}

wchar_t* CString::GetBufferSetLength(int length) {
    m_text.resize(length > 0 ? length : 0, L'\0');
    return m_text.data();
}

void CString::ReleaseBuffer(int newLength) {
    if (newLength < 0)
        newLength = static_cast<int>(std::wcslen(m_text.c_str()));
    m_text.resize(std::min<size_t>(newLength, m_text.size()));
}

void CString::Format(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    m_text = lmhost::formatWideV(format, args);
    va_end(args);
}

void CString::FormatV(const wchar_t* format, va_list args) {
    m_text = lmhost::formatWideV(format, args);
}

void CString::AppendFormat(const wchar_t* format, ...) {
    va_list args;
    va_start(args, format);
    m_text += lmhost::formatWideV(format, args);
    va_end(args);
}

int CString::Compare(const wchar_t* text) const {
    return std::wcscmp(m_text.c_str(), text ? text : L"");
}

int CString::CompareNoCase(const wchar_t* text) const {
    return _wcsicmp(m_text.c_str(), text ? text : L"");
}

int CString::Find(wchar_t ch, int start) const {
    if (start < 0 || start > GetLength())
        return -1;
    size_t at = m_text.find(ch, start);
    return at == std::wstring::npos ? -1 : static_cast<int>(at);
}

int CString::Find(const wchar_t* sub, int start) const {
    if (!sub || start < 0 || start > GetLength())
        return -1;
    size_t at = m_text.find(sub, start);
    return at == std::wstring::npos ? -1 : static_cast<int>(at);
}

int CString::ReverseFind(wchar_t ch) const {
    size_t at = m_text.rfind(ch);
    return at == std::wstring::npos ? -1 : static_cast<int>(at);
}

int CString::FindOneOf(const wchar_t* chars) const {
    size_t at = m_text.find_first_of(chars ? chars : L"");
    return at == std::wstring::npos ? -1 : static_cast<int>(at);
}

CString CString::Left(int count) const {
    count = std::clamp(count, 0, GetLength());
    return CString(m_text.substr(0, count));
}

CString CString::Mid(int first) const {
    return Mid(first, GetLength() - std::max(first, 0));
}

// Out-of-range arguments are clamped, as the framework does, never an error.
CString CString::Mid(int first, int count) const {
    if (first < 0)
        first = 0;
    if (count < 0)
        count = 0;
    if (first > GetLength())
        return CString();
    if (count > GetLength() - first)
        count = GetLength() - first;
    return CString(m_text.substr(first, count));
}

CString CString::Right(int count) const {
    count = std::clamp(count, 0, GetLength());
    return CString(m_text.substr(m_text.size() - count));
}

CString CString::SpanIncluding(const wchar_t* chars) const {
    size_t n = std::wcsspn(m_text.c_str(), chars ? chars : L"");
    return Left(static_cast<int>(n));
}

CString CString::SpanExcluding(const wchar_t* chars) const {
    size_t n = std::wcscspn(m_text.c_str(), chars ? chars : L"");
    return Left(static_cast<int>(n));
}

CString CString::Tokenize(const wchar_t* delimiters, int& start) const {
    if (start < 0)
        throw CInvalidArgException();
    if (!delimiters || !*delimiters) {
        // No delimiters: the rest of the text, with start left where it was.
        if (start < GetLength())
            return CString(m_text.substr(start));
    } else if (start < GetLength()) {
        const wchar_t* place = m_text.c_str() + start;
        size_t including = std::wcsspn(place, delimiters);
        if (start + static_cast<int>(including) < GetLength()) {
            place += including;
            size_t excluding = std::wcscspn(place, delimiters);
            int from = start + static_cast<int>(including);
            start = from + static_cast<int>(excluding) + 1;
            return Mid(from, static_cast<int>(excluding));
        }
    }
    start = -1;
    return CString();
}

namespace {
bool isTrimSpace(wchar_t c) {
    return std::iswspace(c) != 0;
}
} // namespace

CString& CString::Trim() {
    return TrimRight().TrimLeft();
}
CString& CString::Trim(wchar_t ch) {
    return TrimRight(ch).TrimLeft(ch);
}
CString& CString::Trim(const wchar_t* chars) {
    return TrimRight(chars).TrimLeft(chars);
}

CString& CString::TrimLeft() {
    size_t i = 0;
    while (i < m_text.size() && isTrimSpace(m_text[i]))
        ++i;
    m_text.erase(0, i);
    return *this;
}

CString& CString::TrimLeft(wchar_t ch) {
    size_t i = 0;
    while (i < m_text.size() && m_text[i] == ch)
        ++i;
    m_text.erase(0, i);
    return *this;
}

CString& CString::TrimLeft(const wchar_t* chars) {
    if (chars && *chars)
        m_text.erase(0, std::wcsspn(m_text.c_str(), chars));
    return *this;
}

CString& CString::TrimRight() {
    while (!m_text.empty() && isTrimSpace(m_text.back()))
        m_text.pop_back();
    return *this;
}

CString& CString::TrimRight(wchar_t ch) {
    while (!m_text.empty() && m_text.back() == ch)
        m_text.pop_back();
    return *this;
}

CString& CString::TrimRight(const wchar_t* chars) {
    if (chars && *chars)
        while (!m_text.empty() && std::wcschr(chars, m_text.back()))
            m_text.pop_back();
    return *this;
}

CString& CString::MakeUpper() {
    for (wchar_t& c : m_text)
        c = static_cast<wchar_t>(std::towupper(c));
    return *this;
}

CString& CString::MakeLower() {
    for (wchar_t& c : m_text)
        c = static_cast<wchar_t>(std::towlower(c));
    return *this;
}

CString& CString::MakeReverse() {
    std::reverse(m_text.begin(), m_text.end());
    return *this;
}

int CString::Replace(wchar_t from, wchar_t to) {
    int n = 0;
    if (from == to)
        return 0;
    for (wchar_t& c : m_text)
        if (c == from) {
            c = to;
            ++n;
        }
    return n;
}

int CString::Replace(const wchar_t* from, const wchar_t* to) {
    if (!from || !*from)
        return 0;
    std::wstring f(from), t(to ? to : L"");
    int n = 0;
    size_t at = 0;
    while ((at = m_text.find(f, at)) != std::wstring::npos) {
        m_text.replace(at, f.size(), t);
        at += t.size();
        ++n;
    }
    return n;
}

int CString::Remove(wchar_t ch) {
    size_t before = m_text.size();
    m_text.erase(std::remove(m_text.begin(), m_text.end(), ch), m_text.end());
    return static_cast<int>(before - m_text.size());
}

int CString::Insert(int index, wchar_t ch) {
    index = std::clamp(index, 0, GetLength());
    m_text.insert(m_text.begin() + index, ch);
    return GetLength();
}

int CString::Insert(int index, const wchar_t* text) {
    index = std::clamp(index, 0, GetLength());
    if (text)
        m_text.insert(index, text);
    return GetLength();
}

int CString::Delete(int index, int count) {
    if (index < 0)
        index = 0;
    if (count > 0 && index < GetLength())
        m_text.erase(index, std::min(count, GetLength() - index));
    return GetLength();
}
