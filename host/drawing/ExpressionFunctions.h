// The function table of parameter expressions, shared by the parser (names, argument
// counts) and the evaluator (what each computes). Internal to the drawing model.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace drawing::expr {

enum class Fn : std::uint16_t {
    sin,
    cos,
    tan,
    asin,
    acos,
    atan,
    sinh,
    cosh,
    tanh,
    asinh,
    acosh,
    atanh,
    sqrt,
    abs,
    sign,
    round,
    trunc,
    floor,
    ceil,
    ln,
    log,
    exp,
    exp10,
    pow,
    r2d,
    d2r,
    min,
    max,
    random,
    pi,
    e
};

struct FunctionInfo {
    const wchar_t* name;
    Fn fn;
    int minArgs;
    int maxArgs; // -1: any number from minArgs on
};

// In the order of Fn, so that a function's entry is kFunctions[fn].
inline constexpr std::array<FunctionInfo, 31> kFunctions{{
    {L"sin", Fn::sin, 1, 1},     {L"cos", Fn::cos, 1, 1},       {L"tan", Fn::tan, 1, 1},
    {L"asin", Fn::asin, 1, 1},   {L"acos", Fn::acos, 1, 1},     {L"atan", Fn::atan, 1, 1},
    {L"sinh", Fn::sinh, 1, 1},   {L"cosh", Fn::cosh, 1, 1},     {L"tanh", Fn::tanh, 1, 1},
    {L"asinh", Fn::asinh, 1, 1}, {L"acosh", Fn::acosh, 1, 1},   {L"atanh", Fn::atanh, 1, 1},
    {L"sqrt", Fn::sqrt, 1, 1},   {L"abs", Fn::abs, 1, 1},       {L"sign", Fn::sign, 1, 1},
    {L"round", Fn::round, 1, 1}, {L"trunc", Fn::trunc, 1, 1},   {L"floor", Fn::floor, 1, 1},
    {L"ceil", Fn::ceil, 1, 1},   {L"ln", Fn::ln, 1, 1},         {L"log", Fn::log, 1, 1},
    {L"exp", Fn::exp, 1, 1},     {L"exp10", Fn::exp10, 1, 1},   {L"pow", Fn::pow, 2, 2},
    {L"r2d", Fn::r2d, 1, 1},     {L"d2r", Fn::d2r, 1, 1},       {L"min", Fn::min, 1, -1},
    {L"max", Fn::max, 1, -1},    {L"random", Fn::random, 0, 0}, {L"pi", Fn::pi, 0, 0},
    {L"e", Fn::e, 0, 0},
}};

// Results and literals beyond this magnitude are refused: the host's range of values.
inline constexpr double kValueLimit = 1e100;

// ASCII letters compared without regard to case.
bool equalsFolded(std::wstring_view a, std::wstring_view b);

const FunctionInfo* findFunction(std::wstring_view name);

std::wstring quoted(std::wstring_view s);

} // namespace drawing::expr
