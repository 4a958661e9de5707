// Inside the formula engine: conversions between values by the program's rules, and what
// a function of the table gets to work with. Errors travel as exceptions (Raise) so that a
// function reads like its definition.
#pragma once

#include "spreadsheet/Formula.h"

#include <cstddef>
#include <functional>
#include <span>
#include <string>

namespace spreadsheet::formula::detail {

struct Raise {
    Error error;
};
[[noreturn]] inline void raise(Error e) {
    throw Raise{e};
}

// An argument left out (f(1,,2)) is an empty value with this mark.
constexpr int kMissingSheet = -2;
inline bool isMissing(const Value& v) {
    return v.kind == Value::Kind::Empty && v.sheet == kMissingSheet;
}

// Equal but for the last bits, as the program compares and adds (0.1+0.2 equals 0.3).
bool approxEqual(double a, double b);
double approxAdd(double a, double b);

double toNumber(const Value& v, bool date1904); // raises #VALUE! for text that is no number
std::wstring toText(const Value& v);
bool toBool(const Value& v);
// Order of the program's comparisons: numbers < texts < booleans, texts without regard to
// case, an empty cell as 0, "" or FALSE against the other side.
int compare(const Value& a, const Value& b);
std::wstring upper(std::wstring_view s);
// Decimal rounding of halves away from zero, on the value taken to 15 digits.
double roundDigits(double x, int digits, int mode); // mode: 0 half away, 1 up, -1 down

// A range or a single value, read cell by cell.
class Call {
public:
    Call(Context& ctx, const Origin& origin, std::span<Value> args)
        : m_ctx(ctx), m_origin(origin), m_args(args) {}

    Context& context() { return m_ctx; }
    const Origin& origin() const { return m_origin; }
    std::size_t size() const { return m_args.size(); }
    bool has(std::size_t i) const { return i < m_args.size() && !isMissing(m_args[i]); }
    Value& raw(std::size_t i) { return m_args[i]; }

    // The argument as one value: a range gives the cell in the formula's row or column.
    Value scalar(std::size_t i);
    double number(std::size_t i);
    double number(std::size_t i, double fallback) { return has(i) ? number(i) : fallback; }
    std::wstring text(std::size_t i);
    bool boolean(std::size_t i);
    // A whole number, truncated, within [lo, hi] or #VALUE!.
    long long integer(std::size_t i, long long lo, long long hi);

    // Every value of an argument: a single value, or the cells present in a range
    // (inRange true).
    void forEach(std::size_t i, const std::function<void(const Value&, bool inRange)>& visit);
    // Cell (r, c) of a range argument, 0-based; out of the range gives #REF!.
    Value cellOf(const Value& range, int r, int c);

private:
    Context& m_ctx;
    const Origin& m_origin;
    std::span<Value> m_args;
};

// The cell of a range seen from a formula (implicit intersection); #VALUE! when none.
Value intersect(Context& ctx, const Origin& origin, const Value& v);

using Function = Value (*)(Call&);
struct FunctionInfo {
    const wchar_t* name;
    int minArgs;
    int maxArgs;
    Function function;
    bool isVolatile;
};
const FunctionInfo& functionInfo(int index);

// Date serials of the workbook's date system (1900 counts the fictitious 2/29/1900).
double dateSerial(long long year, long long month, long long day, bool date1904);
void serialDate(double serial, bool date1904, int& year, int& month, int& day);

} // namespace spreadsheet::formula::detail
