// Formulas of the spreadsheet substitute: parsed once into postfix code and evaluated on
// a value stack, so neither long formulas nor long chains of cells use the call stack.
#pragma once

#include "spreadsheet/CellRef.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace spreadsheet::formula {

// Bounds of a formula as the spreadsheet program sets them.
constexpr std::size_t kMaxFormulaChars = 8192;
constexpr int kMaxNesting = 64;

enum class Error : std::uint8_t { Null, Div0, Value, Ref, Name, Num, NA };
const wchar_t* errorText(Error e);
bool errorFromText(std::wstring_view text, Error& out);

struct Value {
    enum class Kind : std::uint8_t { Empty, Number, Text, Boolean, Error, Range };
    Kind kind = Kind::Empty;
    Error error = Error::Value;
    double number = 0; // Number; Boolean as 0 or 1
    std::wstring text;
    int sheet = -1; // Range: the sheet and the cells
    RangeRef range;

    static Value num(double v);
    static Value str(std::wstring s);
    static Value boolean(bool b);
    static Value err(Error e);
    static Value area(int sheet, const RangeRef& r);
    bool isError() const { return kind == Kind::Error; }
};

// A reference as written: relative parts move with the cell that holds the formula.
struct Ref {
    std::wstring sheet; // empty: the formula's own sheet
    CellRef first, last;
    bool firstRowAbs = false, firstColAbs = false, lastRowAbs = false, lastColAbs = false;
    bool wholeColumns = false, wholeRows = false;
};

enum class OpCode : std::uint8_t {
    Number,
    Text,
    Boolean,
    ErrorConst,
    Missing, // an argument left out: f(1,,2)
    Reference,
    Name,
    Negate,
    Percent,
    Add,
    Sub,
    Mul,
    Div,
    Pow,
    Concat,
    Eq,
    Ne,
    Lt,
    Le,
    Gt,
    Ge,
    Call,
};

struct Op {
    OpCode code = OpCode::Number;
    Error error = Error::Value;
    int index = -1; // Call: function (-1 unknown); Text, Name: texts; Reference: refs
    int argc = 0;   // Call
    double number = 0;
};

struct Program {
    std::vector<Op> ops;
    std::vector<Ref> refs;
    std::vector<std::wstring> texts;
    // Empty when the engine can calculate the formula; else why not (unknown function,
    // array constant, another workbook, malformed text ...).
    std::wstring uncalculable;
    bool isVolatile = false;
};

// Parses a formula as stored in a file (no leading '='; one is skipped if present).
Program parse(std::wstring_view text);

// The formula as it reads in a cell dRow rows and dCol columns away from the one it was
// written for (a shared formula): relative references move; one moved off the sheet
// becomes #REF!. Text that does not parse is given back as it is.
std::wstring moveFormula(std::wstring_view text, int dRow, int dCol);

// Calls of the function table.
int findFunction(std::wstring_view name); // -1 if the engine has no such function

// What a formula sees of its workbook.
class Context {
public:
    virtual ~Context() = default;
    virtual int sheetIndex(const std::wstring& name) = 0; // -1 when there is none
    virtual Value cell(int sheet, int row, int col) = 0;
    // The cells present in a range (row by row), for functions that skip empty cells.
    virtual void forEachCell(int sheet, const RangeRef& range,
                             const std::function<void(int row, int col)>& visit) = 0;
    // A defined name seen from a sheet: a range, or another formula (then *program is
    // set and relative parts are taken from the formula's cell). False when unknown.
    virtual bool name(const std::wstring& name, int sheet, Value& range,
                      const Program** program) = 0;
    virtual bool date1904() = 0;
    virtual double now() = 0; // serial date and time
    // Number as the TEXT function shows it with a format code.
    virtual std::wstring formatNumber(double value, const std::wstring& code) = 0;
};

// Where a formula is evaluated: its own cell, and the cell its relative references were
// written for (another cell for a shared formula).
struct Origin {
    int sheet = 0;
    int row = 1, col = 1;
    int anchorRow = 1, anchorCol = 1;
};

// Evaluates to a single value (a range is reduced as the cell would show it).
Value evaluate(const Program& program, Context& context, const Origin& origin);

// The areas a formula reads, resolved for its cell (names expanded); areas that cannot be
// resolved are left out.
void references(const Program& program, Context& context, const Origin& origin,
                std::vector<Value>& areas);

// Numbers as text the way the program converts them (=1/3&"" gives 0.333333333333333).
std::wstring numberText(double v);

} // namespace spreadsheet::formula
