// Parameter expressions: names, and parsing into a flat postfix program.
#include "drawing/ExpressionFunctions.h"
#include "drawing/ParameterExpression.h"
#include "drawing/UnitParsing.h"

#include <algorithm>

namespace drawing {

namespace expr {

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

std::wstring quoted(std::wstring_view s) {
    return L"\"" + std::wstring(s) + L"\"";
}

} // namespace expr

using expr::equalsFolded;
using expr::findFunction;
using expr::FunctionInfo;
using expr::quoted;

namespace {

bool isLetter(wchar_t c) {
    return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z');
}
bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}
bool isNameChar(wchar_t c) {
    return isLetter(c) || isDigit(c) || c == L'_';
}

// Each parenthesis costs two levels; this keeps the recursion far from the stack's end.
constexpr int kMaxDepth = 512;
constexpr std::size_t kMaxNameLength = 256;

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
        return refuse(L"longer than 256 characters");
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
    ExpressionParser(std::wstring_view text, int linearUnits, Expression& out, ExprError& error)
        : m_text(text), m_linearUnits(linearUnits), m_out(out), m_error(error) {}

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
        if (!parsePower())
            return false;
        for (;;) {
            skipSpace();
            if (m_pos >= m_text.size())
                return true;
            wchar_t c = m_text[m_pos];
            if (c != L'*' && c != L'/' && c != L'%')
                return true;
            ++m_pos;
            if (!parsePower())
                return false;
            emit(c == L'*'   ? Expression::Op::mul
                 : c == L'/' ? Expression::Op::div
                             : Expression::Op::mod);
        }
    }

    // Powers run left to right, each side a signed operand: 2^3^2 = 64, -2^2 = 4.
    bool parsePower() {
        if (!parseUnary())
            return false;
        for (;;) {
            skipSpace();
            if (m_pos >= m_text.size() || m_text[m_pos] != L'^')
                return true;
            ++m_pos;
            if (!parseUnary())
                return false;
            emit(Expression::Op::pow);
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
            ok = parsePrimary();
        }
        --m_depth;
        return ok;
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

    enum class Read { none, done, failed };

    // Under units with fractions or feet and inches, the drawing's unit parser reads what
    // only a distance can be: marks, or parts joined by a space or a dash. A bare fraction
    // stays a division, so that 2^1/2 keeps its meaning.
    Read readDistance() {
        if (m_linearUnits < kEngineering || m_linearUnits > kFractional)
            return Read::none;
        std::size_t used = 0;
        std::wstring_view rest = m_text.substr(m_pos);
        auto value = scanDistance(rest, m_linearUnits, used);
        if (!value || rest.substr(0, used).find_first_of(L"'\" \t-") == std::wstring_view::npos)
            return Read::none;
        if (*value > expr::kValueLimit) {
            fail(ExprStatus::outOfRange,
                 L"Number out of range at position " + std::to_wstring(m_pos + 1));
            return Read::failed;
        }
        m_pos += used;
        emit(Expression::Op::number, 0, *value);
        return Read::done;
    }

    bool parseNumber() {
        if (Read read = readDistance(); read != Read::none)
            return read == Read::done;
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
        if (!value || *value > expr::kValueLimit) {
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
                if (m_pos < m_text.size() && (m_text[m_pos] == L';' || m_text[m_pos] == L',')) {
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
    int m_linearUnits;
    Expression& m_out;
    ExprError& m_error;
    std::size_t m_pos = 0;
    int m_depth = 0;
    std::uint32_t m_stack = 0;
};

std::optional<Expression> Expression::parse(std::wstring_view text, ExprError& error,
                                            int linearUnits) {
    Expression expression;
    expression.m_text = text;
    expression.m_linearUnits = linearUnits;
    error = {};
    ExpressionParser parser(text, linearUnits, expression, error);
    if (!parser.run())
        return std::nullopt;
    error = {};
    return expression;
}

} // namespace drawing
