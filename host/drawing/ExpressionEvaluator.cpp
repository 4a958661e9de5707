// Parameter expressions: evaluation of the parsed program.
#include "drawing/ExpressionFunctions.h"
#include "drawing/ParameterExpression.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

namespace drawing {

using namespace expr;

namespace {

// A decimal in [0, 1), as the host's Random gives: new at each evaluation.
double randomFraction() {
    static std::mt19937_64 engine{std::random_device{}()};
    return std::uniform_real_distribution<double>(0.0, 1.0)(engine);
}

ExprStatus domain(const wchar_t* function, ExprError& error) {
    error = {ExprStatus::domainError, L"Argument out of range for function " + quoted(function)};
    return ExprStatus::domainError;
}

ExprStatus callFunction(Fn fn, double* args, std::uint32_t count, double& out, ExprError& error) {
    constexpr double pi = std::numbers::pi;
    double x = count > 0 ? args[0] : 0.0;
    switch (fn) {
    case Fn::sin:
        out = std::sin(x);
        break;
    case Fn::cos:
        out = std::cos(x);
        break;
    case Fn::tan:
        out = std::tan(x);
        break;
    case Fn::asin:
        if (x < -1.0 || x > 1.0)
            return domain(L"asin", error);
        out = std::asin(x);
        break;
    case Fn::acos:
        if (x < -1.0 || x > 1.0)
            return domain(L"acos", error);
        out = std::acos(x);
        break;
    case Fn::atan:
        out = std::atan(x);
        break;
    case Fn::sinh:
        out = std::sinh(x);
        break;
    case Fn::cosh:
        out = std::cosh(x);
        break;
    case Fn::tanh:
        out = std::tanh(x);
        break;
    case Fn::asinh:
        out = std::asinh(x);
        break;
    case Fn::acosh:
        if (x < 1.0)
            return domain(L"acosh", error);
        out = std::acosh(x);
        break;
    case Fn::atanh:
        if (x <= -1.0 || x >= 1.0)
            return domain(L"atanh", error);
        out = std::atanh(x);
        break;
    case Fn::sqrt:
        if (x < 0.0)
            return domain(L"sqrt", error);
        out = std::sqrt(x);
        break;
    case Fn::abs:
        out = std::fabs(x);
        break;
    case Fn::sign:
        out = x > 0.0 ? 1.0 : (x < 0.0 ? -1.0 : 0.0);
        break;
    case Fn::round:
        out = std::round(x);
        break;
    case Fn::trunc:
        out = std::trunc(x);
        break;
    case Fn::floor:
        out = std::floor(x);
        break;
    case Fn::ceil:
        out = std::ceil(x);
        break;
    case Fn::ln:
        if (x <= 0.0)
            return domain(L"ln", error);
        out = std::log(x);
        break;
    case Fn::log:
        if (x <= 0.0)
            return domain(L"log", error);
        out = std::log10(x);
        break;
    case Fn::exp:
        out = std::exp(x);
        break;
    case Fn::exp10:
        out = std::pow(10.0, x);
        break;
    case Fn::pow:
        if (x == 0.0 && args[1] < 0.0) {
            error = {ExprStatus::divisionByZero, L"Division by zero"};
            return ExprStatus::divisionByZero;
        }
        out = std::pow(x, args[1]);
        if (std::isnan(out))
            return domain(L"pow", error);
        break;
    case Fn::r2d:
        out = x * 180.0 / pi;
        break;
    case Fn::d2r:
        out = x * pi / 180.0;
        break;
    case Fn::min:
        out = *std::min_element(args, args + count);
        break;
    case Fn::max:
        out = *std::max_element(args, args + count);
        break;
    case Fn::random:
        out = randomFraction();
        break;
    case Fn::pi:
        out = pi;
        break;
    case Fn::e:
        out = std::numbers::e;
        break;
    }
    if (std::isnan(out))
        return domain(kFunctions[static_cast<std::size_t>(fn)].name, error);
    return ExprStatus::ok;
}

ExprStatus outOfRange(ExprError& error) {
    error = {ExprStatus::outOfRange, L"Result is out of range"};
    return ExprStatus::outOfRange;
}

} // namespace

ExprStatus Expression::evaluate(std::span<const double> values, double& result,
                                ExprError& error) const {
    std::array<double, 32> small;
    std::vector<double> large;
    double* stack = small.data();
    if (m_maxStack > small.size()) {
        large.resize(m_maxStack);
        stack = large.data();
    }
    std::size_t top = 0; // number of items on the stack
    for (const Instruction& in : m_program) {
        switch (in.op) {
        case Op::number:
            stack[top++] = in.number;
            break;
        case Op::load:
            if (in.arg >= values.size()) {
                error = {ExprStatus::unknownName, L"Unknown name " + quoted(m_references[in.arg])};
                return ExprStatus::unknownName;
            }
            stack[top++] = values[in.arg];
            break;
        case Op::neg:
            stack[top - 1] = -stack[top - 1];
            break;
        case Op::add:
            --top;
            stack[top - 1] += stack[top];
            break;
        case Op::sub:
            --top;
            stack[top - 1] -= stack[top];
            break;
        case Op::mul:
            --top;
            stack[top - 1] *= stack[top];
            break;
        case Op::div:
            --top;
            if (stack[top] == 0.0) {
                error = {ExprStatus::divisionByZero, L"Division by zero"};
                return ExprStatus::divisionByZero;
            }
            stack[top - 1] /= stack[top];
            break;
        case Op::mod:
            --top;
            if (stack[top] == 0.0) {
                error = {ExprStatus::divisionByZero, L"Division by zero"};
                return ExprStatus::divisionByZero;
            }
            stack[top - 1] = std::fmod(stack[top - 1], stack[top]);
            break;
        case Op::pow: {
            --top;
            double args[2] = {stack[top - 1], stack[top]};
            if (ExprStatus s = callFunction(Fn::pow, args, 2, stack[top - 1], error);
                s != ExprStatus::ok)
                return s;
            break;
        }
        case Op::call: {
            top -= in.arg;
            double out = 0.0;
            if (ExprStatus s =
                    callFunction(static_cast<Fn>(in.function), stack + top, in.arg, out, error);
                s != ExprStatus::ok)
                return s;
            stack[top++] = out;
            break;
        }
        }
        if (top > 0 && std::isinf(stack[top - 1]))
            return outOfRange(error);
    }
    result = stack[0];
    if (!std::isfinite(result) || std::fabs(result) > kValueLimit)
        return outOfRange(error);
    error = {};
    return ExprStatus::ok;
}

ExprStatus
Expression::evaluate(const std::function<std::optional<double>(std::wstring_view)>& lookup,
                     double& result, ExprError& error) const {
    std::vector<double> values;
    values.reserve(m_references.size());
    for (const auto& name : m_references) {
        std::optional<double> v = lookup ? lookup(name) : std::nullopt;
        if (!v) {
            error = {ExprStatus::unknownName, L"Unknown name " + quoted(name)};
            return ExprStatus::unknownName;
        }
        values.push_back(*v);
    }
    return evaluate(values, result, error);
}

std::wstring Expression::withRenamedReference(std::wstring_view from, std::wstring_view to) const {
    std::wstring out;
    std::size_t copied = 0;
    for (const ReferenceSpan& span : m_spans) {
        std::wstring_view name = std::wstring_view(m_text).substr(span.position, span.length);
        if (!equalsFolded(name, from))
            continue;
        out.append(m_text, copied, span.position - copied);
        out.append(to);
        copied = span.position + span.length;
    }
    out.append(m_text, copied);
    return out;
}

} // namespace drawing
