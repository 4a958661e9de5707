#include "drawing/ParameterExpression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

using drawing::ExprError;
using drawing::Expression;
using drawing::ExprStatus;
using drawing::kNoVariable;
using drawing::ParameterSet;
using drawing::VariableId;

namespace {

struct Outcome {
    ExprStatus status;
    double value;
    std::wstring text;
};

// Parses and evaluates with a = 2, b = 3 and w = 10 known.
Outcome eval(std::wstring_view text) {
    ExprError error;
    auto expression = Expression::parse(text, error);
    if (!expression)
        return {error.status, 0.0, error.text};
    double value = 0.0;
    ExprStatus status = expression->evaluate(
        [](std::wstring_view name) -> std::optional<double> {
            if (name == L"a")
                return 2.0;
            if (name == L"b")
                return 3.0;
            if (name == L"w" || name == L"W")
                return 10.0;
            return std::nullopt;
        },
        value, error);
    return {status, value, error.text};
}

double valueOf(std::wstring_view text) {
    Outcome o = eval(text);
    EXPECT_EQ(o.status, ExprStatus::ok) << std::string(text.begin(), text.end()) << ": "
                                        << std::string(o.text.begin(), o.text.end());
    return o.value;
}

} // namespace

TEST(ExpressionValues, Numbers) {
    EXPECT_DOUBLE_EQ(valueOf(L"1"), 1.0);
    EXPECT_DOUBLE_EQ(valueOf(L"1.5"), 1.5);
    EXPECT_DOUBLE_EQ(valueOf(L"1e3"), 1000.0);
    EXPECT_DOUBLE_EQ(valueOf(L"2.5E-2"), 0.025);
    EXPECT_DOUBLE_EQ(valueOf(L"+3 - -2"), 5.0);
    EXPECT_DOUBLE_EQ(valueOf(L"\t( ( 4 ) )  "), 4.0);
}

TEST(ExpressionValues, FunctionsAndConstants) {
    constexpr double pi = std::numbers::pi;
    EXPECT_NEAR(valueOf(L"sin(pi/2)"), 1.0, 1e-12);
    EXPECT_NEAR(valueOf(L"cos(pi)"), -1.0, 1e-12);
    EXPECT_NEAR(valueOf(L"tan(pi/4)"), 1.0, 1e-12);
    EXPECT_NEAR(valueOf(L"asin(1)"), pi / 2, 1e-12);
    EXPECT_NEAR(valueOf(L"acos(0)"), pi / 2, 1e-12);
    EXPECT_NEAR(valueOf(L"atan(1)"), pi / 4, 1e-12);
    EXPECT_DOUBLE_EQ(valueOf(L"sqrt(16)"), 4.0);
    EXPECT_DOUBLE_EQ(valueOf(L"abs(-2.5)"), 2.5);
    EXPECT_DOUBLE_EQ(valueOf(L"round(2.5)"), 3.0);
    EXPECT_DOUBLE_EQ(valueOf(L"round(-2.5)"), -3.0);
    EXPECT_DOUBLE_EQ(valueOf(L"trunc(-2.7)"), -2.0);
    EXPECT_DOUBLE_EQ(valueOf(L"floor(-2.2)"), -3.0);
    EXPECT_DOUBLE_EQ(valueOf(L"ceil(2.2)"), 3.0);
    EXPECT_NEAR(valueOf(L"ln(e)"), 1.0, 1e-12);
    EXPECT_DOUBLE_EQ(valueOf(L"log(1000)"), 3.0);
    EXPECT_NEAR(valueOf(L"exp(1)"), std::numbers::e, 1e-12);
    EXPECT_DOUBLE_EQ(valueOf(L"exp10(2)"), 100.0);
    EXPECT_DOUBLE_EQ(valueOf(L"pow(2, 10)"), 1024.0);
    EXPECT_NEAR(valueOf(L"r2d(pi)"), 180.0, 1e-12);
    EXPECT_NEAR(valueOf(L"d2r(90)"), pi / 2, 1e-12);
    EXPECT_DOUBLE_EQ(valueOf(L"min(3, 1, 2)"), 1.0);
    EXPECT_DOUBLE_EQ(valueOf(L"max(3, 1, 2)"), 3.0);
    EXPECT_DOUBLE_EQ(valueOf(L"sign(-7)"), -1.0);
    EXPECT_DOUBLE_EQ(valueOf(L"SQRT(9) + Pi() - PI"), 3.0);
    // "2e" is not an exponent: it is 2 followed by the constant e, which is no expression.
    EXPECT_EQ(eval(L"2e").status, ExprStatus::syntaxError);
    EXPECT_NEAR(valueOf(L"2*e"), 2 * std::numbers::e, 1e-12);
}

TEST(ExpressionValues, References) {
    EXPECT_DOUBLE_EQ(valueOf(L"a * b + w"), 16.0);
    EXPECT_DOUBLE_EQ(valueOf(L"a^b"), 8.0);
    ExprError error;
    auto expression = Expression::parse(L"a + A + b*a + w", error);
    ASSERT_TRUE(expression);
    // Distinct names, case ignored, in order of first appearance.
    EXPECT_EQ(expression->references(), (std::vector<std::wstring>{L"a", L"b", L"w"}));
    EXPECT_EQ(expression->withRenamedReference(L"A", L"len"), L"len + len + b*len + w");
}

TEST(ExpressionRefusals, SyntaxErrorsGivePosition) {
    EXPECT_EQ(eval(L"").text, L"Expression is empty");
    EXPECT_EQ(eval(L"   ").status, ExprStatus::syntaxError);
    EXPECT_EQ(eval(L"1 +").text, L"Syntax error at position 4: unexpected end of expression");
    EXPECT_EQ(eval(L"1 + * 2").text, L"Syntax error at position 5: unexpected \"*\"");
    EXPECT_EQ(eval(L"(1 + 2").text, L"Syntax error at position 7: missing \")\"");
    EXPECT_EQ(eval(L"1 + 2)").text, L"Syntax error at position 6: unexpected \")\"");
    EXPECT_EQ(eval(L"1 2").text, L"Syntax error at position 3: unexpected \"2\"");
    EXPECT_EQ(eval(L"1,5").status, ExprStatus::syntaxError);
    EXPECT_EQ(eval(L"sqrt 4").text, L"Syntax error at position 5: missing \"(\" after \"sqrt\"");
    EXPECT_EQ(eval(L"pow(2)").text,
              L"Syntax error at position 1: function \"pow\" takes 2 arguments");
    EXPECT_EQ(eval(L"sin(1, 2)").text,
              L"Syntax error at position 1: function \"sin\" takes 1 argument");
    EXPECT_EQ(eval(L"max()").status, ExprStatus::syntaxError);
    EXPECT_EQ(eval(L"a $ b").status, ExprStatus::syntaxError);
    EXPECT_EQ(eval(L"1e999").status, ExprStatus::outOfRange);
}

TEST(ExpressionRefusals, UnknownNamesAndMathErrors) {
    Outcome o = eval(L"a + d9");
    EXPECT_EQ(o.status, ExprStatus::unknownName);
    EXPECT_EQ(o.text, L"Unknown name \"d9\"");
    EXPECT_EQ(eval(L"foo(1)").text, L"Unknown function \"foo\"");
    EXPECT_EQ(eval(L"1 / (a - 2)").text, L"Division by zero");
    EXPECT_EQ(eval(L"0 ^ -1").status, ExprStatus::divisionByZero);
    EXPECT_EQ(eval(L"sqrt(-1)").text, L"Argument out of range for function \"sqrt\"");
    EXPECT_EQ(eval(L"ln(0)").status, ExprStatus::domainError);
    EXPECT_EQ(eval(L"log(-1)").status, ExprStatus::domainError);
    EXPECT_EQ(eval(L"asin(2)").status, ExprStatus::domainError);
    EXPECT_EQ(eval(L"acos(-1.5)").status, ExprStatus::domainError);
    EXPECT_EQ(eval(L"(-8)^(1/3)").status, ExprStatus::domainError);
    EXPECT_EQ(eval(L"exp(1000)").text, L"Result is out of range");
    EXPECT_EQ(eval(L"1e300 * 1e300").status, ExprStatus::outOfRange);
}

TEST(ExpressionRefusals, DeepNestingIsRefusedNotCrashed) {
    std::wstring deep(100000, L'(');
    deep += L"1";
    EXPECT_EQ(eval(deep).status, ExprStatus::tooComplex);
    EXPECT_EQ(eval(std::wstring(100000, L'-') + L"1").status, ExprStatus::tooComplex);
    // Long but flat expressions are fine.
    std::wstring sum = L"0";
    for (int i = 0; i < 5000; ++i)
        sum += L"+1";
    EXPECT_DOUBLE_EQ(valueOf(sum), 5000.0);
    EXPECT_DOUBLE_EQ(valueOf(std::wstring(150, L'(') + L"7" + std::wstring(150, L')')), 7.0);
}

TEST(ParameterNames, HostRules) {
    ExprError error;
    EXPECT_EQ(drawing::validateName(L"d1", error), ExprStatus::ok);
    EXPECT_EQ(drawing::validateName(L"Width_2", error), ExprStatus::ok);
    EXPECT_EQ(drawing::validateName(L"1d", error), ExprStatus::invalidName);
    EXPECT_EQ(error.text, L"Invalid name \"1d\": must begin with a letter");
    EXPECT_EQ(drawing::validateName(L"_d", error), ExprStatus::invalidName);
    EXPECT_EQ(drawing::validateName(L"a b", error), ExprStatus::invalidName);
    EXPECT_EQ(drawing::validateName(L"a-b", error), ExprStatus::invalidName);
    EXPECT_EQ(drawing::validateName(L"Sin", error), ExprStatus::invalidName);
    EXPECT_EQ(error.text, L"Invalid name \"Sin\": name of a function");
    EXPECT_EQ(drawing::validateName(L"PI", error), ExprStatus::invalidName);
    EXPECT_EQ(drawing::validateName(L"", error), ExprStatus::invalidName);
    EXPECT_EQ(drawing::validateName(std::wstring(257, L'a'), error), ExprStatus::invalidName);
    EXPECT_EQ(error.text.substr(error.text.size() - 26), L"longer than 256 characters");
    EXPECT_EQ(drawing::validateName(std::wstring(256, L'a'), error), ExprStatus::ok);
}

namespace {

VariableId addOk(ParameterSet& set, std::wstring_view name, std::wstring_view expression) {
    VariableId id = kNoVariable;
    ExprError error;
    EXPECT_EQ(set.add(name, expression, id, error), ExprStatus::ok)
        << std::string(error.text.begin(), error.text.end());
    return id;
}

} // namespace

TEST(ParameterSetBasics, AddFindAndUniqueness) {
    ParameterSet set;
    VariableId d1 = addOk(set, L"d1", L"10");
    VariableId d2 = addOk(set, L"d2", L"D1 * 2");
    EXPECT_EQ(set.value(d2), 20.0);
    EXPECT_EQ(set.find(L"D2"), d2);
    EXPECT_EQ(set.find(L"d3"), kNoVariable);
    EXPECT_EQ(set.size(), 2u);

    VariableId id = 7;
    ExprError error;
    EXPECT_EQ(set.add(L"D1", L"1", id, error), ExprStatus::duplicateName);
    EXPECT_EQ(error.text, L"Name \"D1\" is already used");
    EXPECT_EQ(id, kNoVariable);
    EXPECT_EQ(set.add(L"d3", L"d1 + d9", id, error), ExprStatus::unknownName);
    EXPECT_EQ(error.text, L"Unknown name \"d9\"");
    EXPECT_EQ(set.add(L"d3", L"1/0", id, error), ExprStatus::divisionByZero);
    EXPECT_EQ(set.add(L"cos", L"1", id, error), ExprStatus::invalidName);
    EXPECT_EQ(set.size(), 2u);
    EXPECT_EQ(set.find(L"d3"), kNoVariable);
    EXPECT_TRUE(set.dependents(d2).empty());
    EXPECT_EQ(set.dependents(d1), std::vector<VariableId>{d2});
}

TEST(ParameterSetUpdates, ChangeFlowsToDependentsInOrder) {
    ParameterSet set;
    VariableId width = addOk(set, L"width", L"10");
    VariableId height = addOk(set, L"height", L"width / 2");
    VariableId area = addOk(set, L"area", L"width * height");
    VariableId label = addOk(set, L"label", L"area + height + width");
    VariableId other = addOk(set, L"other", L"3");
    ExprError error;
    ASSERT_EQ(set.assign(width, L"20", error), ExprStatus::ok);
    EXPECT_EQ(set.value(height), 10.0);
    EXPECT_EQ(set.value(area), 200.0);
    EXPECT_EQ(set.value(label), 230.0);
    EXPECT_EQ(set.value(other), 3.0);

    // A direct value reaches the same dependents, in an order that sees settled inputs.
    auto update = set.setValue(width, 4.0);
    EXPECT_EQ(update.evaluated, 3u);
    EXPECT_TRUE(update.failed.empty());
    EXPECT_EQ(set.value(label), 4.0 * 2.0 + 2.0 + 4.0);
}

TEST(ParameterSetUpdates, FailingDependentKeepsOldValue) {
    ParameterSet set;
    VariableId d1 = addOk(set, L"d1", L"5");
    VariableId d2 = addOk(set, L"d2", L"1 / (d1 - 3)");
    VariableId d3 = addOk(set, L"d3", L"d1 + 1");
    auto update = set.setValue(d1, 3.0);
    EXPECT_EQ(update.failed, std::vector<VariableId>{d2});
    EXPECT_EQ(set.value(d2), 0.5);
    EXPECT_EQ(set.lastStatus(d2), ExprStatus::divisionByZero);
    EXPECT_EQ(set.value(d3), 4.0);
    set.setValue(d1, 4.0);
    EXPECT_EQ(set.value(d2), 1.0);
    EXPECT_EQ(set.lastStatus(d2), ExprStatus::ok);
}

TEST(ParameterSetUpdates, AcceptedExpressionThatFailsEvaluationStaysWithOldValue) {
    ParameterSet set;
    VariableId d1 = addOk(set, L"d1", L"2");
    ExprError error;
    EXPECT_EQ(set.assign(d1, L"sqrt(-4)", error), ExprStatus::domainError);
    EXPECT_EQ(set.expression(d1), L"sqrt(-4)");
    EXPECT_EQ(set.value(d1), 2.0);
}

TEST(ParameterSetRefusals, CyclesAndBadTextsLeaveStateIntact) {
    ParameterSet set;
    VariableId a = addOk(set, L"a", L"1");
    VariableId b = addOk(set, L"b", L"a + 1");
    VariableId c = addOk(set, L"c", L"b * 2");
    ExprError error;
    EXPECT_EQ(set.setExpression(a, L"c + 1", error), ExprStatus::cyclicDependency);
    EXPECT_EQ(error.text, L"Cyclic dependency: \"a\" would depend on itself");
    EXPECT_EQ(set.setExpression(a, L"A * 2", error), ExprStatus::cyclicDependency);
    EXPECT_EQ(error.text, L"Cyclic dependency: \"A\" refers to itself");
    EXPECT_EQ(set.setExpression(b, L"a +", error), ExprStatus::syntaxError);
    EXPECT_EQ(set.setExpression(b, L"zz", error), ExprStatus::unknownName);
    EXPECT_EQ(set.expression(a), L"1");
    EXPECT_EQ(set.expression(b), L"a + 1");
    EXPECT_EQ(set.dependents(a), std::vector<VariableId>{b});
    // Unrelated re-linking is no cycle.
    EXPECT_EQ(set.assign(c, L"a * 10", error), ExprStatus::ok);
    EXPECT_EQ(set.value(c), 10.0);
    EXPECT_TRUE(set.dependents(b).empty());
    EXPECT_EQ(set.assign(a, L"b", error), ExprStatus::cyclicDependency);
    EXPECT_EQ(set.assign(b, L"5", error), ExprStatus::ok);
    EXPECT_EQ(set.assign(a, L"b", error), ExprStatus::ok);
    EXPECT_EQ(set.value(a), 5.0);
    EXPECT_EQ(set.value(c), 50.0);
}

TEST(ParameterSetRefusals, CheckChangesNothing) {
    ParameterSet set;
    VariableId a = addOk(set, L"a", L"1");
    VariableId b = addOk(set, L"b", L"a");
    ExprError error;
    EXPECT_EQ(set.check(a, L"a", L"b + 1", error), ExprStatus::cyclicDependency);
    EXPECT_EQ(set.check(a, L"B", L"2", error), ExprStatus::duplicateName);
    EXPECT_EQ(set.check(a, L"A", L"2", error), ExprStatus::ok); // its own name in other case
    EXPECT_EQ(set.check(kNoVariable, L"c", L"a + b", error), ExprStatus::ok);
    EXPECT_EQ(set.check(kNoVariable, L"9c", L"1", error), ExprStatus::invalidName);
    EXPECT_EQ(set.check(b, L"b", L"(", error), ExprStatus::syntaxError);
    EXPECT_EQ(set.expression(b), L"a");
    EXPECT_EQ(set.find(L"c"), kNoVariable);
}

TEST(ParameterSetNames, RenameRewritesOrRefuses) {
    ParameterSet set;
    addOk(set, L"d10", L"1");
    VariableId d1 = addOk(set, L"d1", L"4");
    VariableId d2 = addOk(set, L"d2", L"d1 + D1*d10");
    ExprError error;
    EXPECT_EQ(set.rename(d1, L"len", false, error), ExprStatus::inUse);
    EXPECT_EQ(error.text, L"\"d1\" is referenced by \"d2\"");
    EXPECT_EQ(set.rename(d1, L"D10", true, error), ExprStatus::duplicateName);
    EXPECT_EQ(set.rename(d1, L"2x", true, error), ExprStatus::invalidName);
    EXPECT_EQ(set.name(d1), L"d1");

    ASSERT_EQ(set.rename(d1, L"len", true, error), ExprStatus::ok);
    EXPECT_EQ(set.expression(d2), L"len + len*d10");
    EXPECT_EQ(set.find(L"d1"), kNoVariable);
    EXPECT_EQ(set.find(L"LEN"), d1);
    // Dependencies survive the rename.
    set.setValue(d1, 5.0);
    EXPECT_EQ(set.value(d2), 10.0);
    // Case-only rename of itself.
    EXPECT_EQ(set.rename(d1, L"Len", false, error), ExprStatus::inUse);
    EXPECT_EQ(set.rename(d2, L"D2", false, error), ExprStatus::ok);
    EXPECT_EQ(set.name(d2), L"D2");
}

TEST(ParameterSetNames, RemoveOnlyWhenUnreferenced) {
    ParameterSet set;
    VariableId a = addOk(set, L"a", L"1");
    VariableId b = addOk(set, L"b", L"a");
    ExprError error;
    EXPECT_EQ(set.remove(a, error), ExprStatus::inUse);
    EXPECT_EQ(set.remove(b, error), ExprStatus::ok);
    EXPECT_FALSE(set.contains(b));
    EXPECT_TRUE(set.dependents(a).empty());
    EXPECT_EQ(set.remove(a, error), ExprStatus::ok);
    EXPECT_EQ(set.size(), 0u);
    EXPECT_EQ(set.remove(a, error), ExprStatus::notFound);
    // The name is free again; the old id stays dead.
    VariableId again = addOk(set, L"A", L"2");
    EXPECT_NE(again, a);
}

TEST(ParameterSetNames, UnnamedParameterCanBeNamedLater) {
    ParameterSet set;
    VariableId anon = addOk(set, L"", L"");
    EXPECT_EQ(set.value(anon), 0.0);
    ExprError error;
    VariableId refused = 0;
    EXPECT_EQ(set.add(L"", L"zz", refused, error), ExprStatus::unknownName);
    EXPECT_EQ(set.find(L""), kNoVariable);
    EXPECT_EQ(set.rename(anon, L"w", false, error), ExprStatus::ok);
    VariableId user = addOk(set, L"h", L"w + 1");
    EXPECT_EQ(set.value(user), 1.0);
}

TEST(ParameterSetScale, ChangeTouchesOnlyDependents) {
    ParameterSet set;
    // A chain of 2,000 and 20,000 unrelated parameters.
    VariableId root = addOk(set, L"root", L"1");
    VariableId previous = root;
    for (int i = 0; i < 2000; ++i)
        previous = addOk(set, L"c" + std::to_wstring(i), set.name(previous) + L" + 1");
    for (int i = 0; i < 20000; ++i)
        addOk(set, L"u" + std::to_wstring(i), L"2");
    auto update = set.setValue(root, 10.0);
    EXPECT_EQ(update.evaluated, 2000u);
    EXPECT_EQ(set.value(previous), 2010.0);
    ExprError error;
    // Closing the chain into a loop is found at any length.
    EXPECT_EQ(set.setExpression(root, L"c1999", error), ExprStatus::cyclicDependency);
}
