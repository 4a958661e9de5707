// Recalculation of a workbook: the formulas of all sheets, which cells each one reads, and
// the order to calculate them in after a change. Results are stored beside the formulas,
// so what is saved holds them.
#pragma once

#include "spreadsheet/Formula.h"
#include "spreadsheet/Workbook.h"

#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace spreadsheet {

class Calculation {
public:
    // Reads every formula of the workbook (all sheets are loaded whole).
    explicit Calculation(Workbook& book);
    ~Calculation();
    Calculation(const Calculation&) = delete;
    Calculation& operator=(const Calculation&) = delete;

    // The cell's value after calculating it, if it has no current result yet.
    CellValue current(Worksheet& sheet, int row, int col);
    // The cells of `range` were typed over: their dependents are recalculated.
    void changed(Worksheet& sheet, const RangeRef& range);
    bool mayBeStale(Worksheet& sheet, int row, int col);
    // Why a stale cell could not be calculated ("" when it is current).
    std::wstring whyStale(Worksheet& sheet, int row, int col);

    std::size_t formulaCount() const { return m_cells.size(); }
    // The formula cells the last change calculated again (or found stale), in order.
    struct Recalculated {
        int sheet;
        CellRef cell;
    };
    std::vector<Recalculated> recalculated() const;

    using Key = std::uint64_t;
    static Key key(int sheet, int row, int col) {
        return (Key(unsigned(sheet)) << 36) | (Key(unsigned(row)) << 15) | Key(unsigned(col));
    }

private:
    struct Cell {
        std::shared_ptr<const formula::Program> program;
        formula::Origin origin;
        bool pending = false;  // needs calculating
        bool stale = false;    // the result shown may not be the program's
        bool circular = false; // part of a circular reference
    };
    class Reader;
    friend class Reader;

    void addDependencies(Key key, const Cell& cell);
    void markDependents(std::vector<Key> start);
    void calculate(Key start);
    void calculateAll();

    Workbook& m_book;
    std::unordered_map<Key, Cell> m_cells;
    // Readers of each single cell; readers of large ranges are kept as ranges.
    std::unordered_map<Key, std::vector<Key>> m_readers;
    struct RangeReader {
        int sheet;
        RangeRef range;
        Key reader;
    };
    std::vector<RangeReader> m_rangeReaders;
    std::map<std::pair<int, std::wstring>, std::shared_ptr<const formula::Program>> m_names;
    std::unordered_set<Key> m_inProgress; // waiting for their precedents
    std::vector<Key> m_recalculated;
};

} // namespace spreadsheet
