// The Excel bridge: one process-wide automation session, reading and writing cell blocks,
// and the cell address grammar ($A$1, $A$1:$C$3) that needs no Excel at all.
#pragma once

#include "afx.h"
#include "afxdisp.h"

class CStringTable;

class ExcelUtils {
public:
    virtual ~ExcelUtils() = default;

    // --- the session ---

    // Attaches to the Excel the user has running and makes it visible. With a path, that
    // workbook is opened (or taken if open) and its active sheet becomes current; without,
    // the active workbook and sheet if there is one. 1 if attached; 0 silently otherwise.
    static int GetActiveExcel(const wchar_t* workbookPath);
    // Starts a new instance and brings it up visible and in front. 1 if it runs.
    static int LaunchExcel();
    // Drops our references; Excel itself keeps running.
    static void ReleaseExcel();
    // Takes the open workbook of that path, or opens it. A different file of the same
    // name refuses with Excel's message. `reserved` is ignored.
    static int OpenWorkbook(CString path, int reserved, int readOnly);
    static int AddWorkbook();
    // Makes sure a workbook and its active sheet are current (adds one if none is open).
    static int EnsureActiveSheet();
    // Finds the sheet of the active workbook by name (ignoring case), unhides and
    // activates it.
    static int ActivateWorksheet(CString name);
    // Shows the system text of the code, or a generic line when there is none.
    static void ReportOleError(SCODE sc);
    // The A1 address of Excel's selection, or an empty text when it is no range.
    static CString GetSelectionAddress();
    // A child-window callback: attaches through a spreadsheet window ("EXCEL7"). TRUE to
    // go on looking, FALSE to stop.
    static BOOL AttachExcelFromWindow(HWND window, LPARAM unused);
    // Late-bound call by member name. Any failure ends the process after a message box,
    // which is why no normal path uses it.
    static HRESULT AutoWrap(int callKind, VARIANT* result, IDispatch* dispatch, LPOLESTR name,
                            int argumentCount, ...);

    // --- cell blocks on the current worksheet ---

    // One cell, or a block given by its first and last cell, as rows of displayed texts.
    // `unused` is ignored. 1; 0 after an automation failure.
    static int ReadRange(CStringTable& table, CString address, int unused = 0);
    static int CreateTextArray(int rows, int columns);
    static void PutTextElement(CString text, int row, int column);
    // Puts the whole text array on the sheet from the top left cell in one assignment.
    // 1 when there is no array; 0 otherwise (done, or failed). Both extra arguments are
    // ignored.
    static int WriteTextArray(CString address, int unused1 = 0, int unused2 = 0);
    static int AutoFitUsedColumns();

    // --- the cell address grammar (no Excel needed) ---

    // "$A$1" for row 1, column 1. Columns above 702 run past Z in the first letter; that is
    // the grammar's known limit. Indexes below 1 give an empty text after a message box.
    static CString GetCellAddress(int row, int column);
    // Upper-cases, skips to the first "$", then one or two letters, then the row as _wtoi
    // reads it. The row is not checked: callers treat row or column below 1 as failure.
    static int ParseCellAddress(CString address, int& row, int& column);
    // The first cell of a range address; case-sensitive, and "$2:$9" stores the row 2 and
    // fails.
    static int ParseRangeStart(CString range, int& row, int& column);
    // The cell after the colon, by the same rules as ParseRangeStart.
    static int ParseRangeEnd(CString range, int& row, int& column);

    // --- session state, from load to unload ---
    static COleDispatchDriver s_application;
    static COleDispatchDriver s_workbook;
    static COleDispatchDriver s_worksheet;
    static int s_version;       // major version of the attached Excel; 0 when detached
    static CString s_lastError; // why the last attach failed; never shown
    static COleSafeArray s_textArray;
};

// Ends a session when it goes out of scope: quits Excel if asked to, then releases.
class ExcelSessionGuard {
public:
    // A private Excel of our own: launches one and quits it at the end. `launched` gets
    // the result of the launch.
    explicit ExcelSessionGuard(int& launched);
    // The user's Excel, or a new one left open for the user: attaches (opening the path
    // if given), else launches and opens the path or adds a workbook, then makes sure a
    // sheet is active. `ready` is 1 when a sheet is current; `workbookOpen` is 1 unless
    // the path could not be opened or a new workbook had to be added. When no Excel can
    // be had, the user is told so and both are 0.
    ExcelSessionGuard(const wchar_t* workbookPath, int& ready, int& workbookOpen);
    ~ExcelSessionGuard();
    ExcelSessionGuard(const ExcelSessionGuard&) = delete;
    ExcelSessionGuard& operator=(const ExcelSessionGuard&) = delete;

private:
    int m_quit = 0;
};
