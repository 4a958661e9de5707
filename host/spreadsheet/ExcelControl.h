// The host's side of the spreadsheet program: start an instance as a user would, open
// workbooks in it, select sheets, cells and ranges, look at its state, and count the
// automation calls it answered. The shell and the tests use this; the plug-in never does.
#pragma once

#include "oleauto.h"
#include "spreadsheet/Workbook.h"

#include <map>
#include <string>
#include <vector>

namespace excelhost {

// Excel's class identifier {00024500-0000-0000-C000-000000000046}.
extern const CLSID kExcelClsid;
// Excel's Range {00020846-...} and Window {00020893-...} interfaces.
extern const IID kIID_Range;
extern const IID kIID_Window;
// The code of Excel's own failures (its error 1004 and friends).
constexpr HRESULT kExcelError = static_cast<HRESULT>(0x800A03EC);

// Instances are numbered from 1 in the order they start.
struct ExcelState {
    bool running = false;     // not quit
    bool userStarted = false; // started by the user, not by CreateDispatch
    bool visible = false;
    bool interactive = true;
    bool displayAlerts = true;
    bool editDirectlyInCell = true;
    std::wstring version;
    HWND hwnd = nullptr;
    std::vector<std::wstring> workbooks; // full names, in the order of Workbooks
    std::wstring activeWorkbook;         // name; empty without workbooks
};

// A user starts Excel: visible unless told otherwise, registered as the running Excel.
// With a blank workbook it shows "Book1" as Excel does when started from its icon.
int startExcel(bool visible = true, bool blankWorkbook = false);
// The running instance that GetActiveObject finds, or 0.
int activeExcel();
int lastStartedExcel();
ExcelState excelState(int excel);
// Quits as the user would (nothing is saved).
void quitExcel(int excel);

// The user opens a file (File > Open); it becomes the active workbook. False with the
// reason in error when Excel could not open it.
bool openWorkbook(int excel, const std::wstring& path, bool readOnly = false,
                  std::wstring* error = nullptr);
// Same for a workbook given as bytes; fullName is what FullName reports.
bool openWorkbookBytes(int excel, std::string bytes, const std::wstring& fullName,
                       bool readOnly = false, std::wstring* error = nullptr);
// A new blank workbook (File > New).
bool addWorkbook(int excel);
// The open workbook of that name (ignoring case), or null.
spreadsheet::Workbook* workbook(int excel, const std::wstring& name);
bool activateWorkbook(int excel, const std::wstring& name);
bool closeWorkbook(int excel, const std::wstring& name);
// Clicks a sheet tab of the active workbook (a hidden sheet cannot be clicked).
bool selectSheet(int excel, const std::wstring& sheet);
// Selects cells on the active sheet: "B2", "B2:C4", "A1,C3:D4"; the active cell is the
// first cell of the first area.
bool selectRange(int excel, const std::wstring& address);
// Selects a drawing object, so the selection is no range.
bool selectShape(int excel);
// The window of an open workbook (class "EXCEL7"), or null.
HWND workbookWindow(int excel, const std::wstring& name);

// The version text of instances started from now on (default "16.0").
void setDefaultVersion(const std::wstring& version);
// Without an installed Excel, "Excel.Application" is no known class.
void setInstalled(bool installed);
// The next call of the member ("Application.Visible", "Workbooks.Open", ...) fails with
// the code, as a server failure (not an exception of Excel's).
void failNextCall(const std::wstring& member, HRESULT code);
// The running object refuses IDispatch (a broken registration).
void setActiveObjectRefusesDispatch(bool refuse);

// Calls answered, by "Object.Member" (Application, Workbooks, Workbook, Worksheets,
// Worksheet, Range, Name, Window); each call counts once, failed ones too.
int callCount(const std::wstring& member);
// The calls in order, the latest 65,536 at least (a long session keeps no more).
std::vector<std::wstring> callLog();
void clearCalls();
// Automation objects not yet released by their clients.
int liveObjects();

// A cell whose Text or Value a client read while its result may be stale (a formula the
// substitute cannot calculate, or one in a circle): the host tells the user after the
// command. Each cell is noted once until taken.
struct StaleRead {
    std::wstring workbook; // file name
    std::wstring sheet;
    std::wstring cell; // "B6"
    std::wstring why;
};
std::vector<StaleRead> takeStaleReads();

// Back to no instances, the default version, installed, no counts.
void resetExcel();

} // namespace excelhost
