// The stored link texts and link names: what one part of the plug-in writes, the others read
// back the same way, and the two table readings stay as different as users have met them.
#include <gtest/gtest.h>

#include "links/LinkText.h"

namespace {

std::wstring str(const CString& text) {
    return static_cast<const wchar_t*>(text);
}

TEST(LinkNames, EachFormReadsBackAsTheTargetItWasComposedFrom) {
    LinkName parameter = parseLinkName(L"width");
    EXPECT_EQ(parameter.kind, LinkName::Parameter);
    EXPECT_EQ(str(parameter.name), L"width");
    EXPECT_TRUE(parameter.handle.IsEmpty());

    // Only the first "." splits: a property name may hold more of them.
    LinkName property = parseLinkName(propertyLinkName(L"1A", L"Door.Width"));
    EXPECT_EQ(property.kind, LinkName::Property);
    EXPECT_EQ(str(property.handle), L"1A");
    EXPECT_EQ(str(property.name), L"Door.Width");

    LinkName nested = parseLinkName(nestedLinkName(L"2F", L"13", L"Panels"));
    EXPECT_EQ(nested.kind, LinkName::NestedProperty);
    EXPECT_EQ(str(nested.handle), L"2F");
    EXPECT_EQ(str(nested.nestedHandle), L"13");
    EXPECT_EQ(str(nested.name), L"Panels");

    // A "|" behind the dot belongs to the property name.
    LinkName bar = parseLinkName(L"2F.a|b");
    EXPECT_EQ(bar.kind, LinkName::Property);
    EXPECT_EQ(str(bar.name), L"a|b");
}

TEST(StoredTexts, SplitAtTheFirstColonSoADriveLetterStaysInThePath) {
    CString left, expression;
    ASSERT_TRUE(
        splitLinkText(composeDirectLinkText(L"Width", L"C:\\d\\a.xlsx*S*$B$2"), left, expression));
    EXPECT_EQ(str(left), L"Width");
    EXPECT_EQ(str(expression), L"C:\\d\\a.xlsx*S*$B$2");
    // No name before the colon, or no colon at all: no link.
    EXPECT_FALSE(splitLinkText(L":a.xlsx*S*$B$2", left, expression));
    EXPECT_FALSE(splitLinkText(L"Width", left, expression));
}

TEST(StoredTexts, NestedTextsCarryTheNestedHandleBeforeTheProperty) {
    CString left, expression, handle, property;
    ASSERT_TRUE(
        splitLinkText(composeNestedLinkText(L"13", L"Panels", L"Table(F).$B$8"), left, expression));
    EXPECT_EQ(str(left), std::wstring(L"13") + kNestedSeparator + L"Panels");
    EXPECT_TRUE(splitNestedPart(left, handle, property));
    EXPECT_EQ(str(handle), L"13");
    EXPECT_EQ(str(property), L"Panels");
    EXPECT_EQ(str(expression), L"Table(F).$B$8");
    // Without the separator the whole left part is the property, and there is no handle.
    EXPECT_FALSE(splitNestedPart(L"Panels", handle, property));
    EXPECT_TRUE(handle.IsEmpty());
    EXPECT_EQ(str(property), L"Panels");
}

TEST(TableExpressions, TheUpdatesPatternHeedsCaseTheLiveRefreshsPrefixDoesNot) {
    CString handle, address;
    ASSERT_TRUE(matchTableExpression(L"Table(1F).$B$2", handle, address));
    EXPECT_EQ(str(handle), L"1F");
    EXPECT_EQ(str(address), L"$B$2");
    ASSERT_TRUE(tableAddressOf(L"Table(1F).$B$2", L"1F", address));
    EXPECT_EQ(str(address), L"$B$2");

    EXPECT_FALSE(matchTableExpression(L"table(1f).$B$2", handle, address));
    ASSERT_TRUE(tableAddressOf(L"table(1f).$b$2", L"1F", address));
    EXPECT_EQ(str(address), L"$b$2");

    // The pattern finds the form inside longer text; the prefix only at the start.
    ASSERT_TRUE(matchTableExpression(L"see Table(1F).$B$2 here", handle, address));
    EXPECT_EQ(str(address), L"$B$2");
    EXPECT_FALSE(tableAddressOf(L"see Table(1F).$B$2", L"1F", address));
    EXPECT_FALSE(tableAddressOf(L"Table(1F0).$B$2", L"1F", address));
}

TEST(WorkbookExpressions, RunsOfAsterisksAreOneSeparator) {
    CString fields[4] = {L"stale", L"stale", L"stale", L"stale"};
    splitWorkbookExpression(L"**a.xlsx**$B$2", fields);
    EXPECT_EQ(str(fields[0]), L"a.xlsx");
    EXPECT_EQ(str(fields[1]), L"$B$2");
    EXPECT_TRUE(fields[2].IsEmpty());
    EXPECT_TRUE(fields[3].IsEmpty());

    splitWorkbookExpression(L"a.xlsx*Sheet 1*$B$2*1/2/2024*more", fields);
    EXPECT_EQ(str(fields[1]), L"Sheet 1");
    EXPECT_EQ(str(fields[3]), L"1/2/2024");
}

} // namespace
