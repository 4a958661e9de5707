// Evaluation of postfix formula code on a value stack, and the conversions between values
// that the program applies to operands.
#include "spreadsheet/FormulaValues.h"
#include "spreadsheet/TypedEntry.h"

#include <cmath>
#include <cstdio>
#include <cwctype>

namespace spreadsheet::formula {

using namespace detail;

const wchar_t* errorText(Error e) {
    switch (e) {
    case Error::Null:
        return L"#NULL!";
    case Error::Div0:
        return L"#DIV/0!";
    case Error::Value:
        return L"#VALUE!";
    case Error::Ref:
        return L"#REF!";
    case Error::Name:
        return L"#NAME?";
    case Error::Num:
        return L"#NUM!";
    case Error::NA:
        return L"#N/A";
    }
    return L"#VALUE!";
}

bool errorFromText(std::wstring_view text, Error& out) {
    for (Error e :
         {Error::Null, Error::Div0, Error::Value, Error::Ref, Error::Name, Error::Num, Error::NA})
        if (text == errorText(e)) {
            out = e;
            return true;
        }
    return false;
}

Value Value::num(double v) {
    Value r;
    r.kind = Kind::Number;
    r.number = v;
    return r;
}
Value Value::str(std::wstring s) {
    Value r;
    r.kind = Kind::Text;
    r.text = std::move(s);
    return r;
}
Value Value::boolean(bool b) {
    Value r;
    r.kind = Kind::Boolean;
    r.number = b ? 1 : 0;
    return r;
}
Value Value::err(Error e) {
    Value r;
    r.kind = Kind::Error;
    r.error = e;
    return r;
}
Value Value::area(int sheet, const RangeRef& range) {
    Value r;
    r.kind = Kind::Range;
    r.sheet = sheet;
    r.range = range;
    return r;
}

std::wstring numberText(double v) {
    if (v == 0)
        return L"0";
    // 15 significant digits; plain decimals from 1E-5 up to 15 integer digits.
    wchar_t buf[64];
    std::swprintf(buf, 64, L"%.14E", v);
    int exponent = std::wcstol(std::wcschr(buf, L'E') + 1, nullptr, 10);
    if (exponent >= -5 && exponent < 15) {
        std::swprintf(buf, 64, L"%.*f", std::max(0, 14 - exponent), v);
        std::wstring s = buf;
        if (s.find(L'.') != std::wstring::npos) {
            while (s.back() == L'0')
                s.pop_back();
            if (s.back() == L'.')
                s.pop_back();
        }
        return s == L"-0" ? L"0" : s;
    }
    std::wstring s = buf;
    std::size_t e = s.find(L'E');
    std::wstring mantissa = s.substr(0, e);
    while (mantissa.back() == L'0')
        mantissa.pop_back();
    if (mantissa.back() == L'.')
        mantissa.pop_back();
    wchar_t exp[16];
    std::swprintf(exp, 16, L"E%c%02d", exponent < 0 ? L'-' : L'+', std::abs(exponent));
    return mantissa + exp;
}

namespace detail {

bool approxEqual(double a, double b) {
    if (a == b)
        return true;
    double x = a - b;
    return std::fabs(x) < std::fabs(a) * (1.0 / (16777216.0 * 16777216.0));
}

double approxAdd(double a, double b) {
    if (((a < 0 && b > 0) || (b < 0 && a > 0)) && approxEqual(a, -b))
        return 0;
    return a + b;
}

double toNumber(const Value& v, bool date1904) {
    switch (v.kind) {
    case Value::Kind::Empty:
        return 0;
    case Value::Kind::Number:
    case Value::Kind::Boolean:
        return v.number;
    case Value::Kind::Error:
        raise(v.error);
    case Value::Kind::Text: {
        TypedEntry e = readTypedEntry(v.text, date1904);
        if (e.kind == TypedEntry::Kind::Number && !e.quoted)
            return e.number;
        raise(Error::Value);
    }
    case Value::Kind::Range:
        break;
    }
    raise(Error::Value);
}

std::wstring toText(const Value& v) {
    switch (v.kind) {
    case Value::Kind::Empty:
        return L"";
    case Value::Kind::Number:
        return numberText(v.number);
    case Value::Kind::Boolean:
        return v.number != 0 ? L"TRUE" : L"FALSE";
    case Value::Kind::Text:
        return v.text;
    case Value::Kind::Error:
        raise(v.error);
    case Value::Kind::Range:
        break;
    }
    raise(Error::Value);
}

std::wstring upper(std::wstring_view s) {
    std::wstring out(s);
    for (wchar_t& c : out)
        c = wchar_t(std::towupper(c));
    return out;
}

bool toBool(const Value& v) {
    switch (v.kind) {
    case Value::Kind::Empty:
        return false;
    case Value::Kind::Number:
    case Value::Kind::Boolean:
        return v.number != 0;
    case Value::Kind::Text: {
        std::wstring u = upper(v.text);
        if (u == L"TRUE")
            return true;
        if (u == L"FALSE")
            return false;
        raise(Error::Value);
    }
    case Value::Kind::Error:
        raise(v.error);
    case Value::Kind::Range:
        break;
    }
    raise(Error::Value);
}

int compare(const Value& a, const Value& b) {
    auto rank = [](Value::Kind k) {
        return k == Value::Kind::Number ? 0 : k == Value::Kind::Text ? 1 : 2;
    };
    Value x = a, y = b;
    if (x.kind == Value::Kind::Empty && y.kind == Value::Kind::Empty)
        return 0;
    // An empty cell takes the other side's kind.
    if (x.kind == Value::Kind::Empty)
        x = y.kind == Value::Kind::Text      ? Value::str(L"")
            : y.kind == Value::Kind::Boolean ? Value::boolean(false)
                                             : Value::num(0);
    if (y.kind == Value::Kind::Empty)
        y = x.kind == Value::Kind::Text      ? Value::str(L"")
            : x.kind == Value::Kind::Boolean ? Value::boolean(false)
                                             : Value::num(0);
    if (rank(x.kind) != rank(y.kind))
        return rank(x.kind) < rank(y.kind) ? -1 : 1;
    if (x.kind == Value::Kind::Text) {
        std::wstring ux = upper(x.text), uy = upper(y.text);
        return ux < uy ? -1 : ux > uy ? 1 : 0;
    }
    if (approxEqual(x.number, y.number))
        return 0;
    return x.number < y.number ? -1 : 1;
}

double roundDigits(double x, int digits, int mode) {
    if (!std::isfinite(x) || x == 0)
        return x;
    digits = std::clamp(digits, -308, 308);
    double scale = std::pow(10.0, std::abs(digits));
    double y = digits >= 0 ? x * scale : x / scale;
    if (!std::isfinite(y))
        return x;
    // Take the scaled value to 15 significant digits first: 2.675 is 267.49999.. scaled.
    wchar_t buf[64];
    std::swprintf(buf, 64, L"%.14e", y);
    double z = std::wcstod(buf, nullptr);
    double r = mode == 0  ? std::round(z)
               : mode > 0 ? (z < 0 ? -std::ceil(-z) : std::ceil(z))
                          : std::trunc(z);
    // Round up only takes what is beyond the 15 digits, so 3.2 stays 3.2 in ROUNDUP.
    double out = digits >= 0 ? r / scale : r * scale;
    return out == 0 ? 0.0 : out;
}

Value intersect(Context& ctx, const Origin& origin, const Value& v) {
    if (v.kind != Value::Kind::Range)
        return v;
    const RangeRef& r = v.range;
    if (r.first == r.last)
        return ctx.cell(v.sheet, r.first.row, r.first.col);
    if (r.first.col == r.last.col && origin.row >= r.first.row && origin.row <= r.last.row)
        return ctx.cell(v.sheet, origin.row, r.first.col);
    if (r.first.row == r.last.row && origin.col >= r.first.col && origin.col <= r.last.col)
        return ctx.cell(v.sheet, r.first.row, origin.col);
    return Value::err(Error::Value);
}

Value Call::scalar(std::size_t i) {
    if (!has(i))
        return Value{};
    return intersect(m_ctx, m_origin, m_args[i]);
}

double Call::number(std::size_t i) {
    return toNumber(scalar(i), m_ctx.date1904());
}

std::wstring Call::text(std::size_t i) {
    return toText(scalar(i));
}

bool Call::boolean(std::size_t i) {
    return toBool(scalar(i));
}

long long Call::integer(std::size_t i, long long lo, long long hi) {
    double v = std::trunc(number(i));
    if (!(v >= double(lo) && v <= double(hi)))
        raise(Error::Value);
    return (long long)v;
}

void Call::forEach(std::size_t i, const std::function<void(const Value&, bool)>& visit) {
    if (!has(i))
        return;
    const Value& a = m_args[i];
    if (a.kind != Value::Kind::Range) {
        visit(a, false);
        return;
    }
    m_ctx.forEachCell(a.sheet, a.range,
                      [&](int row, int col) { visit(m_ctx.cell(a.sheet, row, col), true); });
}

Value Call::cellOf(const Value& range, int r, int c) {
    if (range.kind != Value::Kind::Range) {
        if (r == 0 && c == 0)
            return range;
        raise(Error::Ref);
    }
    if (r < 0 || c < 0 || r >= range.range.rows() || c >= range.range.columns())
        raise(Error::Ref);
    return m_ctx.cell(range.sheet, range.range.first.row + r, range.range.first.col + c);
}

} // namespace detail

namespace {

constexpr int kMaxNameDepth = 16;

// A reference moved by the distance between the formula's cell and its anchor.
Value resolve(const Ref& ref, Context& ctx, const Origin& o) {
    int sheet = o.sheet;
    if (!ref.sheet.empty()) {
        sheet = ctx.sheetIndex(ref.sheet);
        if (sheet < 0)
            return Value::err(Error::Ref);
    }
    int dr = o.row - o.anchorRow, dc = o.col - o.anchorCol;
    RangeRef r{ref.first, ref.last};
    if (!ref.wholeColumns) {
        r.first.row += ref.firstRowAbs ? 0 : dr;
        r.last.row += ref.lastRowAbs ? 0 : dr;
    }
    if (!ref.wholeRows) {
        r.first.col += ref.firstColAbs ? 0 : dc;
        r.last.col += ref.lastColAbs ? 0 : dc;
    }
    if (r.first.row < 1 || r.last.row > kMaxRows || r.first.col < 1 || r.last.col > kMaxColumns)
        return Value::err(Error::Ref);
    return Value::area(sheet, r);
}

Value run(const Program& program, Context& ctx, const Origin& o, int depth);

Value arithmetic(OpCode code, double a, double b) {
    double r = 0;
    switch (code) {
    case OpCode::Add:
        r = approxAdd(a, b);
        break;
    case OpCode::Sub:
        r = approxAdd(a, -b);
        break;
    case OpCode::Mul:
        r = a * b;
        break;
    case OpCode::Div:
        if (b == 0)
            return Value::err(Error::Div0);
        r = a / b;
        break;
    case OpCode::Pow:
        if (a == 0 && b == 0)
            return Value::err(Error::Num);
        if (a == 0 && b < 0)
            return Value::err(Error::Div0);
        r = std::pow(a, b);
        break;
    default:
        break;
    }
    if (!std::isfinite(r))
        return Value::err(Error::Num);
    return Value::num(r == 0 ? 0.0 : r);
}

Value binary(OpCode code, const Value& a, const Value& b, bool date1904) {
    if (a.isError())
        return a;
    if (b.isError())
        return b;
    try {
        if (code == OpCode::Concat) {
            std::wstring s = toText(a) + toText(b);
            if (s.size() > 32767)
                return Value::err(Error::Value);
            return Value::str(std::move(s));
        }
        if (code >= OpCode::Eq) {
            int c = compare(a, b);
            switch (code) {
            case OpCode::Eq:
                return Value::boolean(c == 0);
            case OpCode::Ne:
                return Value::boolean(c != 0);
            case OpCode::Lt:
                return Value::boolean(c < 0);
            case OpCode::Le:
                return Value::boolean(c <= 0);
            case OpCode::Gt:
                return Value::boolean(c > 0);
            default:
                return Value::boolean(c >= 0);
            }
        }
        return arithmetic(code, toNumber(a, date1904), toNumber(b, date1904));
    } catch (const Raise& r) {
        return Value::err(r.error);
    }
}

Value callFunction(const Op& op, Context& ctx, const Origin& o, std::span<Value> args) {
    const FunctionInfo& info = functionInfo(op.index);
    if (op.argc < info.minArgs || op.argc > info.maxArgs)
        return Value::err(Error::Value);
    Call call(ctx, o, args);
    try {
        return info.function(call);
    } catch (const Raise& r) {
        return Value::err(r.error);
    }
}

Value run(const Program& program, Context& ctx, const Origin& o, int depth) {
    if (!program.uncalculable.empty() || program.ops.empty())
        return Value::err(Error::Name);
    std::vector<Value> stack;
    stack.reserve(8);
    bool date1904 = ctx.date1904();
    auto pop = [&] {
        Value v = std::move(stack.back());
        stack.pop_back();
        return v;
    };
    for (const Op& op : program.ops) {
        switch (op.code) {
        case OpCode::Number:
            stack.push_back(Value::num(op.number));
            break;
        case OpCode::Text:
            stack.push_back(Value::str(program.texts[std::size_t(op.index)]));
            break;
        case OpCode::Boolean:
            stack.push_back(Value::boolean(op.number != 0));
            break;
        case OpCode::ErrorConst:
            stack.push_back(Value::err(op.error));
            break;
        case OpCode::Missing: {
            Value m;
            m.sheet = kMissingSheet;
            stack.push_back(m);
            break;
        }
        case OpCode::Reference:
            stack.push_back(resolve(program.refs[std::size_t(op.index)], ctx, o));
            break;
        case OpCode::Name: {
            Value range;
            const Program* named = nullptr;
            if (depth >= kMaxNameDepth ||
                !ctx.name(program.texts[std::size_t(op.index)], o.sheet, range, &named))
                stack.push_back(Value::err(Error::Name));
            else if (named)
                stack.push_back(run(*named, ctx, o, depth + 1));
            else
                stack.push_back(range);
            break;
        }
        case OpCode::Negate:
        case OpCode::Percent: {
            Value a = intersect(ctx, o, pop());
            if (a.isError()) {
                stack.push_back(a);
                break;
            }
            try {
                double x = toNumber(a, date1904);
                stack.push_back(
                    Value::num(op.code == OpCode::Negate ? (x == 0 ? 0.0 : -x) : x / 100));
            } catch (const Raise& r) {
                stack.push_back(Value::err(r.error));
            }
            break;
        }
        case OpCode::Call: {
            std::size_t argc = std::size_t(op.argc);
            std::span<Value> args(stack.data() + stack.size() - argc, argc);
            Value r = op.index < 0 ? Value::err(Error::Name) : callFunction(op, ctx, o, args);
            stack.resize(stack.size() - argc);
            stack.push_back(std::move(r));
            break;
        }
        default: {
            Value b = intersect(ctx, o, pop());
            Value a = intersect(ctx, o, pop());
            stack.push_back(binary(op.code, a, b, date1904));
            break;
        }
        }
    }
    return stack.empty() ? Value::err(Error::Value) : stack.back();
}

void collect(const Program& program, Context& ctx, const Origin& o, std::vector<Value>& areas,
             int depth) {
    for (const Op& op : program.ops) {
        if (op.code == OpCode::Reference) {
            Value v = resolve(program.refs[std::size_t(op.index)], ctx, o);
            if (v.kind == Value::Kind::Range)
                areas.push_back(v);
        } else if (op.code == OpCode::Name && depth < kMaxNameDepth) {
            Value range;
            const Program* named = nullptr;
            if (ctx.name(program.texts[std::size_t(op.index)], o.sheet, range, &named)) {
                if (named)
                    collect(*named, ctx, o, areas, depth + 1);
                else if (range.kind == Value::Kind::Range)
                    areas.push_back(range);
            }
        }
    }
}

} // namespace

Value evaluate(const Program& program, Context& context, const Origin& origin) {
    Value v = intersect(context, origin, run(program, context, origin, 0));
    if (v.kind == Value::Kind::Empty)
        return Value::num(0);
    return v;
}

void references(const Program& program, Context& context, const Origin& origin,
                std::vector<Value>& areas) {
    collect(program, context, origin, areas, 0);
}

} // namespace spreadsheet::formula
