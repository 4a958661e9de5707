// Opening a workbook's package: relationships, shared strings, styles, sheets and
// defined names.
#include "spreadsheet/WorkbookImpl.h"

#include <cstring>
#include <map>
#include <string>
#include <vector>

namespace spreadsheet {

namespace {

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

} // namespace

Status SharedStrings::load(Package& pkg, const std::string& part, const Limits& limits) {
    auto parsed = std::make_unique<Part>();
    Status st = pkg.read(part, parsed->buffer);
    if (st != Status::Ok)
        return st;
    st = parseXml(parsed->buffer, parsed->doc, limits);
    if (st != Status::Ok)
        return st;
    m_parts.push_back(std::move(parsed));
    m_texts.clear();
    m_made.clear();
    for (auto si = m_parts.back()->doc.document_element().first_child(); si;
         si = si.next_sibling()) {
        if (localName(si.name()) != "si")
            continue;
        if (m_items.size() >= limits.maxSharedStrings)
            return Status::TooManyStrings;
        m_items.push_back(si);
    }
    return Status::Ok;
}

const std::wstring& SharedStrings::text(std::size_t index) {
    if (m_texts.empty()) {
        m_texts.resize(m_items.size());
        m_made.resize(m_items.size());
    }
    if (!m_made[index]) {
        m_texts[index] = stringItemText(m_items[index]);
        m_made[index] = true;
    }
    return m_texts[index];
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
            st = m.sharedStrings.load(m.pkg, rel.target, m.limits);
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

} // namespace spreadsheet
