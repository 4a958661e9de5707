// What the two export destinations share: the columns that are on, the selected names, and
// the walk that gives each cell of the block its text.
#pragma once

#include <string>
#include <unordered_map>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "dbeval.h"
#include "excel/CStringTable.h"
#include "links/TableLinks.h"

// "%g", "%d" or "%ld" by the value's result type, the text itself, or "unknown".
CString evalVariantToText(const AcDbEvalVariant& value);

// The columns in their fixed order Name, Expression, Value, Description, those that are off
// left out.
struct ExportColumns {
    ExportColumns(int name, int expression, int value, int description);
    int count() const { return m_count; }
    // The title and text source of the n-th column that is on.
    int field(int column) const { return m_fields[column]; }
    static const wchar_t* title(int field);

private:
    int m_fields[4] = {0, 0, 0, 0};
    int m_count = 0;
};

// Answers as CStringArrayEx::FindString(name, TRUE) over the selected names answers (the
// search inward from both ends, front before back), with one lookup instead of a scan.
class SelectedNames {
public:
    explicit SelectedNames(const CStringArrayEx& names);
    int find(const wchar_t* name) const;

private:
    std::unordered_map<std::wstring, int> m_winner;
};

// Calls put(row, column, text) for each title of the header row, when there is one, then
// for each cell of each variable of the network whose name is selected, at the row of its
// name (below the header). Variables are walked in network order, so a later variable whose
// name folds to the same selected name writes over an earlier one.
template <class Put>
void forEachExportCell(const AcDbAssocNetwork* network, const CStringArrayEx& selected,
                       const ExportColumns& columns, int header, Put put) {
    if (header)
        for (int c = 0; c < columns.count(); ++c)
            put(0, c, CString(ExportColumns::title(columns.field(c))));
    SelectedNames names(selected);
    forEachVariable(network, [&](AcDbAssocVariable* variable) {
        int hit = names.find(variable->name().kwszPtr());
        if (hit < 0)
            return;
        int row = hit + (header ? 1 : 0);
        for (int c = 0; c < columns.count(); ++c) {
            switch (columns.field(c)) {
            case 0:
                put(row, c, CString(variable->name().kwszPtr()));
                break;
            case 1:
                put(row, c, CString(variable->expression().kwszPtr()));
                break;
            case 2:
                put(row, c, evalVariantToText(variable->value()));
                break;
            default:
                put(row, c, CString(variable->description().kwszPtr()));
                break;
            }
        }
    });
}
