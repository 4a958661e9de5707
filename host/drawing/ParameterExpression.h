// Expressions of constraint parameters, and the set of parameters that they link.
// The parser (ExpressionParser.cpp), the evaluator (ExpressionEvaluator.cpp) and the graph of
// parameters (ParameterGraph.cpp) share this header.
//
// Language (what the host's Parameters Manager takes; docs/drawing-model.md gives sources):
//   numbers      1  1.5  .5  5.  1e3  2.5E-2   (no sign inside; a leading '-' is an operator)
//   distances    under engineering and architectural units (LUNITS 3, 4) also feet and inches
//                5'  9"  5'-9"  5'9"  1-1/2  2 1/2", read by the drawing's unit parser; a dash
//                with no space either side joins units, with a space it subtracts
//                (5' -9" = 51); fractional units (5) take mixed numbers (1-1/2)
//   operators    by precedence: unary - and +; ^ (power); * / % (floating-point modulo);
//                + -. Equal precedence runs left to right: 2^3^2 = 64, -2^2 = 4
//   parentheses  ( )
//   functions    sin cos tan asin acos atan sinh cosh tanh asinh acosh atanh (radians),
//                sqrt abs sign round (half away from zero) trunc floor ceil
//                ln (natural) log (base 10) exp exp10 pow(x;y) r2d d2r
//                min(a;...) max(a;...) with one or more arguments, random (0 to 1)
//   constants    pi  e   (also written pi() and e(); random also random())
//   names        another parameter: a letter, then letters, digits or '_'
// Function and constant names, and parameter names, are matched without regard to case.
// Spaces and tabs may stand between tokens. Arguments are separated by ';' (or ',').
//
// Refusals carry a status and a text; positions in texts count from 1.
// A result that is not a finite number, or beyond +-1e100, is refused: NaN from a function is
// a domain error, the rest is "out of range".
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace drawing {

enum class ExprStatus {
    ok,
    syntaxError,
    unknownName,      // a name that is neither a parameter nor a function
    invalidName,      // a parameter name the host does not allow
    duplicateName,    // another parameter already has this name (case ignored)
    cyclicDependency, // the expression would make a parameter depend on itself
    divisionByZero,
    domainError, // a function argument outside its domain (sqrt(-1), ln(0), asin(2))
    outOfRange,  // overflow to infinity
    inUse,       // a parameter still referenced by others
    notFound,    // no such parameter
    tooComplex,  // nesting deeper than the parser allows
};

struct ExprError {
    ExprStatus status = ExprStatus::ok;
    std::wstring text;
};

// True for the names of functions and constants, which no parameter may take.
bool isReservedName(std::wstring_view name);

// Checks a parameter name: a letter, then letters, digits and '_', at most 256 characters,
// and not the name of a function or constant.
ExprStatus validateName(std::wstring_view name, ExprError& error);

// The key under which a name is unique: ASCII letters folded to lower case.
std::wstring foldName(std::wstring_view name);

// A parsed expression. Parsing happens once; evaluation runs over a flat program.
class Expression {
public:
    // `linearUnits` is the drawing's LUNITS, which decides what distance texts mean.
    static std::optional<Expression> parse(std::wstring_view text, ExprError& error,
                                           int linearUnits = 2);

    const std::wstring& text() const { return m_text; }
    // The LUNITS it was read with.
    int linearUnits() const { return m_linearUnits; }

    // Distinct names referenced, in order of first appearance, as first written.
    const std::vector<std::wstring>& references() const { return m_references; }

    // Evaluates with values[i] standing for references()[i].
    ExprStatus evaluate(std::span<const double> values, double& result, ExprError& error) const;

    // Evaluates with a lookup; a name the lookup does not know is refused as unknown.
    ExprStatus evaluate(const std::function<std::optional<double>(std::wstring_view)>& lookup,
                        double& result, ExprError& error) const;

    // The text with every reference to `from` (case ignored) written as `to`.
    std::wstring withRenamedReference(std::wstring_view from, std::wstring_view to) const;

    enum class Op : std::uint8_t { number, load, neg, add, sub, mul, div, mod, pow, call };
    struct Instruction {
        Op op;
        std::uint16_t function = 0; // for call
        std::uint32_t arg = 0;      // reference index for load, argument count for call
        double number = 0.0;
    };
    struct ReferenceSpan {
        std::uint32_t position;
        std::uint32_t length;
    };

private:
    friend class ExpressionParser;
    std::wstring m_text;
    std::vector<std::wstring> m_references;
    std::vector<ReferenceSpan> m_spans;
    std::vector<Instruction> m_program;
    std::uint32_t m_maxStack = 0;
    int m_linearUnits = 2;
};

using VariableId = std::uint32_t;
inline constexpr VariableId kNoVariable = 0xFFFFFFFFu;

// Named parameters with expressions and values, and the graph of who references whom.
// Names are hashed (case ignored). A change re-evaluates only the parameters that depend
// on the changed one, in dependency order. Ids stay valid until removal and are not reused.
class ParameterSet {
public:
    struct Update {
        std::size_t evaluated = 0;      // dependents evaluated
        std::vector<VariableId> failed; // dependents whose evaluation was refused
    };

    // Adds a parameter. An empty name makes an unnamed parameter, which no expression can
    // reference until it gets a name. An empty expression leaves the value to setValue.
    // With an expression, the value is its result. On refusal nothing is added.
    ExprStatus add(std::wstring_view name, std::wstring_view expression, VariableId& id,
                   ExprError& error);

    // The parameter of this name (case ignored), or kNoVariable.
    VariableId find(std::wstring_view name) const;

    bool contains(VariableId id) const;
    std::size_t size() const { return m_count; }
    const std::wstring& name(VariableId id) const;
    const std::wstring& expression(VariableId id) const;
    double value(VariableId id) const;
    // Status of the last evaluation of the parameter during an update of its dependencies:
    // a parameter whose expression could not be evaluated is invalid (it keeps its last good
    // value) until an evaluation succeeds again. Its error text, empty while valid.
    ExprStatus lastStatus(VariableId id) const;
    const std::wstring& lastError(VariableId id) const;

    // The drawing's LUNITS, for the expressions parsed from now on (2 until set).
    void setLinearUnits(int mode) { m_linearUnits = mode; }
    // Parameters whose expressions name this one directly.
    std::vector<VariableId> dependents(VariableId id) const;

    // Checks a name and an expression for a parameter (kNoVariable: for a new one) without
    // changing anything: name rules, uniqueness, syntax, known names, cycles.
    ExprStatus check(VariableId id, std::wstring_view name, std::wstring_view expression,
                     ExprError& error) const;

    // Gives the parameter a new expression and links it to what it references. Does not
    // evaluate; the old value stays until evaluate/setValue. On refusal the old state stays.
    ExprStatus setExpression(VariableId id, std::wstring_view expression, ExprError& error);

    // Evaluates the parameter's expression against the present values.
    ExprStatus evaluate(VariableId id, double& result, ExprError& error) const;

    // Stores a value and re-evaluates every parameter that depends on it.
    Update setValue(VariableId id, double value);

    // setExpression, evaluate and setValue in one step. An expression that is accepted but
    // cannot be evaluated stays set, with the old value; its status is returned.
    ExprStatus assign(VariableId id, std::wstring_view expression, ExprError& error);

    // Renames a parameter. Referencing expressions are rewritten when `updateReferences`;
    // otherwise a referenced parameter cannot be renamed.
    ExprStatus rename(VariableId id, std::wstring_view newName, bool updateReferences,
                      ExprError& error);

    // Removes a parameter that nothing references.
    ExprStatus remove(VariableId id, ExprError& error);

private:
    // What an update walks is kept small and apart from the names, so that long chains stay
    // in cache.
    struct Variable {
        std::unique_ptr<Expression> expression; // none: the value is set directly
        std::vector<VariableId> references;     // resolved, parallel to its references()
        std::vector<VariableId> dependents;     // who references this one
        double value = 0.0;
        ExprStatus lastStatus = ExprStatus::ok;
        bool alive = false;
    };

    ExprStatus resolve(VariableId self, const Expression& expression, std::vector<VariableId>& ids,
                       ExprError& error) const;
    bool reaches(VariableId from, const std::vector<VariableId>& targets) const;
    void link(VariableId id, const std::vector<VariableId>& references);
    void unlink(VariableId id);
    void markValid(VariableId id);
    void markInvalid(VariableId id, const ExprError& error);
    ExprStatus evaluateWith(const Variable& variable, double& result, ExprError& error) const;
    std::uint32_t nextEpoch() const;

    std::vector<Variable> m_variables;
    std::vector<std::wstring> m_names; // parallel to m_variables
    // Error texts of the invalid parameters, which are few.
    std::unordered_map<VariableId, std::wstring> m_errors;
    std::unordered_map<std::wstring, VariableId> m_byName;
    std::size_t m_count = 0;
    int m_linearUnits = 2;
    // Scratch for graph walks, sized with m_variables.
    mutable std::vector<std::uint32_t> m_mark;
    mutable std::vector<std::uint32_t> m_pending;
    mutable std::uint32_t m_epoch = 0;
    mutable std::vector<VariableId> m_work;
    std::vector<VariableId> m_affected;
    std::vector<VariableId> m_ready;
};

} // namespace drawing
