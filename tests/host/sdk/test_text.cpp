// The framework's text classes and the platform's wide printf, as the plug-in relies on them.
#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "afx.h"
#include "sdk/WideFormat.h"
#include "windows.h"

namespace {

CString format(const wchar_t* f, auto... args) {
    CString s;
    s.Format(f, args...);
    return s;
}

TEST(WideFormat, PercentSIsAWideStringAndCapitalSANarrowOne) {
    EXPECT_EQ(format(L"[%s]", L"wide"), L"[wide]");
    EXPECT_EQ(format(L"[%S]", "narrow"), L"[narrow]");
    EXPECT_EQ(format(L"[%ls|%hs]", L"a", "b"), L"[a|b]");
    EXPECT_EQ(format(L"%s", static_cast<const wchar_t*>(nullptr)), L"(null)");
    EXPECT_EQ(format(L"[%-6s][%6s][%.2s]", L"ab", L"cd", L"xyz"), L"[ab    ][    cd][xy]");
    EXPECT_EQ(format(L"%s", L"\u00e9\u4e2d"), L"\u00e9\u4e2d");
}

TEST(WideFormat, NumbersCharactersAndPercent) {
    EXPECT_EQ(format(L"%d %ld %i", -5, 123456L, 7), L"-5 123456 7");
    EXPECT_EQ(format(L"%g %g %g %g", 1.5, 0.0001, 1e20, 100000.0), L"1.5 0.0001 1e+20 100000");
    EXPECT_EQ(format(L"%c%c%c%d", L'$', 65, L'$', 12), L"$A$12");
    EXPECT_EQ(format(L"%x %X %08lx %0lX", 255u, 255u, 0xABCUL, 0x1FUL), L"ff FF 00000abc 1F");
    EXPECT_EQ(format(L"100%%"), L"100%");
    EXPECT_EQ(format(L"%5.1f|%-4d|%+d", 3.14159, 7, 3), L"  3.1|7   |+3");
    EXPECT_EQ(format(L"%I64d %u", static_cast<long long>(1) << 40, 4000000000u),
              L"1099511627776 4000000000");
}

TEST(WideFormat, MalformedFormatsAreCopiedNotCrashed) {
    EXPECT_EQ(format(L"tail %"), L"tail %");
    EXPECT_EQ(format(L"%q"), L"%q");
    std::wstring huge(100000, L'x');
    EXPECT_EQ(format(L"%s!", huge.c_str()).GetLength(), 100001);
}

TEST(CString, MidLeftRightClampLikeTheFramework) {
    CString s(L"abcdef");
    EXPECT_EQ(s.Left(2), L"ab");
    EXPECT_EQ(s.Left(-1), L"");
    EXPECT_EQ(s.Left(99), L"abcdef");
    EXPECT_EQ(s.Mid(2), L"cdef");
    EXPECT_EQ(s.Mid(2, 2), L"cd");
    EXPECT_EQ(s.Mid(-3, 2), L"ab");
    EXPECT_EQ(s.Mid(4, 99), L"ef");
    EXPECT_EQ(s.Mid(10), L"");
    EXPECT_EQ(s.Right(2), L"ef");
    EXPECT_EQ(s.Right(99), L"abcdef");
}

TEST(CString, FindAndCompare) {
    CString s(L"Table(2F).$A$1");
    EXPECT_EQ(s.Find(L'('), 5);
    EXPECT_EQ(s.Find(L"$A"), 10);
    EXPECT_EQ(s.Find(L'$', 11), 12);
    EXPECT_EQ(s.Find(L'x'), -1);
    EXPECT_EQ(s.Find(L'T', 99), -1);
    EXPECT_EQ(s.ReverseFind(L'$'), 12);
    EXPECT_EQ(CString(L"abc").CompareNoCase(L"ABC"), 0);
    EXPECT_LT(CString(L"abc").Compare(L"abd"), 0);
    EXPECT_GT(CString(L"b").CompareNoCase(L"A"), 0);
}

TEST(CString, TokenizeSkipsEmptyFieldsAndEndsWithMinusOne) {
    CString s(L"**a.xlsx**Sheet1*$B$4*");
    int pos = 0;
    std::vector<std::wstring> tokens;
    for (CString t = s.Tokenize(L"*", pos); pos != -1; t = s.Tokenize(L"*", pos))
        tokens.push_back(t.GetString());
    EXPECT_EQ(tokens, (std::vector<std::wstring>{L"a.xlsx", L"Sheet1", L"$B$4"}));
    pos = 0;
    EXPECT_EQ(CString(L"***").Tokenize(L"*", pos), L"");
    EXPECT_EQ(pos, -1);
    pos = 0;
    EXPECT_EQ(CString(L"").Tokenize(L"*", pos), L"");
    EXPECT_EQ(pos, -1);
}

TEST(CString, TrimCaseReplaceAndBuffers) {
    CString s(L"  x y \t\n");
    EXPECT_EQ(s.Trim(), L"x y");
    CString u(L"ab$c");
    EXPECT_EQ(u.MakeUpper(), L"AB$C");
    CString r(L"a-b-c");
    EXPECT_EQ(r.Replace(L"-", L"--"), 2);
    EXPECT_EQ(r, L"a--b--c");
    CString b;
    wchar_t* p = b.GetBuffer(10);
    wcscpy(p, L"hi");
    b.ReleaseBuffer();
    EXPECT_EQ(b, L"hi");
    EXPECT_EQ(b.GetLength(), 2);
}

TEST(CArray, GrowsByAnEighthBetweenFourAnd1024) {
    CArray<int, int> a;
    a.Add(1);
    EXPECT_EQ(a.GetAllocatedSize(), 1); // the first allocation is exactly what is needed
    a.Add(2);
    EXPECT_EQ(a.GetAllocatedSize(), 5); // then at least 4 more
    for (int i = 0; i < 3; ++i)
        a.Add(i);
    a.Add(9);
    EXPECT_EQ(a.GetAllocatedSize(), 9);
    CArray<int, int> big;
    big.SetSize(80);
    big.Add(0);
    EXPECT_EQ(big.GetAllocatedSize(), 90); // 80 / 8
    CArray<int, int> huge;
    huge.SetSize(20000);
    huge.Add(0);
    EXPECT_EQ(huge.GetAllocatedSize(), 21024); // capped at 1024
    EXPECT_THROW(huge.GetAt(20001), CInvalidArgException);
}

TEST(CArray, InsertRemoveAndCopyKeepOrder) {
    CStringArray a;
    a.Add(L"a");
    a.Add(L"c");
    a.InsertAt(1, L"b");
    a.Add(a[0]); // an element of the array itself
    ASSERT_EQ(a.GetSize(), 4);
    EXPECT_EQ(a[1], L"b");
    EXPECT_EQ(a[3], L"a");
    a.RemoveAt(0, 2);
    EXPECT_EQ(a[0], L"c");
    CStringArray b;
    b.Copy(a);
    a.RemoveAll();
    EXPECT_EQ(b.GetSize(), 2);
    EXPECT_TRUE(a.IsEmpty());
}

// An array of arrays grows by handing its rows over: each keeps its texts, and the buffer of
// a row's texts is the same one after the growth.
TEST(CArray, ArraysOfArraysGrowByMovingTheirRows) {
    CArray<CStringArray, CStringArray&> rows;
    CStringArray first;
    first.Add(L"a");
    first.Add(L"b");
    rows.Add(first);
    const CString* texts = rows[0].GetData();
    for (int i = 0; i < 100; ++i) {
        CStringArray row;
        row.Add(CString(std::to_wstring(i).c_str()));
        rows.Add(row);
    }
    EXPECT_GT(rows.GetAllocatedSize(), 5);
    EXPECT_EQ(rows[0].GetData(), texts);
    EXPECT_EQ(rows[0][1], L"b");
    EXPECT_EQ(rows[100][0], L"99");
    CArray<CStringArray, CStringArray&> taken(std::move(rows));
    EXPECT_TRUE(rows.IsEmpty());
    EXPECT_EQ(taken.GetSize(), 101);
    rows = std::move(taken);
    EXPECT_EQ(rows[50][0], L"49");
    EXPECT_EQ(taken.GetSize(), 0);
}

TEST(CRuntime, NamesCompareWithoutCaseOnlyForLetters) {
    EXPECT_EQ(_wcsicmp(L"Sheet1", L"SHEET1"), 0);
    EXPECT_LT(_wcsicmp(L"abc", L"ABD"), 0);
    EXPECT_GT(_wcsicmp(L"Z", L"a"), 0);
    EXPECT_LT(_wcsicmp(L"ab", L"AB1"), 0);
    // The characters next to the letters keep their place.
    EXPECT_NE(_wcsicmp(L"[", L"{"), 0);
    EXPECT_NE(_wcsicmp(L"@", L"`"), 0);
    EXPECT_LT(_wcsicmp(L"_", L"a"), 0); // '_' sorts before letters made lower case
    EXPECT_EQ(_wcsnicmp(L"SheetX", L"sheety", 5), 0);
    EXPECT_NE(_wcsnicmp(L"SheetX", L"sheety", 6), 0);
    // Letters beyond ASCII follow the program's UTF-8 locale.
    std::string before = std::setlocale(LC_CTYPE, nullptr);
    if (std::setlocale(LC_CTYPE, "C.UTF-8")) {
        EXPECT_EQ(_wcsicmp(L"\u00c9TAGE", L"\u00e9tage"), 0);
        EXPECT_EQ(_wcsicmp(L"\u0394", L"\u03b4"), 0);
        EXPECT_NE(_wcsicmp(L"\u00e9", L"e"), 0);
    }
    std::setlocale(LC_CTYPE, before.c_str());
}

TEST(CRuntime, WtoiReadsLikeTheHostRuntime) {
    EXPECT_EQ(_wtoi(L"  42abc"), 42);
    EXPECT_EQ(_wtoi(L"-7"), -7);
    EXPECT_EQ(_wtoi(L"+3"), 3);
    EXPECT_EQ(_wtoi(L"abc"), 0);
    EXPECT_EQ(_wtoi(L""), 0);
    EXPECT_EQ(_wtoi(L"99999999999999"), 2147483647);
    EXPECT_EQ(_wtoi(L"-99999999999999"), -2147483647 - 1);
    EXPECT_EQ(_wtol(L"12$"), 12);
    wchar_t buffer[4];
    EXPECT_EQ(swprintf_s(buffer, 4, L"%d", 12345), -1);
    EXPECT_EQ(buffer[0], L'\0');
    EXPECT_EQ(swprintf_s(buffer, 4, L"%s", L"ab"), 2);
    EXPECT_STREQ(buffer, L"ab");
}

} // namespace
