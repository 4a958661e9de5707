#include "links/RefreshFromWorkbooks.h"

#include <cwctype>
#include <string>
#include <unordered_map>
#include <vector>

#include "acedads.h"
#include "acutads.h"
#include "adscodes.h"
#include "comdef.h"
#include "dbdynblk.h"
#include "dbents.h"
#include "excel/CStringTable.h"
#include "excel/ExcelDrivers.h"
#include "excel/ExcelUtils.h"
#include "exchange/ADNAssocSampleUtils.h"
#include "links/UpdateCommand.h"
#include "rxmfcapi.h"
#include "shlwapi.h"
#include "support/ArxUtils.h"

namespace {

// A path as the comparison without regard to case sees it.
std::wstring foldedPath(const CString& path) {
    std::wstring folded;
    for (const wchar_t* c = path; *c; ++c)
        folded += static_cast<wchar_t>(std::towlower(*c));
    return folded;
}

// Each path once, in order of first appearance; paths differing in case are one workbook.
// A membership search by folded path gives what searching the list entry by entry gives, in
// one lookup per link. workbookOf keeps each link's entry for the walks below.
void listWorkbooks(CLinkedParameterXlsInfoArray& links, CStringArrayEx& workbooks,
                   std::vector<INT_PTR>& workbookOf) {
    std::unordered_map<std::wstring, INT_PTR> entryOf;
    workbookOf.resize(static_cast<size_t>(links.GetSize()));
    for (INT_PTR i = 0; i < links.GetSize(); ++i) {
        auto [entry, added] =
            entryOf.emplace(foldedPath(links[i].workbookPath), workbooks.GetSize());
        if (added)
            workbooks.Add(links[i].workbookPath);
        workbookOf[static_cast<size_t>(i)] = entry->second;
    }
}

// With file dialogs switched off (scripts) the notice goes to the command line, so that the
// run never stops at a box.
void tellToSaveWorkbooks() {
    CString notice;
    notice.Format(L"%s will update the parameters from Excel. Please confirm that your Excel "
                  L"files have been saved.",
                  L"Linkmesh");
    resbuf fileDialogs;
    fileDialogs.restype = RTSHORT;
    fileDialogs.resval.rint = 1;
    acedGetVar(L"FILEDIA", &fileDialogs);
    if (fileDialogs.resval.rint != 0) {
        CWnd* frame = acedGetAcadFrame();
        MessageBoxW(frame ? frame->GetSafeHwnd() : nullptr, notice, L"Norvane Linkmesh",
                    MB_ICONINFORMATION);
    } else {
        acutPrintf(L"\n%s", static_cast<const wchar_t*>(notice));
    }
}

// The displayed text of the cell (or defined name) on the current worksheet. A failure is
// dropped and leaves the text empty.
void readCellText(CLinkedParameterXlsInfo& link) {
    try {
        COleVariant address(link.cellAddress);
        LPDISPATCH rangeDispatch = nullptr;
        static const BYTE rangeArguments[] = VTS_VARIANT VTS_VARIANT;
        ExcelUtils::s_worksheet.InvokeHelper(
            xlid::Range, DISPATCH_PROPERTYGET, VT_DISPATCH, &rangeDispatch, rangeArguments,
            static_cast<const VARIANT*>(&address), static_cast<const VARIANT*>(&vtMissing));
        CRange range(rangeDispatch);
        link.cellText = takeTextString(range.get_Text()).GetString();
    } catch (CException* e) {
        e->Delete();
    } catch (...) {
    }
}

void readWorkbook(CLinkedParameterXlsInfoArray& links, const std::vector<INT_PTR>& workbookOf,
                  INT_PTR workbook, const CString& path) {
    if (!PathFileExistsW(path)) {
        acutPrintf(L"\nCannot find %s. Skip it.", static_cast<const wchar_t*>(path));
        return;
    }
    if (!ExcelUtils::OpenWorkbook(path, 0, 1)) {
        acutPrintf(L"\nCannot open the workbook: %s.", static_cast<const wchar_t*>(path));
        return;
    }
    for (INT_PTR i = links.GetSize() - 1; i >= 0; --i) {
        // The same as comparing the link's path with this one without regard to case.
        if (workbookOf[static_cast<size_t>(i)] != workbook)
            continue;
        CLinkedParameterXlsInfo& link = links[i];
        if (!ExcelUtils::ActivateWorksheet(link.sheetName))
            continue;
        readCellText(link);
    }
}

// All automation happens here, with no object of the drawing open.
void readCellTexts(CLinkedParameterXlsInfoArray& links, const CStringArrayEx& workbooks,
                   const std::vector<INT_PTR>& workbookOf) {
    try {
        int launched = 0;
        // A failed start shows later as a failed open of every workbook.
        ExcelSessionGuard session(launched);
        for (INT_PTR i = 0; i < workbooks.GetSize(); ++i)
            readWorkbook(links, workbookOf, i, workbooks[i]);
        ExcelUtils::s_application.InvokeHelper(xlid::Quit, DISPATCH_METHOD, VT_EMPTY, nullptr,
                                               nullptr);
        ExcelUtils::ReleaseExcel();
    } catch (_com_error& e) {
        acutPrintf(L"\n%s.", e.ErrorMessage());
    } catch (CException* e) {
        e->Delete();
    } catch (...) {
    }
}

void applyToBlockProperty(CLinkedParameterXlsInfo& link) {
    AcDbObjectPointer<AcDbBlockReference> reference(link.objectId, AcDb::kForWrite);
    if (reference.openStatus() != Acad::eOk)
        return;
    AcDbDynBlockReference dynamic(reference.object());
    if (!dynamic.isDynamicBlock())
        return;
    CString blockName;
    ArxUtils::getSymbolName(dynamic.dynamicBlockTableRecord(), blockName);
    // An empty text goes in as well: a number property becomes 0, a text property empty.
    Acad::ErrorStatus es =
        setBlockProperty(dynamic, CString(link.name.kwszPtr()), CString(link.cellText.kwszPtr()));
    if (es != Acad::eOk)
        acutPrintf(L"\nCannot update the dynamic block %s.%s. %s.",
                   static_cast<const wchar_t*>(blockName), link.name.kwszPtr(),
                   acadErrorStatusText(es));
    else
        acutPrintf(L"\nUpdate the dynamic block %s.%s successfully.",
                   static_cast<const wchar_t*>(blockName), link.name.kwszPtr());
}

void applyToParameter(CLinkedParameterXlsInfo& link) {
    if (link.cellText.isEmpty()) {
        acutPrintf(L"\nCannot read the expression of the parameter %s from %s:%s[%s].",
                   link.name.kwszPtr(), static_cast<const wchar_t*>(link.workbookPath),
                   static_cast<const wchar_t*>(link.sheetName),
                   static_cast<const wchar_t*>(link.cellAddress));
        return;
    }
    AcString errorText;
    Acad::ErrorStatus es = setVariableExpression(link.objectId, link.cellText, L"", errorText);
    if (es != Acad::eOk)
        // The error text's place of this line has always come out empty; it stays so.
        acutPrintf(L"\nCannot update the parameter %s. %s. %s.", link.name.kwszPtr(),
                   acadErrorStatusText(es), L"");
    else
        acutPrintf(L"\nUpdate the parameter %s successfully.", link.name.kwszPtr());
}

} // namespace

void refreshFromWorkbooks() {
    CLinkedParameterXlsInfoArray links;
    if (collectWorkbookLinks(links) != Acad::eOk || links.GetSize() == 0)
        return;
    CStringArrayEx workbooks;
    std::vector<INT_PTR> workbookOf;
    listWorkbooks(links, workbooks, workbookOf);
    tellToSaveWorkbooks();
    readCellTexts(links, workbooks, workbookOf);
    applyCellTexts(links);
}

void applyCellTexts(CLinkedParameterXlsInfoArray& links) {
    for (INT_PTR i = 0; i < links.GetSize(); ++i) {
        if (links[i].isBlockProperty != 0)
            applyToBlockProperty(links[i]);
        else
            applyToParameter(links[i]);
    }
}
