// The dialog templates of the library, as its resource script lists them.
#include "resources/resource.h"

#include "afxwin.h"
#include "winres.h"

namespace {

constexpr DWORD kShown = WS_VISIBLE;
constexpr DWORD kCheck = BS_AUTOCHECKBOX | WS_TABSTOP | kShown;
constexpr DWORD kLabel = SS_LEFT | kShown;
constexpr DWORD kLine = SS_ETCHEDHORZ | kShown;

const DLGITEMRESOURCE kExportItems[] = {
    {L"STATIC", L"Export", -1, kLabel, 7, 7, 26, 8},
    {L"STATIC", L"", -1, kLine, 35, 11, 171, 1},
    {L"STATIC", L"Parameters:", -1, kLabel, 14, 20, 60, 8},
    {L"LISTBOX", L"", IDC_LIST_PARAMETERS,
     LBS_OWNERDRAWFIXED | LBS_HASSTRINGS | LBS_SORT | LBS_NOTIFY | WS_TABSTOP | kShown, 14, 31, 128,
     150},
    {L"BUTTON", L"Select All", IDC_SELECT_ALL, BS_PUSHBUTTON | WS_TABSTOP | kShown, 149, 31, 57,
     14},
    {L"BUTTON", L"Deselect All", IDC_DESELECT_ALL, BS_PUSHBUTTON | WS_TABSTOP | kShown, 149, 49, 57,
     14},
    {L"BUTTON", L"Name", IDC_CHECK_NAME, kCheck, 149, 75, 57, 10},
    {L"BUTTON", L"Expression", IDC_CHECK_EXPRESSION, kCheck, 149, 89, 57, 10},
    {L"BUTTON", L"Value", IDC_CHECK_VALUE, kCheck, 149, 103, 57, 10},
    {L"BUTTON", L"Description", IDC_CHECK_DESCRIPTION, kCheck, 149, 117, 57, 10},
    {L"BUTTON", L"Header", IDC_CHECK_HEADER, kCheck, 149, 131, 57, 10},
    {L"STATIC", L"Destination", -1, kLabel, 7, 190, 40, 8},
    {L"STATIC", L"", -1, kLine, 50, 194, 156, 1},
    {L"BUTTON", L"AutoCAD Table", IDC_RADIO_TABLE,
     BS_AUTORADIOBUTTON | WS_GROUP | WS_TABSTOP | kShown, 14, 204, 80, 10},
    {L"BUTTON", L"Excel (to active cell)", IDC_RADIO_EXCEL, BS_AUTORADIOBUTTON | kShown, 14, 218,
     100, 10},
    // The link option is kept but shown nowhere; it lies under the buttons' row.
    {L"STATIC", L"Link", -1, SS_LEFT | WS_GROUP, 7, 242, 20, 8},
    {L"STATIC", L"", -1, SS_ETCHEDHORZ, 30, 246, 176, 1},
    {L"BUTTON", L"Link parameter expressions to cells", IDC_CHECK_EXPORT_LINK,
     BS_AUTOCHECKBOX | WS_GROUP | WS_TABSTOP, 14, 245, 150, 10},
    {L"BUTTON", L"Export", IDOK, BS_PUSHBUTTON | WS_GROUP | WS_TABSTOP | kShown, 99, 245, 50, 14},
    {L"BUTTON", L"Cancel", IDCANCEL, BS_PUSHBUTTON | WS_TABSTOP | kShown, 156, 245, 50, 14},
};

const DLGRESOURCE kExportDialog = {IDD_EXPORT_PARAMETERS,
                                   L"Export Constraint Parameters",
                                   213,
                                   266,
                                   kExportItems,
                                   static_cast<int>(sizeof kExportItems / sizeof *kExportItems)};

constexpr DWORD kColumnCombo = CBS_DROPDOWNLIST | CBS_SORT | WS_TABSTOP | kShown;

const DLGITEMRESOURCE kImportItems[] = {
    {L"STATIC", L"Note: Please open a workbook and select the cells of the data firstly.", -1,
     kLabel, 7, 7, 207, 16},
    {L"STATIC", L"Parameter Name:", -1, kLabel, 14, 32, 60, 8},
    {L"COMBOBOX", L"", IDC_COMBO_NAME_COLUMN, kColumnCombo, 80, 30, 40, 80},
    {L"STATIC", L"column in the selected range", -1, kLabel, 126, 32, 90, 8},
    {L"BUTTON", L"Expression:", IDC_CHECK_IMPORT_EXPRESSION, kCheck, 14, 50, 60, 10},
    {L"COMBOBOX", L"", IDC_COMBO_EXPRESSION_COLUMN, kColumnCombo, 80, 48, 40, 80},
    {L"STATIC", L"column in the selected range", -1, kLabel, 126, 50, 90, 8},
    {L"BUTTON", L"Description:", IDC_CHECK_IMPORT_DESCRIPTION, kCheck, 14, 68, 60, 10},
    {L"COMBOBOX", L"", IDC_COMBO_DESCRIPTION_COLUMN, kColumnCombo, 80, 66, 40, 80},
    {L"STATIC", L"column in the selected range", -1, kLabel, 126, 68, 90, 8},
    {L"BUTTON", L"Create parameter if it doesn't exist", IDC_CHECK_CREATE_IF_MISSING, kCheck, 14,
     90, 160, 10},
    {L"BUTTON", L"Link parameter expressions to cells", IDC_CHECK_IMPORT_LINK,
     BS_AUTOCHECKBOX | WS_TABSTOP, 14, 104, 160, 10},
    {L"BUTTON", L"Import Selected Range", IDOK, BS_DEFPUSHBUTTON | WS_TABSTOP | kShown, 74, 130, 86,
     14},
    {L"BUTTON", L"Cancel", IDCANCEL, BS_PUSHBUTTON | WS_TABSTOP | kShown, 164, 130, 50, 14},
};

const DLGRESOURCE kImportDialog = {IDD_IMPORT_PARAMETERS,
                                   L"Import Parameters from Excel",
                                   221,
                                   151,
                                   kImportItems,
                                   static_cast<int>(sizeof kImportItems / sizeof *kImportItems)};

constexpr DWORD kPushButton = BS_PUSHBUTTON | WS_TABSTOP | kShown;
constexpr DWORD kPictureButton = BS_OWNERDRAW | WS_TABSTOP | kShown;
constexpr DWORD kShownField =
    ES_LEFT | ES_AUTOHSCROLL | ES_READONLY | WS_BORDER | WS_TABSTOP | kShown;

const DLGITEMRESOURCE kManagerItems[] = {
    {L"STATIC", L"Block Name:", -1, kLabel, 21, 9, 42, 8},
    {L"EDIT", L"", IDC_BLOCK_NAME, kShownField, 69, 7, 68, 14},
    {L"STATIC", L"Parameter Name:", -1, SS_RIGHT | kShown, 142, 9, 56, 8},
    {L"COMBOBOX", L"", IDC_PARAMETER_COMBO,
     CBS_DROPDOWNLIST | CBS_SORT | WS_VSCROLL | WS_TABSTOP | kShown, 202, 7, 125, 76},
    {L"BUTTON", L"Pick a dynamic block.", IDC_PICK_DYNAMIC_BLOCK, kPictureButton, 341, 7, 16, 16},
    {L"BUTTON", L"Add", IDC_ADD_LINK, kPushButton, 406, 7, 50, 14},
    {L"STATIC", L"Cell Expression:", -1, kLabel, 13, 33, 50, 8},
    {L"EDIT", L"", IDC_CELL_EXPRESSION, kShownField, 69, 31, 257, 14},
    {L"BUTTON", L"Pick a cell from AutoCAD table", IDC_PICK_TABLE_CELL, kPictureButton, 341, 29, 16,
     16},
    {L"BUTTON", L"PICK_EXCEL_CELL", IDC_PICK_EXCEL_CELL, kPictureButton, 362, 29, 16, 16},
    {L"BUTTON", L"Remove", IDC_REMOVE_LINK, kPushButton, 406, 30, 50, 14},
    {L"SysListView32", L"", IDC_LINKS_LIST,
     LVS_REPORT | LVS_SINGLESEL | LVS_ALIGNLEFT | WS_BORDER | WS_TABSTOP | kShown, 7, 55, 449, 170},
    {L"BUTTON", L"Remove All Links", IDC_REMOVE_ALL_LINKS, kPushButton, 7, 236, 71, 14},
    {L"BUTTON", L"Export Links", IDC_EXPORT_LINKS, kPushButton, 114, 236, 50, 14},
    {L"BUTTON", L"Import Links", IDC_IMPORT_LINKS, kPushButton, 201, 236, 50, 14},
    {L"BUTTON", L"Update Parameters", IDOK, kPushButton, 287, 236, 82, 14},
    {L"BUTTON", L"Close", IDCANCEL, kPushButton, 406, 236, 50, 14},
};

const DLGRESOURCE kManagerDialog = {IDD_PARAMETERS_MANAGER,
                                    L"Parameter Links Manager",
                                    463,
                                    257,
                                    kManagerItems,
                                    static_cast<int>(sizeof kManagerItems / sizeof *kManagerItems)};

constexpr DWORD kTypedField = ES_LEFT | ES_AUTOHSCROLL | WS_BORDER | WS_TABSTOP | kShown;

const DLGITEMRESOURCE kPickExcelCellItems[] = {
    {L"STATIC", L"Workbook:", -1, kLabel, 7, 7, 36, 8},
    {L"EDIT", L"", IDC_WORKBOOK, kTypedField, 49, 7, 143, 14},
    {L"BUTTON", L"...", IDC_BROWSE_WORKBOOK, kPushButton, 198, 7, 15, 14},
    {L"STATIC", L"Worksheet:", -1, kLabel, 5, 37, 38, 8},
    {L"COMBOBOX", L"", IDC_WORKSHEET, CBS_DROPDOWN | CBS_SORT | WS_VSCROLL | WS_TABSTOP | kShown,
     49, 33, 143, 68},
    {L"STATIC", L"Cell:", -1, kLabel, 28, 60, 15, 8},
    {L"EDIT", L"", IDC_CELL, kTypedField, 49, 57, 61, 14},
    {L"BUTTON", L"Get Active Cell", IDC_GET_ACTIVE_CELL, kPushButton, 121, 58, 71, 14},
    {L"BUTTON", L"Use Cell Name", IDC_USE_CELL_NAME, kCheck, 49, 83, 61, 10},
    {L"STATIC", L"Path Type:", -1, kLabel, 7, 108, 36, 8},
    {L"COMBOBOX", L"", IDC_PATH_TYPE, CBS_DROPDOWNLIST | WS_VSCROLL | WS_TABSTOP | kShown, 49, 106,
     76, 45},
    {L"BUTTON", L"OK", IDOK, BS_DEFPUSHBUTTON | WS_TABSTOP | kShown, 41, 137, 50, 14},
    {L"BUTTON", L"Cancel", IDCANCEL, kPushButton, 127, 137, 50, 14},
};

const DLGRESOURCE kPickExcelCellDialog = {
    IDD_PICK_EXCEL_CELL,
    L"Select an Excel Cell",
    220,
    158,
    kPickExcelCellItems,
    static_cast<int>(sizeof kPickExcelCellItems / sizeof *kPickExcelCellItems)};

const DLGITEMRESOURCE kDynamicBlockItems[] = {
    {L"STATIC", L"Block:", -1, kLabel, 21, 10, 21, 8},
    {L"EDIT", L"", IDC_DYNA_BLOCK_NAME, kShownField, 48, 7, 98, 14},
    {L"STATIC", L"Handle:", -1, kLabel, 16, 35, 26, 8},
    {L"EDIT", L"", IDC_DYNA_HANDLE, kShownField, 48, 33, 98, 14},
    {L"STATIC", L"Parameter:", -1, kLabel, 7, 58, 35, 8},
    {L"COMBOBOX", L"", IDC_DYNA_PARAMETER,
     CBS_DROPDOWNLIST | CBS_SORT | WS_VSCROLL | WS_TABSTOP | kShown, 48, 56, 98, 81},
    {L"BUTTON", L"OK", IDOK, BS_DEFPUSHBUTTON | WS_TABSTOP | kShown, 7, 84, 50, 14},
    {L"BUTTON", L"Cancel", IDCANCEL, kPushButton, 96, 84, 50, 14},
};

const DLGRESOURCE kDynamicBlockDialog = {
    IDD_DYNAMIC_BLOCK,
    L"Dynamic Block",
    153,
    105,
    kDynamicBlockItems,
    static_cast<int>(sizeof kDynamicBlockItems / sizeof *kDynamicBlockItems)};

DIALOG_RESOURCE(kExportDialog);
DIALOG_RESOURCE(kManagerDialog);
DIALOG_RESOURCE(kImportDialog);
DIALOG_RESOURCE(kPickExcelCellDialog);
DIALOG_RESOURCE(kDynamicBlockDialog);

} // namespace
