#include "support/PatternMatcher.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

const wchar_t* const kTablePattern = L"Table\\({[a-zA-Z0-9]+}\\)\\.{[a-zA-Z0-9\\$]+}";

struct Outcome {
    int error = -1;
    int matched = 0;
    std::wstring whole;
    std::size_t at = 0;
    std::vector<std::optional<std::wstring>> groups;
};

Outcome MatchIn(const wchar_t* pattern, const std::wstring& text) {
    Outcome out;
    PatternMatcher matcher;
    out.error = matcher.Parse(pattern);
    PatternMatchContext context;
    out.matched = matcher.Match(text.c_str(), &context);
    if (!out.matched)
        return out;
    out.at = static_cast<std::size_t>(context.GetMatchStart() - text.c_str());
    out.whole.assign(context.GetMatchStart(), context.GetMatchEnd());
    for (unsigned g = 0; g < context.GetGroupCount(); ++g) {
        const wchar_t* start = nullptr;
        const wchar_t* end = nullptr;
        context.GetMatch(g, &start, &end);
        out.groups.push_back(start ? std::optional<std::wstring>(std::wstring(start, end))
                                   : std::nullopt);
    }
    return out;
}

std::wstring Whole(const wchar_t* pattern, const std::wstring& text) {
    Outcome out = MatchIn(pattern, text);
    return out.matched ? out.whole : L"<no match>";
}

int ParseError(const wchar_t* pattern) {
    PatternMatcher matcher;
    return matcher.Parse(pattern);
}

std::vector<std::pair<PatternOp, std::uint64_t>> Program(const wchar_t* pattern) {
    PatternMatcher matcher;
    EXPECT_EQ(matcher.Parse(pattern), 0)
        << "pattern: " << std::string(pattern, pattern + wcslen(pattern));
    std::vector<std::pair<PatternOp, std::uint64_t>> program;
    for (std::size_t i = 0; i < matcher.GetInstructionCount(); ++i)
        program.emplace_back(matcher.GetInstruction(i).op, matcher.GetInstruction(i).operand);
    return program;
}

} // namespace

TEST(PatternSyntax, TablePatternFindsTheExpressionInsideLongerText) {
    Outcome out = MatchIn(kTablePattern, L"xTable(1A).$B$2 y");
    ASSERT_EQ(out.matched, 1);
    EXPECT_EQ(out.whole, L"Table(1A).$B$2");
    EXPECT_EQ(out.at, 1u);
    ASSERT_EQ(out.groups.size(), 2u);
    EXPECT_EQ(out.groups[0], L"1A");
    EXPECT_EQ(out.groups[1], L"$B$2");
    // The address set takes lower-case letters too, and + is greedy.
    EXPECT_EQ(MatchIn(kTablePattern, L"xTable(1A).$B$2y").groups[1], L"$B$2y");
    EXPECT_EQ(MatchIn(kTablePattern, L"table(1F).$B$2").matched, 0);
    EXPECT_EQ(MatchIn(kTablePattern, L"Table(1F).B2").groups[1], L"B2");
    EXPECT_EQ(MatchIn(kTablePattern, L"Table().$B$2").matched, 0);
}

TEST(PatternSyntax, AlternationBindsTighterThanConcatenation) {
    EXPECT_EQ(Whole(L"ab|cd", L"abd"), L"abd");
    EXPECT_EQ(Whole(L"ab|cd", L"acd"), L"acd");
    EXPECT_EQ(Whole(L"ab|cd", L"ab"), L"<no match>");
    EXPECT_EQ(Whole(L"ab|cd", L"cd"), L"<no match>");
    EXPECT_EQ(Whole(L"(ab)|(cd)", L"xcd"), L"cd");
    EXPECT_EQ(Whole(L"a|b|c", L"xxc"), L"c");
}

TEST(PatternSyntax, StrayClosersAndDanglingBarsEndThePatternSilently) {
    EXPECT_EQ(Program(L"a)b"), Program(L"a"));
    EXPECT_EQ(Whole(L"a)b", L"xa"), L"a");
    EXPECT_EQ(Program(L"xa|"), Program(L"x"));
    EXPECT_EQ(Program(L"(a|)"), Program(L"()"));
    EXPECT_EQ(Program(L"(a|b|)c"), Program(L"()c"));
    // Operators with no term before them are plain characters.
    EXPECT_EQ(Whole(L"+", L"a+"), L"+");
    EXPECT_EQ(Whole(L"(*)(?)(|)", L"x*?|"), L"*?|");
    EXPECT_EQ(Whole(L"a*+", L"aa+"), L"aa+");
    EXPECT_EQ(Whole(L"|*x", L"a||x"), L"||x");
    // Here the bar has a term before it and nothing behind: the pattern is empty.
    EXPECT_EQ(Whole(L"*+?|", L"x*+?|"), L"");
    EXPECT_EQ(Whole(L"a^", L"a^"), L"a^");
}

TEST(PatternSyntax, DollarIsTheEndOnlyAsTheLastCharacter) {
    EXPECT_EQ(Whole(L"a$", L"ba"), L"a");
    EXPECT_EQ(Whole(L"a$", L"ab"), L"<no match>");
    EXPECT_EQ(Whole(L"a$b", L"xa$b"), L"a$b");
    EXPECT_EQ(Whole(L"$", L"abc"), L"<no match>");
    EXPECT_EQ(Whole(L"b$", L"ab"), L"b");
}

TEST(PatternSyntax, CaretAnchorsOnlyAtTheFirstPosition) {
    EXPECT_EQ(Whole(L"^b", L"ab"), L"<no match>");
    EXPECT_EQ(Whole(L"^a", L"ab"), L"a");
    Outcome out = MatchIn(L"b", L"ab");
    EXPECT_EQ(out.at, 1u);
}

TEST(PatternSyntax, SetsRangesAndEscapes) {
    EXPECT_EQ(Whole(L"[a-]", L"a"), L"<no match>");
    EXPECT_EQ(Whole(L"[-a]+", L"x-a-"), L"-a-");
    EXPECT_EQ(Whole(L"[\\t]", L"a\tb"), L"\t");
    EXPECT_EQ(Whole(L"\\t", L"a\tb"), L"<no match>");
    EXPECT_EQ(Whole(L"\\t", L"at"), L"t");
    EXPECT_EQ(Whole(L"[^a-c]", L"abcd"), L"d");
    EXPECT_EQ(Whole(L"[^a]", L"a"), L"<no match>");
    EXPECT_EQ(Whole(L"[\\]]", L"x]"), L"]");
    EXPECT_EQ(Whole(L"\\(\\.", L"(."), L"(.");
    EXPECT_EQ(Whole(L"[\u00e0-\u00f6]+", L"x\u00e9\u00e8y"), L"\u00e9\u00e8");
}

TEST(PatternSyntax, Abbreviations) {
    EXPECT_EQ(Whole(L"\\d+", L"ab123c"), L"123");
    EXPECT_EQ(Whole(L"\\a*", L"x1_"), L"x1");
    EXPECT_EQ(Whole(L"\\w", L"12ab3"), L"ab");
    EXPECT_EQ(Whole(L"\\z", L"ab12c"), L"12");
    EXPECT_EQ(Whole(L"\\h+", L"xx1Fg"), L"1F");
    EXPECT_EQ(Whole(L"\\c", L"1b"), L"b");
    EXPECT_EQ(Whole(L"a\\bb", L"a\tb"), L"a\tb");
    EXPECT_EQ(Whole(L"a\\nb", L"a\r\nb"), L"a\r\nb");
    EXPECT_EQ(Whole(L"a\\nb", L"a\nb"), L"a\nb");
    // Only the double-quoted alternative of \q ever takes effect.
    EXPECT_EQ(Whole(L"\\q", L"say \"x\""), L"\"x\"");
    EXPECT_EQ(Whole(L"\\q", L"say 'x'"), L"<no match>");
}

TEST(PatternErrors, EveryCompileErrorHasItsCode) {
    EXPECT_EQ(ParseError(nullptr), kPatternNullInput);
    EXPECT_EQ(ParseError(L"{a"), kPatternBraceExpected);
    EXPECT_EQ(ParseError(L"{a)"), kPatternBraceExpected);
    EXPECT_EQ(ParseError(L"(a"), kPatternParenExpected);
    EXPECT_EQ(ParseError(L"(a}"), kPatternParenExpected);
    EXPECT_EQ(ParseError(L"[a-]"), kPatternBracketExpected);
    EXPECT_EQ(ParseError(L"[ab"), kPatternBracketExpected);
    EXPECT_EQ(ParseError(L"[\\"), kPatternBracketExpected);
    EXPECT_EQ(ParseError(L"[]"), kPatternEmptySet);
    EXPECT_EQ(ParseError(L"[^]"), kPatternEmptySet);
    EXPECT_EQ(ParseError(L"\\1"), kPatternBadGroup);
    EXPECT_EQ(ParseError(L"{a}\\1"), kPatternBadGroup);
    EXPECT_EQ(ParseError(L"\\0{a}"), kPatternBadGroup);
    EXPECT_EQ(ParseError(L"{a}\\99999999999999999999999"), kPatternBadGroup);
    EXPECT_EQ(ParseError(L"[z-a]"), kPatternReversedRange);
    EXPECT_EQ(ParseError(L"(a*)*"), kPatternEmptyRepeat);
    EXPECT_EQ(ParseError(L"()+"), kPatternEmptyRepeat);
    EXPECT_EQ(ParseError(L"(a+?)*"), kPatternEmptyRepeat);
    EXPECT_EQ(ParseError(L"(!a)+"), kPatternEmptyRepeat);
    EXPECT_EQ(ParseError(L"(a*)?"), kPatternOk);
    EXPECT_EQ(ParseError(L"(a+)+"), kPatternOk);
    EXPECT_EQ(ParseError(L""), kPatternOk);
}

TEST(PatternErrors, NestingBeyondTheLimitFailsInsteadOfExhaustingTheStack) {
    const int deep = PatternMatcher::kMaxNesting;
    std::wstring fits = std::wstring(deep, L'(') + L"a" + std::wstring(deep, L')');
    EXPECT_EQ(ParseError(fits.c_str()), kPatternOk);
    EXPECT_EQ(Whole(fits.c_str(), L"xa"), L"a");

    std::wstring tooDeep = L"(" + fits + L")";
    EXPECT_EQ(ParseError(tooDeep.c_str()), kPatternOutOfMemory);
    std::wstring million(1'000'000, L'(');
    EXPECT_EQ(ParseError(million.c_str()), kPatternOutOfMemory);
    std::wstring looks(1'000'000, L'!');
    EXPECT_EQ(ParseError(looks.c_str()), kPatternOutOfMemory);

    // An abbreviation nests two levels of its own; when it cannot, it is the one that failed.
    std::wstring abbreviation =
        std::wstring(deep - 1, L'(') + L"\\d" + std::wstring(deep - 1, L')');
    EXPECT_EQ(ParseError(abbreviation.c_str()), kPatternBadAbbreviation);
}

TEST(PatternErrors, ProgramsThatWouldExplodeAreRefused) {
    std::wstring doubling;
    for (int i = 0; i < 40; ++i)
        doubling = L"(" + doubling + L"a)+";
    EXPECT_EQ(ParseError(doubling.c_str()), kPatternOutOfMemory);

    PatternMatcher matcher;
    ASSERT_EQ(matcher.Parse(L"(a"), kPatternParenExpected);
    PatternMatchContext context;
    EXPECT_EQ(matcher.Match(L"a", &context), 0);
}

TEST(PatternGroups, AlternativeThatTookNoPartStaysEmpty) {
    Outcome out = MatchIn(L"{a}|{b}", L"b");
    ASSERT_EQ(out.matched, 1);
    ASSERT_EQ(out.groups.size(), 2u);
    EXPECT_EQ(out.groups[0], std::nullopt);
    EXPECT_EQ(out.groups[1], L"b");
}

TEST(PatternGroups, RepeatedGroupHoldsItsLastTurnAndBacktrackingRestoresTheEarlierOne) {
    EXPECT_EQ(MatchIn(L"{[a-c]}*", L"abc").groups[0], L"c");
    // The third turn takes the b that the final b needs; undoing it brings back the second a.
    Outcome out = MatchIn(L"{a|b}*b", L"aab");
    ASSERT_EQ(out.matched, 1);
    EXPECT_EQ(out.whole, L"aab");
    EXPECT_EQ(out.groups[0], L"a");
    // The second copy of a + loop fills the same group.
    Outcome plus = MatchIn(L"{\\d}+", L"x123");
    EXPECT_EQ(plus.groups.size(), 1u);
    EXPECT_EQ(plus.groups[0], L"3");
}

TEST(PatternGroups, BackReferences) {
    EXPECT_EQ(Whole(L"{\\a+}-\\0", L"ab-ab"), L"ab-ab");
    EXPECT_EQ(Whole(L"{\\a+}-\\0", L"xy-xz"), L"<no match>");
    EXPECT_EQ(Whole(L"{x*}y\\0z", L"yz"), L"yz");
    EXPECT_EQ(Whole(L"{x}|{y}\\0", L"y"), L"y");
}

TEST(PatternGroups, LookAheadLeavesNoGroupBehind) {
    Outcome out = MatchIn(L"!{a}.", L"ab");
    ASSERT_EQ(out.matched, 1);
    EXPECT_EQ(out.whole, L"b");
    EXPECT_EQ(out.groups[0], std::nullopt);
}

TEST(PatternGroups, GetMatchBeyondTheCountIsAnInvalidArgument) {
    PatternMatcher matcher;
    ASSERT_EQ(matcher.Parse(L"{a}"), 0);
    PatternMatchContext context;
    ASSERT_EQ(matcher.Match(L"a", &context), 1);
    const wchar_t* start = nullptr;
    const wchar_t* end = nullptr;
    try {
        context.GetMatch(1, &start, &end);
        FAIL() << "no exception";
    } catch (const PatternArgumentError& error) {
        EXPECT_EQ(error.Error(), static_cast<std::int32_t>(0x80070057u));
    }
    EXPECT_THROW(matcher.GetInstruction(matcher.GetInstructionCount()), PatternArgumentError);
}

TEST(PatternRepeats, GreedyAndNonGreedy) {
    EXPECT_EQ(Whole(L"a+", L"aaa"), L"aaa");
    EXPECT_EQ(Whole(L"a+?", L"aaa"), L"a");
    EXPECT_EQ(Whole(L"a*?b", L"aab"), L"aab");
    EXPECT_EQ(Whole(L"<.*>", L"<a><b>"), L"<a><b>");
    EXPECT_EQ(Whole(L"<.*?>", L"<a><b>"), L"<a>");
    // The leftmost start wins even where a lazy loop must take more than it first tried.
    EXPECT_EQ(Whole(L"a*?ab", L"aab"), L"aab");
    EXPECT_EQ(Whole(L"[ab]??bc", L"bbc"), L"bbc");
    EXPECT_EQ(Whole(L"x(ab)?", L"xab"), L"xab");
    EXPECT_EQ(Whole(L"x(ab)?b", L"xab"), L"<no match>");
    EXPECT_EQ(Whole(L"x(ab)?a", L"xab"), L"xa");
}

TEST(PatternRepeats, LazyOptionalSkipsOnlyASingleStep) {
    EXPECT_EQ(Whole(L"a??b", L"b"), L"b");
    EXPECT_EQ(Whole(L"a??b", L"ab"), L"ab");
    EXPECT_EQ(Whole(L"(ab)??c", L"c"), L"<no match>");
    EXPECT_EQ(Whole(L"(ab)??c", L"abc"), L"abc");
    EXPECT_EQ(Whole(L"{ab}??c", L"c"), L"<no match>");
}

TEST(PatternRepeats, LookAhead) {
    EXPECT_EQ(Whole(L"!a.", L"ab"), L"b");
    EXPECT_EQ(Whole(L"(!,.)+", L",abc,d"), L"abc");
    EXPECT_EQ(Whole(L"x!", L"x"), L"<no match>");
}

TEST(PatternRobustness, NullsAndEmptyInput) {
    PatternMatcher matcher;
    PatternMatchContext context;
    EXPECT_EQ(matcher.Match(L"a", &context), 0); // nothing compiled yet
    ASSERT_EQ(matcher.Parse(L"a"), 0);
    EXPECT_EQ(matcher.Match(nullptr, &context), 0);
    EXPECT_EQ(matcher.Match(L"a", nullptr), 0);
    EXPECT_EQ(matcher.Match(L"", &context), 0);
    EXPECT_EQ(Whole(L"x*", L""), L"");
}

TEST(PatternRobustness, EmptyLoopsOverBackReferencesEnd) {
    EXPECT_EQ(Whole(L"{}\\0*?x", L"aaaa"), L"<no match>");
    EXPECT_EQ(Whole(L"{}\\0+?a", L"ba"), L"a");
    EXPECT_EQ(Whole(L"{}(a|\\0)*c", L"aab"), L"<no match>");
    EXPECT_EQ(Whole(L"{}(a|\\0)*?c", L"aab"), L"<no match>");
}

TEST(PatternRobustness, ExponentialBacktrackingStopsAtTheStepLimit) {
    PatternMatcher matcher;
    ASSERT_EQ(matcher.Parse(L"((a|a)+)+b"), 0);
    matcher.SetStepLimit(200'000);
    PatternMatchContext context;
    EXPECT_EQ(matcher.Match(L"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaac", &context), 0);
    EXPECT_TRUE(context.LimitReached());
    EXPECT_EQ(matcher.Match(L"aab", &context), 1);
    EXPECT_FALSE(context.LimitReached());
}

TEST(PatternRobustness, MegabytePatternsAndTexts) {
    std::wstring pattern(1'000'000, L'a');
    std::wstring text = L"b" + pattern;
    EXPECT_EQ(MatchIn(pattern.c_str(), text).at, 1u);

    std::wstring controls;
    for (wchar_t ch = 1; ch < 0x20; ++ch)
        controls += ch;
    EXPECT_EQ(ParseError(controls.c_str()), kPatternOk);
    EXPECT_EQ(Whole(controls.c_str(), L"x" + controls), controls);

    std::wstring long_text(1'000'000, L'z');
    long_text += L"Table(2F4).$C$7";
    Outcome out = MatchIn(kTablePattern, long_text);
    ASSERT_EQ(out.matched, 1);
    EXPECT_EQ(out.groups[0], L"2F4");
    EXPECT_EQ(out.groups[1], L"$C$7");
}

namespace {

std::vector<std::wstring> Texts(const CStringArray& array) {
    std::vector<std::wstring> out;
    for (INT_PTR i = 0; i < array.GetSize(); ++i)
        out.emplace_back(array[i].GetString());
    return out;
}

CStringArray Holding(const wchar_t* text) {
    CStringArray array;
    array.Add(text);
    return array;
}

} // namespace

TEST(ApplyPattern, TakesATableExpressionApart) {
    CStringArray groups;
    EXPECT_EQ(ApplyPattern(CString(L"xTable(1A).$B$2 y"), CString(kTablePattern), groups), 1);
    EXPECT_EQ(Texts(groups), (std::vector<std::wstring>{L"1A", L"$B$2"}));

    EXPECT_EQ(ApplyPattern(CString(L"Table(2F4).$C$7"), CString(kTablePattern), groups), 1);
    EXPECT_EQ(Texts(groups), (std::vector<std::wstring>{L"2F4", L"$C$7"}));
    // Fits the pattern; that B2 is no absolute address is for the caller to find.
    EXPECT_EQ(ApplyPattern(CString(L"Table(1F).B2"), CString(kTablePattern), groups), 1);
    EXPECT_EQ(Texts(groups), (std::vector<std::wstring>{L"1F", L"B2"}));
}

TEST(ApplyPattern, NoMatchOrCompileErrorEmptiesTheArray) {
    CStringArray groups = Holding(L"old");
    EXPECT_EQ(ApplyPattern(CString(L"table(1F).$B$2"), CString(kTablePattern), groups), 0);
    EXPECT_EQ(groups.GetSize(), 0);
    groups = Holding(L"old");
    EXPECT_EQ(
        ApplyPattern(CString(L"C:\\Data\\sizes.xlsx*Sheet1*$B$4"), CString(kTablePattern), groups),
        0);
    EXPECT_EQ(groups.GetSize(), 0);
    groups = Holding(L"old");
    EXPECT_EQ(ApplyPattern(CString(L"abc"), CString(L"{a"), groups), 0);
    EXPECT_EQ(groups.GetSize(), 0);
}

TEST(ApplyPattern, EmptyTextOrPatternLeavesTheArrayAsItIs) {
    CStringArray groups = Holding(L"old");
    EXPECT_EQ(ApplyPattern(CString(), CString(kTablePattern), groups), 0);
    EXPECT_EQ(ApplyPattern(CString(L"Table(1).A1"), CString(), groups), 0);
    EXPECT_EQ(Texts(groups), std::vector<std::wstring>{L"old"});
}

TEST(ApplyPattern, GroupThatTookNoPartGivesAnEmptyEntry) {
    CStringArray groups;
    EXPECT_EQ(ApplyPattern(CString(L"b"), CString(L"{a}|{b}"), groups), 1);
    EXPECT_EQ(Texts(groups), (std::vector<std::wstring>{L"", L"b"}));
    EXPECT_EQ(ApplyPattern(CString(L"abc"), CString(L"b"), groups), 1);
    EXPECT_EQ(groups.GetSize(), 0);
}

TEST(ApplyPattern, EachCallUsesItsOwnPatternWhateverCameBefore) {
    CStringArray groups;
    EXPECT_EQ(ApplyPattern(CString(L"xTable(1A).$B$2 y"), CString(kTablePattern), groups), 1);
    EXPECT_EQ(Texts(groups), (std::vector<std::wstring>{L"1A", L"$B$2"}));
    EXPECT_EQ(ApplyPattern(CString(L"k=v"), CString(L"{\\w}={\\w}"), groups), 1);
    EXPECT_EQ(Texts(groups), (std::vector<std::wstring>{L"k", L"v"}));
    EXPECT_EQ(ApplyPattern(CString(L"k=v"), CString(L"{a"), groups), 0);
    EXPECT_EQ(ApplyPattern(CString(L"Table(2F).$C$7"), CString(kTablePattern), groups), 1);
    EXPECT_EQ(Texts(groups), (std::vector<std::wstring>{L"2F", L"$C$7"}));
}
