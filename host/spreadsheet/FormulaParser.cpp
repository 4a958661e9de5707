// Formula text to postfix code: a lexer of the program's tokens and a precedence parser.
// Operators loop at each level; only parentheses and calls nest, and they are capped.
#include "spreadsheet/FormulaValues.h"

#include <cmath>
#include <cwctype>

namespace spreadsheet::formula {

namespace {

bool isNameStart(wchar_t c) {
    return std::iswalpha(c) || c == L'_' || c == L'\\' || c > 127;
}

bool isNameChar(wchar_t c) {
    return std::iswalnum(c) || c == L'_' || c == L'\\' || c == L'.' || c == L'?' || c > 127;
}

bool equalsUpper(std::wstring_view a, std::wstring_view upper) {
    if (a.size() != upper.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (wchar_t(std::towupper(a[i])) != upper[i])
            return false;
    return true;
}

struct ParseError {
    std::wstring why;
};

class Parser {
public:
    Parser(std::wstring_view text, Program& out) : m_s(text), m_out(out) {}

    // Where each reference's cells are written (after any sheet name), in order.
    std::vector<std::pair<std::size_t, std::size_t>>* spans = nullptr;

    void run() {
        if (m_pos < m_s.size() && m_s[m_pos] == L'=')
            ++m_pos;
        skipSpace();
        if (m_pos >= m_s.size())
            throw ParseError{L"empty formula"};
        expression(0);
        skipSpace();
        if (m_pos < m_s.size())
            throw ParseError{L"unexpected \"" + std::wstring(1, m_s[m_pos]) + L"\""};
    }

private:
    std::wstring_view m_s;
    std::size_t m_pos = 0;
    std::size_t m_refStart = 0;
    Program& m_out;

    void skipSpace() {
        while (m_pos < m_s.size() &&
               (m_s[m_pos] == L' ' || m_s[m_pos] == L'\n' || m_s[m_pos] == L'\r'))
            ++m_pos;
    }
    bool peek(wchar_t c) {
        skipSpace();
        return m_pos < m_s.size() && m_s[m_pos] == c;
    }
    bool accept(wchar_t c) {
        if (!peek(c))
            return false;
        ++m_pos;
        return true;
    }
    void emit(OpCode code) { m_out.ops.push_back({code}); }

    void expression(int depth) {
        if (depth > kMaxNesting)
            throw ParseError{L"more than 64 levels of nesting"};
        comparison(depth);
    }

    void comparison(int depth) {
        concat(depth);
        for (;;) {
            skipSpace();
            OpCode op;
            std::wstring_view rest = m_s.substr(m_pos);
            std::size_t len = 2;
            if (rest.starts_with(L"<>"))
                op = OpCode::Ne;
            else if (rest.starts_with(L"<="))
                op = OpCode::Le;
            else if (rest.starts_with(L">="))
                op = OpCode::Ge;
            else if ((len = 1, rest.starts_with(L"<")))
                op = OpCode::Lt;
            else if (rest.starts_with(L">"))
                op = OpCode::Gt;
            else if (rest.starts_with(L"="))
                op = OpCode::Eq;
            else
                return;
            m_pos += len;
            concat(depth);
            emit(op);
        }
    }

    void concat(int depth) {
        additive(depth);
        while (accept(L'&')) {
            additive(depth);
            emit(OpCode::Concat);
        }
    }

    void additive(int depth) {
        multiplicative(depth);
        for (;;) {
            OpCode op;
            if (accept(L'+'))
                op = OpCode::Add;
            else if (accept(L'-'))
                op = OpCode::Sub;
            else
                return;
            multiplicative(depth);
            emit(op);
        }
    }

    void multiplicative(int depth) {
        power(depth);
        for (;;) {
            OpCode op;
            if (accept(L'*'))
                op = OpCode::Mul;
            else if (accept(L'/'))
                op = OpCode::Div;
            else
                return;
            power(depth);
            emit(op);
        }
    }

    // Left to right, and a sign binds tighter: -2^2 is 4, 2^3^2 is 64.
    void power(int depth) {
        unary(depth);
        while (accept(L'^')) {
            unary(depth);
            emit(OpCode::Pow);
        }
    }

    void unary(int depth) {
        int negations = 0;
        for (;;) {
            if (accept(L'-'))
                ++negations;
            else if (!accept(L'+'))
                break;
        }
        primary(depth);
        while (accept(L'%'))
            emit(OpCode::Percent);
        if (negations % 2)
            emit(OpCode::Negate);
    }

    void primary(int depth) {
        skipSpace();
        if (m_pos >= m_s.size())
            throw ParseError{L"the formula ends too early"};
        wchar_t c = m_s[m_pos];
        if (c == L'(') {
            ++m_pos;
            expression(depth + 1);
            if (!accept(L')'))
                throw ParseError{L"missing \")\""};
            return;
        }
        if (c == L'"')
            return stringLiteral();
        if (c == L'#')
            return errorLiteral();
        if (c == L'{')
            throw ParseError{L"array constants are not calculated"};
        if (c == L'[')
            return externalReference();
        if (std::iswdigit(c) || c == L'.') {
            if (rowRange())
                return;
            return numberLiteral();
        }
        if (c == L'\'' || c == L'$' || isNameStart(c))
            return word(depth);
        throw ParseError{L"unexpected \"" + std::wstring(1, c) + L"\""};
    }

    void stringLiteral() {
        ++m_pos;
        std::wstring text;
        for (;;) {
            if (m_pos >= m_s.size())
                throw ParseError{L"a text without its closing quote"};
            wchar_t c = m_s[m_pos++];
            if (c == L'"') {
                if (m_pos < m_s.size() && m_s[m_pos] == L'"') {
                    ++m_pos;
                    text += L'"';
                    continue;
                }
                break;
            }
            text += c;
        }
        if (text.size() > 255)
            throw ParseError{L"a text constant longer than 255 characters"};
        Op op{OpCode::Text};
        op.index = int(m_out.texts.size());
        m_out.texts.push_back(std::move(text));
        m_out.ops.push_back(op);
    }

    bool errorAt(Error& e) {
        static const Error all[] = {Error::Null, Error::Div0, Error::Value, Error::Ref,
                                    Error::Name, Error::Num,  Error::NA};
        for (Error candidate : all) {
            std::wstring_view t = errorText(candidate);
            if (m_s.size() - m_pos >= t.size() && equalsUpper(m_s.substr(m_pos, t.size()), t)) {
                m_pos += t.size();
                e = candidate;
                return true;
            }
        }
        return false;
    }

    void errorLiteral() {
        Op op{OpCode::ErrorConst};
        if (!errorAt(op.error))
            throw ParseError{L"unknown error value"};
        m_out.ops.push_back(op);
    }

    void numberLiteral() {
        std::size_t start = m_pos;
        while (m_pos < m_s.size() && std::iswdigit(m_s[m_pos]))
            ++m_pos;
        if (m_pos < m_s.size() && m_s[m_pos] == L'.') {
            ++m_pos;
            while (m_pos < m_s.size() && std::iswdigit(m_s[m_pos]))
                ++m_pos;
        }
        if (m_pos < m_s.size() && (m_s[m_pos] == L'e' || m_s[m_pos] == L'E')) {
            std::size_t save = m_pos++;
            if (m_pos < m_s.size() && (m_s[m_pos] == L'+' || m_s[m_pos] == L'-'))
                ++m_pos;
            if (m_pos < m_s.size() && std::iswdigit(m_s[m_pos])) {
                while (m_pos < m_s.size() && std::iswdigit(m_s[m_pos]))
                    ++m_pos;
            } else {
                m_pos = save;
            }
        }
        std::wstring digits(m_s.substr(start, m_pos - start));
        if (digits == L".")
            throw ParseError{L"a lone \".\""};
        double v = std::wcstod(digits.c_str(), nullptr);
        if (!std::isfinite(v))
            throw ParseError{L"a number too large"};
        Op op{OpCode::Number};
        op.number = v;
        m_out.ops.push_back(op);
    }

    // "$1:$3", "2:2": whole rows.
    bool rowRange() {
        std::size_t save = m_pos;
        m_refStart = m_pos;
        int a = 0, b = 0;
        bool aAbs = false, bAbs = false;
        if (rowNumber(a, aAbs) && m_pos < m_s.size() && m_s[m_pos] == L':') {
            ++m_pos;
            if (rowNumber(b, bAbs) && (m_pos >= m_s.size() || !isNameChar(m_s[m_pos]))) {
                Ref r;
                r.wholeRows = true;
                r.first = {std::min(a, b), 1};
                r.last = {std::max(a, b), kMaxColumns};
                r.firstRowAbs = a <= b ? aAbs : bAbs;
                r.lastRowAbs = a <= b ? bAbs : aAbs;
                r.firstColAbs = r.lastColAbs = true;
                pushRef(std::move(r));
                return true;
            }
        }
        m_pos = save;
        return false;
    }

    bool rowNumber(int& row, bool& absolute) {
        absolute = m_pos < m_s.size() && m_s[m_pos] == L'$';
        std::size_t p = m_pos + (absolute ? 1 : 0);
        long v = 0;
        std::size_t start = p;
        while (p < m_s.size() && std::iswdigit(m_s[p]) && p - start < 8)
            v = v * 10 + (m_s[p++] - L'0');
        if (p == start || v < 1 || v > kMaxRows || (p < m_s.size() && std::iswdigit(m_s[p])))
            return false;
        row = int(v);
        m_pos = p;
        return true;
    }

    // "$AB" or "AB": a column of at most three letters, up to XFD.
    bool columnLetters(std::size_t& p, int& col, bool& absolute) {
        absolute = p < m_s.size() && m_s[p] == L'$';
        std::size_t q = p + (absolute ? 1 : 0);
        long v = 0;
        std::size_t start = q;
        while (q < m_s.size() && std::iswalpha(m_s[q]) && m_s[q] < 128 && q - start < 4)
            v = v * 26 + (std::towupper(m_s[q++]) - L'A' + 1);
        if (q == start || q - start > 3 || v > kMaxColumns)
            return false;
        col = int(v);
        p = q;
        return true;
    }

    // A cell reference at p ("$B$4"), not followed by name characters.
    bool cellAt(std::size_t& p, CellRef& cell, bool& rowAbs, bool& colAbs) {
        std::size_t q = p;
        if (!columnLetters(q, cell.col, colAbs))
            return false;
        std::size_t save = m_pos;
        m_pos = q;
        bool ok = rowNumber(cell.row, rowAbs);
        q = m_pos;
        m_pos = save;
        if (!ok || (q < m_s.size() && (isNameChar(m_s[q]) || m_s[q] == L'(')))
            return false;
        p = q;
        return true;
    }

    void pushRef(Ref r) {
        if (spans)
            spans->emplace_back(m_refStart, m_pos);
        Op op{OpCode::Reference};
        op.index = int(m_out.refs.size());
        m_out.refs.push_back(std::move(r));
        m_out.ops.push_back(op);
    }

    // After an optional sheet prefix: a cell, a range, whole columns or whole rows.
    bool reference(const std::wstring& sheet) {
        std::size_t p = m_pos;
        m_refStart = m_pos;
        Ref r;
        r.sheet = sheet;
        if (cellAt(p, r.first, r.firstRowAbs, r.firstColAbs)) {
            r.last = r.first;
            r.lastRowAbs = r.firstRowAbs;
            r.lastColAbs = r.firstColAbs;
            if (p < m_s.size() && m_s[p] == L':') {
                std::size_t q = p + 1;
                Ref second;
                if (cellAt(q, second.first, second.firstRowAbs, second.firstColAbs)) {
                    p = q;
                    r.last = second.first;
                    r.lastRowAbs = second.firstRowAbs;
                    r.lastColAbs = second.firstColAbs;
                    if (r.last.row < r.first.row) {
                        std::swap(r.first.row, r.last.row);
                        std::swap(r.firstRowAbs, r.lastRowAbs);
                    }
                    if (r.last.col < r.first.col) {
                        std::swap(r.first.col, r.last.col);
                        std::swap(r.firstColAbs, r.lastColAbs);
                    }
                }
            }
            m_pos = p;
            pushRef(std::move(r));
            return true;
        }
        // Whole columns: "A:C", "$B:$B".
        p = m_pos;
        int a = 0, b = 0;
        bool aAbs = false, bAbs = false;
        if (columnLetters(p, a, aAbs) && p < m_s.size() && m_s[p] == L':') {
            ++p;
            if (columnLetters(p, b, bAbs) &&
                (p >= m_s.size() || (!isNameChar(m_s[p]) && m_s[p] != L'('))) {
                r.wholeColumns = true;
                r.first = {1, std::min(a, b)};
                r.last = {kMaxRows, std::max(a, b)};
                r.firstColAbs = a <= b ? aAbs : bAbs;
                r.lastColAbs = a <= b ? bAbs : aAbs;
                r.firstRowAbs = r.lastRowAbs = true;
                m_pos = p;
                pushRef(std::move(r));
                return true;
            }
        }
        return !sheet.empty() && rowRange() && (m_out.refs.back().sheet = sheet, true);
    }

    void word(int depth) {
        std::size_t start = m_pos;
        // A quoted sheet name: 'My Sheet'!A1, with '' for a quote.
        if (m_s[m_pos] == L'\'') {
            std::wstring sheet;
            ++m_pos;
            for (;;) {
                if (m_pos >= m_s.size())
                    throw ParseError{L"a sheet name without its closing quote"};
                wchar_t c = m_s[m_pos++];
                if (c == L'\'') {
                    if (m_pos < m_s.size() && m_s[m_pos] == L'\'') {
                        ++m_pos;
                        sheet += L'\'';
                        continue;
                    }
                    break;
                }
                sheet += c;
            }
            if (m_pos >= m_s.size() || m_s[m_pos] != L'!')
                throw ParseError{L"a quoted name that is no sheet"};
            ++m_pos;
            return afterSheet(sheet);
        }
        // Sheet1!A1: a name followed by "!" is a sheet, even one that looks like a cell.
        std::size_t end = m_pos;
        while (end < m_s.size() && isNameChar(m_s[end]))
            ++end;
        if (end > m_pos && end < m_s.size() && m_s[end] == L'!') {
            std::wstring sheet(m_s.substr(m_pos, end - m_pos));
            m_pos = end + 1;
            return afterSheet(sheet);
        }
        if (reference(L""))
            return;
        m_pos = start;
        if (m_s[m_pos] == L'$')
            throw ParseError{L"unexpected \"$\""};
        while (m_pos < m_s.size() && isNameChar(m_s[m_pos]))
            ++m_pos;
        std::wstring name(m_s.substr(start, m_pos - start));
        if (m_pos < m_s.size() && m_s[m_pos] == L':' && name.find(L'.') == std::wstring::npos &&
            m_pos + 1 < m_s.size() && isNameStart(m_s[m_pos + 1])) {
            // Sheet1:Sheet3!A1 spans sheets.
            throw ParseError{L"a reference across sheets"};
        }
        if (peek(L'('))
            return call(name, depth);
        if (equalsUpper(name, L"TRUE") || equalsUpper(name, L"FALSE")) {
            Op op{OpCode::Boolean};
            op.number = equalsUpper(name, L"TRUE") ? 1 : 0;
            m_out.ops.push_back(op);
            return;
        }
        Op op{OpCode::Name};
        op.index = int(m_out.texts.size());
        m_out.texts.push_back(std::move(name));
        m_out.ops.push_back(op);
    }

    // [1]Sheet1!A1: read as a reference to a sheet that is not here, so the formula's
    // other references are still known.
    void externalReference() {
        std::size_t close = m_s.find(L']', m_pos);
        if (close == std::wstring_view::npos)
            throw ParseError{L"missing \"]\""};
        std::size_t end = close + 1;
        while (end < m_s.size() && isNameChar(m_s[end]))
            ++end;
        std::wstring sheet(m_s.substr(m_pos, end - m_pos));
        m_pos = end;
        if (m_pos >= m_s.size() || m_s[m_pos] != L'!')
            throw ParseError{L"a reference to another workbook"};
        ++m_pos;
        afterSheet(sheet);
    }

    void afterSheet(const std::wstring& sheet) {
        if (!sheet.empty() && sheet.front() == L'[' && m_out.uncalculable.empty())
            m_out.uncalculable = L"a reference to another workbook";
        if (sheet.empty())
            throw ParseError{L"an empty sheet name"};
        if (m_pos < m_s.size() && m_s[m_pos] == L'#') {
            Op op{OpCode::ErrorConst};
            if (!errorAt(op.error))
                throw ParseError{L"unknown error value"};
            m_out.ops.push_back(op);
            return;
        }
        if (!reference(sheet))
            throw ParseError{L"a sheet name without a reference"};
    }

    void call(std::wstring name, int depth) {
        accept(L'(');
        if (depth + 1 > kMaxNesting)
            throw ParseError{L"more than 64 levels of nesting"};
        // Newer functions are stored with a prefix: _xlfn.CONCAT.
        for (std::wstring_view prefix : {L"_XLFN.", L"_XLWS."})
            if (name.size() > prefix.size() &&
                equalsUpper(std::wstring_view(name).substr(0, prefix.size()), prefix))
                name.erase(0, prefix.size());
        int argc = 0;
        if (!peek(L')')) {
            for (;;) {
                skipSpace();
                if (peek(L',') || peek(L')'))
                    emit(OpCode::Missing);
                else
                    expression(depth + 1);
                ++argc;
                if (argc > 255)
                    throw ParseError{L"more than 255 arguments"};
                if (!accept(L','))
                    break;
            }
        }
        if (!accept(L')'))
            throw ParseError{L"missing \")\" after the arguments of " + name};
        Op op{OpCode::Call};
        op.index = findFunction(name);
        op.argc = argc;
        if (op.index < 0 && m_out.uncalculable.empty()) {
            std::wstring upper;
            for (wchar_t c : name)
                upper += wchar_t(std::towupper(c));
            m_out.uncalculable = L"the function " + upper + L" is not calculated here";
        }
        if (op.index >= 0 && detail::functionInfo(op.index).isVolatile)
            m_out.isVolatile = true;
        m_out.ops.push_back(op);
    }
};

std::wstring cellText(int row, int col, bool rowAbs, bool colAbs) {
    return (colAbs ? L"$" : L"") + columnLetters(col) + (rowAbs ? L"$" : L"") +
           std::to_wstring(row);
}

} // namespace

std::wstring moveFormula(std::wstring_view text, int dRow, int dCol) {
    Program program;
    std::vector<std::pair<std::size_t, std::size_t>> spans;
    try {
        Parser parser(text, program);
        parser.spans = &spans;
        parser.run();
    } catch (const ParseError&) {
        return std::wstring(text);
    }
    std::wstring out;
    std::size_t at = 0;
    for (std::size_t i = 0; i < spans.size() && i < program.refs.size(); ++i) {
        const Ref& r = program.refs[i];
        out.append(text.substr(at, spans[i].first - at));
        at = spans[i].second;
        int r1 = r.first.row + (r.firstRowAbs || r.wholeColumns ? 0 : dRow);
        int r2 = r.last.row + (r.lastRowAbs || r.wholeColumns ? 0 : dRow);
        int c1 = r.first.col + (r.firstColAbs || r.wholeRows ? 0 : dCol);
        int c2 = r.last.col + (r.lastColAbs || r.wholeRows ? 0 : dCol);
        if (r1 < 1 || r2 > kMaxRows || c1 < 1 || c2 > kMaxColumns) {
            out += L"#REF!";
        } else if (r.wholeColumns) {
            out += (r.firstColAbs ? L"$" : L"") + columnLetters(c1) + L":" +
                   (r.lastColAbs ? L"$" : L"") + columnLetters(c2);
        } else if (r.wholeRows) {
            out += (r.firstRowAbs ? L"$" : L"") + std::to_wstring(r1) + L":" +
                   (r.lastRowAbs ? L"$" : L"") + std::to_wstring(r2);
        } else {
            out += cellText(r1, c1, r.firstRowAbs, r.firstColAbs);
            if (r.first != r.last ||
                spans[i].second - spans[i].first >
                    cellText(r.first.row, r.first.col, r.firstRowAbs, r.firstColAbs).size())
                out += L":" + cellText(r2, c2, r.lastRowAbs, r.lastColAbs);
        }
    }
    out.append(text.substr(at));
    return out;
}

Program parse(std::wstring_view text) {
    Program out;
    if (text.size() > kMaxFormulaChars) {
        out.uncalculable = L"a formula longer than 8192 characters";
        return out;
    }
    try {
        Parser(text, out).run();
    } catch (const ParseError& e) {
        out.ops.clear();
        out.refs.clear();
        out.texts.clear();
        out.uncalculable = e.why;
    }
    return out;
}

} // namespace spreadsheet::formula
