// The function table of the formula engine: each entry is the program's function, with
// its argument counts, written with the conversions of FormulaValues.h.
#include "spreadsheet/FormulaValues.h"
#include "spreadsheet/TypedEntry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cwctype>
#include <numbers>

namespace spreadsheet::formula {

using namespace detail;

namespace detail {

namespace {

long long daysFromCivil(long long y, long long m, long long d) { // days since 1970-01-01
    y -= m <= 2;
    long long era = (y >= 0 ? y : y - 399) / 400;
    long long yoe = y - era * 400;
    long long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void civilFromDays(long long z, int& year, int& month, int& day) {
    z += 719468;
    long long era = (z >= 0 ? z : z - 146096) / 146097;
    long long doe = z - era * 146097;
    long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long long mp = (5 * doy + 2) / 153;
    day = int(doy - (153 * mp + 2) / 5 + 1);
    month = int(mp < 10 ? mp + 3 : mp - 9);
    year = int(yoe + era * 400 + (month <= 2));
}

const long long kDay0Of1900 = daysFromCivil(1899, 12, 31);
const long long kDay0Of1904 = daysFromCivil(1904, 1, 1);
constexpr double kLastSerial1900 = 2958465; // 12/31/9999

} // namespace

double dateSerial(long long year, long long month, long long day, bool date1904) {
    if (year >= 0 && year < 1900)
        year += 1900;
    if (year < 0 || year > 9999)
        raise(Error::Num);
    year += (month - 1) >= 0 ? (month - 1) / 12 : -((12 - month) / 12);
    month = ((month - 1) % 12 + 12) % 12 + 1;
    long long days = daysFromCivil(year, month, 1) + (day - 1);
    double serial;
    if (date1904) {
        serial = double(days - kDay0Of1904);
    } else {
        serial = double(days - kDay0Of1900);
        if (serial >= 60) // the program counts 2/29/1900, a day that never was
            serial += 1;
    }
    if (serial < 0 || serial > kLastSerial1900)
        raise(Error::Num);
    return serial;
}

void serialDate(double serial, bool date1904, int& year, int& month, int& day) {
    if (serial < 0 || serial >= kLastSerial1900 + 1)
        raise(Error::Num);
    long long s = (long long)std::floor(serial);
    if (date1904) {
        civilFromDays(kDay0Of1904 + s, year, month, day);
        return;
    }
    if (s == 0) {
        year = 1900, month = 1, day = 0;
    } else if (s == 60) {
        year = 1900, month = 2, day = 29;
    } else {
        civilFromDays(kDay0Of1900 + s - (s > 60 ? 1 : 0), year, month, day);
    }
}

} // namespace detail

namespace {

// ---- aggregates ------------------------------------------------------------------------

// Numbers of all arguments: given directly, booleans and number texts count and other
// texts are #VALUE!; in ranges only numbers count. Errors anywhere are the result.
template <class F> void numbers(Call& c, F&& take) {
    for (std::size_t i = 0; i < c.size(); ++i)
        c.forEach(i, [&](const Value& v, bool inRange) {
            if (v.isError())
                raise(v.error);
            if (v.kind == Value::Kind::Number)
                take(v.number);
            else if (!inRange && v.kind != Value::Kind::Empty)
                take(toNumber(v, c.context().date1904()));
        });
}

Value fnSum(Call& c) {
    double s = 0;
    numbers(c, [&](double x) { s = approxAdd(s, x); });
    return Value::num(s);
}

Value fnAverage(Call& c) {
    double s = 0;
    long long n = 0;
    numbers(c, [&](double x) { s = approxAdd(s, x), ++n; });
    if (n == 0)
        raise(Error::Div0);
    return Value::num(s / double(n));
}

Value fnMin(Call& c) {
    double m = INFINITY;
    numbers(c, [&](double x) { m = std::min(m, x); });
    return Value::num(std::isinf(m) ? 0 : m);
}

Value fnMax(Call& c) {
    double m = -INFINITY;
    numbers(c, [&](double x) { m = std::max(m, x); });
    return Value::num(std::isinf(m) ? 0 : m);
}

Value fnCount(Call& c) {
    long long n = 0;
    for (std::size_t i = 0; i < c.size(); ++i)
        c.forEach(i, [&](const Value& v, bool inRange) {
            if (v.kind == Value::Kind::Number)
                ++n;
            else if (!inRange && v.kind == Value::Kind::Boolean)
                ++n;
            else if (!inRange && v.kind == Value::Kind::Text) {
                try {
                    toNumber(v, c.context().date1904());
                    ++n;
                } catch (const Raise&) {
                }
            }
        });
    return Value::num(double(n));
}

Value fnCountA(Call& c) {
    long long n = 0;
    for (std::size_t i = 0; i < c.size(); ++i) {
        if (!c.has(i))
            continue;
        c.forEach(i, [&](const Value& v, bool inRange) {
            if (!inRange || v.kind != Value::Kind::Empty)
                ++n;
        });
    }
    return Value::num(double(n));
}

// ---- criteria (SUMIF, COUNTIF) -------------------------------------------------------

// "*" any run, "?" one character, "~" takes the next one as it is; without regard to case.
bool wildcardMatch(std::wstring_view pattern, std::wstring_view text) {
    std::size_t p = 0, t = 0, starP = std::wstring_view::npos, starT = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == L'*') {
            starP = ++p;
            starT = t;
            continue;
        }
        if (p < pattern.size()) {
            wchar_t pc = pattern[p];
            std::size_t step = 1;
            if (pc == L'~' && p + 1 < pattern.size()) {
                pc = pattern[p + 1];
                step = 2;
            } else if (pc == L'?') {
                p += 1, t += 1;
                continue;
            }
            if (std::towupper(pc) == std::towupper(text[t])) {
                p += step, t += 1;
                continue;
            }
        }
        if (starP == std::wstring_view::npos)
            return false;
        p = starP;
        t = ++starT;
    }
    while (p < pattern.size() && pattern[p] == L'*')
        ++p;
    return p == pattern.size();
}

struct Criterion {
    OpCode op = OpCode::Eq;
    Value operand;
    std::wstring written; // the operand as the criterion's text gave it

    bool matches(const Value& v) const {
        if (v.isError() || operand.isError()) {
            bool same = v.isError() && operand.isError() && operand.error == v.error;
            return op == OpCode::Eq ? same : op == OpCode::Ne ? !same : false;
        }
        if (operand.kind == Value::Kind::Number) {
            // "12" also finds the text 12; other texts and booleans only differ.
            if (v.kind == Value::Kind::Text && !written.empty() &&
                (op == OpCode::Eq || op == OpCode::Ne))
                return (upper(v.text) == upper(written)) == (op == OpCode::Eq);
            if (v.kind != Value::Kind::Number)
                return op == OpCode::Ne;
            int c = compare(v, operand);
            return op == OpCode::Eq   ? c == 0
                   : op == OpCode::Ne ? c != 0
                   : op == OpCode::Lt ? c < 0
                   : op == OpCode::Le ? c <= 0
                   : op == OpCode::Gt ? c > 0
                                      : c >= 0;
        }
        if (operand.kind == Value::Kind::Boolean) {
            bool same = v.kind == Value::Kind::Boolean && v.number == operand.number;
            return op == OpCode::Eq ? same : op == OpCode::Ne ? !same : false;
        }
        const std::wstring& pattern = operand.text;
        if (op == OpCode::Eq || op == OpCode::Ne) {
            bool same;
            if (pattern.empty())
                same =
                    v.kind == Value::Kind::Empty || (v.kind == Value::Kind::Text && v.text.empty());
            else
                same = v.kind == Value::Kind::Text && wildcardMatch(pattern, v.text);
            return op == OpCode::Eq ? same : !same;
        }
        if (v.kind != Value::Kind::Text)
            return false;
        int c = compare(v, operand);
        return op == OpCode::Lt   ? c < 0
               : op == OpCode::Le ? c <= 0
               : op == OpCode::Gt ? c > 0
                                  : c >= 0;
    }
};

Criterion criterion(const Value& given, bool date1904) {
    Criterion cr;
    if (given.kind != Value::Kind::Text) {
        cr.operand = given.kind == Value::Kind::Empty ? Value::num(0) : given;
        return cr;
    }
    std::wstring_view s = given.text;
    static const std::pair<const wchar_t*, OpCode> ops[] = {
        {L"<>", OpCode::Ne}, {L"<=", OpCode::Le}, {L">=", OpCode::Ge},
        {L"<", OpCode::Lt},  {L">", OpCode::Gt},  {L"=", OpCode::Eq}};
    for (const auto& [text, op] : ops)
        if (s.starts_with(text)) {
            cr.op = op;
            s.remove_prefix(std::wcslen(text));
            break;
        }
    std::wstring rest(s);
    cr.written = rest;
    TypedEntry e = readTypedEntry(rest, date1904);
    if (e.kind == TypedEntry::Kind::Number && !e.quoted)
        cr.operand = Value::num(e.number);
    else if (e.kind == TypedEntry::Kind::Boolean)
        cr.operand = Value::boolean(e.number != 0);
    else
        cr.operand = Value::str(rest);
    return cr;
}

// The cells of `range` that meet the criterion, with the matching cell of `target` (the
// same shape from its top-left corner).
template <class F> void matching(Call& c, std::size_t rangeArg, const Criterion& cr, F&& take) {
    Value range = c.raw(rangeArg);
    if (range.kind != Value::Kind::Range)
        raise(Error::Value);
    c.context().forEachCell(range.sheet, range.range, [&](int row, int col) {
        Value v = c.context().cell(range.sheet, row, col);
        if (cr.matches(v))
            take(row - range.range.first.row, col - range.range.first.col);
    });
}

Value fnSumIf(Call& c) {
    Criterion cr = criterion(c.scalar(1), c.context().date1904());
    Value target = c.has(2) ? c.raw(2) : c.raw(0);
    if (target.kind != Value::Kind::Range)
        raise(Error::Value);
    double s = 0;
    matching(c, 0, cr, [&](int r, int col) {
        int row = target.range.first.row + r, cc = target.range.first.col + col;
        if (row > kMaxRows || cc > kMaxColumns)
            return;
        Value v = c.context().cell(target.sheet, row, cc);
        if (v.isError())
            raise(v.error);
        if (v.kind == Value::Kind::Number)
            s = approxAdd(s, v.number);
    });
    return Value::num(s);
}

Value fnCountIf(Call& c) {
    Criterion cr = criterion(c.scalar(1), c.context().date1904());
    long long n = 0;
    matching(c, 0, cr, [&](int, int) { ++n; });
    // Cells that are not there are empty: they count for "" and for "<>x".
    bool emptyMatches = cr.matches(Value{});
    if (emptyMatches) {
        const Value& range = c.raw(0);
        long long present = 0;
        c.context().forEachCell(range.sheet, range.range, [&](int, int) { ++present; });
        long long all = (long long)range.range.rows() * range.range.columns();
        n += all - present;
    }
    return Value::num(double(n));
}

// ---- math ------------------------------------------------------------------------------

Value checked(double v) {
    if (!std::isfinite(v))
        raise(Error::Num);
    return Value::num(v == 0 ? 0.0 : v);
}

int digitsArg(Call& c, std::size_t i) {
    double d = c.number(i, 0);
    return int(std::clamp(std::trunc(d), -400.0, 400.0));
}

Value fnRound(Call& c) {
    return checked(roundDigits(c.number(0), digitsArg(c, 1), 0));
}
Value fnRoundUp(Call& c) {
    return checked(roundDigits(c.number(0), digitsArg(c, 1), 1));
}
Value fnRoundDown(Call& c) {
    return checked(roundDigits(c.number(0), digitsArg(c, 1), -1));
}
Value fnTrunc(Call& c) {
    return checked(roundDigits(c.number(0), c.has(1) ? digitsArg(c, 1) : 0, -1));
}

// x / m taken to 15 digits, so that 0.3/0.1 counts as 3 and not 2.9999999999999996.
double quotient(double x, double m) {
    double q = x / m;
    double r = std::round(q);
    return approxEqual(q, r) ? r : q;
}

Value fnMRound(Call& c) {
    double x = c.number(0), m = c.number(1);
    if (m == 0)
        return Value::num(0);
    if ((x > 0 && m < 0) || (x < 0 && m > 0))
        raise(Error::Num);
    double q = quotient(x, m);
    return checked(roundDigits(q, 0, 0) * m);
}

Value fnCeiling(Call& c) {
    double x = c.number(0), m = c.number(1);
    if (x == 0 || m == 0)
        return Value::num(0);
    if (x > 0 && m < 0)
        raise(Error::Num);
    double q = quotient(x, m);
    return checked((q < 0 ? std::floor(q) : std::ceil(q)) * m);
}

Value fnFloor(Call& c) {
    double x = c.number(0), m = c.number(1);
    if (m == 0)
        raise(x == 0 ? Error::Div0 : Error::Div0);
    if (x > 0 && m < 0)
        raise(Error::Num);
    if (x == 0)
        return Value::num(0);
    double q = quotient(x, m);
    return checked((q < 0 ? std::ceil(q) : std::floor(q)) * m);
}

Value fnInt(Call& c) {
    return checked(std::floor(c.number(0)));
}

Value fnMod(Call& c) {
    double a = c.number(0), b = c.number(1);
    if (b == 0)
        raise(Error::Div0);
    double q = std::floor(quotient(a, b));
    double r = a - b * q;
    if (approxEqual(r, b) || approxEqual(a, b * q))
        r = 0;
    return checked(r);
}

Value fnAbs(Call& c) {
    return checked(std::fabs(c.number(0)));
}
Value fnSign(Call& c) {
    double x = c.number(0);
    return Value::num(x > 0 ? 1 : x < 0 ? -1 : 0);
}
Value fnSqrt(Call& c) {
    double x = c.number(0);
    if (x < 0)
        raise(Error::Num);
    return checked(std::sqrt(x));
}
Value fnPower(Call& c) {
    double a = c.number(0), b = c.number(1);
    if (a == 0 && b == 0)
        raise(Error::Num);
    if (a == 0 && b < 0)
        raise(Error::Div0);
    return checked(std::pow(a, b));
}
Value fnExp(Call& c) {
    return checked(std::exp(c.number(0)));
}
Value fnLn(Call& c) {
    double x = c.number(0);
    if (x <= 0)
        raise(Error::Num);
    return checked(std::log(x));
}
Value fnLog(Call& c) {
    double x = c.number(0), b = c.number(1, 10);
    if (x <= 0 || b <= 0)
        raise(Error::Num);
    if (b == 1)
        raise(Error::Div0);
    return checked(std::log(x) / std::log(b));
}
Value fnLog10(Call& c) {
    double x = c.number(0);
    if (x <= 0)
        raise(Error::Num);
    return checked(std::log10(x));
}
Value fnPi(Call&) {
    return Value::num(std::numbers::pi);
}

// The program refuses trigonometry of numbers too large to be meaningful.
constexpr double kTrigLimit = 134217728; // 2^27
double trigArg(Call& c) {
    double x = c.number(0);
    if (std::fabs(x) >= kTrigLimit)
        raise(Error::Num);
    return x;
}
Value fnSin(Call& c) {
    return checked(std::sin(trigArg(c)));
}
Value fnCos(Call& c) {
    return checked(std::cos(trigArg(c)));
}
Value fnTan(Call& c) {
    return checked(std::tan(trigArg(c)));
}
Value fnAsin(Call& c) {
    double x = c.number(0);
    if (x < -1 || x > 1)
        raise(Error::Num);
    return checked(std::asin(x));
}
Value fnAcos(Call& c) {
    double x = c.number(0);
    if (x < -1 || x > 1)
        raise(Error::Num);
    return checked(std::acos(x));
}
Value fnAtan(Call& c) {
    return checked(std::atan(c.number(0)));
}
// ATAN2(x, y): the angle of the point (x, y).
Value fnAtan2(Call& c) {
    double x = c.number(0), y = c.number(1);
    if (x == 0 && y == 0)
        raise(Error::Div0);
    return checked(std::atan2(y, x));
}
Value fnRadians(Call& c) {
    return checked(c.number(0) * std::numbers::pi / 180);
}
Value fnDegrees(Call& c) {
    return checked(c.number(0) * 180 / std::numbers::pi);
}

// ---- logic -----------------------------------------------------------------------------

Value fnIf(Call& c) {
    Value cond = c.scalar(0);
    if (cond.isError())
        return cond;
    bool yes = toBool(cond);
    std::size_t pick = yes ? 1 : 2;
    if (!c.has(pick))
        return pick < c.size() ? Value::num(0) : Value::boolean(yes);
    return c.raw(pick);
}

Value fnIfError(Call& c) {
    Value v = c.scalar(0);
    if (v.isError())
        return c.has(1) ? c.raw(1) : Value::num(0);
    return c.raw(0);
}

template <bool all> Value logical(Call& c) {
    bool result = all, any = false;
    for (std::size_t i = 0; i < c.size(); ++i)
        c.forEach(i, [&](const Value& v, bool inRange) {
            if (v.isError())
                raise(v.error);
            bool b;
            if (v.kind == Value::Kind::Number || v.kind == Value::Kind::Boolean)
                b = v.number != 0;
            else if (v.kind == Value::Kind::Text && !inRange)
                b = toBool(v);
            else
                return;
            any = true;
            result = all ? result && b : result || b;
        });
    if (!any)
        raise(Error::Value);
    return Value::boolean(result);
}

Value fnNot(Call& c) {
    return Value::boolean(!c.boolean(0));
}

Value fnChoose(Call& c) {
    long long i = c.integer(0, 1, 254);
    if (i >= (long long)c.size())
        raise(Error::Value);
    return c.has(std::size_t(i)) ? c.raw(std::size_t(i)) : Value::num(0);
}

// ---- lookup ----------------------------------------------------------------------------

Value fnIndex(Call& c) {
    Value range = c.raw(0);
    if (range.kind != Value::Kind::Range) {
        // A single value is a range of one cell.
        if ((c.has(1) && c.integer(1, 0, kMaxRows) > 1) ||
            (c.has(2) && c.integer(2, 0, kMaxColumns) > 1))
            raise(Error::Ref);
        return range;
    }
    long long rows = range.range.rows(), cols = range.range.columns();
    long long r = c.has(1) ? c.integer(1, 0, kMaxRows) : 0;
    long long col = c.has(2) ? c.integer(2, 0, kMaxColumns) : 0;
    // In a single row or column the one number counts along it.
    if (!c.has(2) && rows == 1 && cols > 1) {
        col = r;
        r = 0;
    }
    if (r > rows || col > cols)
        raise(Error::Ref);
    RangeRef out = range.range;
    if (r > 0)
        out.first.row = out.last.row = int(range.range.first.row + r - 1);
    if (col > 0)
        out.first.col = out.last.col = int(range.range.first.col + col - 1);
    if (r == 0 && col == 0 && rows > 1 && cols > 1)
        raise(Error::Ref);
    return Value::area(range.sheet, out);
}

// Position (0-based) in a row or column of values: exact (type 0, wildcards in text),
// the largest not above (1) or the smallest not below (-1) in a sorted list.
long long lookup(const Value& what, const std::function<Value(long long)>& at, long long n,
                 int type) {
    if (what.isError())
        raise(what.error);
    auto sameKind = [&](const Value& v) {
        bool wn = what.kind == Value::Kind::Number || what.kind == Value::Kind::Empty;
        bool vn = v.kind == Value::Kind::Number;
        return wn ? vn : v.kind == what.kind;
    };
    long long found = -1;
    for (long long i = 0; i < n; ++i) {
        Value v = at(i);
        if (type == 0) {
            if (what.kind == Value::Kind::Text && v.kind == Value::Kind::Text) {
                if (wildcardMatch(what.text, v.text))
                    return i;
            } else if (sameKind(v) && compare(v, what) == 0) {
                return i;
            }
            continue;
        }
        if (v.kind == Value::Kind::Empty)
            break; // the list ends at its first empty cell
        if (!sameKind(v))
            continue;
        int cmp = compare(v, what);
        if (type > 0) {
            if (cmp > 0)
                break;
            found = i;
        } else {
            if (cmp < 0)
                break;
            found = i;
        }
    }
    if (found < 0)
        raise(Error::NA);
    return found;
}

// Extent of a range that holds cells: a whole column reads only as far as the sheet goes.
long long usedLength(Call& c, const Value& range, bool alongRows) {
    long long last = -1;
    c.context().forEachCell(range.sheet, range.range, [&](int row, int col) {
        last = std::max<long long>(last, alongRows ? row - range.range.first.row
                                                   : col - range.range.first.col);
    });
    return last + 1;
}

Value fnMatch(Call& c) {
    Value what = c.scalar(0);
    Value range = c.raw(1);
    int type = c.has(2) ? int(std::clamp(std::trunc(c.number(2)), -1.0, 1.0)) : 1;
    if (range.kind != Value::Kind::Range) {
        if (compare(range, what) == 0)
            return Value::num(1);
        raise(Error::NA);
    }
    bool alongRows = range.range.columns() == 1;
    if (!alongRows && range.range.rows() != 1)
        raise(Error::NA);
    long long n = usedLength(c, range, alongRows);
    long long i = lookup(
        what,
        [&](long long k) {
            return c.cellOf(range, alongRows ? int(k) : 0, alongRows ? 0 : int(k));
        },
        n, type);
    return Value::num(double(i + 1));
}

template <bool vertical> Value tableLookup(Call& c) {
    Value what = c.scalar(0);
    Value table = c.raw(1);
    if (table.kind != Value::Kind::Range)
        raise(Error::Value);
    long long index = c.integer(2, -(1LL << 40), 1LL << 40);
    bool approximate = c.has(3) ? c.boolean(3) : true;
    long long width = vertical ? table.range.columns() : table.range.rows();
    if (index < 1)
        raise(Error::Value);
    if (index > width)
        raise(Error::Ref);
    long long n = usedLength(c, table, vertical);
    long long i = lookup(
        what,
        [&](long long k) { return c.cellOf(table, vertical ? int(k) : 0, vertical ? 0 : int(k)); },
        n, approximate ? 1 : 0);
    return vertical ? c.cellOf(table, int(i), int(index - 1))
                    : c.cellOf(table, int(index - 1), int(i));
}

// ---- text ------------------------------------------------------------------------------

Value textResult(std::wstring s) {
    if (s.size() > 32767)
        raise(Error::Value);
    return Value::str(std::move(s));
}

Value fnLeft(Call& c) {
    std::wstring s = c.text(0);
    long long n = c.has(1) ? c.integer(1, 0, 1LL << 40) : 1;
    return Value::str(s.substr(0, std::size_t(std::min<long long>(n, (long long)s.size()))));
}
Value fnRight(Call& c) {
    std::wstring s = c.text(0);
    long long n = c.has(1) ? c.integer(1, 0, 1LL << 40) : 1;
    std::size_t k = std::size_t(std::min<long long>(n, (long long)s.size()));
    return Value::str(s.substr(s.size() - k));
}
Value fnMid(Call& c) {
    std::wstring s = c.text(0);
    long long start = c.integer(1, 1, 1LL << 40);
    long long n = c.integer(2, 0, 1LL << 40);
    if (start > (long long)s.size())
        return Value::str(L"");
    return Value::str(
        s.substr(std::size_t(start - 1), std::size_t(std::min<long long>(n, 1LL << 31))));
}
Value fnLen(Call& c) {
    return Value::num(double(c.text(0).size()));
}
Value fnUpper(Call& c) {
    return Value::str(upper(c.text(0)));
}
Value fnLower(Call& c) {
    std::wstring s = c.text(0);
    for (wchar_t& ch : s)
        ch = wchar_t(std::towlower(ch));
    return Value::str(std::move(s));
}
Value fnTrim(Call& c) {
    std::wstring s = c.text(0), out;
    for (wchar_t ch : s) {
        if (ch == L' ' && (out.empty() || out.back() == L' '))
            continue;
        out += ch;
    }
    if (!out.empty() && out.back() == L' ')
        out.pop_back();
    return Value::str(std::move(out));
}
Value fnConcatenate(Call& c) {
    std::wstring s;
    for (std::size_t i = 0; i < c.size(); ++i) {
        s += c.text(i);
        if (s.size() > 32767)
            raise(Error::Value);
    }
    return Value::str(std::move(s));
}
Value fnConcat(Call& c) {
    std::wstring s;
    for (std::size_t i = 0; i < c.size(); ++i)
        c.forEach(i, [&](const Value& v, bool) {
            s += toText(v);
            if (s.size() > 32767)
                raise(Error::Value);
        });
    return Value::str(std::move(s));
}
Value fnText(Call& c) {
    Value v = c.scalar(0);
    std::wstring code = c.text(1);
    if (v.isError())
        return v;
    double x;
    try {
        x = toNumber(v, c.context().date1904());
    } catch (const Raise&) {
        return Value::str(toText(v)); // a text that is no number stays as it is
    }
    return textResult(c.context().formatNumber(x, code));
}
Value fnValue(Call& c) {
    Value v = c.scalar(0);
    if (v.kind == Value::Kind::Boolean)
        raise(Error::Value);
    return Value::num(toNumber(v, c.context().date1904()));
}

// ---- dates -----------------------------------------------------------------------------

Value fnDate(Call& c) {
    double y = std::trunc(c.number(0)), m = std::trunc(c.number(1)), d = std::trunc(c.number(2));
    if (std::fabs(y) > 1e6 || std::fabs(m) > 1e7 || std::fabs(d) > 1e8)
        raise(Error::Num);
    return Value::num(dateSerial((long long)y, (long long)m, (long long)d, c.context().date1904()));
}

template <int part> Value datePart(Call& c) {
    int y, m, d;
    serialDate(c.number(0), c.context().date1904(), y, m, d);
    return Value::num(part == 0 ? y : part == 1 ? m : d);
}

Value fnToday(Call& c) {
    return Value::num(std::floor(c.context().now()));
}
Value fnNow(Call& c) {
    return Value::num(c.context().now());
}

constexpr int kMany = 255;

const std::array kFunctions = {
    FunctionInfo{L"ABS", 1, 1, fnAbs, false},
    FunctionInfo{L"ACOS", 1, 1, fnAcos, false},
    FunctionInfo{L"AND", 1, kMany, logical<true>, false},
    FunctionInfo{L"ASIN", 1, 1, fnAsin, false},
    FunctionInfo{L"ATAN", 1, 1, fnAtan, false},
    FunctionInfo{L"ATAN2", 2, 2, fnAtan2, false},
    FunctionInfo{L"AVERAGE", 1, kMany, fnAverage, false},
    FunctionInfo{L"CEILING", 2, 2, fnCeiling, false},
    FunctionInfo{L"CHOOSE", 2, kMany, fnChoose, false},
    FunctionInfo{L"CONCAT", 1, kMany, fnConcat, false},
    FunctionInfo{L"CONCATENATE", 1, kMany, fnConcatenate, false},
    FunctionInfo{L"COS", 1, 1, fnCos, false},
    FunctionInfo{L"COUNT", 1, kMany, fnCount, false},
    FunctionInfo{L"COUNTA", 1, kMany, fnCountA, false},
    FunctionInfo{L"COUNTIF", 2, 2, fnCountIf, false},
    FunctionInfo{L"DATE", 3, 3, fnDate, false},
    FunctionInfo{L"DAY", 1, 1, datePart<2>, false},
    FunctionInfo{L"DEGREES", 1, 1, fnDegrees, false},
    FunctionInfo{L"EXP", 1, 1, fnExp, false},
    FunctionInfo{L"FLOOR", 2, 2, fnFloor, false},
    FunctionInfo{L"HLOOKUP", 3, 4, tableLookup<false>, false},
    FunctionInfo{L"IF", 1, 3, fnIf, false},
    FunctionInfo{L"IFERROR", 2, 2, fnIfError, false},
    FunctionInfo{L"INDEX", 2, 3, fnIndex, false},
    FunctionInfo{L"INT", 1, 1, fnInt, false},
    FunctionInfo{L"LEFT", 1, 2, fnLeft, false},
    FunctionInfo{L"LEN", 1, 1, fnLen, false},
    FunctionInfo{L"LN", 1, 1, fnLn, false},
    FunctionInfo{L"LOG", 1, 2, fnLog, false},
    FunctionInfo{L"LOG10", 1, 1, fnLog10, false},
    FunctionInfo{L"LOWER", 1, 1, fnLower, false},
    FunctionInfo{L"MATCH", 2, 3, fnMatch, false},
    FunctionInfo{L"MAX", 1, kMany, fnMax, false},
    FunctionInfo{L"MID", 3, 3, fnMid, false},
    FunctionInfo{L"MIN", 1, kMany, fnMin, false},
    FunctionInfo{L"MOD", 2, 2, fnMod, false},
    FunctionInfo{L"MONTH", 1, 1, datePart<1>, false},
    FunctionInfo{L"MROUND", 2, 2, fnMRound, false},
    FunctionInfo{L"NOT", 1, 1, fnNot, false},
    FunctionInfo{L"NOW", 0, 0, fnNow, true},
    FunctionInfo{L"OR", 1, kMany, logical<false>, false},
    FunctionInfo{L"PI", 0, 0, fnPi, false},
    FunctionInfo{L"POWER", 2, 2, fnPower, false},
    FunctionInfo{L"RADIANS", 1, 1, fnRadians, false},
    FunctionInfo{L"RIGHT", 1, 2, fnRight, false},
    FunctionInfo{L"ROUND", 2, 2, fnRound, false},
    FunctionInfo{L"ROUNDDOWN", 2, 2, fnRoundDown, false},
    FunctionInfo{L"ROUNDUP", 2, 2, fnRoundUp, false},
    FunctionInfo{L"SIGN", 1, 1, fnSign, false},
    FunctionInfo{L"SIN", 1, 1, fnSin, false},
    FunctionInfo{L"SQRT", 1, 1, fnSqrt, false},
    FunctionInfo{L"SUM", 1, kMany, fnSum, false},
    FunctionInfo{L"SUMIF", 2, 3, fnSumIf, false},
    FunctionInfo{L"TAN", 1, 1, fnTan, false},
    FunctionInfo{L"TEXT", 2, 2, fnText, false},
    FunctionInfo{L"TODAY", 0, 0, fnToday, true},
    FunctionInfo{L"TRIM", 1, 1, fnTrim, false},
    FunctionInfo{L"TRUNC", 1, 2, fnTrunc, false},
    FunctionInfo{L"UPPER", 1, 1, fnUpper, false},
    FunctionInfo{L"VALUE", 1, 1, fnValue, false},
    FunctionInfo{L"VLOOKUP", 3, 4, tableLookup<true>, false},
    FunctionInfo{L"YEAR", 1, 1, datePart<0>, false},
};

} // namespace

namespace detail {
const FunctionInfo& functionInfo(int index) {
    return kFunctions[std::size_t(index)];
}
} // namespace detail

int findFunction(std::wstring_view name) {
    std::wstring u = upper(name);
    auto it =
        std::lower_bound(kFunctions.begin(), kFunctions.end(), u,
                         [](const FunctionInfo& f, const std::wstring& k) { return f.name < k; });
    if (it == kFunctions.end() || it->name != u)
        return -1;
    return int(it - kFunctions.begin());
}

} // namespace spreadsheet::formula
