// Dependency graph and recalculation order of a workbook's formulas. Precedents are
// calculated from an explicit stack, never by recursion, so a chain of a million cells
// costs memory only; a cell found again while its own precedents are being calculated
// closes a circle.
#include "spreadsheet/Calculation.h"

#include "spreadsheet/NumberFormat.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <cwctype>

namespace spreadsheet {

using formula::Value;

namespace {

// Ranges up to this many cells are indexed cell by cell; larger ones are scanned.
constexpr long long kIndexedRangeCells = 64;

int sheetOf(Calculation::Key k) {
    return int(k >> 36);
}
int rowOf(Calculation::Key k) {
    return int((k >> 15) & ((1u << 21) - 1));
}
int colOf(Calculation::Key k) {
    return int(k & 0x7fff);
}

Value fromCell(const CellValue& v) {
    switch (v.type) {
    case CellType::Empty:
        return Value{};
    case CellType::Number:
        return Value::num(v.number);
    case CellType::String:
        return Value::str(v.string);
    case CellType::Boolean:
        return Value::boolean(v.number != 0);
    case CellType::Error: {
        formula::Error e = formula::Error::Value;
        formula::errorFromText(v.string, e);
        return Value::err(e);
    }
    }
    return Value{};
}

CellValue toCell(const Value& v) {
    CellValue c;
    c.formula = true;
    switch (v.kind) {
    case Value::Kind::Empty:
    case Value::Kind::Range:
        c.type = CellType::Number;
        break;
    case Value::Kind::Number:
        c.type = CellType::Number;
        c.number = v.number;
        break;
    case Value::Kind::Text:
        c.type = CellType::String;
        c.string = v.text;
        break;
    case Value::Kind::Boolean:
        c.type = CellType::Boolean;
        c.number = v.number;
        break;
    case Value::Kind::Error:
        c.type = CellType::Error;
        c.string = formula::errorText(v.error);
        break;
    }
    return c;
}

std::shared_ptr<formula::Program> uncalculable(std::wstring why) {
    auto p = std::make_shared<formula::Program>();
    p->uncalculable = std::move(why);
    return p;
}

} // namespace

// What a formula sees: stored values, and the formula cells still to calculate.
class Calculation::Reader : public formula::Context {
public:
    explicit Reader(Calculation& calc) : m_calc(calc), m_book(calc.m_book) {}

    std::vector<Key>* missing = nullptr;
    bool readStale = false;

    int sheetIndex(const std::wstring& name) override { return m_book.findSheet(name); }

    Value cell(int sheet, int row, int col) override {
        if (sheet < 0 || std::size_t(sheet) >= m_book.sheetCount())
            return Value::err(formula::Error::Ref);
        Key k = key(sheet, row, col);
        auto it = m_calc.m_cells.find(k);
        if (it != m_calc.m_cells.end()) {
            if (it->second.pending && missing)
                missing->push_back(k);
            if (it->second.stale)
                readStale = true;
        }
        return fromCell(m_book.sheet(std::size_t(sheet)).storedValue(row, col));
    }

    void forEachCell(int sheet, const RangeRef& range,
                     const std::function<void(int, int)>& visit) override {
        if (sheet < 0 || std::size_t(sheet) >= m_book.sheetCount())
            return;
        Worksheet& ws = m_book.sheet(std::size_t(sheet));
        ws.forEachCell(range, [&](int row, int col) {
            if (m_calc.m_cells.count(key(sheet, row, col)) ||
                ws.storedValue(row, col).type != CellType::Empty)
                visit(row, col);
        });
    }

    bool name(const std::wstring& name, int sheet, Value& range,
              const formula::Program** program) override {
        const DefinedName* dn = m_book.findName(name, sheet);
        if (!dn)
            return false;
        if (dn->sheet >= 0) {
            range = Value::area(dn->sheet, dn->range);
            return true;
        }
        std::wstring upperName;
        for (wchar_t c : dn->name)
            upperName += wchar_t(std::towupper(c));
        auto& slot = m_calc.m_names[{dn->scopeSheet, upperName}];
        if (!slot)
            slot = std::make_shared<formula::Program>(formula::parse(dn->refersTo));
        *program = slot.get();
        return true;
    }

    bool date1904() override { return m_book.date1904(); }

    double now() override {
        using namespace std::chrono;
        auto t = system_clock::now();
        std::time_t tt = system_clock::to_time_t(t);
        std::tm local{};
        localtime_r(&tt, &local);
        double seconds = double(local.tm_hour * 3600 + local.tm_min * 60 + local.tm_sec);
        long long days = (long long)(tt + local.tm_gmtoff) / 86400;
        return double(days + (m_book.date1904() ? 24107 : 25569)) + seconds / 86400.0;
    }

    std::wstring formatNumber(double value, const std::wstring& code) override {
        return NumberFormat(code).formatNumber(value, {m_book.date1904(), -1});
    }

private:
    Calculation& m_calc;
    Workbook& m_book;
};

Calculation::Calculation(Workbook& book) : m_book(book) {
    bool everything = book.fullCalculationRequested();
    std::vector<Key> pending;
    for (std::size_t s = 0; s < book.sheetCount(); ++s) {
        Worksheet& sheet = book.sheet(s);
        std::map<int, std::pair<std::shared_ptr<const formula::Program>, CellRef>> shared;
        for (StoredFormula& f : sheet.formulas()) {
            Cell cell;
            cell.origin = {int(s), f.row, f.col, f.row, f.col};
            if (f.kind == "shared" && f.text.empty()) {
                auto it = shared.find(f.sharedIndex);
                if (it != shared.end()) {
                    cell.program = it->second.first;
                    cell.origin.anchorRow = it->second.second.row;
                    cell.origin.anchorCol = it->second.second.col;
                } else {
                    cell.program = uncalculable(L"a shared formula without its first cell");
                }
            } else if (f.kind == "dataTable") {
                cell.program = uncalculable(L"a data table");
            } else {
                auto p = std::make_shared<formula::Program>(formula::parse(f.text));
                if (f.kind == "array" && p->uncalculable.empty())
                    p->uncalculable = L"an array formula";
                cell.program = p;
                if (f.kind == "shared")
                    shared[f.sharedIndex] = {p, {f.row, f.col}};
            }
            cell.pending = everything || !f.hasValue || cell.program->isVolatile;
            Key k = key(int(s), f.row, f.col);
            if (cell.pending)
                pending.push_back(k);
            m_cells.emplace(k, std::move(cell));
        }
    }
    for (const auto& [k, cell] : m_cells)
        addDependencies(k, cell);
    // What reads a cell to be calculated is calculated after it.
    markDependents(std::move(pending));
}

Calculation::~Calculation() = default;

void Calculation::addDependencies(Key k, const Cell& cell) {
    Reader reader(*this);
    std::vector<Value> areas;
    formula::references(*cell.program, reader, cell.origin, areas);
    for (const Value& a : areas) {
        const RangeRef& r = a.range;
        if ((long long)r.rows() * r.columns() <= kIndexedRangeCells) {
            for (int row = r.first.row; row <= r.last.row; ++row)
                for (int col = r.first.col; col <= r.last.col; ++col)
                    m_readers[key(a.sheet, row, col)].push_back(k);
        } else {
            m_rangeReaders.push_back({a.sheet, r, k});
        }
    }
}

void Calculation::markDependents(std::vector<Key> queue) {
    std::unordered_set<Key> seen(queue.begin(), queue.end());
    auto reach = [&](Key reader) {
        auto it = m_cells.find(reader);
        if (it == m_cells.end() || !seen.insert(reader).second)
            return;
        it->second.pending = true;
        queue.push_back(reader);
    };
    for (std::size_t i = 0; i < queue.size(); ++i) {
        Key k = queue[i];
        if (auto it = m_readers.find(k); it != m_readers.end())
            for (Key reader : it->second)
                reach(reader);
        int sheet = sheetOf(k), row = rowOf(k), col = colOf(k);
        for (const RangeReader& rr : m_rangeReaders)
            if (rr.sheet == sheet && rr.range.contains(row, col))
                reach(rr.reader);
    }
}

void Calculation::calculate(Key start) {
    auto first = m_cells.find(start);
    if (first == m_cells.end() || !first->second.pending)
        return;
    Reader reader(*this);
    std::vector<Key> stack{start};
    std::vector<Key> missing;
    while (!stack.empty()) {
        Key k = stack.back();
        auto it = m_cells.find(k);
        if (it == m_cells.end() || !it->second.pending) {
            stack.pop_back();
            continue;
        }
        Cell& cell = it->second;
        Worksheet& sheet = m_book.sheet(std::size_t(cell.origin.sheet));
        if (!cell.program->uncalculable.empty()) {
            // The file's result stays, and the spreadsheet program is asked to redo it.
            cell.pending = false;
            cell.stale = true;
            m_recalculated.push_back(k);
            m_book.requestFullCalculation();
            m_inProgress.erase(k);
            stack.pop_back();
            continue;
        }
        missing.clear();
        reader.missing = &missing;
        reader.readStale = false;
        Value v = formula::evaluate(*cell.program, reader, cell.origin);
        bool waits = false;
        for (Key m : missing) {
            auto mit = m_cells.find(m);
            if (!mit->second.pending)
                continue; // seen twice in this formula, already handled
            if (m == k || m_inProgress.count(m)) {
                // A circle: its cell keeps its result (0 without one) and says so.
                Cell& mc = mit->second;
                mc.pending = false;
                mc.stale = mc.circular = true;
                m_inProgress.erase(m);
                m_recalculated.push_back(m);
                Worksheet& ms = m_book.sheet(std::size_t(mc.origin.sheet));
                if (ms.storedValue(mc.origin.row, mc.origin.col).type == CellType::Empty)
                    ms.storeResult(mc.origin.row, mc.origin.col, toCell(Value::num(0)));
                waits = true; // read again with the circle's result
                continue;
            }
            stack.push_back(m);
            waits = true;
        }
        if (waits) {
            m_inProgress.insert(k);
            continue;
        }
        cell.pending = false;
        cell.stale = reader.readStale;
        m_inProgress.erase(k);
        sheet.storeResult(cell.origin.row, cell.origin.col, toCell(v));
        m_recalculated.push_back(k);
        stack.pop_back();
    }
}

void Calculation::calculateAll() {
    std::vector<Key> keys;
    for (const auto& [k, cell] : m_cells)
        if (cell.pending)
            keys.push_back(k);
    for (Key k : keys)
        calculate(k);
}

CellValue Calculation::current(Worksheet& sheet, int row, int col) {
    calculate(key(sheet.index(), row, col));
    return sheet.storedValue(row, col);
}

void Calculation::changed(Worksheet& sheet, const RangeRef& range) {
    int s = sheet.index();
    std::vector<Key> typed;
    typed.reserve(std::size_t(range.rows()) * std::size_t(range.columns()));
    for (int row = range.first.row; row <= range.last.row; ++row)
        for (int col = range.first.col; col <= range.last.col; ++col) {
            Key k = key(s, row, col);
            m_cells.erase(k); // typing replaces a formula
            typed.push_back(k);
        }
    markDependents(std::move(typed));
    m_recalculated.clear();
    calculateAll();
}

std::vector<Calculation::Recalculated> Calculation::recalculated() const {
    std::vector<Key> keys;
    for (Key k : m_recalculated)
        if (m_cells.count(k))
            keys.push_back(k);
    // Sheet by sheet, row by row, as the user reads them.
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    std::vector<Recalculated> out;
    for (Key k : keys)
        out.push_back({sheetOf(k), {rowOf(k), colOf(k)}});
    return out;
}

bool Calculation::mayBeStale(Worksheet& sheet, int row, int col) {
    auto it = m_cells.find(key(sheet.index(), row, col));
    return it != m_cells.end() && it->second.stale;
}

std::wstring Calculation::whyStale(Worksheet& sheet, int row, int col) {
    auto it = m_cells.find(key(sheet.index(), row, col));
    if (it == m_cells.end() || !it->second.stale)
        return L"";
    if (it->second.circular)
        return L"a circular reference";
    if (!it->second.program->uncalculable.empty())
        return it->second.program->uncalculable;
    return L"it reads a cell whose result may be stale";
}

} // namespace spreadsheet
