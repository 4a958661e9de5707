#include "exchange/ExportParameters.h"

#include <cwctype>

#include "acdocman.h"
#include "acedads.h"
#include "acutads.h"
#include "dbapserv.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "exchange/ExchangeDialogs.h"
#include "exchange/ExportRows.h"
#include "frame/ResourceOverride.h"
#include "rxmfcapi.h"
#include "support/ArxUtils.h"

// --- shared with the Excel destination ---

CString evalVariantToText(const AcDbEvalVariant& value) {
    CString text;
    switch (value.restype) {
    case 1:
        text = value.resval.rstring ? value.resval.rstring : L"";
        break;
    case 40:
        text.Format(L"%g", value.resval.rreal);
        break;
    case 70:
        text.Format(L"%d", value.resval.rint);
        break;
    case 90:
        text.Format(L"%ld", static_cast<long>(value.resval.rlong));
        break;
    default:
        text = L"unknown";
        break;
    }
    return text;
}

ExportColumns::ExportColumns(int name, int expression, int value, int description) {
    const int on[4] = {name, expression, value, description};
    for (int field = 0; field < 4; ++field)
        if (on[field])
            m_fields[m_count++] = field;
}

const wchar_t* ExportColumns::title(int field) {
    static const wchar_t* const titles[4] = {L"Name", L"Expression", L"Value", L"Description"};
    return titles[field];
}

namespace {

// As the ignore-case comparison sees a text: each character lowered, up to the first null.
std::wstring folded(const wchar_t* text) {
    std::wstring key;
    for (; text && *text; ++text)
        key += static_cast<wchar_t>(std::towlower(*text));
    return key;
}

} // namespace

SelectedNames::SelectedNames(const CStringArrayEx& names) {
    const int n = static_cast<int>(names.GetSize());
    // The inward search meets index k at step min(k, n-1-k), the front index first.
    auto visit = [n](int k) { return k <= n - 1 - k ? 2 * k : 2 * (n - 1 - k) + 1; };
    for (int k = 0; k < n; ++k) {
        auto [it, added] = m_winner.try_emplace(folded(names[k]), k);
        if (!added && visit(k) < visit(it->second))
            it->second = k;
    }
}

int SelectedNames::find(const wchar_t* name) const {
    auto it = m_winner.find(folded(name));
    return it == m_winner.end() ? -1 : it->second;
}

// --- the table destination ---

double tableTextHeight() {
    double height = -1.0;
    AcDbDatabase* database = acdbHostApplicationServices()->workingDatabase();
    {
        AcDbObjectPointer<AcDbTableStyle> style(database->tablestyle(), AcDb::kForRead);
        if (style.openStatus() == Acad::eOk) {
            height = style->textHeight(AcDb::kDataRow);
            if (height > 0)
                return height;
        }
    }
    // The text style is looked at and has no say: a style without a usable height gives
    // that height, or -1.0 when it could not be opened.
    double size = database->textsize();
    AcDbObjectPointer<AcDbTextStyleTableRecord> textStyle(database->textstyle(), AcDb::kForRead);
    if (textStyle.openStatus() == Acad::eOk && textStyle->textSize() > 1e-05)
        size = textStyle->textSize();
    (void)size;
    return height;
}

Acad::ErrorStatus formatExportedTable(AcDbObjectId tableId, double textHeight,
                                      const CArray<unsigned>& widths) {
    Acad::ErrorStatus es;
    {
        AcDbObjectPointer<AcDbTable> table(tableId, AcDb::kForWrite);
        es = table.openStatus();
        if (es == Acad::eOk) {
            for (int c = 0; c < table->numColumns() && c < widths.GetSize(); ++c) {
                unsigned width = widths[c] ? widths[c] : 1;
                es = table->setColumnWidth(c, width * textHeight * 1.25);
            }
            // The header, when there is one, takes the data style like the first data row.
            for (int row = 0; row < 2 && row < table->numRows(); ++row) {
                if (CString(table->cellStyle(row, 0).kwszPtr()).CompareNoCase(L"_DATA") != 0)
                    es = table->setCellStyle(row, -1, L"_DATA");
            }
            es = table->setRowHeight(textHeight * 1.5);
        }
    }
    acdbQueueForRegen(&tableId, 1);
    return es;
}

Acad::ErrorStatus exportToTable(const CStringArrayEx& selected, int name, int expression, int value,
                                int description, int header) {
    ExportColumns columns(name, expression, value, description);
    if (columns.count() == 0)
        return Acad::eInvalidInput;
    double textHeight = tableTextHeight();
    // Open until the export is over, the drag included.
    AcDbObjectPointer<AcDbAssocNetwork> network;
    Acad::ErrorStatus es = openCurrentSpaceNetwork(network);
    if (es != Acad::eOk)
        return es;

    auto* table = new AcDbTable();
    table->setNumRows(static_cast<int>(selected.GetSize()) + (header ? 1 : 0));
    table->setRowHeight(textHeight * 1.5);
    table->setNumColumns(columns.count());
    table->setPosition(AcGePoint3d(0, 0, 0));
    table->suppressTitleRow(true);
    table->suppressTitleRow(true);
    CArray<unsigned> widths;
    widths.SetSize(columns.count());
    for (int c = 0; c < columns.count(); ++c)
        widths[c] = 0;
    forEachExportCell(network.object(), selected, columns, header,
                      [&](int row, int column, const CString& text) {
                          table->setCellType(row, column, AcDb::kTextCell);
                          table->setTextString(row, column, text);
                          unsigned length = static_cast<unsigned>(text.GetLength());
                          if (length > widths[column])
                              widths[column] = length;
                      });

    es = ArxUtils::addToCurrentSpace(table);
    if (es != Acad::eOk) {
        delete table;
        return es;
    }
    AcDbObjectId tableId = table->objectId();
    table->close();
    formatExportedTable(tableId, textHeight, widths);

    ads_name entity = {0, 0};
    if (acdbGetAdsName(entity, tableId) != Acad::eOk)
        return Acad::eOk;
    if (AcApDocument* document = acDocManager->curDocument())
        document->transactionManager()->flushGraphics();
    acedRedraw(entity, 2);
    ads_name selection = {0, 0};
    acedSSAdd(nullptr, nullptr, selection);
    acedSSAdd(entity, selection, selection);
    ArxUtils::dragSelectionSet(selection, L"\nSpecify insertion point: ", AcGePoint3d(0, 0, 0));
    return Acad::eOk;
}

void exportParameters() {
    CExportParametersDialog dialog(acedGetAcadFrame());
    INT_PTR result;
    {
        CLmeshResourceOverride resources;
        result = dialog.DoModal();
    }
    if (result != IDOK || dialog.m_aSelected.GetSize() == 0)
        return;
    // The result is not looked at: the line comes also after a cancelled drag.
    if (dialog.m_nDestination)
        exportToExcel(dialog.m_aSelected, dialog.m_bName, dialog.m_bExpression, dialog.m_bValue,
                      dialog.m_bDescription, dialog.m_bHeader);
    else
        exportToTable(dialog.m_aSelected, dialog.m_bName, dialog.m_bExpression, dialog.m_bValue,
                      dialog.m_bDescription, dialog.m_bHeader);
    acutPrintf(L"\nSuccessfully export the constraint parameters.");
}
