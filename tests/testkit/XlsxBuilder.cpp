#include "testkit/XlsxBuilder.h"

#include <pugixml.hpp>
#include <zip.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace testkit {

namespace {

const char* const kMain = "http://schemas.openxmlformats.org/spreadsheetml/2006/main";
const char* const kRel = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";
const char* const kPkgRel = "http://schemas.openxmlformats.org/package/2006/relationships";

std::string utf8(const std::wstring& s) {
    return pugi::as_utf8(s);
}

std::string xmlText(const pugi::xml_document& doc) {
    struct W : pugi::xml_writer {
        std::string out;
        void write(const void* d, size_t n) override { out.append(static_cast<const char*>(d), n); }
    } w;
    doc.save(w, "", pugi::format_raw, pugi::encoding_utf8);
    return w.out;
}

std::string num(double v) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, r.ptr);
}

void addRel(pugi::xml_node rels, const std::string& id, const std::string& type,
            const std::string& target) {
    auto r = rels.append_child("Relationship");
    r.append_attribute("Id") = id.c_str();
    r.append_attribute("Type") = (std::string(kRel) + "/" + type).c_str();
    r.append_attribute("Target") = target.c_str();
}

} // namespace

XlsxBuilder::XlsxBuilder() {
    m_xfs.push_back(0);
}

XlsxBuilder::Sheet& XlsxBuilder::current() {
    if (m_sheets.empty())
        sheet(L"Sheet1");
    return m_sheets.back();
}

XlsxBuilder& XlsxBuilder::sheet(const std::wstring& name, const std::string& state) {
    m_sheets.push_back({name, state, {}, {}, 0, "", ""});
    return *this;
}

int XlsxBuilder::sharedIndex(const std::wstring& s) {
    auto it = std::find(m_shared.begin(), m_shared.end(), s);
    if (it != m_shared.end())
        return int(it - m_shared.begin());
    m_shared.push_back(s);
    return int(m_shared.size() - 1);
}

XlsxBuilder& XlsxBuilder::number(const std::string& ref, double value, int style) {
    current().cells.push_back({ref, "n", num(value), "", L"", style});
    return *this;
}

XlsxBuilder& XlsxBuilder::text(const std::string& ref, const std::wstring& value, int style) {
    int idx = sharedIndex(value);
    current().cells.push_back({ref, "s", std::to_string(idx), "", L"", style});
    return *this;
}

XlsxBuilder& XlsxBuilder::inlineText(const std::string& ref, const std::wstring& value, int style) {
    current().cells.push_back({ref, "inlineStr", "", "", value, style});
    return *this;
}

XlsxBuilder& XlsxBuilder::boolean(const std::string& ref, bool value) {
    current().cells.push_back({ref, "b", value ? "1" : "0", "", L"", 0});
    return *this;
}

XlsxBuilder& XlsxBuilder::error(const std::string& ref, const std::string& code) {
    current().cells.push_back({ref, "e", code, "", L"", 0});
    return *this;
}

XlsxBuilder& XlsxBuilder::formula(const std::string& ref, const std::string& f, double cached,
                                  int style) {
    current().cells.push_back({ref, "n", num(cached), f, L"", style});
    return *this;
}

XlsxBuilder& XlsxBuilder::formulaOnly(const std::string& ref, const std::string& f, int style) {
    current().cells.push_back({ref, "", "", f, L"", style});
    return *this;
}

XlsxBuilder& XlsxBuilder::formulaText(const std::string& ref, const std::string& f,
                                      const std::wstring& cached) {
    current().cells.push_back({ref, "str", utf8(cached), f, L"", 0});
    return *this;
}

XlsxBuilder& XlsxBuilder::styled(const std::string& ref, int style) {
    current().cells.push_back({ref, "", "", "", L"", style});
    return *this;
}

int XlsxBuilder::format(const std::wstring& code) {
    int id = 164 + int(m_numFmts.size());
    m_numFmts.emplace_back(id, code);
    m_xfs.push_back(id);
    return int(m_xfs.size() - 1);
}

int XlsxBuilder::builtin(int numFmtId) {
    m_xfs.push_back(numFmtId);
    return int(m_xfs.size() - 1);
}

XlsxBuilder& XlsxBuilder::columnWidth(int min, int max, double width) {
    current().widths.push_back({{min, max}, width});
    return *this;
}

XlsxBuilder& XlsxBuilder::defaultColumnWidth(double width) {
    current().defaultWidth = width;
    return *this;
}

XlsxBuilder& XlsxBuilder::selection(const std::string& activeCell, const std::string& sqref) {
    current().activeCell = activeCell;
    current().sqref = sqref;
    return *this;
}

XlsxBuilder& XlsxBuilder::activeTab(int index) {
    m_activeTab = index;
    return *this;
}

XlsxBuilder& XlsxBuilder::definedName(const std::wstring& name, const std::wstring& refersTo,
                                      int localSheet) {
    m_names.push_back({name, {refersTo, localSheet}});
    return *this;
}

XlsxBuilder& XlsxBuilder::date1904(bool on) {
    m_date1904 = on;
    return *this;
}

XlsxBuilder& XlsxBuilder::part(const std::string& name, const std::string& content) {
    m_overrides[name] = content;
    return *this;
}

XlsxBuilder& XlsxBuilder::omit(const std::string& name) {
    m_omitted.push_back(name);
    return *this;
}

std::vector<std::pair<std::string, std::string>> XlsxBuilder::parts() const {
    std::vector<std::pair<std::string, std::string>> out;
    std::vector<Sheet> sheets = m_sheets;
    if (sheets.empty())
        sheets.push_back({L"Sheet1", "visible", {}, {}, 0, "", ""});

    pugi::xml_document types;
    auto t = types.append_child("Types");
    t.append_attribute("xmlns") = "http://schemas.openxmlformats.org/package/2006/content-types";
    auto def = [&](const char* ext, const char* ct) {
        auto d = t.append_child("Default");
        d.append_attribute("Extension") = ext;
        d.append_attribute("ContentType") = ct;
    };
    def("rels", "application/vnd.openxmlformats-package.relationships+xml");
    def("xml", "application/xml");
    auto over = [&](const std::string& part, const std::string& ct) {
        auto o = t.append_child("Override");
        o.append_attribute("PartName") = ("/" + part).c_str();
        o.append_attribute("ContentType") =
            ("application/vnd.openxmlformats-officedocument.spreadsheetml." + ct).c_str();
    };
    over("xl/workbook.xml", "sheet.main+xml");
    for (std::size_t i = 0; i < sheets.size(); ++i)
        over("xl/worksheets/sheet" + std::to_string(i + 1) + ".xml", "worksheet+xml");
    over("xl/styles.xml", "styles+xml");
    over("xl/sharedStrings.xml", "sharedStrings+xml");
    out.emplace_back("[Content_Types].xml", xmlText(types));

    pugi::xml_document rootRels;
    auto rr = rootRels.append_child("Relationships");
    rr.append_attribute("xmlns") = kPkgRel;
    addRel(rr, "rId1", "officeDocument", "xl/workbook.xml");
    out.emplace_back("_rels/.rels", xmlText(rootRels));

    pugi::xml_document wb;
    auto w = wb.append_child("workbook");
    w.append_attribute("xmlns") = kMain;
    w.append_attribute("xmlns:r") = kRel;
    if (m_date1904)
        w.append_child("workbookPr").append_attribute("date1904") = "1";
    auto view = w.append_child("bookViews").append_child("workbookView");
    if (m_activeTab >= 0)
        view.append_attribute("activeTab") = m_activeTab;
    auto sh = w.append_child("sheets");
    for (std::size_t i = 0; i < sheets.size(); ++i) {
        auto s = sh.append_child("sheet");
        s.append_attribute("name") = utf8(sheets[i].name).c_str();
        s.append_attribute("sheetId") = int(i + 1);
        if (sheets[i].state != "visible")
            s.append_attribute("state") = sheets[i].state.c_str();
        s.append_attribute("r:id") = ("rId" + std::to_string(i + 1)).c_str();
    }
    if (!m_names.empty()) {
        auto dn = w.append_child("definedNames");
        for (const auto& [name, target] : m_names) {
            auto n = dn.append_child("definedName");
            n.append_attribute("name") = utf8(name).c_str();
            if (target.second >= 0)
                n.append_attribute("localSheetId") = target.second;
            n.text() = utf8(target.first).c_str();
        }
    }
    w.append_child("calcPr").append_attribute("calcId") = "191029";
    out.emplace_back("xl/workbook.xml", xmlText(wb));

    pugi::xml_document wbRels;
    auto wr = wbRels.append_child("Relationships");
    wr.append_attribute("xmlns") = kPkgRel;
    for (std::size_t i = 0; i < sheets.size(); ++i)
        addRel(wr, "rId" + std::to_string(i + 1), "worksheet",
               "worksheets/sheet" + std::to_string(i + 1) + ".xml");
    addRel(wr, "rId" + std::to_string(sheets.size() + 1), "styles", "styles.xml");
    addRel(wr, "rId" + std::to_string(sheets.size() + 2), "sharedStrings", "sharedStrings.xml");
    out.emplace_back("xl/_rels/workbook.xml.rels", xmlText(wbRels));

    for (std::size_t i = 0; i < sheets.size(); ++i) {
        const Sheet& s = sheets[i];
        pugi::xml_document doc;
        auto ws = doc.append_child("worksheet");
        ws.append_attribute("xmlns") = kMain;
        ws.append_attribute("xmlns:r") = kRel;
        auto sv = ws.append_child("sheetViews").append_child("sheetView");
        if (int(i) == std::max(m_activeTab, 0))
            sv.append_attribute("tabSelected") = "1";
        sv.append_attribute("workbookViewId") = "0";
        if (!s.activeCell.empty()) {
            auto sel = sv.append_child("selection");
            sel.append_attribute("activeCell") = s.activeCell.c_str();
            sel.append_attribute("sqref") = s.sqref.c_str();
        }
        auto fp = ws.append_child("sheetFormatPr");
        if (s.defaultWidth > 0)
            fp.append_attribute("defaultColWidth") = num(s.defaultWidth).c_str();
        fp.append_attribute("defaultRowHeight") = "15";
        if (!s.widths.empty()) {
            auto cols = ws.append_child("cols");
            for (const auto& [span, width] : s.widths) {
                auto c = cols.append_child("col");
                c.append_attribute("min") = span.first;
                c.append_attribute("max") = span.second;
                c.append_attribute("width") = num(width).c_str();
                c.append_attribute("customWidth") = "1";
            }
        }
        auto data = ws.append_child("sheetData");
        // Rows in order; cells in order within a row, as the program writes them.
        std::vector<Cell> cells = s.cells;
        auto rowOf = [](const std::string& ref) {
            return std::stoi(ref.substr(ref.find_first_of("0123456789")));
        };
        auto colOf = [](const std::string& ref) {
            int c = 0;
            for (char ch : ref) {
                if (ch < 'A' || ch > 'Z')
                    break;
                c = c * 26 + (ch - 'A' + 1);
            }
            return c;
        };
        std::stable_sort(cells.begin(), cells.end(), [&](const Cell& a, const Cell& b) {
            int ra = rowOf(a.ref), rb = rowOf(b.ref);
            return ra < rb || (ra == rb && colOf(a.ref) < colOf(b.ref));
        });
        pugi::xml_node row;
        int rowNum = 0;
        for (const auto& c : cells) {
            if (rowOf(c.ref) != rowNum) {
                rowNum = rowOf(c.ref);
                row = data.append_child("row");
                row.append_attribute("r") = rowNum;
            }
            auto x = row.append_child("c");
            x.append_attribute("r") = c.ref.c_str();
            if (c.style)
                x.append_attribute("s") = c.style;
            if (!c.type.empty() && c.type != "n")
                x.append_attribute("t") = c.type.c_str();
            if (!c.formula.empty())
                x.append_child("f").text() = c.formula.c_str();
            if (c.type == "inlineStr") {
                auto tt = x.append_child("is").append_child("t");
                tt.append_attribute("xml:space") = "preserve";
                tt.text() = utf8(c.text).c_str();
            } else if (!c.value.empty()) {
                x.append_child("v").text() = c.value.c_str();
            }
        }
        auto pm = ws.append_child("pageMargins");
        for (const char* a : {"left", "right"})
            pm.append_attribute(a) = "0.7";
        for (const char* a : {"top", "bottom"})
            pm.append_attribute(a) = "0.75";
        for (const char* a : {"header", "footer"})
            pm.append_attribute(a) = "0.3";
        out.emplace_back("xl/worksheets/sheet" + std::to_string(i + 1) + ".xml", xmlText(doc));
    }

    pugi::xml_document st;
    auto ss = st.append_child("styleSheet");
    ss.append_attribute("xmlns") = kMain;
    if (!m_numFmts.empty()) {
        auto nf = ss.append_child("numFmts");
        nf.append_attribute("count") = int(m_numFmts.size());
        for (const auto& [id, code] : m_numFmts) {
            auto f = nf.append_child("numFmt");
            f.append_attribute("numFmtId") = id;
            f.append_attribute("formatCode") = utf8(code).c_str();
        }
    }
    auto font = ss.append_child("fonts").append_child("font");
    font.append_child("sz").append_attribute("val") = "11";
    font.append_child("name").append_attribute("val") = "Calibri";
    auto fills = ss.append_child("fills");
    fills.append_child("fill").append_child("patternFill").append_attribute("patternType") = "none";
    ss.append_child("borders").append_child("border");
    ss.append_child("cellStyleXfs").append_child("xf").append_attribute("numFmtId") = "0";
    auto xfs = ss.append_child("cellXfs");
    xfs.append_attribute("count") = int(m_xfs.size());
    for (int id : m_xfs) {
        auto xf = xfs.append_child("xf");
        xf.append_attribute("numFmtId") = id;
        xf.append_attribute("fontId") = "0";
        xf.append_attribute("fillId") = "0";
        xf.append_attribute("borderId") = "0";
        xf.append_attribute("xfId") = "0";
        if (id)
            xf.append_attribute("applyNumberFormat") = "1";
    }
    out.emplace_back("xl/styles.xml", xmlText(st));

    pugi::xml_document sst;
    auto sroot = sst.append_child("sst");
    sroot.append_attribute("xmlns") = kMain;
    sroot.append_attribute("uniqueCount") = int(m_shared.size());
    for (const auto& s : m_shared) {
        auto tt = sroot.append_child("si").append_child("t");
        tt.append_attribute("xml:space") = "preserve";
        tt.text() = utf8(s).c_str();
    }
    out.emplace_back("xl/sharedStrings.xml", xmlText(sst));

    for (auto& [name, content] : out)
        if (auto o = m_overrides.find(name); o != m_overrides.end())
            content = o->second;
    for (const auto& override : m_overrides)
        if (std::none_of(out.begin(), out.end(),
                         [&](const auto& p) { return p.first == override.first; }))
            out.emplace_back(override.first, override.second);
    out.erase(std::remove_if(out.begin(), out.end(),
                             [&](const auto& p) {
                                 return std::find(m_omitted.begin(), m_omitted.end(), p.first) !=
                                        m_omitted.end();
                             }),
              out.end());
    return out;
}

std::string XlsxBuilder::zip(const std::vector<std::pair<std::string, std::string>>& entries) {
    zip_error_t err;
    zip_error_init(&err);
    zip_source_t* mem = zip_source_buffer_create(nullptr, 0, 0, &err);
    if (!mem)
        throw std::runtime_error("zip buffer");
    zip_source_keep(mem);
    zip_t* za = zip_open_from_source(mem, ZIP_TRUNCATE, &err);
    if (!za)
        throw std::runtime_error("zip open");
    for (const auto& [name, data] : entries) {
        zip_source_t* s = zip_source_buffer(za, data.data(), data.size(), 0);
        if (zip_file_add(za, name.c_str(), s, ZIP_FL_ENC_UTF_8) < 0)
            throw std::runtime_error("zip add");
    }
    if (zip_close(za) != 0)
        throw std::runtime_error("zip close");
    std::string out;
    zip_source_open(mem);
    zip_source_seek(mem, 0, SEEK_END);
    out.resize(std::size_t(zip_source_tell(mem)));
    zip_source_seek(mem, 0, SEEK_SET);
    zip_source_read(mem, out.data(), out.size());
    zip_source_close(mem);
    zip_source_free(mem);
    zip_error_fini(&err);
    return out;
}

std::string XlsxBuilder::bytes() const {
    return zip(parts());
}

void XlsxBuilder::write(const std::string& path) const {
    std::string b = bytes();
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(b.data(), std::streamsize(b.size()));
    if (!f)
        throw std::runtime_error("cannot write " + path);
}

} // namespace testkit
