#include "drawing/ParameterExpression.h"
#include "drawing/UnitParsing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace drawing {

namespace {

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
    pi,
    e
};

struct FunctionInfo {
    const wchar_t* name;
    Fn fn;
    int minArgs;
    int maxArgs; // -1: any number from minArgs on
};

constexpr std::array<FunctionInfo, 27> kFunctions{{
    {L"sin", Fn::sin, 1, 1},     {L"cos", Fn::cos, 1, 1},     {L"tan", Fn::tan, 1, 1},
    {L"asin", Fn::asin, 1, 1},   {L"acos", Fn::acos, 1, 1},   {L"atan", Fn::atan, 1, 1},
    {L"sinh", Fn::sinh, 1, 1},   {L"cosh", Fn::cosh, 1, 1},   {L"tanh", Fn::tanh, 1, 1},
    {L"sqrt", Fn::sqrt, 1, 1},   {L"abs", Fn::abs, 1, 1},     {L"sign", Fn::sign, 1, 1},
    {L"round", Fn::round, 1, 1}, {L"trunc", Fn::trunc, 1, 1}, {L"floor", Fn::floor, 1, 1},
    {L"ceil", Fn::ceil, 1, 1},   {L"ln", Fn::ln, 1, 1},       {L"log", Fn::log, 1, 1},
    {L"exp", Fn::exp, 1, 1},     {L"exp10", Fn::exp10, 1, 1}, {L"pow", Fn::pow, 2, 2},
    {L"r2d", Fn::r2d, 1, 1},     {L"d2r", Fn::d2r, 1, 1},     {L"min", Fn::min, 1, -1},
    {L"max", Fn::max, 1, -1},    {L"pi", Fn::pi, 0, 0},       {L"e", Fn::e, 0, 0},
}};

bool equalsFolded(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        wchar_t x = a[i], y = b[i];
        if (x >= L'A' && x <= L'Z')
            x = static_cast<wchar_t>(x - L'A' + L'a');
        if (y >= L'A' && y <= L'Z')
            y = static_cast<wchar_t>(y - L'A' + L'a');
        if (x != y)
            return false;
    }
    return true;
}

const FunctionInfo* findFunction(std::wstring_view name) {
    for (const auto& f : kFunctions)
        if (equalsFolded(name, f.name))
            return &f;
    return nullptr;
}

bool isLetter(wchar_t c) {
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
}
bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}
bool isNameChar(wchar_t c) {
    return isLetter(c) || isDigit(c) || c == L'_';
}

std::wstring quoted(std::wstring_view s) {
    return L"\"" + std::wstring(s) + L"\"";
}

// Each parenthesis costs two levels; this keeps the recursion far from the stack's end.
constexpr int kMaxDepth = 512;
constexpr std::size_t kMaxNameLength = 255;

} // namespace

bool isReservedName(std::wstring_view name) {
    return findFunction(name) != nullptr;
}

std::wstring foldName(std::wstring_view name) {
    std::wstring key(name);
    for (auto& c : key)
        if (c >= L'A' && c <= L'Z')
            c = static_cast<wchar_t>(c - L'A' + L'a');
    return key;
}

ExprStatus validateName(std::wstring_view name, ExprError& error) {
    auto refuse = [&](const std::wstring& why) {
        error = {ExprStatus::invalidName, L"Invalid name " + quoted(name) + L": " + why};
        return ExprStatus::invalidName;
    };
    if (name.empty()) {
        error = {ExprStatus::invalidName, L"Name is empty"};
        return ExprStatus::invalidName;
    }
    if (name.size() > kMaxNameLength)
        return refuse(L"longer than 255 characters");
    if (!isLetter(name[0]))
        return refuse(L"must begin with a letter");
    if (!std::all_of(name.begin(), name.end(), isNameChar))
        return refuse(L"only letters, digits and _ are allowed");
    if (isReservedName(name))
        return refuse(L"name of a function");
    return ExprStatus::ok;
}

// ---------------------------------------------------------------------------------------
// Parsing: recursive descent straight into a postfix program.

class ExpressionParser {
public:
    ExpressionParser(std::wstring_view text, Expression& out, ExprError& error)
        : m_text(text), m_out(out), m_error(error) {}

    bool run() {
        skipSpace();
        if (m_pos == m_text.size())
            return fail(ExprStatus::syntaxError, L"Expression is empty");
        if (!parseSum())
            return false;
        skipSpace();
        if (m_pos != m_text.size())
            return unexpected();
        return true;
    }

private:
    void skipSpace() {
        while (m_pos < m_text.size() && (m_text[m_pos] == L' ' || m_text[m_pos] == L'\t'))
            ++m_pos;
    }

    bool fail(ExprStatus status, std::wstring text) {
        m_error = {status, std::move(text)};
        return false;
    }

    bool syntax(const std::wstring& what) {
        return fail(ExprStatus::syntaxError,
                    L"Syntax error at position " + std::to_wstring(m_pos + 1) + L": " + what);
    }

    bool unexpected() {
        if (m_pos >= m_text.size())
            return syntax(L"unexpected end of expression");
        return syntax(L"unexpected " + quoted(m_text.substr(m_pos, 1)));
    }

    void emit(Expression::Op op, std::uint32_t arg = 0, double number = 0.0,
              std::uint16_t function = 0) {
        m_out.m_program.push_back({op, function, arg, number});
        // Track the deepest the evaluation stack can get.
        switch (op) {
        case Expression::Op::number:
        case Expression::Op::load:
            ++m_stack;
            break;
        case Expression::Op::neg:
            break;
        case Expression::Op::call:
            m_stack = m_stack + 1 - arg;
            break;
        default:
            --m_stack;
        }
        m_out.m_maxStack = std::max(m_out.m_maxStack, m_stack);
    }

    bool enter() {
        if (++m_depth > kMaxDepth)
            return fail(ExprStatus::tooComplex, L"Expression is nested too deeply");
        return true;
    }

    bool parseSum() {
        if (!parseProduct())
            return false;
        for (;;) {
            skipSpace();
            if (m_pos >= m_text.size())
                return true;
            wchar_t c = m_text[m_pos];
            if (c != L'+' && c != L'-')
                return true;
            ++m_pos;
            if (!parseProduct())
                return false;
            emit(c == L'+' ? Expression::Op::add : Expression::Op::sub);
        }
    }

    bool parseProduct() {
        if (!parseUnary())
            return false;
        for (;;) {
            skipSpace();
            if (m_pos >= m_text.size())
                return true;
            wchar_t c = m_text[m_pos];
            if (c != L'*' && c != L'/')
                return true;
            ++m_pos;
            if (!parseUnary())
                return false;
            emit(c == L'*' ? Expression::Op::mul : Expression::Op::div);
        }
    }

    bool parseUnary() {
        if (!enter())
            return false;
        skipSpace();
        bool ok;
        if (m_pos < m_text.size() && (m_text[m_pos] == L'-' || m_text[m_pos] == L'+')) {
            bool negate = m_text[m_pos] == L'-';
            ++m_pos;
            ok = parseUnary();
            if (ok && negate)
                emit(Expression::Op::neg);
        } else {
            ok = parsePower();
        }
        --m_depth;
        return ok;
    }

    bool parsePower() {
        if (!parsePrimary())
            return false;
        skipSpace();
        if (m_pos < m_text.size() && m_text[m_pos] == L'^') {
            ++m_pos;
            if (!parseUnary())
                return false;
            emit(Expression::Op::pow);
        }
        return true;
    }

    bool parsePrimary() {
        skipSpace();
        if (m_pos >= m_text.size())
            return unexpected();
        wchar_t c = m_text[m_pos];
        if (isDigit(c) || c == L'.')
            return parseNumber();
        if (isLetter(c))
            return parseName();
        if (c == L'(') {
            ++m_pos;
            if (!enter() || !parseSum())
                return false;
            --m_depth;
            skipSpace();
            if (m_pos >= m_text.size() || m_text[m_pos] != L')')
                return m_pos >= m_text.size() ? syntax(L"missing \")\"") : unexpected();
            ++m_pos;
            return true;
        }
        return unexpected();
    }

    bool parseNumber() {
        std::size_t start = m_pos;
        std::size_t digits = 0;
        while (m_pos < m_text.size() && isDigit(m_text[m_pos]))
            ++m_pos, ++digits;
        if (m_pos < m_text.size() && m_text[m_pos] == L'.') {
            ++m_pos;
            while (m_pos < m_text.size() && isDigit(m_text[m_pos]))
                ++m_pos, ++digits;
        }
        if (digits == 0) {
            m_pos = start;
            return unexpected();
        }
        // An exponent only when digits follow, so that "2e" stays 2 followed by the name e.
        if (m_pos < m_text.size() && (m_text[m_pos] == L'e' || m_text[m_pos] == L'E')) {
            std::size_t p = m_pos + 1;
            if (p < m_text.size() && (m_text[p] == L'+' || m_text[p] == L'-'))
                ++p;
            if (p < m_text.size() && isDigit(m_text[p])) {
                while (p < m_text.size() && isDigit(m_text[p]))
                    ++p;
                m_pos = p;
            }
        }
        std::string narrow(m_text.begin() + static_cast<std::ptrdiff_t>(start),
                           m_text.begin() + static_cast<std::ptrdiff_t>(m_pos));
        if (narrow.front() == '.')
            narrow.insert(narrow.begin(), '0');
        auto value = readNumber(narrow);
        if (!value) {
            return fail(ExprStatus::outOfRange,
                        L"Number out of range at position " + std::to_wstring(start + 1));
        }
        emit(Expression::Op::number, 0, *value);
        return true;
    }

    bool parseName() {
        std::size_t start = m_pos;
        while (m_pos < m_text.size() && isNameChar(m_text[m_pos]))
            ++m_pos;
        std::wstring_view name = m_text.substr(start, m_pos - start);
        std::size_t afterName = m_pos;
        skipSpace();
        bool call = m_pos < m_text.size() && m_text[m_pos] == L'(';
        const FunctionInfo* function = findFunction(name);
        if (!function) {
            if (call) {
                m_pos = start;
                return fail(ExprStatus::unknownName, L"Unknown function " + quoted(name));
            }
            m_pos = afterName;
            return reference(name, start);
        }
        if (!call) {
            if (function->maxArgs != 0) {
                m_pos = afterName;
                return syntax(L"missing \"(\" after " + quoted(name));
            }
            m_pos = afterName;
            emit(Expression::Op::call, 0, 0.0, static_cast<std::uint16_t>(function->fn));
            return true;
        }
        ++m_pos; // '('
        if (!enter())
            return false;
        std::uint32_t count = 0;
        skipSpace();
        if (m_pos < m_text.size() && m_text[m_pos] == L')') {
            ++m_pos;
        } else {
            for (;;) {
                if (!parseSum())
                    return false;
                ++count;
                skipSpace();
                if (m_pos < m_text.size() && m_text[m_pos] == L',') {
                    ++m_pos;
                    continue;
                }
                if (m_pos < m_text.size() && m_text[m_pos] == L')') {
                    ++m_pos;
                    break;
                }
                return m_pos >= m_text.size() ? syntax(L"missing \")\"") : unexpected();
            }
        }
        --m_depth;
        int n = static_cast<int>(count);
        if (n < function->minArgs || (function->maxArgs >= 0 && n > function->maxArgs)) {
            std::wstring expected = function->maxArgs < 0
                                        ? L"at least " + std::to_wstring(function->minArgs)
                                        : std::to_wstring(function->minArgs);
            m_pos = start;
            return syntax(
                L"function " + quoted(function->name) + L" takes " + expected +
                (function->minArgs == 1 && function->maxArgs == 1 ? L" argument" : L" arguments"));
        }
        emit(Expression::Op::call, count, 0.0, static_cast<std::uint16_t>(function->fn));
        return true;
    }

    bool reference(std::wstring_view name, std::size_t start) {
        auto& refs = m_out.m_references;
        std::uint32_t index = 0;
        while (index < refs.size() && !equalsFolded(refs[index], name))
            ++index;
        if (index == refs.size())
            refs.emplace_back(name);
        m_out.m_spans.push_back(
            {static_cast<std::uint32_t>(start), static_cast<std::uint32_t>(name.size())});
        emit(Expression::Op::load, index);
        return true;
    }

    std::wstring_view m_text;
    Expression& m_out;
    ExprError& m_error;
    std::size_t m_pos = 0;
    int m_depth = 0;
    std::uint32_t m_stack = 0;
};

std::optional<Expression> Expression::parse(std::wstring_view text, ExprError& error) {
    Expression expression;
    expression.m_text = text;
    ExpressionParser parser(text, expression, error);
    if (!parser.run())
        return std::nullopt;
    error = {};
    return expression;
}

// ---------------------------------------------------------------------------------------
// Evaluation

namespace {

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
    if (!std::isfinite(result))
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

// ---------------------------------------------------------------------------------------
// The parameter set

namespace {
const std::wstring kEmpty;

ExprStatus noSuchParameter(ExprError& error) {
    error = {ExprStatus::notFound, L"No such parameter"};
    return ExprStatus::notFound;
}
} // namespace

bool ParameterSet::contains(VariableId id) const {
    return id < m_variables.size() && m_variables[id].alive;
}

VariableId ParameterSet::find(std::wstring_view name) const {
    auto it = m_byName.find(foldName(name));
    return it == m_byName.end() ? kNoVariable : it->second;
}

const std::wstring& ParameterSet::name(VariableId id) const {
    return contains(id) ? m_names[id] : kEmpty;
}

const std::wstring& ParameterSet::expression(VariableId id) const {
    return contains(id) && m_variables[id].expression ? m_variables[id].expression->text() : kEmpty;
}

double ParameterSet::value(VariableId id) const {
    return contains(id) ? m_variables[id].value : 0.0;
}

ExprStatus ParameterSet::lastStatus(VariableId id) const {
    return contains(id) ? m_variables[id].lastStatus : ExprStatus::notFound;
}

std::vector<VariableId> ParameterSet::dependents(VariableId id) const {
    return contains(id) ? m_variables[id].dependents : std::vector<VariableId>{};
}

std::uint32_t ParameterSet::nextEpoch() const {
    if (m_mark.size() < m_variables.size()) {
        m_mark.resize(m_variables.size(), 0);
        m_pending.resize(m_variables.size(), 0);
    }
    if (++m_epoch == 0) { // wrapped: old marks could collide
        std::fill(m_mark.begin(), m_mark.end(), 0);
        m_epoch = 1;
    }
    return m_epoch;
}

ExprStatus ParameterSet::resolve(VariableId self, const Expression& expression,
                                 std::vector<VariableId>& ids, ExprError& error) const {
    ids.clear();
    ids.reserve(expression.references().size());
    for (const auto& name : expression.references()) {
        VariableId id = find(name);
        if (id == kNoVariable) {
            error = {ExprStatus::unknownName, L"Unknown name " + quoted(name)};
            return ExprStatus::unknownName;
        }
        if (id == self) {
            error = {ExprStatus::cyclicDependency,
                     L"Cyclic dependency: " + quoted(name) + L" refers to itself"};
            return ExprStatus::cyclicDependency;
        }
        ids.push_back(id);
    }
    return ExprStatus::ok;
}

// Whether any of `targets` depends, directly or not, on `from`.
bool ParameterSet::reaches(VariableId from, const std::vector<VariableId>& targets) const {
    if (targets.empty() || m_variables[from].dependents.empty())
        return false;
    std::uint32_t epoch = nextEpoch();
    m_work.assign(1, from);
    m_mark[from] = epoch;
    while (!m_work.empty()) {
        VariableId v = m_work.back();
        m_work.pop_back();
        for (VariableId d : m_variables[v].dependents) {
            if (m_mark[d] != epoch) {
                m_mark[d] = epoch;
                m_work.push_back(d);
            }
        }
    }
    return std::any_of(targets.begin(), targets.end(),
                       [&](VariableId t) { return m_mark[t] == epoch; });
}

ExprStatus ParameterSet::check(VariableId id, std::wstring_view name, std::wstring_view expression,
                               ExprError& error) const {
    if (id != kNoVariable && !contains(id))
        return noSuchParameter(error);
    if (ExprStatus s = validateName(name, error); s != ExprStatus::ok)
        return s;
    VariableId holder = find(name);
    if (holder != kNoVariable && holder != id) {
        error = {ExprStatus::duplicateName, L"Name " + quoted(name) + L" is already used"};
        return ExprStatus::duplicateName;
    }
    auto parsed = Expression::parse(expression, error);
    if (!parsed)
        return error.status;
    std::vector<VariableId> ids;
    // A new parameter is not in the graph, so nothing can depend on it yet.
    if (ExprStatus s = resolve(id, *parsed, ids, error); s != ExprStatus::ok)
        return s;
    if (id != kNoVariable && reaches(id, ids)) {
        error = {ExprStatus::cyclicDependency,
                 L"Cyclic dependency: " + quoted(name) + L" would depend on itself"};
        return ExprStatus::cyclicDependency;
    }
    error = {};
    return ExprStatus::ok;
}

void ParameterSet::link(VariableId id, const std::vector<VariableId>& references) {
    m_variables[id].references = references;
    for (VariableId r : references)
        m_variables[r].dependents.push_back(id);
}

void ParameterSet::unlink(VariableId id) {
    for (VariableId r : m_variables[id].references) {
        auto& list = m_variables[r].dependents;
        auto it = std::find(list.begin(), list.end(), id);
        if (it != list.end()) {
            *it = list.back();
            list.pop_back();
        }
    }
    m_variables[id].references.clear();
}

ExprStatus ParameterSet::evaluateWith(const Variable& variable, double& result,
                                      ExprError& error) const {
    if (!variable.expression) {
        result = variable.value;
        error = {};
        return ExprStatus::ok;
    }
    const auto& refs = variable.references;
    std::array<double, 16> small;
    std::vector<double> large;
    double* values = small.data();
    if (refs.size() > small.size()) {
        large.resize(refs.size());
        values = large.data();
    }
    for (std::size_t i = 0; i < refs.size(); ++i)
        values[i] = m_variables[refs[i]].value;
    return variable.expression->evaluate(std::span<const double>(values, refs.size()), result,
                                         error);
}

ExprStatus ParameterSet::add(std::wstring_view name, std::wstring_view expression, VariableId& id,
                             ExprError& error) {
    id = kNoVariable;
    if (!name.empty()) {
        if (ExprStatus s = validateName(name, error); s != ExprStatus::ok)
            return s;
        if (find(name) != kNoVariable) {
            error = {ExprStatus::duplicateName, L"Name " + quoted(name) + L" is already used"};
            return ExprStatus::duplicateName;
        }
    }
    Variable variable;
    std::vector<VariableId> refs;
    if (!expression.empty()) {
        auto parsed = Expression::parse(expression, error);
        if (!parsed)
            return error.status;
        if (ExprStatus s = resolve(kNoVariable, *parsed, refs, error); s != ExprStatus::ok)
            return s;
        variable.expression = std::make_unique<Expression>(std::move(*parsed));
        variable.references = refs;
        if (ExprStatus s = evaluateWith(variable, variable.value, error); s != ExprStatus::ok)
            return s;
        variable.references.clear();
    }
    variable.alive = true;
    id = static_cast<VariableId>(m_variables.size());
    m_variables.push_back(std::move(variable));
    m_names.emplace_back(name);
    link(id, refs);
    if (!name.empty())
        m_byName.emplace(foldName(name), id);
    ++m_count;
    error = {};
    return ExprStatus::ok;
}

ExprStatus ParameterSet::setExpression(VariableId id, std::wstring_view expression,
                                       ExprError& error) {
    if (!contains(id))
        return noSuchParameter(error);
    auto parsed = Expression::parse(expression, error);
    if (!parsed)
        return error.status;
    std::vector<VariableId> refs;
    if (ExprStatus s = resolve(id, *parsed, refs, error); s != ExprStatus::ok)
        return s;
    if (reaches(id, refs)) {
        error = {ExprStatus::cyclicDependency,
                 L"Cyclic dependency: " + quoted(m_names[id]) + L" would depend on itself"};
        return ExprStatus::cyclicDependency;
    }
    unlink(id);
    link(id, refs);
    m_variables[id].expression = std::make_unique<Expression>(std::move(*parsed));
    error = {};
    return ExprStatus::ok;
}

ExprStatus ParameterSet::evaluate(VariableId id, double& result, ExprError& error) const {
    if (!contains(id))
        return noSuchParameter(error);
    return evaluateWith(m_variables[id], result, error);
}

ParameterSet::Update ParameterSet::setValue(VariableId id, double value) {
    Update update;
    if (!contains(id))
        return update;
    m_variables[id].value = value;
    m_variables[id].lastStatus = ExprStatus::ok;
    if (m_variables[id].dependents.empty())
        return update;

    // Mark everything downstream, then count for each marked parameter how many of its
    // references are marked too; evaluating in that order (Kahn) sees each input settled.
    std::uint32_t epoch = nextEpoch();
    m_affected.clear();
    m_work.assign(1, id);
    while (!m_work.empty()) {
        VariableId v = m_work.back();
        m_work.pop_back();
        for (VariableId d : m_variables[v].dependents) {
            if (m_mark[d] != epoch) {
                m_mark[d] = epoch;
                m_affected.push_back(d);
                m_work.push_back(d);
            }
        }
    }
    for (VariableId v : m_affected) {
        std::uint32_t count = 0;
        for (VariableId r : m_variables[v].references)
            if (m_mark[r] == epoch)
                ++count;
        m_pending[v] = count;
    }
    m_ready.clear();
    for (VariableId d : m_variables[id].dependents)
        if (m_pending[d] == 0)
            m_ready.push_back(d);
    ExprError error;
    while (!m_ready.empty()) {
        VariableId v = m_ready.back();
        m_ready.pop_back();
        Variable& variable = m_variables[v];
        double result = 0.0;
        variable.lastStatus = evaluateWith(variable, result, error);
        ++update.evaluated;
        if (variable.lastStatus == ExprStatus::ok)
            variable.value = result;
        else
            update.failed.push_back(v); // keeps its old value, as the host does
        for (VariableId d : variable.dependents)
            if (--m_pending[d] == 0)
                m_ready.push_back(d);
    }
    return update;
}

ExprStatus ParameterSet::assign(VariableId id, std::wstring_view expression, ExprError& error) {
    if (ExprStatus s = setExpression(id, expression, error); s != ExprStatus::ok)
        return s;
    double result = 0.0;
    if (ExprStatus s = evaluate(id, result, error); s != ExprStatus::ok) {
        m_variables[id].lastStatus = s;
        return s;
    }
    setValue(id, result);
    return ExprStatus::ok;
}

ExprStatus ParameterSet::rename(VariableId id, std::wstring_view newName, bool updateReferences,
                                ExprError& error) {
    if (!contains(id))
        return noSuchParameter(error);
    if (ExprStatus s = validateName(newName, error); s != ExprStatus::ok)
        return s;
    VariableId holder = find(newName);
    if (holder != kNoVariable && holder != id) {
        error = {ExprStatus::duplicateName, L"Name " + quoted(newName) + L" is already used"};
        return ExprStatus::duplicateName;
    }
    const Variable& v = m_variables[id];
    if (!v.dependents.empty() && !updateReferences) {
        error = {ExprStatus::inUse, quoted(m_names[id]) + L" is referenced by " +
                                        quoted(m_names[v.dependents.front()])};
        return ExprStatus::inUse;
    }
    // Rewrite first, so that a failure leaves every text as it was.
    std::vector<std::pair<VariableId, std::unique_ptr<Expression>>> rewritten;
    for (VariableId d : v.dependents) {
        std::wstring text = m_variables[d].expression->withRenamedReference(m_names[id], newName);
        auto parsed = Expression::parse(text, error);
        if (!parsed)
            return error.status;
        rewritten.emplace_back(d, std::make_unique<Expression>(std::move(*parsed)));
    }
    // References keep their ids and order: only the spelling changes.
    for (auto& [d, expression] : rewritten)
        m_variables[d].expression = std::move(expression);
    if (!m_names[id].empty())
        m_byName.erase(foldName(m_names[id]));
    m_names[id] = newName;
    m_byName.emplace(foldName(newName), id);
    error = {};
    return ExprStatus::ok;
}

ExprStatus ParameterSet::remove(VariableId id, ExprError& error) {
    if (!contains(id))
        return noSuchParameter(error);
    if (!m_variables[id].dependents.empty()) {
        error = {ExprStatus::inUse, quoted(m_names[id]) + L" is referenced by " +
                                        quoted(m_names[m_variables[id].dependents.front()])};
        return ExprStatus::inUse;
    }
    unlink(id);
    if (!m_names[id].empty())
        m_byName.erase(foldName(m_names[id]));
    m_variables[id] = Variable{};
    m_names[id].clear();
    --m_count;
    error = {};
    return ExprStatus::ok;
}

} // namespace drawing
