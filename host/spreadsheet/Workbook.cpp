// A workbook: opened from a file or bytes, or created blank; its sheets and defined names.
#include "spreadsheet/WorkbookImpl.h"

#include "sdk/WideFormat.h"

#include "spreadsheet/Calculation.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace spreadsheet {

// ---------------------------------------------------------------------------------------

std::wstring fileNameOf(const std::wstring& path) {
    std::size_t slash = path.find_last_of(L"\\/");
    return slash == std::wstring::npos ? path : path.substr(slash + 1);
}

std::wstring statusText(Status status) {
    switch (status) {
    case Status::Ok:
        return L"OK";
    case Status::FileNotFound:
        return L"The file cannot be found or read.";
    case Status::NotAZip:
        return L"The file is not a workbook: it is no zip archive or it is damaged.";
    case Status::MissingPart:
        return L"The file is not a workbook: a part of the workbook is missing.";
    case Status::BadXml:
        return L"The file is damaged: a part of the workbook is not well-formed XML.";
    case Status::DtdForbidden:
        return L"The file is damaged: a part of the workbook declares a DOCTYPE.";
    case Status::TooLarge:
        return L"The file is too large: a part inflates past the size limit.";
    case Status::BadReference:
        return L"The file is damaged: a cell, row or column reference is malformed or beyond "
               L"XFD1048576.";
    case Status::TooManyStrings:
        return L"The file is too large: its shared-string table passes the limit.";
    case Status::TooManySheets:
        return L"The file is too large: it has too many sheets.";
    case Status::ReadOnly:
        return L"The workbook is read-only and cannot be saved over its file.";
    case Status::NoPath:
        return L"The workbook has no file yet.";
    case Status::WriteFailed:
        return L"The file cannot be written.";
    case Status::NoSuchSheet:
        return L"There is no such sheet.";
    case Status::DuplicatePart:
        return L"The file is damaged: two of its parts have names that differ only in case.";
    case Status::TooDeep:
        return L"The file is damaged: a part of the workbook nests its XML too deep.";
    case Status::TooManyNodes:
        return L"The file is too large: a part holds more XML elements than the limit.";
    case Status::NotAFile:
        return L"The path is not a regular file; only a file can be saved over.";
    case Status::FileReadOnly:
        return L"The file is read-only: its permissions do not allow writing to it.";
    case Status::Locked:
        return L"The file is locked for editing by another user.";
    case Status::ChangedOnDisk:
        return L"The file was changed by another program since it was opened; it was not "
               L"saved over.";
    }
    return L"Unknown status.";
}

// ---- Workbook -----------------------------------------------------------------------

Workbook::Workbook() : m_impl(std::make_unique<WorkbookImpl>()) {}
Workbook::~Workbook() = default;

bool Workbook::date1904() const {
    return m_impl->date1904;
}

const std::vector<DefinedName>& Workbook::names() const {
    return m_impl->names;
}

std::unique_ptr<Workbook> Workbook::openBytes(std::string bytes, const std::wstring& fullName,
                                              bool readOnly, Status& status, const Limits& limits) {
    std::unique_ptr<Workbook> book(new Workbook());
    book->m_impl->limits = limits;
    book->m_fullName = fullName;
    book->m_name = fileNameOf(fullName);
    book->m_readOnly = readOnly;
    book->m_hasFile = true;
    status = WorkbookImpl::openPackage(*book, std::move(bytes));
    if (status != Status::Ok)
        return nullptr;
    return book;
}

std::unique_ptr<Workbook> Workbook::open(const std::wstring& path, bool readOnly, Status& status,
                                         const Limits& limits) {
    namespace fs = std::filesystem;
    std::error_code ec;
    std::wstring full = fs::absolute(fs::path(path), ec).lexically_normal().wstring();
    // An editor first takes the owner file, so that another editor cannot save between
    // our read and our save.
    auto owner = std::make_unique<OwnerFile>();
    if (!readOnly) {
        std::wstring holder;
        status = owner->acquire(fs::path(full).string(), holder);
        if (status != Status::Ok)
            return nullptr;
    }
    // One open file for everything: a save by someone else meanwhile replaces the path,
    // never the bytes we read.
    std::string bytes;
    FileStamp stamp;
    status = readWorkbookFile(fs::path(path).string(), limits.maxFileBytes, bytes, stamp);
    if (status != Status::Ok)
        return nullptr;
    auto book = openBytes(std::move(bytes), full, readOnly, status, limits);
    if (book) {
        book->m_impl->stamp = stamp;
        book->m_impl->owner = std::move(owner);
    }
    return book;
}

std::unique_ptr<Workbook> Workbook::create(const std::wstring& name) {
    static const char* const kContentTypes =
        R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
        R"(<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">)"
        R"(<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>)"
        R"(<Default Extension="xml" ContentType="application/xml"/>)"
        R"(<Override PartName="/xl/workbook.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml"/>)"
        R"(<Override PartName="/xl/worksheets/sheet1.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.worksheet+xml"/>)"
        R"(<Override PartName="/xl/styles.xml" ContentType="application/vnd.openxmlformats-officedocument.spreadsheetml.styles+xml"/>)"
        R"(</Types>)";
    static const char* const kRootRels =
        R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
        R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
        R"(<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument" Target="xl/workbook.xml"/>)"
        R"(</Relationships>)";
    static const char* const kWorkbook =
        R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
        R"(<workbook xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main" )"
        R"(xmlns:r="http://schemas.openxmlformats.org/officeDocument/2006/relationships">)"
        R"(<bookViews><workbookView activeTab="0"/></bookViews>)"
        R"(<sheets><sheet name="Sheet1" sheetId="1" r:id="rId1"/></sheets></workbook>)";
    static const char* const kWorkbookRels =
        R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
        R"(<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
        R"(<Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/worksheet" Target="worksheets/sheet1.xml"/>)"
        R"(<Relationship Id="rId2" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/styles" Target="styles.xml"/>)"
        R"(</Relationships>)";
    static const char* const kStyles =
        R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
        R"(<styleSheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">)"
        R"(<fonts count="1"><font><sz val="11"/><name val="Calibri"/><family val="2"/></font></fonts>)"
        R"(<fills count="2"><fill><patternFill patternType="none"/></fill><fill><patternFill patternType="gray125"/></fill></fills>)"
        R"(<borders count="1"><border><left/><right/><top/><bottom/><diagonal/></border></borders>)"
        R"(<cellStyleXfs count="1"><xf numFmtId="0" fontId="0" fillId="0" borderId="0"/></cellStyleXfs>)"
        R"(<cellXfs count="1"><xf numFmtId="0" fontId="0" fillId="0" borderId="0" xfId="0"/></cellXfs>)"
        R"(<cellStyles count="1"><cellStyle name="Normal" xfId="0" builtinId="0"/></cellStyles>)"
        R"(</styleSheet>)";
    static const char* const kSheet =
        R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
        R"(<worksheet xmlns="http://schemas.openxmlformats.org/spreadsheetml/2006/main">)"
        R"(<sheetViews><sheetView tabSelected="1" workbookViewId="0"><selection activeCell="A1" sqref="A1"/></sheetView></sheetViews>)"
        R"(<sheetFormatPr defaultRowHeight="15"/><sheetData/>)"
        R"(<pageMargins left="0.7" right="0.7" top="0.75" bottom="0.75" header="0.3" footer="0.3"/>)"
        R"(</worksheet>)";
    std::string bytes = buildZip({{"[Content_Types].xml", kContentTypes},
                                  {"_rels/.rels", kRootRels},
                                  {"xl/workbook.xml", kWorkbook},
                                  {"xl/_rels/workbook.xml.rels", kWorkbookRels},
                                  {"xl/styles.xml", kStyles},
                                  {"xl/worksheets/sheet1.xml", kSheet}});
    Status st;
    auto book = openBytes(std::move(bytes), name, false, st);
    if (!book)
        return nullptr;
    book->m_name = name;
    book->m_fullName = name;
    book->m_hasFile = false;
    return book;
}

int Workbook::findSheet(const std::wstring& name) const {
    for (std::size_t i = 0; i < m_sheets.size(); ++i)
        if (lmhost::equalNoCase(m_sheets[i]->name(), name))
            return int(i);
    return -1;
}

void Workbook::setActiveSheet(int index) {
    if (index < 0 || std::size_t(index) >= m_sheets.size() || index == m_activeSheet)
        return;
    m_activeSheet = index;
    auto views =
        ensureChild(m_impl->workbookDoc.document_element(), "bookViews",
                    {"sheets", "functionGroups", "externalReferences", "definedNames", "calcPr",
                     "oleSize", "customWorkbookViews", "pivotCaches", "smartTagPr", "smartTagTypes",
                     "webPublishing", "fileRecoveryPr", "webPublishObjects", "extLst"});
    auto view = childNamed(views, "workbookView");
    if (!view)
        view = views.append_child("workbookView");
    (view.attribute("activeTab") ? view.attribute("activeTab")
                                 : view.append_attribute("activeTab")) = index;
    // Kept by a save, but no change the user is asked to save, as with a selection.
    m_impl->workbookModified = true;
}

const DefinedName* Workbook::findName(const std::wstring& name, int scopeSheet) const {
    const DefinedName* global = nullptr;
    for (const auto& n : m_impl->names) {
        if (!lmhost::equalNoCase(n.name, name))
            continue;
        if (n.scopeSheet == scopeSheet && scopeSheet >= 0)
            return &n;
        if (n.scopeSheet < 0 && !global)
            global = &n;
    }
    return global;
}

} // namespace spreadsheet
