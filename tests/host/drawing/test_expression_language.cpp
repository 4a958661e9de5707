// The expression language of constraint parameters, row by row against what the host
// documents for its Parameters Manager (operators, precedence, the function table, units,
// names and the value range). Each row says which documented rule it checks; "ours:" marks
// a choice where the documentation is silent (docs/drawing-model.md).
#include "drawing/ParameterExpression.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>

using drawing::ExprError;
using drawing::Expression;
using drawing::ExprStatus;
using drawing::kNoVariable;
using drawing::ParameterSet;
using drawing::VariableId;

namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kE = std::numbers::e;

struct Row {
    const char* documented;
    const wchar_t* text;
    double value = 0.0; // when accepted
    ExprStatus status = ExprStatus::ok;
    int linearUnits = 2; // LUNITS the text is read with
};

std::string narrow(std::wstring_view s) {
    std::string out;
    for (wchar_t c : s)
        out.push_back(c < 128 ? static_cast<char>(c) : '?');
    return out;
}

// Parses and evaluates with a = 2, b = 3 known.
void check(const Row& row) {
    SCOPED_TRACE(std::string(row.documented) + " | " + narrow(row.text) + " | LUNITS " +
                 std::to_string(row.linearUnits));
    ExprError error;
    auto expression = Expression::parse(row.text, error, row.linearUnits);
    double value = 0.0;
    ExprStatus status = error.status;
    if (expression) {
        status = expression->evaluate(
            [](std::wstring_view name) -> std::optional<double> {
                if (name == L"a")
                    return 2.0;
                if (name == L"b")
                    return 3.0;
                return std::nullopt;
            },
            value, error);
    }
    ASSERT_EQ(status, row.status) << narrow(error.text);
    if (status == ExprStatus::ok)
        EXPECT_NEAR(value, row.value, 1e-9 * std::max(1.0, std::fabs(row.value)));
    else
        EXPECT_FALSE(error.text.empty());
}

} // namespace

TEST(DocumentedOperators, OperatorsAndPrecedence) {
    const Row rows[] = {
        {"+ addition", L"1 + 2", 3},
        {"- subtraction, equal precedence left to right", L"10 - 4 - 3", 3},
        {"- unary negation", L"--3", 3},
        {"- unary negation of a name", L"-a + 5", 3},
        {"* multiplication", L"2 * 3.5", 7},
        {"/ division, equal precedence left to right", L"12 / 3 / 2", 2},
        {"% floating-point modulo", L"7 % 3", 1},
        {"% floating-point modulo of reals", L"7.5 % 2", 1.5},
        {"% unary negation first, the result keeps the dividend's sign (ours)", L"-7 % 3", -1},
        {"% with * and /, left to right (ours)", L"10 % 4 * 3", 6},
        {"% with * and /, left to right (ours)", L"2 * 7 % 4", 2},
        {"% addition after modulo", L"1 + 7 % 4", 4},
        {"% by zero is a division by zero (ours)", L"5 % 0", 0, ExprStatus::divisionByZero},
        {"^ exponentiation", L"2^10", 1024},
        {"equal precedence left to right: ^ too", L"2^3^2", 64},
        {"unary negation before exponents", L"-2^2", 4},
        {"unary negation before exponents", L"-a^2", 4},
        {"unary negation before exponents, in the exponent", L"2^-1", 0.5},
        {"exponents before multiplication and division", L"8 / 2^2", 2},
        {"exponents before multiplication and division", L"2 * 3^2", 18},
        {"multiplication and division before addition and subtraction", L"1 + 2 * 3", 7},
        {"parentheses first, innermost first", L"((1 + 2) * (3 - 1))^2", 36},
        {"parentheses first", L"-(2^2)", -4},
        {". decimal separator", L".5 + 5.", 5.5},
        {"operator without operand", L"2 ^", 0, ExprStatus::syntaxError},
        {"operator without operand", L"% 2", 0, ExprStatus::syntaxError},
        {"operator without operand", L"1 + * 2", 0, ExprStatus::syntaxError},
    };
    for (const Row& row : rows)
        check(row);
}

TEST(DocumentedFunctions, EveryFunctionOfTheTable) {
    const Row rows[] = {
        {"cos(expression)", L"cos(0)", 1},
        {"sin(expression), radians (ours)", L"sin(pi/2)", 1},
        {"sin(expression), radians (ours)", L"sin(90)", std::sin(90.0)},
        {"tan(expression)", L"tan(pi/4)", 1},
        {"acos(expression)", L"acos(0)", kPi / 2},
        {"asin(expression)", L"asin(1)", kPi / 2},
        {"atan(expression)", L"atan(1)", kPi / 4},
        {"cosh(expression)", L"cosh(0)", 1},
        {"sinh(expression)", L"sinh(1)", std::sinh(1.0)},
        {"tanh(expression)", L"tanh(1)", std::tanh(1.0)},
        {"acosh(expression)", L"acosh(1)", 0},
        {"acosh(expression)", L"acosh(2)", std::acosh(2.0)},
        {"asinh(expression)", L"asinh(1)", std::asinh(1.0)},
        {"atanh(expression)", L"atanh(0.5)", std::atanh(0.5)},
        {"sqrt(expression)", L"sqrt(16)", 4},
        {"sign(expression): -1, 0, 1", L"sign(-7)", -1},
        {"sign(expression): -1, 0, 1", L"sign(0)", 0},
        {"round(expression) to the nearest integer", L"round(2.5)", 3},
        {"round(expression), halves away from zero (ours)", L"round(-2.5)", -3},
        {"trunc(expression)", L"trunc(-2.7)", -2},
        {"floor(expression)", L"floor(-2.2)", -3},
        {"ceil(expression)", L"ceil(2.2)", 3},
        {"abs(expression)", L"abs(-2.5)", 2.5},
        {"max(expression1;expression2)", L"max(a;b)", 3},
        {"min(expression1;expression2)", L"min(a;b)", 2},
        {"max of more than two (ours)", L"max(3; 1; 7; 2)", 7},
        {"',' also separates arguments (ours)", L"min(3, 1)", 1},
        {"d2r(expression)", L"d2r(180)", kPi},
        {"r2d(expression)", L"r2d(pi)", 180},
        {"ln(expression), base e", L"ln(e)", 1},
        {"log(expression), base 10", L"log(1000)", 3},
        {"exp(expression), base e", L"exp(1)", kE},
        {"exp10(expression), base 10", L"exp10(2)", 100},
        {"pow(expression1;expression2)", L"pow(a;10)", 1024},
        {"pow(expression1;expression2)", L"pow(2 ; b)", 8},
        {"constants Pi and e", L"Pi + E - PI - e", 0},
        {"names of functions match without regard to case (ours)", L"SQRT(9) + Abs(-1)", 4},
        {"acosh below 1 is outside its domain", L"acosh(0.5)", 0, ExprStatus::domainError},
        {"atanh of 1 is outside its domain", L"atanh(1)", 0, ExprStatus::domainError},
        {"atanh below -1 is outside its domain", L"atanh(-2)", 0, ExprStatus::domainError},
        {"sqrt of a negative is outside its domain", L"sqrt(-1)", 0, ExprStatus::domainError},
        {"ln of 0 is outside its domain", L"ln(0)", 0, ExprStatus::domainError},
        {"pow takes two arguments", L"pow(2)", 0, ExprStatus::syntaxError},
        {"pow takes two arguments", L"pow(2;3;4)", 0, ExprStatus::syntaxError},
        {"a function needs its parentheses", L"sqrt 4", 0, ExprStatus::syntaxError},
        {"no other functions", L"cot(1)", 0, ExprStatus::unknownName},
        {"';' only between arguments", L"1;2", 0, ExprStatus::syntaxError},
    };
    for (const Row& row : rows)
        check(row);
}

TEST(DocumentedFunctions, RandomIsADecimalFromZeroToOneEachTime) {
    for (const wchar_t* text : {L"Random", L"random()", L"RANDOM * 1"}) {
        SCOPED_TRACE(narrow(text));
        ExprError error;
        auto expression = Expression::parse(text, error);
        ASSERT_TRUE(expression) << narrow(error.text);
        double first = -1.0, second = -1.0;
        ASSERT_EQ(expression->evaluate(std::span<const double>(), first, error), ExprStatus::ok);
        ASSERT_EQ(expression->evaluate(std::span<const double>(), second, error), ExprStatus::ok);
        EXPECT_GE(first, 0.0);
        EXPECT_LT(first, 1.0);
        EXPECT_GE(second, 0.0);
        EXPECT_LT(second, 1.0);
        EXPECT_NE(first, second); // 2^-53 chance of a false alarm
    }
    ExprError error;
    EXPECT_FALSE(Expression::parse(L"random(1)", error));
}

TEST(DocumentedUnits, DistancesInExpressions) {
    constexpr int sci = 1, dec = 2, eng = 3, arch = 4, frac = 5;
    const Row rows[] = {
        {"imperial: feet", L"5'", 60, ExprStatus::ok, arch},
        {"imperial: inches", L"9\"", 9, ExprStatus::ok, arch},
        {"imperial: a dash is a unit separator", L"5'-9\"", 69, ExprStatus::ok, arch},
        {"imperial: a dash is a unit separator", L"5'-9\"", 69, ExprStatus::ok, eng},
        {"imperial: a space before the minus subtracts", L"5' -9\"", 51, ExprStatus::ok, arch},
        {"imperial: a space after the minus subtracts", L"5'- 9\"", 51, ExprStatus::ok, arch},
        {"imperial: spaces both sides subtract", L"5' - 9\"", 51, ExprStatus::ok, eng},
        {"imperial: feet and inches written together (unit parser)", L"5'9\"", 69, ExprStatus::ok,
         arch},
        {"imperial: feet, a space, inches (unit parser)", L"5' 9\"", 69, ExprStatus::ok, arch},
        {"imperial: decimal inches", L"5'-9.5\"", 69.5, ExprStatus::ok, eng},
        {"imperial: a dash is a unit separator, so 1-1/2 is one and a half", L"1-1/2", 1.5,
         ExprStatus::ok, arch},
        {"imperial: with a space the dash subtracts", L"1 - 1/2", 0.5, ExprStatus::ok, arch},
        {"imperial: with a space the dash subtracts", L"1 -1/2", 0.5, ExprStatus::ok, arch},
        {"imperial: mixed inches", L"2 1/2\"", 2.5, ExprStatus::ok, arch},
        {"imperial: distances take operators", L"2 * 5'", 120, ExprStatus::ok, arch},
        {"imperial: distances take operators", L"(5'-9\") / 3", 23, ExprStatus::ok, arch},
        {"unary negation of a distance", L"-5'-9\"", -69, ExprStatus::ok, arch},
        {"a bare fraction stays a division (ours)", L"2^1/2", 1, ExprStatus::ok, arch},
        {"only numbers join: a name then a dash subtracts", L"a-1/2", 1.5, ExprStatus::ok, arch},
        {"only a fraction joins a whole number", L"3-2", 1, ExprStatus::ok, arch},
        {"feet beyond the value range", L"1e99'", 0, ExprStatus::outOfRange, arch},
        {"fractional units: a dash joins a mixed number", L"1-1/2", 1.5, ExprStatus::ok, frac},
        {"fractional units: no feet (unit parser)", L"5'", 0, ExprStatus::syntaxError, frac},
        {"decimal units: the dash subtracts", L"1-1/2", 0.5, ExprStatus::ok, dec},
        {"decimal units: no feet (unit parser)", L"5'", 0, ExprStatus::syntaxError, dec},
        {"decimal units: no mixed numbers", L"1 1/2", 0, ExprStatus::syntaxError, dec},
        {"scientific units: the dash subtracts", L"1-1/2", 0.5, ExprStatus::ok, sci},
    };
    for (const Row& row : rows)
        check(row);
}

TEST(DocumentedLimits, NamesAndTheValueRange) {
    struct NameRow {
        const char* documented;
        std::wstring name;
        ExprStatus status;
    };
    const NameRow names[] = {
        {"a name of 256 characters", std::wstring(256, L'a'), ExprStatus::ok},
        {"no more than 256 characters", std::wstring(257, L'a'), ExprStatus::invalidName},
        {"names of documented functions are taken", L"acosh", ExprStatus::invalidName},
        {"names of documented functions are taken", L"Random", ExprStatus::invalidName},
        {"names of documented functions are taken", L"ASINH", ExprStatus::invalidName},
        {"names of documented functions are taken", L"atanh", ExprStatus::invalidName},
        {"the constants are taken", L"Pi", ExprStatus::invalidName},
        {"the constants are taken", L"E", ExprStatus::invalidName},
        {"letters, digits and underscores", L"Width_2", ExprStatus::ok},
        {"a name begins with a letter", L"2d", ExprStatus::invalidName},
        {"a name begins with a letter", L"_d", ExprStatus::invalidName},
        {"no spaces in names", L"a b", ExprStatus::invalidName},
        {"no operators in names", L"a%b", ExprStatus::invalidName},
    };
    for (const NameRow& row : names) {
        SCOPED_TRACE(std::string(row.documented) + " | " + narrow(row.name.substr(0, 20)));
        ParameterSet set;
        VariableId id = kNoVariable;
        ExprError error;
        EXPECT_EQ(set.add(row.name, L"1", id, error), row.status) << narrow(error.text);
    }

    const Row values[] = {
        {"values up to 1e100", L"1e100", 1e100},
        {"values down to -1e100", L"-1e100", -1e100},
        {"values up to 1e100", L"10^100", 1e100},
        {"a number beyond 1e100", L"1e101", 0, ExprStatus::outOfRange},
        {"a result beyond 1e100", L"10^101", 0, ExprStatus::outOfRange},
        {"a result beyond -1e100", L"-(1e60 * 1e60)", 0, ExprStatus::outOfRange},
        {"only the result counts (ours)", L"1e60 * 1e60 / 1e30", 1e90},
    };
    for (const Row& row : values)
        check(row);
}

TEST(DocumentedInvalidDependents, MarkedInvalidAndKeepTheirLastValue) {
    struct DependentRow {
        const char* documented;
        const wchar_t* expression; // of d, over base = 5
        double breaking;           // base value that makes it invalid
        ExprStatus status;
        const wchar_t* text;
    };
    const DependentRow rows[] = {
        {"invalid: division by zero", L"1/(base-2)", 2, ExprStatus::divisionByZero,
         L"Division by zero"},
        {"invalid: modulo by zero", L"7 % (base-2)", 2, ExprStatus::divisionByZero,
         L"Division by zero"},
        {"invalid: outside a function's domain", L"sqrt(base-3)", 2, ExprStatus::domainError,
         L"Argument out of range for function \"sqrt\""},
        {"invalid: outside a function's domain", L"acosh(base-4)", 4.5, ExprStatus::domainError,
         L"Argument out of range for function \"acosh\""},
        {"invalid: beyond the value range", L"10^(base*20)", 6, ExprStatus::outOfRange,
         L"Result is out of range"},
    };
    for (const DependentRow& row : rows) {
        SCOPED_TRACE(std::string(row.documented) + " | " + narrow(row.expression));
        ParameterSet set;
        VariableId base = kNoVariable, d = kNoVariable, next = kNoVariable;
        ExprError error;
        ASSERT_EQ(set.add(L"base", L"5", base, error), ExprStatus::ok);
        ASSERT_EQ(set.add(L"d", row.expression, d, error), ExprStatus::ok) << narrow(error.text);
        ASSERT_EQ(set.add(L"next", L"d + 1", next, error), ExprStatus::ok);
        double good = set.value(d);

        auto update = set.setValue(base, row.breaking);
        EXPECT_EQ(update.failed, std::vector<VariableId>{d});
        EXPECT_EQ(set.lastStatus(d), row.status);
        EXPECT_EQ(set.lastError(d), row.text);
        EXPECT_EQ(set.value(d), good);
        EXPECT_EQ(set.expression(d), row.expression);
        EXPECT_EQ(set.lastStatus(next), ExprStatus::ok);
        EXPECT_EQ(set.value(next), good + 1);

        set.setValue(base, 5);
        EXPECT_EQ(set.lastStatus(d), ExprStatus::ok);
        EXPECT_TRUE(set.lastError(d).empty());
        EXPECT_EQ(set.value(d), good);
    }
}
