#include "spreadsheet/Workbook.h"
#include "spreadsheet/Calculation.h"

#include "spreadsheet/NumberFormat.h"
#include "spreadsheet/Package.h"
#include "spreadsheet/TypedEntry.h"
#include "spreadsheet/WorkbookFile.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <filesystem>
#include <map>
#include <sstream>
#include <tuple>
#include <unordered_map>

namespace spreadsheet {

namespace {

bool equalsNoCase(std::wstring_view a, std::wstring_view b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::towlower(wint_t(a[i])) != std::towlower(wint_t(b[i])))
            return false;
    return true;
}

// Directory part of a part name, with its slash: "xl/" for "xl/workbook.xml".
std::string partDir(const std::string& part) {
    auto slash = part.rfind('/');
    return slash == std::string::npos ? std::string() : part.substr(0, slash + 1);
}

std::string relsPartOf(const std::string& part) {
    auto slash = part.rfind('/');
    std::string dir = slash == std::string::npos ? "" : part.substr(0, slash + 1);
    std::string file = slash == std::string::npos ? part : part.substr(slash + 1);
    return dir + "_rels/" + file + ".rels";
}

// Target of a relationship, resolved against the source part's directory.
std::string resolveTarget(const std::string& baseDir, const std::string& target) {
    std::string full = !target.empty() && target[0] == '/' ? target.substr(1) : baseDir + target;
    std::vector<std::string> parts;
    std::size_t start = 0;
    while (start <= full.size()) {
        auto end = full.find('/', start);
        if (end == std::string::npos)
            end = full.size();
        std::string seg = full.substr(start, end - start);
        if (seg == "..") {
            if (!parts.empty())
                parts.pop_back();
        } else if (!seg.empty() && seg != ".") {
            parts.push_back(seg);
        }
        start = end + 1;
    }
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i)
        out += (i ? "/" : "") + parts[i];
    return out;
}

struct Relationship {
    std::string type;
    std::string target;
};

// Relationships of a part by id; a missing rels part is an empty set.
Status readRels(Package& pkg, const std::string& part, std::map<std::string, Relationship>& out,
                const Limits& limits) {
    std::string relsPart = relsPartOf(part);
    if (!pkg.has(relsPart))
        return Status::Ok;
    std::string buf;
    Status st = pkg.read(relsPart, buf);
    if (st != Status::Ok)
        return st;
    pugi::xml_document doc;
    st = parseXml(buf, doc, limits);
    if (st != Status::Ok)
        return st;
    std::string dir = partDir(part);
    for (auto r = doc.document_element().first_child(); r; r = r.next_sibling()) {
        if (localName(r.name()) != "Relationship")
            continue;
        if (std::string(r.attribute("TargetMode").value()) == "External")
            continue;
        out[r.attribute("Id").value()] = {r.attribute("Type").value(),
                                          resolveTarget(dir, r.attribute("Target").value())};
    }
    return Status::Ok;
}

bool endsWith(std::string_view s, std::string_view suffix) {
    return s.size() >= suffix.size() && s.substr(s.size() - suffix.size()) == suffix;
}

// `_xHHHH_` stands for the character with that code.
bool isEscapeAt(std::wstring_view w, std::size_t i) {
    return w[i] == L'_' && i + 6 < w.size() && w[i + 1] == L'x' && w[i + 6] == L'_' &&
           std::all_of(w.begin() + long(i) + 2, w.begin() + long(i) + 6,
                       [](wchar_t c) { return std::iswxdigit(wint_t(c)); });
}

// Text of a string item (<si>, <is>): plain <t>, or the runs of rich text.
std::wstring stringItemText(pugi::xml_node item) {
    std::string utf8;
    for (auto c = item.first_child(); c; c = c.next_sibling()) {
        auto name = localName(c.name());
        if (name == "t")
            utf8 += c.text().get();
        else if (name == "r")
            utf8 += childNamed(c, "t").text().get();
    }
    std::wstring w = fromUtf8(utf8);
    // _xHHHH_ stands for a character that XML cannot carry.
    if (w.find(L"_x") == std::wstring::npos)
        return w;
    std::wstring out;
    for (std::size_t i = 0; i < w.size(); ++i) {
        if (isEscapeAt(w, i)) {
            out.push_back(wchar_t(std::wcstol(w.substr(i + 2, 4).c_str(), nullptr, 16)));
            i += 6;
        } else {
            out.push_back(w[i]);
        }
    }
    return out;
}

// The reverse of the decoding above: a literal `_xHHHH_` keeps its underscore as `_x005F_`,
// and characters XML cannot carry are written as escapes.
std::wstring escapeText(std::wstring_view w) {
    std::wstring out;
    out.reserve(w.size());
    for (std::size_t i = 0; i < w.size(); ++i) {
        wchar_t c = w[i];
        bool unfit = (c < 0x20 && c != L'\t' && c != L'\n' && c != L'\r') || c == 0xFFFE ||
                     c == 0xFFFF || (c >= 0xD800 && c <= 0xDFFF);
        if (unfit || isEscapeAt(w, i)) {
            wchar_t hex[8];
            std::swprintf(hex, 8, L"_x%04X_", unsigned(c));
            out += hex;
        } else {
            out.push_back(c);
        }
    }
    return out;
}

bool parseNumberAttr(const char* s, double& out) {
    std::size_t n = std::strlen(s);
    auto res = std::from_chars(s, s + n, out);
    return res.ec == std::errc() && res.ptr == s + n && n > 0;
}

int intAttr(pugi::xml_attribute a, int fallback) {
    if (!a)
        return fallback;
    const char* s = a.value();
    int v = 0;
    auto res = std::from_chars(s, s + std::strlen(s), v);
    return res.ec == std::errc() ? v : fallback;
}

std::string numberText(double v) {
    char buf[64];
    auto res = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, res.ptr);
}

} // namespace

// ---------------------------------------------------------------------------------------

struct CellEntry {
    int row;
    int col;
    pugi::xml_node node;
};

struct ColSpan {
    int min;
    int max;
    double width;
};

struct LightCell {
    int col;
    int style;
    CellValue value;
};

struct LightRow {
    int row;
    std::size_t begin, end; // the row element's bytes in the buffer
};

struct SheetData {
    // Light mode: only the sheet's head is parsed; rows are found by a scan of the raw
    // text and parsed one by one when read. Anything that needs the whole sheet or
    // changes it turns the sheet into a full document first.
    bool light = false;
    std::string headBuffer;
    pugi::xml_document headDoc;
    std::vector<LightRow> lightRows;
    std::unordered_map<std::size_t, std::vector<LightCell>> parsedRows;

    std::string buffer; // the XML text the document points into
    pugi::xml_document doc;
    pugi::xml_node root;
    pugi::xml_node sheetData;
    std::vector<std::pair<int, pugi::xml_node>> rows;
    std::vector<CellEntry> cells; // sorted by row, then column
    std::vector<ColSpan> cols;
    double defaultWidth = 0;
    CellRef activeCell{1, 1};
    std::wstring sqref = L"A1";
    bool modified = false;

    const CellEntry* find(int row, int col) const {
        auto it =
            std::lower_bound(cells.begin(), cells.end(), std::make_pair(row, col),
                             [](const CellEntry& e, const std::pair<int, int>& k) {
                                 return e.row < k.first || (e.row == k.first && e.col < k.second);
                             });
        if (it != cells.end() && it->row == row && it->col == col)
            return &*it;
        return nullptr;
    }
};

struct WorkbookImpl {
    Limits limits;
    Package pkg;
    std::string workbookPart;
    std::string workbookBuffer;
    pugi::xml_document workbookDoc;
    bool workbookModified = false;
    std::vector<std::wstring> sharedStrings;
    std::vector<int> xfFormat;  // numFmtId per cell format
    std::vector<bool> xfQuoted; // cell formats that mark text typed with an apostrophe
    // The styles part stays parsed so that typed entries can add cell formats.
    std::string stylesPart;
    std::string stylesBuffer;
    pugi::xml_document stylesDoc;
    bool stylesModified = false;
    std::map<std::tuple<int, int, bool>, int> derivedStyles;
    std::map<int, std::wstring> customFormats;
    std::unordered_map<std::wstring, std::unique_ptr<NumberFormat>> formatCache;
    bool date1904 = false;
    std::vector<DefinedName> names;
    FileStamp stamp; // of the file as read or last saved
    std::unique_ptr<OwnerFile> owner;

    const NumberFormat& format(const std::wstring& code) {
        auto it = formatCache.find(code);
        if (it == formatCache.end())
            it = formatCache.emplace(code, std::make_unique<NumberFormat>(code)).first;
        return *it->second;
    }

    std::wstring formatCode(int style) const {
        if (style < 0 || std::size_t(style) >= xfFormat.size())
            return L"General";
        int id = xfFormat[std::size_t(style)];
        auto it = customFormats.find(id);
        return it != customFormats.end() ? it->second : builtinFormatCode(id);
    }

    // A cell format like `style` but with the number format and apostrophe mark given;
    // an equal one is reused. Without a styles part the style stays as it is.
    int deriveStyle(int style, int numFmtId, bool quoted);

    Status loadSharedStrings(const std::string& part);
    Status loadStyles(const std::string& part);
    static Status openPackage(Workbook& book, std::string bytes);
    static Status loadSheet(Workbook& book, Worksheet& sheet, bool full);
};

Status WorkbookImpl::loadSharedStrings(const std::string& part) {
    std::string buf;
    Status st = pkg.read(part, buf);
    if (st != Status::Ok)
        return st;
    pugi::xml_document doc;
    st = parseXml(buf, doc, limits);
    if (st != Status::Ok)
        return st;
    for (auto si = doc.document_element().first_child(); si; si = si.next_sibling()) {
        if (localName(si.name()) != "si")
            continue;
        if (sharedStrings.size() >= limits.maxSharedStrings)
            return Status::TooManyStrings;
        sharedStrings.push_back(stringItemText(si));
    }
    return Status::Ok;
}

Status WorkbookImpl::loadStyles(const std::string& part) {
    Status st = pkg.read(part, stylesBuffer);
    if (st != Status::Ok)
        return st;
    st = parseXml(stylesBuffer, stylesDoc, limits);
    if (st != Status::Ok)
        return st;
    stylesPart = part;
    xfFormat.clear();
    xfQuoted.clear();
    customFormats.clear();
    auto root = stylesDoc.document_element();
    for (auto f = childNamed(root, "numFmts").first_child(); f; f = f.next_sibling())
        if (localName(f.name()) == "numFmt")
            customFormats[intAttr(f.attribute("numFmtId"), -1)] =
                fromUtf8(f.attribute("formatCode").value());
    for (auto xf = childNamed(root, "cellXfs").first_child(); xf; xf = xf.next_sibling())
        if (localName(xf.name()) == "xf") {
            xfFormat.push_back(intAttr(xf.attribute("numFmtId"), 0));
            std::string q = xf.attribute("quotePrefix").value();
            xfQuoted.push_back(q == "1" || q == "true");
        }
    return Status::Ok;
}

Status WorkbookImpl::openPackage(Workbook& book, std::string bytes) {
    WorkbookImpl& m = *book.m_impl;
    Status st = m.pkg.open(std::move(bytes), m.limits);
    if (st != Status::Ok)
        return st;
    std::map<std::string, Relationship> rootRels;
    st = readRels(m.pkg, "", rootRels, m.limits);
    if (st != Status::Ok)
        return st;
    for (const auto& [id, rel] : rootRels)
        if (endsWith(rel.type, "/officeDocument"))
            m.workbookPart = rel.target;
    if (m.workbookPart.empty() && m.pkg.has("xl/workbook.xml"))
        m.workbookPart = "xl/workbook.xml";
    if (m.workbookPart.empty() || !m.pkg.has(m.workbookPart))
        return Status::MissingPart;

    st = m.pkg.read(m.workbookPart, m.workbookBuffer);
    if (st != Status::Ok)
        return st;
    st = parseXml(m.workbookBuffer, m.workbookDoc, m.limits);
    if (st != Status::Ok)
        return st;
    auto root = m.workbookDoc.document_element();
    if (localName(root.name()) != "workbook")
        return Status::BadXml;

    std::map<std::string, Relationship> rels;
    st = readRels(m.pkg, m.workbookPart, rels, m.limits);
    if (st != Status::Ok)
        return st;
    for (const auto& [id, rel] : rels) {
        if (endsWith(rel.type, "/sharedStrings") && m.pkg.has(rel.target)) {
            st = m.loadSharedStrings(rel.target);
            if (st != Status::Ok)
                return st;
        } else if (endsWith(rel.type, "/styles") && m.pkg.has(rel.target)) {
            st = m.loadStyles(rel.target);
            if (st != Status::Ok)
                return st;
        }
    }

    auto pr = childNamed(root, "workbookPr");
    std::string d1904 = pr.attribute("date1904").value();
    m.date1904 = d1904 == "1" || d1904 == "true";

    for (auto s = childNamed(root, "sheets").first_child(); s; s = s.next_sibling()) {
        if (localName(s.name()) != "sheet")
            continue;
        if (book.m_sheets.size() >= m.limits.maxSheets)
            return Status::TooManySheets;
        std::string rid;
        for (auto a = s.first_attribute(); a; a = a.next_attribute())
            if (localName(a.name()) == "id" && std::strchr(a.name(), ':'))
                rid = a.value();
        auto rel = rels.find(rid);
        if (rel == rels.end() || !m.pkg.has(rel->second.target))
            return Status::MissingPart;
        auto sheet = std::unique_ptr<Worksheet>(
            new Worksheet(&book, fromUtf8(s.attribute("name").value()), rel->second.target));
        std::string state = s.attribute("state").value();
        sheet->m_state = state == "hidden"       ? SheetState::Hidden
                         : state == "veryHidden" ? SheetState::VeryHidden
                                                 : SheetState::Visible;
        book.m_sheets.push_back(std::move(sheet));
    }
    if (book.m_sheets.empty())
        return Status::MissingPart;

    auto view = childNamed(childNamed(root, "bookViews"), "workbookView");
    int active = intAttr(view.attribute("activeTab"), 0);
    book.m_activeSheet = active >= 0 && std::size_t(active) < book.m_sheets.size() ? active : 0;

    for (auto n = childNamed(root, "definedNames").first_child(); n; n = n.next_sibling()) {
        if (localName(n.name()) != "definedName")
            continue;
        DefinedName dn;
        dn.name = fromUtf8(n.attribute("name").value());
        dn.scopeSheet = intAttr(n.attribute("localSheetId"), -1);
        dn.refersTo = fromUtf8(n.text().get());
        // A plain reference: Sheet!$A$1 or 'My sheet'!$A$1:$B$2.
        auto bang = dn.refersTo.rfind(L'!');
        if (bang != std::wstring::npos) {
            std::wstring sheetName = dn.refersTo.substr(0, bang);
            if (sheetName.size() >= 2 && sheetName.front() == L'\'' && sheetName.back() == L'\'') {
                std::wstring unq;
                for (std::size_t i = 1; i + 1 < sheetName.size(); ++i) {
                    unq.push_back(sheetName[i]);
                    if (sheetName[i] == L'\'' && i + 2 < sheetName.size() &&
                        sheetName[i + 1] == L'\'')
                        ++i;
                }
                sheetName = unq;
            }
            RangeRef r;
            int idx = book.findSheet(sheetName);
            if (idx >= 0 && parseRangeRef(dn.refersTo.substr(bang + 1), r)) {
                dn.sheet = idx;
                dn.range = r;
            }
        }
        m.names.push_back(std::move(dn));
    }
    return Status::Ok;
}

namespace {

Status readHead(SheetData& sd, pugi::xml_node root) {
    SheetData* data = &sd;
    auto fmt = childNamed(root, "sheetFormatPr");
    double def = fmt.attribute("defaultColWidth").as_double(0);
    if (!(def > 0 && def <= 255)) {
        double base = fmt.attribute("baseColWidth").as_double(8);
        if (!(base >= 0 && base <= 255))
            base = 8;
        // base characters plus padding, rounded up to a multiple of 8 pixels
        int px = int(base) * 7 + kCellPaddingPixels;
        px = (px + 7) / 8 * 8;
        def = columnWidthFromPixels(px);
    }
    data->defaultWidth = def;
    for (auto c = childNamed(root, "cols").first_child(); c; c = c.next_sibling()) {
        if (localName(c.name()) != "col")
            continue;
        int mn = intAttr(c.attribute("min"), 0), mx = intAttr(c.attribute("max"), 0);
        if (mn < 1 || mx < mn || mx > kMaxColumns)
            return Status::BadReference;
        double w = c.attribute("width").as_double(def);
        if (!(w >= 0 && w <= 255))
            w = def;
        data->cols.push_back({mn, mx, w});
    }

    auto view = childNamed(childNamed(root, "sheetViews"), "sheetView");
    if (view) {
        std::string activePane = childNamed(view, "pane").attribute("activePane").value();
        pugi::xml_node chosen;
        for (auto s = view.first_child(); s; s = s.next_sibling()) {
            if (localName(s.name()) != "selection")
                continue;
            std::string pane = s.attribute("pane").value();
            if (!chosen || pane == activePane)
                chosen = s;
        }
        if (chosen) {
            CellRef ac;
            if (parseCellRef(std::string_view(chosen.attribute("activeCell").value()), ac))
                data->activeCell = ac;
            std::wstring sq = fromUtf8(chosen.attribute("sqref").value());
            data->sqref =
                sq.empty() ? cellAddress(data->activeCell.row, data->activeCell.col, false) : sq;
        }
    }

    return Status::Ok;
}

// Offsets of the rows inside <sheetData> by a scan of the raw text. Gives false when the
// text holds anything the scan cannot be sure of (comments, CDATA, processing
// instructions, rows out of order): the sheet is then parsed as a whole.
bool scanRows(SheetData& d, Status& status, const Limits& limits) {
    const std::string& b = d.buffer;
    std::size_t name = b.find("sheetData");
    while (name != std::string::npos && !(name > 0 && (b[name - 1] == '<' || b[name - 1] == ':')))
        name = b.find("sheetData", name + 1);
    if (name == std::string::npos)
        return false;
    std::size_t open = b.rfind('<', name);
    std::string prefix = b.substr(open + 1, name - open - 1); // "" or "x:"
    std::size_t tagEnd = b.find('>', name);
    if (tagEnd == std::string::npos || b[tagEnd - 1] == '/')
        return false;
    std::string closing("</");
    closing += prefix;
    closing += "sheetData>";
    std::size_t contentEnd = b.find(closing, tagEnd);
    if (contentEnd == std::string::npos)
        return false;
    std::string_view content(b.data() + tagEnd + 1, contentEnd - tagEnd - 1);
    // Comments, CDATA and processing instructions could hide or fake a row start: those
    // sheets take the full parse. '!' and '?' are rare in sheet XML, so look for them first.
    const char* const begin = content.data();
    const char* const end = begin + content.size();
    for (char mark : {'!', '?'})
        for (const char* q = static_cast<const char*>(std::memchr(begin, mark, end - begin)); q;
             q = static_cast<const char*>(std::memchr(q + 1, mark, end - q - 1)))
            if (q > begin && q[-1] == '<')
                return false;
    std::string rowTag(1, '<');
    rowTag += prefix;
    rowTag += "row";
    std::vector<std::size_t> starts;
    for (const char* q =
             static_cast<const char*>(memmem(begin, end - begin, rowTag.data(), rowTag.size()));
         q; q = static_cast<const char*>(
                memmem(q + rowTag.size(), end - q - rowTag.size(), rowTag.data(), rowTag.size()))) {
        std::size_t i = q - begin;
        if (i + rowTag.size() >= content.size())
            break;
        char next = content[i + rowTag.size()];
        if (next == ' ' || next == '>' || next == '/' || next == '\t' || next == '\n' ||
            next == '\r')
            starts.push_back(i);
    }
    std::string head;
    head.reserve(tagEnd + 1 + (b.size() - contentEnd));
    head.append(b, 0, tagEnd + 1);
    head.append(b, contentEnd, std::string::npos);
    if (head.find("<!--") != std::string::npos || head.find("<![CDATA[") != std::string::npos)
        return false;

    std::size_t base = tagEnd + 1;
    int prevRow = 0;
    d.lightRows.reserve(starts.size());
    for (std::size_t k = 0; k < starts.size(); ++k) {
        std::size_t at = starts[k];
        std::size_t stop = k + 1 < starts.size() ? starts[k + 1] : content.size();
        std::size_t gt = content.find('>', at);
        int rowNum = prevRow + 1;
        if (gt != std::string_view::npos && gt < stop) {
            std::string_view tag = content.substr(at, gt - at);
            std::size_t r = tag.find("r=");
            while (r != std::string_view::npos && tag[r - 1] != ' ' && tag[r - 1] != '\t' &&
                   tag[r - 1] != '\n' && tag[r - 1] != '\r')
                r = tag.find("r=", r + 1);
            if (r != std::string_view::npos) {
                --r; // at the blank before the name
            }
            if (r != std::string_view::npos && r + 4 < tag.size()) {
                std::size_t q = r + 4, qe = tag.find(tag[r + 3], q);
                long v = 0;
                std::size_t digits = 0;
                bool ok = qe != std::string_view::npos && qe > q;
                for (std::size_t i = q; ok && i < qe; ++i) {
                    if (tag[i] < '0' || tag[i] > '9' || ++digits > 8)
                        ok = false;
                    else
                        v = v * 10 + (tag[i] - '0');
                }
                if (!ok || v < 1 || v > kMaxRows) {
                    status = Status::BadReference;
                    return true;
                }
                rowNum = int(v);
            }
        }
        if (rowNum <= prevRow)
            return false;
        prevRow = rowNum;
        d.lightRows.push_back({rowNum, base + at, base + stop});
    }
    d.headBuffer = std::move(head);
    status = parseXml(d.headBuffer, d.headDoc, limits);
    if (status == Status::Ok)
        status = readHead(d, d.headDoc.document_element());
    d.light = true;
    return true;
}

} // namespace

Status WorkbookImpl::loadSheet(Workbook& book, Worksheet& sheet, bool full) {
    WorkbookImpl& m = *book.m_impl;
    auto data = std::make_unique<SheetData>();
    Status st = Status::Ok;
    if (sheet.m_data && sheet.m_data->light) {
        data->buffer = std::move(sheet.m_data->buffer); // still untouched by any parse
        sheet.m_data.reset();
    } else {
        st = m.pkg.read(sheet.m_partName, data->buffer);
        if (st != Status::Ok)
            return st;
    }
    if (!full) {
        auto light = std::make_unique<SheetData>();
        light->buffer = std::move(data->buffer);
        if (scanRows(*light, st, m.limits)) {
            if (st == Status::Ok)
                sheet.m_data = std::move(light);
            return st;
        }
        data->buffer = std::move(light->buffer);
        st = Status::Ok;
    }
    st = parseXml(data->buffer, data->doc, m.limits);
    if (st != Status::Ok)
        return st;
    data->root = data->doc.document_element();

    st = readHead(*data, data->root);
    if (st != Status::Ok)
        return st;

    data->sheetData = childNamed(data->root, "sheetData");
    st = Status::Ok;
    if (data->sheetData) {
        data->cells.reserve(data->buffer.size() / 40);
        int prevRow = 0;
        bool sorted = true;
        for (auto r = data->sheetData.first_child(); r; r = r.next_sibling()) {
            if (localName(r.name()) != "row")
                continue;
            int rowNum = prevRow + 1;
            if (auto ra = r.attribute("r")) {
                rowNum = intAttr(ra, 0);
            }
            if (rowNum < 1 || rowNum > kMaxRows)
                return Status::BadReference;
            if (rowNum <= prevRow)
                sorted = false;
            prevRow = rowNum;
            data->rows.emplace_back(rowNum, r);
            int prevCol = 0;
            for (auto c = r.first_child(); c; c = c.next_sibling()) {
                if (localName(c.name()) != "c")
                    continue;
                int col = prevCol + 1;
                if (auto ra = c.attribute("r")) {
                    CellRef ref;
                    if (!parseCellRef(std::string_view(ra.value()), ref) || ref.row != rowNum)
                        return Status::BadReference;
                    col = ref.col;
                }
                if (col > kMaxColumns)
                    return Status::BadReference;
                if (col <= prevCol)
                    sorted = false;
                prevCol = col;
                data->cells.push_back({rowNum, col, c});
            }
        }
        if (!sorted) {
            auto less = [](const CellEntry& a, const CellEntry& b) {
                return a.row < b.row || (a.row == b.row && a.col < b.col);
            };
            std::stable_sort(data->cells.begin(), data->cells.end(), less);
            std::stable_sort(data->rows.begin(), data->rows.end(),
                             [](const auto& a, const auto& b) { return a.first < b.first; });
        }
    }
    sheet.m_data = std::move(data);
    return st;
}

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

// ---- Worksheet ----------------------------------------------------------------------

Worksheet::Worksheet(Workbook* book, std::wstring name, std::string partName)
    : m_book(book), m_name(std::move(name)), m_partName(std::move(partName)) {}

Worksheet::~Worksheet() = default;

void Worksheet::setState(SheetState state) {
    if (state == m_state)
        return;
    m_state = state;
    auto sheets = childNamed(m_book->m_impl->workbookDoc.document_element(), "sheets");
    std::size_t i = 0;
    for (auto s = sheets.first_child(); s; s = s.next_sibling()) {
        if (localName(s.name()) != "sheet")
            continue;
        if (i < m_book->m_sheets.size() && m_book->m_sheets[i].get() == this) {
            s.remove_attribute("state");
            if (state != SheetState::Visible)
                s.append_attribute("state") = state == SheetState::Hidden ? "hidden" : "veryHidden";
        }
        ++i;
    }
    m_book->m_impl->workbookModified = true;
    m_book->markDirty();
}

Status Worksheet::load() {
    if (m_data)
        return Status::Ok;
    if (m_loadStatus != Status::Ok)
        return m_loadStatus;
    m_loadStatus = WorkbookImpl::loadSheet(*m_book, *this, false);
    return m_loadStatus;
}

Status Worksheet::loadAll() {
    Status st = load();
    if (st != Status::Ok || !m_data->light)
        return st;
    m_loadStatus = WorkbookImpl::loadSheet(*m_book, *this, true);
    if (m_loadStatus != Status::Ok)
        m_data.reset();
    return m_loadStatus;
}

namespace {

// TODAY() and NOW() change by themselves: such a formula is calculated whenever shown.
bool mentionsVolatile(std::string_view formula) {
    for (std::size_t i = 0; i < formula.size(); ++i) {
        auto at = [&](std::string_view word) {
            if (formula.size() - i < word.size())
                return false;
            for (std::size_t k = 0; k < word.size(); ++k)
                if (std::toupper((unsigned char)formula[i + k]) != word[k])
                    return false;
            return true;
        };
        if (at("TODAY(") || at("NOW("))
            return true;
    }
    return false;
}

CellValue readCell(pugi::xml_node node, const std::vector<std::wstring>& sst) {
    CellValue v;
    std::string_view t = node.attribute("t").value();
    pugi::xml_node vNode, fNode, isNode;
    for (auto c = node.first_child(); c; c = c.next_sibling()) {
        auto n = localName(c.name());
        if (n == "v")
            vNode = c;
        else if (n == "f")
            fNode = c;
        else if (n == "is")
            isNode = c;
    }
    v.formula = bool(fNode);
    v.calculate = fNode && (!vNode || mentionsVolatile(fNode.text().get()));
    const char* text = vNode.text().get();
    if (t == "s") {
        int idx = -1;
        auto res = std::from_chars(text, text + std::strlen(text), idx);
        if (res.ec == std::errc() && idx >= 0 && std::size_t(idx) < sst.size()) {
            v.type = CellType::String;
            v.string = sst[std::size_t(idx)];
        }
    } else if (t == "inlineStr") {
        v.type = CellType::String;
        v.string = isNode ? stringItemText(isNode) : fromUtf8(text);
    } else if (t == "str") {
        v.type = CellType::String;
        v.string = fromUtf8(text);
    } else if (t == "b") {
        if (vNode) {
            v.type = CellType::Boolean;
            v.number = std::string_view(text) == "1" || std::string_view(text) == "true";
        }
    } else if (t == "e") {
        v.type = CellType::Error;
        v.string = fromUtf8(text);
    } else if (vNode) {
        double d = 0;
        if (parseNumberAttr(text, d) && std::isfinite(d)) {
            v.type = CellType::Number;
            v.number = d;
        } else {
            v.type = CellType::Error;
            v.string = L"#VALUE!";
        }
    }
    return v;
}

} // namespace

CellValue Worksheet::value(int row, int col) {
    CellValue v = storedValue(row, col);
    if (v.formula && (v.calculate || m_book->m_calculation || m_book->fullCalculationRequested()))
        v = m_book->calculation().current(*this, row, col);
    return v;
}

CellValue Worksheet::storedValue(int row, int col) {
    if (load() != Status::Ok)
        return {};
    if (m_data->light) {
        const LightCell* lc = lightCell(row, col);
        return lc ? lc->value : CellValue{};
    }
    const CellEntry* e = m_data->find(row, col);
    if (!e)
        return {};
    return readCell(e->node, m_book->m_impl->sharedStrings);
}

const LightCell* Worksheet::lightCell(int row, int col) {
    auto& d = *m_data;
    auto it = std::lower_bound(d.lightRows.begin(), d.lightRows.end(), row,
                               [](const LightRow& r, int k) { return r.row < k; });
    if (it == d.lightRows.end() || it->row != row)
        return nullptr;
    std::size_t idx = std::size_t(it - d.lightRows.begin());
    auto parsed = d.parsedRows.find(idx);
    if (parsed == d.parsedRows.end()) {
        std::vector<LightCell> cells;
        pugi::xml_document doc;
        std::string fragment = d.buffer.substr(it->begin, it->end - it->begin);
        Status st = parseXml(fragment, doc, m_book->m_impl->limits);
        if (st == Status::TooDeep || st == Status::TooManyNodes || st == Status::TooLarge) {
            // Not a damaged row but a hostile one: the sheet is refused, as a whole parse
            // would refuse it.
            m_data.reset();
            m_loadStatus = st;
            return nullptr;
        }
        if (st == Status::Ok) {
            int prevCol = 0;
            for (auto c = doc.document_element().first_child(); c; c = c.next_sibling()) {
                if (localName(c.name()) != "c")
                    continue;
                int colNum = prevCol + 1;
                CellRef ref;
                if (auto ra = c.attribute("r"))
                    colNum = parseCellRef(std::string_view(ra.value()), ref) && ref.row == row
                                 ? ref.col
                                 : kMaxColumns + 1;
                if (colNum > kMaxColumns)
                    break; // a damaged row reads as far as it is sound
                prevCol = colNum;
                cells.push_back({colNum, intAttr(c.attribute("s"), 0),
                                 readCell(c, m_book->m_impl->sharedStrings)});
            }
            std::stable_sort(cells.begin(), cells.end(),
                             [](const LightCell& x, const LightCell& y) { return x.col < y.col; });
        }
        parsed = d.parsedRows.emplace(idx, std::move(cells)).first;
    }
    auto& cells = parsed->second;
    auto c = std::lower_bound(cells.begin(), cells.end(), col,
                              [](const LightCell& x, int k) { return x.col < k; });
    return c != cells.end() && c->col == col ? &*c : nullptr;
}

std::wstring Worksheet::numberFormat(int row, int col) {
    if (load() != Status::Ok)
        return L"General";
    int style = 0;
    if (m_data->light) {
        if (const LightCell* lc = lightCell(row, col))
            style = lc->style;
    } else if (const CellEntry* e = m_data->find(row, col)) {
        style = intAttr(e->node.attribute("s"), 0);
    }
    return m_book->m_impl->formatCode(style);
}

namespace {

std::wstring displayText(WorkbookImpl& impl, const CellValue& v, const std::wstring& code,
                         int contentPixels) {
    switch (v.type) {
    case CellType::Empty:
        return L"";
    case CellType::Boolean:
        return v.number != 0 ? L"TRUE" : L"FALSE";
    case CellType::Error:
        return v.string;
    case CellType::String:
        return impl.format(code).formatText(v.string);
    case CellType::Number:
        return impl.format(code).formatNumber(v.number, {impl.date1904, contentPixels});
    }
    return L"";
}

} // namespace

std::wstring Worksheet::text(int row, int col) {
    CellValue v = value(row, col);
    if (v.type == CellType::Empty)
        return L"";
    return displayText(*m_book->m_impl, v, numberFormat(row, col), columnContentPixels(col));
}

double Worksheet::columnWidth(int col) {
    if (load() != Status::Ok)
        return 0;
    for (const auto& c : m_data->cols)
        if (col >= c.min && col <= c.max)
            return c.width;
    return m_data->defaultWidth;
}

int Worksheet::columnContentPixels(int col) {
    return std::max(0, columnPixels(columnWidth(col)) - kCellPaddingPixels);
}

RangeRef Worksheet::usedRange() {
    RangeRef r{{1, 1}, {1, 1}};
    if (loadAll() != Status::Ok || m_data->cells.empty())
        return r;
    r.first = {m_data->cells.front().row, kMaxColumns};
    r.last = {m_data->cells.back().row, 1};
    for (const auto& c : m_data->cells) {
        r.first.col = std::min(r.first.col, c.col);
        r.last.col = std::max(r.last.col, c.col);
    }
    return r;
}

std::vector<CellRef> Worksheet::cells() {
    std::vector<CellRef> out;
    if (loadAll() != Status::Ok)
        return out;
    out.reserve(m_data->cells.size());
    for (const auto& c : m_data->cells)
        out.push_back({c.row, c.col});
    return out;
}

CellRef Worksheet::activeCell() {
    if (load() != Status::Ok)
        return {1, 1};
    return m_data->activeCell;
}

const std::wstring& Worksheet::selectionRef() {
    static const std::wstring a1 = L"A1";
    if (load() != Status::Ok)
        return a1;
    return m_data->sqref;
}

namespace {

// Ensures a child element in schema order: inserted before the first of `before` present.
pugi::xml_node ensureChild(pugi::xml_node parent, const char* name,
                           std::initializer_list<const char*> before) {
    if (auto c = childNamed(parent, name))
        return c;
    for (auto c = parent.first_child(); c; c = c.next_sibling())
        for (const char* b : before)
            if (localName(c.name()) == b)
                return parent.insert_child_before(name, c);
    return parent.append_child(name);
}

const std::initializer_list<const char*> kAfterSheetViews = {
    "sheetFormatPr",    "cols",
    "sheetData",        "sheetCalcPr",
    "sheetProtection",  "protectedRanges",
    "scenarios",        "autoFilter",
    "sortState",        "dataConsolidate",
    "customSheetViews", "mergeCells",
    "phoneticPr",       "conditionalFormatting",
    "dataValidations",  "hyperlinks",
    "printOptions",     "pageMargins",
    "pageSetup",        "headerFooter",
    "drawing",          "legacyDrawing",
    "tableParts",       "extLst"};

} // namespace

namespace {

std::string nodeText(pugi::xml_node node) {
    std::ostringstream out;
    node.print(out, "", pugi::format_raw);
    return out.str();
}

} // namespace

int WorkbookImpl::deriveStyle(int style, int numFmtId, bool quoted) {
    auto root = stylesDoc.document_element();
    if (!root)
        return style;
    auto key = std::make_tuple(style, numFmtId, quoted);
    if (auto it = derivedStyles.find(key); it != derivedStyles.end())
        return it->second;
    auto xfs =
        ensureChild(root, "cellXfs", {"cellStyles", "dxfs", "tableStyles", "colors", "extLst"});
    auto addDefault = [&] {
        auto xf = xfs.append_child("xf");
        for (const char* a : {"numFmtId", "fontId", "fillId", "borderId", "xfId"})
            xf.append_attribute(a) = "0";
        return xf;
    };
    std::vector<pugi::xml_node> list;
    for (auto xf = xfs.first_child(); xf; xf = xf.next_sibling())
        if (localName(xf.name()) == "xf")
            list.push_back(xf);
    // Cells without a style use the first format, so it must not become the new one.
    if (list.empty()) {
        list.push_back(addDefault());
        xfFormat.assign(1, 0);
        xfQuoted.assign(1, false);
        stylesModified = true;
    }
    pugi::xml_node made = style >= 0 && std::size_t(style) < list.size()
                              ? xfs.append_copy(list[std::size_t(style)])
                              : addDefault();
    (made.attribute("numFmtId") ? made.attribute("numFmtId") : made.append_attribute("numFmtId")) =
        numFmtId;
    if (numFmtId != 0)
        (made.attribute("applyNumberFormat") ? made.attribute("applyNumberFormat")
                                             : made.append_attribute("applyNumberFormat")) = "1";
    made.remove_attribute("quotePrefix");
    if (quoted)
        made.append_attribute("quotePrefix") = "1";
    std::string text = nodeText(made);
    int index = -1;
    for (std::size_t i = 0; i < list.size() && index < 0; ++i)
        if (nodeText(list[i]) == text)
            index = int(i);
    if (index >= 0) {
        xfs.remove_child(made);
    } else {
        index = int(list.size());
        xfFormat.resize(list.size(), 0);
        xfQuoted.resize(list.size(), false);
        xfFormat.push_back(numFmtId);
        xfQuoted.push_back(quoted);
        (xfs.attribute("count") ? xfs.attribute("count") : xfs.append_attribute("count")) =
            index + 1;
        stylesModified = true;
    }
    derivedStyles[key] = index;
    return index;
}

void Worksheet::select(const RangeRef& range, CellRef active) {
    if (loadAll() != Status::Ok)
        return;
    m_data->activeCell = active;
    m_data->sqref = rangeAddress(range, false);
    auto views = ensureChild(m_data->root, "sheetViews", kAfterSheetViews);
    auto view = childNamed(views, "sheetView");
    if (!view) {
        view = views.append_child("sheetView");
        view.append_attribute("workbookViewId") = "0";
    }
    pugi::xml_node sel;
    for (auto s = view.first_child(); s; s = s.next_sibling())
        if (localName(s.name()) == "selection")
            sel = s;
    if (!sel)
        sel = view.append_child("selection");
    std::string ac = toUtf8(cellAddress(active.row, active.col, false));
    (sel.attribute("activeCell") ? sel.attribute("activeCell")
                                 : sel.append_attribute("activeCell")) = ac.c_str();
    std::string sq = toUtf8(m_data->sqref);
    (sel.attribute("sqref") ? sel.attribute("sqref") : sel.append_attribute("sqref")) = sq.c_str();
    m_data->modified = true;
    m_book->markDirty();
}

namespace {

void rebuildIndex(SheetData& d) {
    d.rows.clear();
    d.cells.clear();
    for (auto r = d.sheetData.first_child(); r; r = r.next_sibling()) {
        if (localName(r.name()) != "row")
            continue;
        int rowNum = intAttr(r.attribute("r"), d.rows.empty() ? 1 : d.rows.back().first + 1);
        d.rows.emplace_back(rowNum, r);
        int prevCol = 0;
        for (auto c = r.first_child(); c; c = c.next_sibling()) {
            if (localName(c.name()) != "c")
                continue;
            CellRef ref;
            int col = parseCellRef(std::string_view(c.attribute("r").value()), ref) ? ref.col
                                                                                    : prevCol + 1;
            prevCol = col;
            d.cells.push_back({rowNum, col, c});
        }
    }
}

pugi::xml_node rowNode(SheetData& d, int row) {
    auto it = std::lower_bound(d.rows.begin(), d.rows.end(), row,
                               [](const auto& e, int r) { return e.first < r; });
    if (it != d.rows.end() && it->first == row)
        return it->second;
    pugi::xml_node node = it != d.rows.end() ? d.sheetData.insert_child_before("row", it->second)
                                             : d.sheetData.append_child("row");
    node.append_attribute("r") = row;
    d.rows.insert(it, {row, node});
    return node;
}

pugi::xml_node cellNode(pugi::xml_node rowNode, int row, int col) {
    int prevCol = 0;
    for (auto c = rowNode.first_child(); c; c = c.next_sibling()) {
        if (localName(c.name()) != "c")
            continue;
        CellRef ref;
        int cc =
            parseCellRef(std::string_view(c.attribute("r").value()), ref) ? ref.col : prevCol + 1;
        prevCol = cc;
        if (cc == col)
            return c;
        if (cc > col) {
            auto n = rowNode.insert_child_before("c", c);
            n.append_attribute("r") = toUtf8(cellAddress(row, col, false)).c_str();
            return n;
        }
    }
    auto n = rowNode.append_child("c");
    n.append_attribute("r") = toUtf8(cellAddress(row, col, false)).c_str();
    return n;
}

} // namespace

Status Worksheet::putTexts(int row, int col, const std::vector<std::vector<std::wstring>>& block) {
    Status st = loadAll();
    if (st != Status::Ok)
        return st;
    auto& d = *m_data;
    WorkbookImpl& impl = *m_book->m_impl;
    if (!d.sheetData)
        d.sheetData = ensureChild(
            d.root, "sheetData",
            {"sheetCalcPr",  "sheetProtection", "protectedRanges",       "scenarios",
             "autoFilter",   "sortState",       "dataConsolidate",       "customSheetViews",
             "mergeCells",   "phoneticPr",      "conditionalFormatting", "dataValidations",
             "hyperlinks",   "printOptions",    "pageMargins",           "pageSetup",
             "headerFooter", "drawing",         "legacyDrawing",         "tableParts",
             "extLst"});
    for (std::size_t i = 0; i < block.size(); ++i) {
        long r = long(row) + long(i);
        if (r < 1 || r > kMaxRows)
            continue;
        pugi::xml_node rn;
        for (std::size_t j = 0; j < block[i].size(); ++j) {
            long c = long(col) + long(j);
            if (c < 1 || c > kMaxColumns)
                continue;
            if (!rn)
                rn = rowNode(d, int(r));
            auto cell = cellNode(rn, int(r), int(c));
            // The new value replaces a formula and any old value; the cell keeps its style.
            while (auto child = cell.first_child())
                cell.remove_child(child);
            cell.remove_attribute("t");
            const std::wstring& typed = block[i][j];
            TypedEntry e = readTypedEntry(typed, m_book->date1904());
            int style = intAttr(cell.attribute("s"), 0);
            bool known = style >= 0 && std::size_t(style) < impl.xfFormat.size();
            int format = known ? impl.xfFormat[std::size_t(style)] : 0;
            bool quoted = known && std::size_t(style) < impl.xfQuoted.size() &&
                          impl.xfQuoted[std::size_t(style)];
            std::wstring code = impl.formatCode(style);
            // A cell formatted as text takes whatever is typed as text.
            if (code == L"@" &&
                (e.kind == TypedEntry::Kind::Number || e.kind == TypedEntry::Kind::Boolean)) {
                e.kind = TypedEntry::Kind::Text;
                e.text = typed;
            }
            int wantFormat = format;
            if (e.kind == TypedEntry::Kind::Number && e.formatId != 0 &&
                equalsNoCase(code, L"General"))
                wantFormat = e.formatId;
            bool wantQuoted = e.kind == TypedEntry::Kind::Empty ? quoted : e.quoted;
            if (wantFormat != format || wantQuoted != quoted) {
                int derived = impl.deriveStyle(style, wantFormat, wantQuoted);
                if (derived != style) {
                    if (derived == 0)
                        cell.remove_attribute("s");
                    else
                        (cell.attribute("s") ? cell.attribute("s") : cell.append_attribute("s")) =
                            derived;
                }
            }
            switch (e.kind) {
            case TypedEntry::Kind::Empty:
                if (!cell.attribute("s"))
                    rn.remove_child(cell);
                break;
            case TypedEntry::Kind::Number:
                cell.append_child("v").text() = numberText(e.number).c_str();
                break;
            case TypedEntry::Kind::Boolean:
                cell.append_attribute("t") = "b";
                cell.append_child("v").text() = e.number != 0 ? "1" : "0";
                break;
            case TypedEntry::Kind::Text: {
                cell.append_attribute("t") = "inlineStr";
                auto t = cell.append_child("is").append_child("t");
                if (!e.text.empty() && (e.text.front() == L' ' || e.text.back() == L' '))
                    t.append_attribute("xml:space") = "preserve";
                t.text() = toUtf8(escapeText(e.text)).c_str();
                break;
            }
            }
        }
    }
    rebuildIndex(d);
    d.modified = true;
    m_book->markDirty();
    std::size_t width = 1;
    for (const auto& line : block)
        width = std::max(width, line.size());
    RangeRef typed{{row, col},
                   {int(std::min<long>(long(row) + long(block.size()) - 1, kMaxRows)),
                    int(std::min<long>(long(col) + long(width) - 1, kMaxColumns))}};
    if (row >= 1 && col >= 1 && row <= kMaxRows && col <= kMaxColumns && !block.empty())
        m_book->calculation().changed(*this, typed);
    return Status::Ok;
}

void Worksheet::autoFitColumns(int firstCol, int lastCol) {
    if (loadAll() != Status::Ok)
        return;
    auto& d = *m_data;
    firstCol = std::max(firstCol, 1);
    lastCol = std::min(lastCol, kMaxColumns);
    std::map<int, int> widest;
    for (const auto& e : d.cells) {
        if (e.col < firstCol || e.col > lastCol)
            continue;
        CellValue v = value(e.row, e.col);
        if (v.type == CellType::Empty)
            continue;
        std::wstring t = displayText(*m_book->m_impl, v, numberFormat(e.row, e.col), -1);
        int& w = widest[e.col];
        w = std::max(w, textPixels(t));
    }
    if (widest.empty())
        return;
    auto cols = ensureChild(d.root, "cols", {"sheetData"});
    for (const auto& [col, px] : widest) {
        double width = columnWidthFromPixels(px + kCellPaddingPixels + 1);
        pugi::xml_node target;
        for (auto c = cols.first_child(); c; c = c.next_sibling()) {
            int mn = intAttr(c.attribute("min"), 0), mx = intAttr(c.attribute("max"), 0);
            if (col < mn || col > mx)
                continue;
            // Split a span so that only this column changes.
            if (mn < col) {
                auto left = cols.insert_copy_before(c, c);
                left.attribute("max") = col - 1;
            }
            if (mx > col) {
                auto right = cols.insert_copy_after(c, c);
                right.attribute("min") = col + 1;
            }
            c.attribute("min") = col;
            c.attribute("max") = col;
            target = c;
            break;
        }
        if (!target) {
            pugi::xml_node after;
            for (auto c = cols.first_child(); c; c = c.next_sibling())
                if (intAttr(c.attribute("max"), 0) < col)
                    after = c;
            target = after ? cols.insert_child_after("col", after) : cols.prepend_child("col");
            target.append_attribute("min") = col;
            target.append_attribute("max") = col;
        }
        for (const char* a : {"width", "bestFit", "customWidth"})
            if (!target.attribute(a))
                target.append_attribute(a);
        target.attribute("width") = numberText(width).c_str();
        target.attribute("bestFit") = "1";
        target.attribute("customWidth") = "1";
    }
    d.cols.clear();
    for (auto c = cols.first_child(); c; c = c.next_sibling())
        d.cols.push_back({intAttr(c.attribute("min"), 1), intAttr(c.attribute("max"), 1),
                          c.attribute("width").as_double(d.defaultWidth)});
    d.modified = true;
    m_book->markDirty();
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
        if (equalsNoCase(m_sheets[i]->name(), name))
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
    m_impl->workbookModified = true;
    markDirty();
}

const DefinedName* Workbook::findName(const std::wstring& name, int scopeSheet) const {
    const DefinedName* global = nullptr;
    for (const auto& n : m_impl->names) {
        if (!equalsNoCase(n.name, name))
            continue;
        if (n.scopeSheet == scopeSheet && scopeSheet >= 0)
            return &n;
        if (n.scopeSheet < 0 && !global)
            global = &n;
    }
    return global;
}

namespace {

struct StringWriter : pugi::xml_writer {
    std::string out;
    void write(const void* data, size_t size) override {
        out.append(static_cast<const char*>(data), size);
    }
};

std::string serialize(const pugi::xml_document& doc) {
    StringWriter w;
    w.out = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\r\n";
    doc.save(w, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
    return w.out;
}

} // namespace

std::wstring Workbook::lockHolder(const std::wstring& path) {
    OwnerFile probe;
    std::wstring holder;
    return probe.acquire(std::filesystem::path(path).string(), holder) == Status::Locked ? holder
                                                                                         : L"";
}

Status Workbook::saveAs(const std::wstring& path) {
    namespace fs = std::filesystem;
    std::error_code ec;
    std::wstring full = fs::absolute(fs::path(path), ec).lexically_normal().wstring();
    bool samePath = m_hasFile && full == m_fullName;
    if (m_readOnly && samePath)
        return Status::ReadOnly;
    std::string target = fs::path(full).string();
    // Another file is taken for editing first; its owner file stays ours from then on.
    auto owner = std::make_unique<OwnerFile>();
    if (!samePath || !m_impl->owner || !m_impl->owner->held()) {
        std::wstring holder;
        Status st = owner->acquire(target, holder);
        if (st != Status::Ok)
            return st;
    }
    // Saving over a file that someone else saved since we read it would lose their work.
    if (FileStamp now = stampOf(target);
        samePath && m_impl->stamp.size >= 0 && now.size >= 0 && now != m_impl->stamp)
        return Status::ChangedOnDisk;
    std::map<std::string, std::string> replaced;
    if (m_impl->workbookModified)
        replaced[m_impl->workbookPart] = serialize(m_impl->workbookDoc);
    if (m_impl->stylesModified)
        replaced[m_impl->stylesPart] = serialize(m_impl->stylesDoc);
    for (const auto& s : m_sheets)
        if (s->m_data && s->m_data->modified)
            replaced[s->m_partName] = serialize(s->m_data->doc);
    Status st = m_impl->pkg.writeTo(target, replaced);
    if (st != Status::Ok)
        return st;
    m_impl->stamp = stampOf(target);
    if (owner->held())
        m_impl->owner = std::move(owner);
    m_fullName = full;
    m_name = fileNameOf(full);
    m_hasFile = true;
    m_readOnly = false;
    m_dirty = false;
    return Status::Ok;
}

Status Workbook::save() {
    if (!m_hasFile)
        return Status::NoPath;
    if (m_readOnly)
        return Status::ReadOnly;
    return saveAs(m_fullName);
}

// ---- formulas ----------------------------------------------------------------------------

int Worksheet::index() const {
    for (std::size_t i = 0; i < m_book->m_sheets.size(); ++i)
        if (m_book->m_sheets[i].get() == this)
            return int(i);
    return -1;
}

std::vector<StoredFormula> Worksheet::formulas() {
    std::vector<StoredFormula> out;
    if (loadAll() != Status::Ok)
        return out;
    for (const auto& c : m_data->cells) {
        pugi::xml_node f, v;
        for (auto child = c.node.first_child(); child; child = child.next_sibling()) {
            auto n = localName(child.name());
            if (n == "f")
                f = child;
            else if (n == "v")
                v = child;
        }
        if (!f)
            continue;
        StoredFormula sf;
        sf.row = c.row;
        sf.col = c.col;
        sf.text = fromUtf8(f.text().get());
        sf.kind = f.attribute("t").value();
        sf.sharedIndex = intAttr(f.attribute("si"), -1);
        sf.hasValue = bool(v);
        out.push_back(std::move(sf));
    }
    return out;
}

std::wstring Worksheet::formula(int row, int col) {
    if (loadAll() != Status::Ok)
        return L"";
    const CellEntry* e = m_data->find(row, col);
    if (!e)
        return L"";
    pugi::xml_node f;
    for (auto child = e->node.first_child(); child && !f; child = child.next_sibling())
        if (localName(child.name()) == "f")
            f = child;
    std::wstring text = fromUtf8(f.text().get());
    if (!f || !text.empty() || std::string_view(f.attribute("t").value()) != "shared")
        return text;
    // A cell sharing another's formula: that formula, moved to this cell.
    int si = intAttr(f.attribute("si"), -1);
    for (const auto& c : m_data->cells)
        for (auto child = c.node.first_child(); child; child = child.next_sibling())
            if (localName(child.name()) == "f" && intAttr(child.attribute("si"), -2) == si &&
                std::string_view(child.attribute("t").value()) == "shared" && *child.text().get())
                return formula::moveFormula(fromUtf8(child.text().get()), row - c.row, col - c.col);
    return L"";
}

void Worksheet::storeResult(int row, int col, const CellValue& value) {
    if (loadAll() != Status::Ok)
        return;
    const CellEntry* e = m_data->find(row, col);
    if (!e)
        return;
    pugi::xml_node cell = e->node;
    for (auto child = cell.first_child(); child;) {
        auto next = child.next_sibling();
        if (localName(child.name()) == "v" || localName(child.name()) == "is")
            cell.remove_child(child);
        child = next;
    }
    cell.remove_attribute("t");
    auto setType = [&](const char* t) { cell.append_attribute("t") = t; };
    std::string text;
    switch (value.type) {
    case CellType::Empty:
        return;
    case CellType::Number:
        text = numberText(value.number);
        break;
    case CellType::Boolean:
        setType("b");
        text = value.number != 0 ? "1" : "0";
        break;
    case CellType::String:
        setType("str");
        text = toUtf8(value.string);
        break;
    case CellType::Error:
        setType("e");
        text = toUtf8(value.string);
        break;
    }
    auto v = cell.append_child("v");
    if (!text.empty() && (text.front() == ' ' || text.back() == ' '))
        v.append_attribute("xml:space") = "preserve";
    v.text() = text.c_str();
    m_data->modified = true;
    m_book->markDirty();
}

void Worksheet::forEachCell(const RangeRef& range, const std::function<void(int, int)>& visit) {
    if (loadAll() != Status::Ok)
        return;
    const auto& cells = m_data->cells;
    auto it = std::lower_bound(cells.begin(), cells.end(), range.first.row,
                               [](const CellEntry& e, int r) { return e.row < r; });
    for (; it != cells.end() && it->row <= range.last.row; ++it)
        if (it->col >= range.first.col && it->col <= range.last.col)
            visit(it->row, it->col);
}

bool Worksheet::mayBeStale(int row, int col) {
    CellValue v = value(row, col);
    return v.formula && m_book->m_calculation && m_book->m_calculation->mayBeStale(*this, row, col);
}

Calculation& Workbook::calculation() {
    if (!m_calculation)
        m_calculation = std::make_unique<Calculation>(*this);
    return *m_calculation;
}

bool Workbook::fullCalculationRequested() const {
    auto calcPr = childNamed(m_impl->workbookDoc.document_element(), "calcPr");
    std::string_view full = calcPr.attribute("fullCalcOnLoad").value();
    return full == "1" || full == "true";
}

void Workbook::requestFullCalculation() {
    if (fullCalculationRequested())
        return;
    auto root = m_impl->workbookDoc.document_element();
    if (!root)
        return;
    auto calcPr =
        ensureChild(root, "calcPr",
                    {"oleSize", "customWorkbookViews", "pivotCaches", "smartTagPr", "smartTagTypes",
                     "webPublishing", "fileRecoveryPr", "webPublishObjects", "extLst"});
    calcPr.remove_attribute("fullCalcOnLoad");
    calcPr.append_attribute("fullCalcOnLoad") = "1";
    m_impl->workbookModified = true;
    markDirty();
}

} // namespace spreadsheet
