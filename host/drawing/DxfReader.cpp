// Reads ASCII DXF into a new drawing database. Objects keep the file's handles; what the
// model has no place for is counted by kind; anything that would lose or bend the drawing
// (a dangling block, a block holding itself, oversized xdata, a handle used twice) refuses
// the whole file with the line it was found on.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <numbers>
#include <set>
#include <unordered_map>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "acutads.h"
#include "drawing/Blocks.h"
#include "drawing/Dxf.h"
#include "drawing/DxfGroups.h"
#include "drawing/DxfObjects.h"
#include "drawing/Tables.h"
#include "sdk/Database.h"
#include "sdk/ResultBuffers.h"
#include "sdk/WideFormat.h"
#include "drawing/control/Editor.h"
#include "windows.h"

namespace drawing {

namespace {

using dxf::Group;

struct Failure {
    std::wstring text;
};

[[noreturn]] void fail(std::size_t line, const std::wstring& text) {
    throw Failure{L"line " + std::to_wstring(line) + L": " + text};
}

std::wstring widenView(std::string_view s) {
    return lmhost::widen(std::string(s));
}

struct NoCaseLess {
    bool operator()(const std::wstring& a, const std::wstring& b) const {
        return _wcsicmp(a.c_str(), b.c_str()) < 0;
    }
};

// One entity, object or table record: its groups without the application groups (102 {...})
// and, apart, its xdata.
struct Record {
    std::string_view type;
    std::size_t line = 0;
    std::vector<Group> body;
    std::vector<Group> xdata;

    const Group* find(int code) const {
        for (const Group& g : body)
            if (g.code == code)
                return &g;
        return nullptr;
    }
    std::wstring text(int code, const std::wstring& fallback = L"") const {
        const Group* g = find(code);
        return g ? dxf::textOf(*g) : fallback;
    }
    double real(int code, double fallback = 0.0) const {
        const Group* g = find(code);
        return g ? dxf::realOf(*g) : fallback;
    }
    std::int64_t integer(int code, std::int64_t fallback = 0) const {
        const Group* g = find(code);
        return g ? dxf::integerOf(*g) : fallback;
    }
    std::uint64_t handle(int code = 5) const {
        const Group* g = find(code);
        return g ? dxf::handleOf(*g) : 0;
    }
    AcGePoint3d point(int code) const { return {real(code), real(code + 10), real(code + 20)}; }
    // The groups after the subclass marker (100) of that name; all of them without it.
    std::size_t subclassStart(const char* name) const {
        for (std::size_t i = 0; i < body.size(); ++i)
            if (body[i].code == 100 && body[i].value == name)
                return i + 1;
        return 0;
    }
};

struct Section {
    std::string name;
    std::vector<Record> records;
};

// Splits the groups into sections of records.
std::vector<Section> sectionsOf(const std::vector<Group>& groups) {
    std::vector<Section> sections;
    std::size_t i = 0;
    bool ended = false;
    while (i < groups.size()) {
        const Group& g = groups[i];
        if (g.code == 999) {
            ++i;
            continue;
        }
        if (g.code != 0)
            fail(g.line, L"group code 0 was expected, not " + std::to_wstring(g.code));
        if (g.value == "EOF") {
            ended = true;
            break;
        }
        if (g.value != "SECTION")
            fail(g.line, L"a SECTION was expected, not \"" + widenView(g.value) + L"\"");
        if (i + 1 >= groups.size() || groups[i + 1].code != 2)
            fail(g.line, L"the section has no name");
        Section section{std::string(groups[i + 1].value), {}};
        i += 2;
        bool closed = false;
        while (i < groups.size()) {
            const Group& start = groups[i];
            if (start.code == 999) {
                ++i;
                continue;
            }
            if (start.code != 0) {
                // The header's variables are groups of their own: one record for all.
                if (section.name != "HEADER")
                    fail(start.line,
                         L"group code 0 was expected, not " + std::to_wstring(start.code));
            }
            if (start.code == 0 && start.value == "ENDSEC") {
                closed = true;
                ++i;
                break;
            }
            Record record;
            record.type = start.code == 0 ? start.value : std::string_view("HEADER");
            record.line = start.line;
            if (start.code == 0)
                ++i;
            int depth = 0;
            bool inXData = false;
            while (i < groups.size() && groups[i].code != 0) {
                const Group& v = groups[i++];
                if (v.code == 999)
                    continue;
                if (v.code == 102 && !inXData) {
                    if (!v.value.empty() && v.value.front() == '{')
                        ++depth;
                    else if (v.value == "}" && depth > 0)
                        --depth;
                    continue;
                }
                if (depth > 0)
                    continue;
                if (v.code >= 1000)
                    inXData = true;
                (inXData ? record.xdata : record.body).push_back(v);
            }
            section.records.push_back(std::move(record));
        }
        if (!closed)
            fail(g.line,
                 L"the section " + widenView(section.name) + L" has no ENDSEC (truncated file)");
        sections.push_back(std::move(section));
    }
    if (!ended)
        fail(groups.empty() ? 1 : groups.back().line,
             L"the file ends without EOF (truncated file)");
    return sections;
}

bool isSpaceName(const std::wstring& name) {
    return _wcsnicmp(name.c_str(), L"*Model_Space", 12) == 0 ||
           _wcsnicmp(name.c_str(), L"*Paper_Space", 12) == 0;
}

class DxfReader {
public:
    DxfReader(DxfReport& report) : m_report(report) {}

    std::unique_ptr<AcDbDatabase> read(const std::vector<Group>& groups) {
        std::vector<Section> sections = sectionsOf(groups);
        for (Section& s : sections) {
            if (s.name == "HEADER")
                m_header = &s;
            else if (s.name == "TABLES")
                m_tables = &s;
            else if (s.name == "BLOCKS")
                m_blocks = &s;
            else if (s.name == "ENTITIES")
                m_entities = &s;
            else if (s.name == "OBJECTS")
                m_objects = &s;
        }
        collectHandles(sections);
        m_db = std::make_unique<AcDbDatabase>(false);
        m_impl = m_db->impl();
        readTables();
        readTableStyles();
        readHeader();
        readBlocks();
        readObjects();
        m_impl->nextHandle = std::max(m_impl->nextHandle, m_fresh);
        m_impl->nextHandle = std::max(m_impl->nextHandle, m_handSeed);
        for (const auto& [kind, count] : m_notKept)
            m_report.notKept.push_back(std::to_wstring(count) + L" " + kind + L" not kept");
        return std::move(m_db);
    }

private:
    // ----------------------------------------------------------------------------------
    // Handles

    void collectHandles(const std::vector<Section>& sections) {
        std::unordered_map<std::uint64_t, std::size_t> seen;
        std::uint64_t highest = 0;
        for (const Section& s : sections) {
            if (s.name == "HEADER")
                continue;
            for (const Record& r : s.records) {
                const Group* g = r.find(5);
                if (!g)
                    g = r.find(105);
                if (!g)
                    continue;
                std::uint64_t h = dxf::handleOf(*g);
                if (h == 0)
                    fail(g->line, L"an object has the null handle 0");
                auto [it, added] = seen.emplace(h, g->line);
                if (!added)
                    fail(g->line, L"the handle " + hex(h) + L" is used twice (first on line " +
                                      std::to_wstring(it->second) + L")");
                highest = std::max(highest, h);
            }
        }
        if (highest >= (1ull << 62))
            fail(1, L"the handles run past what the model takes");
        m_fresh = highest + 1;
    }

    static std::wstring hex(std::uint64_t h) {
        wchar_t buffer[20];
        AcDbHandle(h).getIntoAsciiBuffer(buffer);
        return buffer;
    }

    std::uint64_t handleFor(const Record& r) {
        std::uint64_t h = r.handle(5);
        if (!h)
            h = r.handle(105);
        return h ? h : m_fresh++;
    }

    // Makes the object resident under the handle; it stays open for write.
    AcDbObjectId place(AcDbObject* object, std::uint64_t handle) {
        m_impl->nextHandle = handle;
        AcDbObjectId id;
        if (m_db->addAcDbObject(id, object) != Acad::eOk) {
            delete object;
            throw Failure{L"the model refused an object"};
        }
        return id;
    }

    AcDbObjectId idOf(std::uint64_t handle) const {
        auto it = m_impl->byHandle.find(handle);
        return it == m_impl->byHandle.end() ? AcDbObjectId() : AcDbObjectId(it->second);
    }

    template <class T> T* objectOf(std::uint64_t handle) const {
        AcDbStub* stub = idOf(handle).stub();
        return stub && stub->object ? T::cast(stub->object) : nullptr;
    }

    // A damaged pointer can name a handle another role holds; the first keeps it, so no two
    // objects of a save share one.
    void roleFrom(const std::wstring& role, std::uint64_t handle) {
        if (handle && !m_impl->byHandle.count(handle) && m_roleHandles.insert(handle).second)
            m_impl->fileHandles[role] = handle;
    }
    static std::wstring roleOf(const wchar_t* kind, std::uint64_t owner) {
        return std::wstring(kind) + L":" + std::to_wstring(owner);
    }

    void notKept(const std::wstring& kind) { ++m_notKept[kind]; }

    // ----------------------------------------------------------------------------------
    // Xdata

    void applyXData(AcDbObject* object, const Record& r) {
        if (r.xdata.empty())
            return;
        resbuf* head = nullptr;
        resbuf** tail = &head;
        auto add = [&](int code) {
            resbuf* rb = acutNewRb(code);
            *tail = rb;
            tail = &rb->rbnext;
            return rb;
        };
        struct Chain {
            resbuf*& head;
            ~Chain() { acutRelRb(head); }
        } guard{head};
        const std::vector<Group>& x = r.xdata;
        if (x.front().code != 1001)
            fail(x.front().line, L"xdata must start with its application's name (1001)");
        for (std::size_t i = 0; i < x.size(); ++i) {
            const Group& g = x[i];
            int code = g.code;
            switch (lmhost::resbufKind(code)) {
            case lmhost::ResbufKind::Text: {
                // A handle is kept in its plain form, as the writer must give it back.
                std::wstring text = code == 1005 ? hex(dxf::handleOf(g)) : dxf::textOf(g);
                add(code)->resval.rstring = lmhost::duplicateText(text.c_str());
                break;
            }
            case lmhost::ResbufKind::Binary: {
                std::string bytes = dxf::binaryOf(g);
                if (bytes.size() > 127)
                    fail(g.line, L"binary xdata of more than 127 bytes");
                resbuf* rb = add(code);
                rb->resval.rbinary.clen = static_cast<short>(bytes.size());
                rb->resval.rbinary.buf = static_cast<char*>(std::malloc(bytes.size() + 1));
                std::memcpy(rb->resval.rbinary.buf, bytes.data(), bytes.size());
                break;
            }
            case lmhost::ResbufKind::Point: {
                if (i + 2 >= x.size() || x[i + 1].code != code + 10 || x[i + 2].code != code + 20)
                    fail(g.line,
                         L"the xdata point " + std::to_wstring(code) + L" is missing its Y or Z");
                resbuf* rb = add(code);
                rb->resval.rpoint[0] = dxf::realOf(g);
                rb->resval.rpoint[1] = dxf::realOf(x[i + 1]);
                rb->resval.rpoint[2] = dxf::realOf(x[i + 2]);
                i += 2;
                break;
            }
            case lmhost::ResbufKind::Real:
                add(code)->resval.rreal = dxf::realOf(g);
                break;
            case lmhost::ResbufKind::Short:
                add(code)->resval.rint = static_cast<short>(dxf::integerOf(g));
                break;
            case lmhost::ResbufKind::Long:
                add(code)->resval.rlong = static_cast<std::int32_t>(dxf::integerOf(g));
                break;
            default:
                fail(g.line,
                     L"the group code " + std::to_wstring(code) + L" has no place in xdata");
            }
        }
        Acad::ErrorStatus es = object->setXData(head);
        if (es == Acad::eXdataSizeExceeded)
            fail(x.front().line, L"the object's xdata is larger than the host's limit of 16383 "
                                 L"bytes");
        if (es == Acad::eRegappIdNotFound)
            fail(x.front().line, L"xdata of an application the file does not register in its "
                                 L"APPID table");
        if (es != Acad::eOk)
            fail(x.front().line, L"the model refused the object's xdata");
    }

    // ----------------------------------------------------------------------------------
    // Tables

    void readTables() {
        // The registered-application table came with the database; it takes the file's
        // handle.
        std::uint64_t appTable = 0, blockTable = 0, styleTable = 0;
        std::vector<const Record*> apps, styles, blocks;
        const Record* vport = nullptr;
        if (m_tables) {
            std::string table;
            std::uint64_t tableHandle = 0;
            for (const Record& r : m_tables->records) {
                if (r.type == "TABLE") {
                    table = lmhost::narrow(r.text(2));
                    tableHandle = r.handle();
                    if (table == "APPID")
                        appTable = tableHandle ? tableHandle : m_fresh++;
                    else if (table == "BLOCK_RECORD")
                        blockTable = tableHandle ? tableHandle : m_fresh++;
                    else if (table == "STYLE")
                        styleTable = tableHandle ? tableHandle : m_fresh++;
                    else
                        roleFrom(L"TABLE:" + lmhost::widen(table), tableHandle);
                    continue;
                }
                if (r.type == "ENDTAB") {
                    table.clear();
                    continue;
                }
                std::wstring name = r.text(2);
                if (table == "APPID")
                    apps.push_back(&r);
                else if (table == "STYLE")
                    styles.push_back(&r);
                else if (table == "BLOCK_RECORD")
                    blocks.push_back(&r);
                else if (table == "VPORT" && !vport && lmhost::equalNoCase(name, L"*Active"))
                    vport = &r;
                else if (table == "LAYER" && name == L"0")
                    roleFrom(L"LAYER:0", r.handle());
                else if (table == "LTYPE" && (lmhost::equalNoCase(name, L"ByBlock") ||
                                              lmhost::equalNoCase(name, L"ByLayer") ||
                                              lmhost::equalNoCase(name, L"Continuous")))
                    roleFrom(L"LTYPE:" + name, r.handle());
                else if (table == "LAYER" || table == "LTYPE" || table == "UCS" || table == "VIEW")
                    notKept(lmhost::widen(table) + L" table records");
                else if (table == "VPORT" && !lmhost::equalNoCase(name, L"*Active"))
                    notKept(L"VPORT table records");
            }
        }
        // The registered applications.
        AcDbStub* regStub = m_impl->regAppTable.stub();
        m_impl->byHandle.erase(regStub->handle.value());
        regStub->handle = AcDbHandle(appTable ? appTable : m_fresh++);
        m_impl->byHandle[regStub->handle.value()] = regStub;
        AcDbRegAppTable* regApps = nullptr;
        acdbOpenObject(regApps, m_impl->regAppTable, AcDb::kForWrite);
        bool hasAcad = false;
        for (const Record* r : apps) {
            std::wstring name = r->text(2);
            hasAcad = hasAcad || lmhost::equalNoCase(name, L"ACAD");
            addRecord(regApps, new AcDbRegAppTableRecord, *r, name, L"APPID");
        }
        if (!hasAcad) {
            auto* acad = new AcDbRegAppTableRecord;
            acad->setName(L"ACAD");
            m_impl->nextHandle = m_fresh++;
            if (regApps->add(acad) != Acad::eOk)
                delete acad;
            else
                acad->close();
        }
        regApps->close();

        // Text styles.
        auto* styleTableObject = new AcDbTextStyleTable;
        m_impl->textStyleTable = place(styleTableObject, styleTable ? styleTable : m_fresh++);
        for (const Record* r : styles) {
            auto* style = new AcDbTextStyleTableRecord;
            style->setTextSize(std::max(0.0, r->real(40)));
            double prior = r->real(42, 0.2);
            style->setPriorSize(prior > 0 ? prior : 0.2);
            style->setFileName(r->text(3).c_str());
            addRecord(styleTableObject, style, *r, r->text(2), L"STYLE");
        }
        if (!styleTableObject->has(L"Standard")) {
            auto* standard = new AcDbTextStyleTableRecord;
            standard->setName(L"Standard");
            standard->setFileName(L"arial.ttf");
            m_impl->nextHandle = m_fresh++;
            styleTableObject->add(standard);
            standard->close();
        }
        styleTableObject->getAt(L"Standard", m_impl->textStyle);
        styleTableObject->close();

        // Block definitions and spaces; their contents come with the blocks section.
        auto* blockTableObject = new AcDbBlockTable;
        m_impl->blockTable = place(blockTableObject, blockTable ? blockTable : m_fresh++);
        for (const Record* r : blocks) {
            auto* record = new AcDbBlockTableRecord;
            std::wstring name = r->text(2);
            record->data()->layout = isSpaceName(name);
            AcDbObjectId id = addRecord(blockTableObject, record, *r, name, L"BLOCK_RECORD");
            if (record->data()->layout)
                m_layoutOf[id.handle().value()] = r->handle(340);
        }
        // Blocks the table does not list (files without a block record table).
        if (m_blocks)
            for (const Record& r : m_blocks->records)
                if (r.type == "BLOCK") {
                    std::wstring name = r.text(2);
                    if (!name.empty() && !blockTableObject->has(name.c_str())) {
                        auto* record = new AcDbBlockTableRecord;
                        record->data()->layout = isSpaceName(name);
                        m_impl->nextHandle = m_fresh++;
                        // Cut at a NUL the name would become another one.
                        if (name.find(L'\0') != std::wstring::npos ||
                            record->setName(name.c_str()) != Acad::eOk ||
                            blockTableObject->add(record) != Acad::eOk) {
                            delete record;
                            fail(r.line, L"a block has a name the model refuses");
                        }
                        record->close();
                    }
                }
        for (const wchar_t* space : {ACDB_MODEL_SPACE, ACDB_PAPER_SPACE}) {
            AcDbObjectId id;
            if (blockTableObject->getAt(space, id) != Acad::eOk) {
                auto* record = new AcDbBlockTableRecord;
                record->setName(space);
                record->data()->layout = true;
                m_impl->nextHandle = m_fresh++;
                blockTableObject->add(id, record);
                record->close();
            }
            (space == std::wstring(ACDB_MODEL_SPACE) ? m_impl->modelSpace : m_impl->paperSpace) =
                id;
        }
        m_impl->currentSpace = m_impl->modelSpace;
        blockTableObject->close();

        // The current viewport.
        auto* viewport = new AcDbViewport;
        m_impl->viewport = place(viewport, vport ? handleFor(*vport) : m_fresh++);
        AcDbObjectAccess::setOwner(viewport, m_impl->modelSpace);
        if (vport) {
            AcGeVector3d dir(vport->real(16), vport->real(26), vport->real(36, 1.0));
            if (!dir.isZeroLength())
                viewport->setViewDirection(dir);
            applyXData(viewport, *vport);
        }
        viewport->close();
    }

    AcDbObjectId addRecord(AcDbSymbolTable* table, AcDbSymbolTableRecord* record, const Record& r,
                           const std::wstring& name, const wchar_t* tableName) {
        if (name.empty() || record->setName(name.c_str()) != Acad::eOk) {
            delete record;
            fail(r.line, std::wstring(L"a record of the ") + tableName + L" table has no name");
        }
        // Cut at a NUL the name would become another one.
        if (name.find(L'\0') != std::wstring::npos) {
            delete record;
            fail(r.line, std::wstring(L"a record of the ") + tableName +
                             L" table has a name the model refuses");
        }
        m_impl->nextHandle = handleFor(r);
        AcDbObjectId id;
        Acad::ErrorStatus es = table->add(id, record);
        if (es != Acad::eOk) {
            delete record;
            fail(r.line, std::wstring(L"the ") + tableName + L" table has \"" + name + L"\" twice");
        }
        applyXData(record, r);
        record->close();
        return id;
    }

    // ----------------------------------------------------------------------------------
    // Table styles (objects, read before the tables that use them)

    std::unordered_map<std::uint64_t, std::wstring> dictionaryNames() const {
        std::unordered_map<std::uint64_t, std::wstring> names;
        if (!m_objects)
            return names;
        for (const Record& r : m_objects->records) {
            if (r.type != "DICTIONARY")
                continue;
            std::wstring name;
            for (const Group& g : r.body) {
                if (g.code == 3)
                    name = dxf::textOf(g);
                else if ((g.code == 350 || g.code == 360) && !name.empty())
                    names.emplace(dxf::handleOf(g), name);
            }
        }
        return names;
    }

    AcDbObjectId textStyleNamed(const std::wstring& name) const {
        AcDbTextStyleTable* table =
            objectOf<AcDbTextStyleTable>(m_impl->textStyleTable.handle().value());
        AcDbObjectId id;
        if (table && AcDbObjectAccess::open(table, AcDb::kForRead) == Acad::eOk) {
            table->getAt(name.c_str(), id);
            table->close();
        }
        return id.isNull() ? m_impl->textStyle : id;
    }

    void readTableStyles() {
        std::unordered_map<std::uint64_t, std::wstring> names = dictionaryNames();
        if (m_objects)
            for (const Record& r : m_objects->records) {
                if (r.type != "TABLESTYLE")
                    continue;
                auto* style = new AcDbTableStyle;
                std::uint64_t h = handleFor(r);
                auto named = names.find(h);
                style->setName(named != names.end() ? named->second.c_str() : L"Standard");
                // The text style and height of each row type, in their written order.
                std::size_t slot = 0;
                std::size_t start = r.subclassStart("AcDbTableStyle");
                for (std::size_t i = start; i < r.body.size() && slot < 3; ++i) {
                    const Group& g = r.body[i];
                    if (g.code == 7) {
                        style->setTextStyle(textStyleNamed(dxf::textOf(g)), kStyleRowOrder[slot]);
                    } else if (g.code == 140) {
                        double height = dxf::realOf(g);
                        if (height > 0)
                            style->setTextHeight(height, kStyleRowOrder[slot]);
                        ++slot;
                    }
                }
                // A row whose text style the file leaves out takes the drawing's current one.
                for (std::size_t k = 0; k < 3; ++k)
                    if (style->textStyle(kStyleRowOrder[k]).isNull())
                        style->setTextStyle(m_impl->textStyle, kStyleRowOrder[k]);
                AcDbObjectId id = place(style, h);
                if (m_impl->tableStyle.isNull())
                    m_impl->tableStyle = id;
                applyXData(style, r);
                style->close();
            }
        if (m_impl->tableStyle.isNull()) {
            auto* style = new AcDbTableStyle;
            style->setName(L"Standard");
            for (AcDb::RowType type : kStyleRowOrder)
                style->setTextStyle(m_impl->textStyle, type);
            m_impl->tableStyle = place(style, m_fresh++);
            style->close();
        }
    }

    // ----------------------------------------------------------------------------------
    // Header

    void readHeader() {
        if (!m_header)
            return;
        std::map<std::string, std::vector<const Group*>> vars;
        for (const Record& r : m_header->records) {
            std::vector<const Group*>* current = nullptr;
            for (const Group& g : r.body) {
                if (g.code == 9)
                    current = &vars[std::string(g.value)];
                else if (current)
                    current->push_back(&g);
            }
        }
        auto value = [&](const char* name, int code) -> const Group* {
            auto it = vars.find(name);
            if (it == vars.end())
                return nullptr;
            for (const Group* g : it->second)
                if (g->code == code)
                    return g;
            return nullptr;
        };
        if (const Group* g = value("$HANDSEED", 5))
            m_handSeed = dxf::handleOf(*g);
        if (const Group* g = value("$TEXTSIZE", 40))
            m_db->setTextsize(dxf::realOf(*g));
        if (const Group* g = value("$TEXTSTYLE", 7))
            m_impl->textStyle = textStyleNamed(dxf::textOf(*g));
        const Group* tableStyle = value("$CTABLESTYLE", 2);
        if (!tableStyle)
            tableStyle = value("$CTABLESTYLE", 7);
        if (tableStyle) {
            std::wstring name = dxf::textOf(*tableStyle);
            for (auto& stub : m_impl->stubs)
                if (auto* style = stub->object ? AcDbTableStyle::cast(stub->object) : nullptr)
                    if (lmhost::equalNoCase(style->getName(), name)) {
                        m_impl->tableStyle = AcDbObjectId(stub.get());
                        break;
                    }
        }
        auto point = [&](const char* name, AcGePoint3d& p) {
            const Group* x = value(name, 10);
            const Group* y = value(name, 20);
            const Group* z = value(name, 30);
            if (!x || !y)
                return false;
            p.set(dxf::realOf(*x), dxf::realOf(*y), z ? dxf::realOf(*z) : 0.0);
            return true;
        };
        AcGePoint3d origin, x, y;
        if (point("$UCSORG", origin) && point("$UCSXDIR", x) && point("$UCSYDIR", y))
            m_db->setUcs(origin, x.asVector(), y.asVector());
        for (const char* name : {"LUNITS", "LUPREC", "AUNITS", "AUPREC"})
            if (const Group* g = value((std::string("$") + name).c_str(), 70))
                m_report.systemVariables.emplace_back(lmhost::widen(name),
                                                      static_cast<short>(dxf::integerOf(*g)));
    }

    // ----------------------------------------------------------------------------------
    // Blocks and entities

    AcDbObjectId blockNamed(const std::wstring& name) {
        auto* table = objectOf<AcDbBlockTable>(m_impl->blockTable.handle().value());
        AcDbObjectId id;
        if (table && AcDbObjectAccess::open(table, AcDb::kForRead) == Acad::eOk) {
            table->getAt(name.c_str(), id);
            table->close();
        }
        return id;
    }

    void readBlocks() {
        if (m_blocks) {
            AcDbObjectId current;
            for (const Record& r : m_blocks->records) {
                if (r.type == "BLOCK") {
                    current = blockNamed(r.text(2));
                    auto* record = objectOf<AcDbBlockTableRecord>(current.handle().value());
                    if (!record)
                        fail(r.line, L"a BLOCK without a name");
                    AcDbObjectAccess::open(record, AcDb::kForWrite);
                    record->setOrigin(r.point(10));
                    record->close();
                    roleFrom(roleOf(L"BLOCK", current.handle().value()), r.handle());
                    continue;
                }
                if (r.type == "ENDBLK") {
                    if (current.isValid())
                        roleFrom(roleOf(L"ENDBLK", current.handle().value()), r.handle());
                    current = AcDbObjectId();
                    continue;
                }
                if (current.isNull())
                    fail(r.line, L"an entity outside any BLOCK");
                readEntity(r, current);
            }
        }
        if (m_entities)
            for (const Record& r : m_entities->records) {
                AcDbObjectId owner = r.integer(67) ? m_impl->paperSpace : m_impl->modelSpace;
                if (auto* record = objectOf<AcDbBlockTableRecord>(r.handle(330)))
                    if (record->data()->layout)
                        owner = record->objectId();
                readEntity(r, owner);
            }
    }

    void readEntity(const Record& r, AcDbObjectId owner) {
        if (r.type == "INSERT" || r.type == "ACAD_TABLE" || r.type == "LINE") {
            AcDbEntity* entity = nullptr;
            if (r.type == "INSERT")
                entity = makeInsert(r);
            else if (r.type == "LINE")
                entity = new AcDbLine(r.point(10), r.point(11));
            else
                entity = makeTable(r);
            auto* record = objectOf<AcDbBlockTableRecord>(owner.handle().value());
            AcDbObjectAccess::open(record, AcDb::kForWrite);
            m_impl->nextHandle = handleFor(r);
            AcDbObjectId id;
            Acad::ErrorStatus es = record->appendAcDbEntity(id, entity);
            record->close();
            if (es == Acad::eSelfReference) {
                delete entity;
                fail(r.line, L"the block \"" + r.text(2) +
                                 L"\" would hold itself through "
                                 L"nesting");
            }
            if (es != Acad::eOk) {
                delete entity;
                fail(r.line, L"the model refused the entity");
            }
            applyXData(entity, r);
            entity->close();
            return;
        }
        auto* space = objectOf<AcDbBlockTableRecord>(owner.handle().value());
        if (r.type == "VIEWPORT" && r.integer(69) > 1 && owner != m_impl->modelSpace && space &&
            space->data()->layout) {
            // A viewport placed on a layout; the one numbered 1 is the paper itself.
            auto* viewport = new AcDbViewport;
            AcDbObjectId id = place(viewport, handleFor(r));
            AcDbObjectAccess::setOwner(viewport, owner);
            AcGeVector3d direction(r.real(16), r.real(26), r.real(36, 1.0));
            if (!direction.isZeroLength())
                viewport->setViewDirection(direction);
            applyXData(viewport, r);
            viewport->close();
            m_impl->layoutViewports.push_back(id);
            return;
        }
        if (r.type == "SEQEND")
            return;
        notKept(widenView(r.type) + L" entities");
    }

    AcDbEntity* makeInsert(const Record& r) {
        std::wstring name = r.text(2);
        AcDbObjectId block = blockNamed(name);
        if (block.isNull())
            fail(r.line, L"INSERT of the block \"" + name + L"\", which the file does not define");
        auto* reference = new AcDbBlockReference(r.point(10), block);
        reference->setRotation(radiansFromDegrees(r.real(50)));
        return reference;
    }

    AcDbEntity* makeTable(const Record& r) {
        auto table = std::make_unique<AcDbTable>();
        table->setPosition(r.point(10));
        std::size_t start = r.subclassStart("AcDbTable");
        if (start == 0)
            fail(r.line, L"an ACAD_TABLE without its table data");
        std::int64_t rows = 0, columns = 0;
        const Group* styleGroup = nullptr;
        double dx = 1, dy = 0;
        std::vector<double> heights, widths;
        std::size_t i = start;
        for (; i < r.body.size() && r.body[i].code != 171; ++i) {
            const Group& g = r.body[i];
            switch (g.code) {
            case 91:
                rows = dxf::integerOf(g);
                break;
            case 92:
                columns = dxf::integerOf(g);
                break;
            case 342:
                styleGroup = &g;
                break;
            case 11:
                dx = dxf::realOf(g);
                break;
            case 21:
                dy = dxf::realOf(g);
                break;
            case 141:
                heights.push_back(dxf::realOf(g));
                break;
            case 142:
                widths.push_back(dxf::realOf(g));
                break;
            default:
                break;
            }
        }
        if (rows < 1 || columns < 1 || rows * columns > kMaxCells)
            fail(r.line, L"a table of " + std::to_wstring(rows) + L" rows and " +
                             std::to_wstring(columns) + L" columns (the model takes 1 to " +
                             std::to_wstring(kMaxCells) + L" cells)");
        std::size_t cells = 0;
        for (std::size_t k = i; k < r.body.size(); ++k)
            cells += r.body[k].code == 171;
        if (cells != static_cast<std::size_t>(rows * columns))
            fail(r.line, L"the table says it has " + std::to_wstring(rows * columns) +
                             L" cells and holds " + std::to_wstring(cells));
        AcDbTable::Data& d = *table->data();
        d.resize(static_cast<int>(rows), static_cast<int>(columns));
        for (std::size_t k = 0; k < heights.size() && k < d.rowHeights.size(); ++k)
            if (heights[k] > 0)
                d.rowHeights[k] = heights[k];
        for (std::size_t k = 0; k < widths.size() && k < d.columnWidths.size(); ++k)
            if (widths[k] > 0)
                d.columnWidths[k] = widths[k];
        if (const Group* g = r.find(290))
            d.titleSuppressed = dxf::integerOf(*g) != 0;
        if (const Group* g = r.find(291))
            d.headerSuppressed = dxf::integerOf(*g) != 0;
        if (styleGroup) {
            std::uint64_t h = dxf::handleOf(*styleGroup);
            if (objectOf<AcDbTableStyle>(h))
                d.style = idOf(h);
        }
        // Our files give the rotation in degrees too; other writers give the direction only.
        if (const Group* g = r.find(50))
            table->setRotation(radiansFromDegrees(dxf::realOf(*g)));
        else if (dx != 0 || dy != 0)
            table->setRotation(std::atan2(dy, dx));
        std::size_t cell = 0;
        std::wstring pending;
        for (; i < r.body.size(); ++i) {
            const Group& g = r.body[i];
            if (g.code == 171) {
                pending.clear();
                d.cells[cell++].type =
                    dxf::integerOf(g) == AcDb::kBlockCell ? AcDb::kBlockCell : AcDb::kTextCell;
                continue;
            }
            AcDbTable::Data::Cell& c = d.cells[cell - 1];
            switch (g.code) {
            case 2:
            case 3:
            case 303:
                pending += dxf::textOf(g);
                break;
            case 1:
            case 302:
                c.text = pending + dxf::textOf(g);
                pending.clear();
                break;
            case 140:
                if (dxf::realOf(g) > 0)
                    c.textHeight = dxf::realOf(g);
                break;
            case 309:
                c.style = dxf::textOf(g);
                break;
            default:
                break;
            }
        }
        return table.release();
    }

    // ----------------------------------------------------------------------------------
    // Objects

    void readObjects() {
        if (!m_objects)
            return;
        std::uint64_t root = 0;
        std::vector<const Record*> networks, parameters, properties, values;
        for (const Record& r : m_objects->records) {
            if (r.type == "DICTIONARY" && !root && r.handle(330) == 0) {
                root = r.handle();
                roleFrom(L"DICTIONARY:root", root);
                std::wstring name;
                for (const Group& g : r.body) {
                    if (g.code == 3)
                        name = dxf::textOf(g);
                    else if ((g.code == 350 || g.code == 360) &&
                             (name == L"ACAD_LAYOUT" || name == L"ACAD_TABLESTYLE" ||
                              name == L"LMESH_PARAMETERS"))
                        roleFrom(L"DICTIONARY:" + name, dxf::handleOf(g));
                }
            } else if (r.type == "LAYOUT") {
                std::uint64_t record = r.find(330) ? lastHandle(r, 330) : 0;
                for (const auto& [space, layout] : m_layoutOf)
                    if (space == record || layout == r.handle())
                        roleFrom(roleOf(L"LAYOUT", space), r.handle());
            } else if (r.type == kNetworkDxfName) {
                networks.push_back(&r);
            } else if (r.type == kParameterDxfName) {
                parameters.push_back(&r);
            } else if (r.type == kBlockPropertiesDxfName) {
                properties.push_back(&r);
            } else if (r.type == kPropertyValuesDxfName) {
                values.push_back(&r);
            }
        }
        readParameters(networks, parameters);
        for (const Record* r : properties)
            readBlockProperties(*r);
        for (const Record* r : values)
            readPropertyValues(*r);
    }

    static std::uint64_t lastHandle(const Record& r, int code) {
        std::uint64_t h = 0;
        for (const Group& g : r.body)
            if (g.code == code)
                h = dxf::handleOf(g);
        return h;
    }

    void readParameters(const std::vector<const Record*>& networks,
                        const std::vector<const Record*>& parameters) {
        struct Pending {
            const Record* record;
            AcDbObjectId id;
        };
        std::vector<Pending> made;
        for (const Record* r : networks) {
            auto* network = new AcDbAssocNetwork;
            AcDbObjectId id = place(network, handleFor(*r));
            applyXData(network, *r);
            network->close();
            std::uint64_t belongs = r->handle(331);
            AcDbStub* owner = nullptr;
            if (belongs) {
                owner = idOf(belongs).stub();
                if (!owner)
                    fail(r->line, L"the parameter network belongs to the handle " + hex(belongs) +
                                      L", which no object has");
            }
            std::wstring key = r->text(1);
            m_impl->networks[{owner, key}] = id;
            if (!owner && key.empty())
                m_impl->topLevelNetwork = id;
            made.push_back({r, id});
        }
        std::vector<Pending> variables;
        for (const Record* r : parameters) {
            auto* variable = new AcDbAssocVariable;
            AcDbObjectId id = place(variable, handleFor(*r));
            std::wstring name = r->text(1);
            if (!name.empty() && variable->setName(name.c_str(), false) != Acad::eOk)
                fail(r->line, L"\"" + name + L"\" is no parameter name the model takes");
            variable->setDescription(r->text(302).c_str());
            variable->setValue(AcDbEvalVariant(r->real(40)));
            if (r->integer(290))
                lmhost::setAngularVariable(id, true);
            applyXData(variable, *r);
            variable->close();
            variables.push_back({r, id});
        }
        // Every action joins its network in the written order; expressions come last, once
        // every name they may reference is there.
        for (const Pending& n : made) {
            AcDbAssocNetwork* network = nullptr;
            acdbOpenObject(network, n.id, AcDb::kForWrite);
            for (const Group& g : n.record->body) {
                if (g.code != 360)
                    continue;
                AcDbObjectId action = idOf(dxf::handleOf(g));
                if (action.isNull()) {
                    network->close();
                    fail(g.line, L"the parameter network names the action " +
                                     hex(dxf::handleOf(g)) + L", which no object has");
                }
                if (holds(action, n.id)) {
                    network->close();
                    fail(g.line,
                         L"the parameter network " + hex(dxf::handleOf(g)) + L" would hold itself");
                }
                Acad::ErrorStatus es = network->addAction(action, true);
                if (es != Acad::eOk) {
                    network->close();
                    fail(g.line, L"the action " + hex(dxf::handleOf(g)) +
                                     L" cannot join its network (" + errorText(es) + L")");
                }
            }
            network->close();
        }
        for (const Pending& v : variables) {
            std::wstring expression = v.record->text(300);
            if (expression.empty())
                continue;
            AcDbAssocVariable* variable = nullptr;
            acdbOpenObject(variable, v.id, AcDb::kForWrite);
            AcString message;
            Acad::ErrorStatus es = variable->setExpression(
                expression.c_str(), v.record->text(301).c_str(), true, true, message);
            variable->close();
            if (es != Acad::eOk)
                fail(v.record->line, L"the parameter's expression \"" + expression +
                                         L"\" is refused: " +
                                         (message.isEmpty() ? errorText(es) : message.str()));
        }
    }

    // True when action is the network or a network that holds it, at any depth.
    static bool holds(AcDbObjectId action, AcDbObjectId network) {
        for (int depth = 0; network.isValid() && depth < 1000; ++depth) {
            if (network == action)
                return true;
            AcDbStub* stub = network.stub();
            network = stub && stub->object ? stub->object->ownerId() : AcDbObjectId();
        }
        return network.isValid();
    }

    static std::wstring errorText(Acad::ErrorStatus es) { return acadErrorStatusText(es); }

    // A typed value: kValueTypeCode with the restype, then the value under that code.
    AcDbEvalVariant readValue(const Record& r, std::size_t& i) {
        const std::vector<Group>& b = r.body;
        if (i >= b.size() || b[i].code != kValueTypeCode)
            fail(i < b.size() ? b[i].line : r.line, L"a typed value was expected");
        int type = static_cast<int>(dxf::integerOf(b[i++]));
        AcDbEvalVariant v;
        if (type == 0)
            return v;
        if (i >= b.size() || b[i].code != type)
            fail(b[i - 1].line, L"the value of type " + std::to_wstring(type) + L" is missing");
        switch (type) {
        case AcDb::kDxfReal:
            v = dxf::realOf(b[i++]);
            break;
        case AcDb::kDxfInt16:
            v = static_cast<short>(dxf::integerOf(b[i++]));
            break;
        case AcDb::kDxfInt32:
            v = static_cast<Adesk::Int32>(dxf::integerOf(b[i++]));
            break;
        case AcDb::kDxfText:
            v = dxf::textOf(b[i++]).c_str();
            break;
        case AcDb::kDxfXCoord: {
            if (i + 2 >= b.size() || b[i + 1].code != 20 || b[i + 2].code != 30)
                fail(b[i].line, L"the point value is missing its Y or Z");
            v = AcDbEvalVariant(
                AcGePoint3d(dxf::realOf(b[i]), dxf::realOf(b[i + 1]), dxf::realOf(b[i + 2])));
            i += 3;
            break;
        }
        default:
            fail(b[i - 1].line, L"unknown value type " + std::to_wstring(type));
        }
        return v;
    }

    // The groups of our own objects come in a fixed order.
    const Group& expect(const Record& r, std::size_t& i, int code) {
        if (i >= r.body.size())
            fail(r.line, L"the object ends where group " + std::to_wstring(code) +
                             L" was expected (truncated object)");
        if (r.body[i].code != code)
            fail(r.body[i].line, L"group " + std::to_wstring(code) + L" was expected, not " +
                                     std::to_wstring(r.body[i].code));
        return r.body[i++];
    }

    std::size_t countOf(const Record& r, std::size_t& i, int code, std::size_t perItem) {
        const Group& g = expect(r, i, code);
        std::int64_t n = dxf::integerOf(g);
        // Each item takes at least perItem groups: a count beyond what is left is a lie.
        if (n < 0 || static_cast<std::size_t>(n) * perItem > r.body.size() - i)
            fail(g.line, L"the count " + std::to_wstring(n) + L" is more than the object holds");
        return static_cast<std::size_t>(n);
    }

    void readBlockProperties(const Record& r) {
        auto* record = objectOf<AcDbBlockTableRecord>(r.handle(330));
        if (!record)
            fail(r.line, L"block properties of no block");
        roleFrom(roleOf(L"PROPERTIES", record->objectId().handle().value()), r.handle());
        std::size_t i = r.subclassStart(kBlockPropertiesClassName);
        if (i == 0)
            fail(r.line, L"block properties without their subclass");
        std::size_t n = countOf(r, i, 90, 10);
        for (std::size_t k = 0; k < n; ++k) {
            DynamicPropertyDefinition p;
            p.name = dxf::textOf(expect(r, i, 300));
            p.type = static_cast<AcDb::DwgDataType>(dxf::integerOf(expect(r, i, 280)));
            p.units = static_cast<AcDbDynBlockReferenceProperty::UnitsType>(
                dxf::integerOf(expect(r, i, 281)));
            p.readOnly = dxf::integerOf(expect(r, i, 290)) != 0;
            p.visible = dxf::integerOf(expect(r, i, 291)) != 0;
            p.description = dxf::textOf(expect(r, i, 301));
            p.defaultValue = readValue(r, i);
            if (dxf::integerOf(expect(r, i, 292)))
                p.minimum = dxf::realOf(expect(r, i, 141));
            if (dxf::integerOf(expect(r, i, 293)))
                p.maximum = dxf::realOf(expect(r, i, 142));
            std::size_t allowed = countOf(r, i, 91, 2);
            for (std::size_t a = 0; a < allowed; ++a)
                p.allowedValues.push_back(readValue(r, i));
            if (addDynamicProperty(record->objectId(), p) != Acad::eOk)
                fail(r.line, L"the block property \"" + p.name +
                                 L"\" has a default or allowed value not of its kind");
        }
    }

    void readPropertyValues(const Record& r) {
        auto* reference = objectOf<AcDbBlockReference>(r.handle(330));
        if (!reference || AcDbTable::cast(reference))
            fail(r.line, L"property values of no block reference");
        roleFrom(roleOf(L"VALUES", reference->objectId().handle().value()), r.handle());
        auto* record = objectOf<AcDbBlockTableRecord>(blockOf(reference).handle().value());
        const auto& definitions = record->data()->properties;
        std::size_t i = r.subclassStart(kPropertyValuesClassName);
        if (i == 0)
            fail(r.line, L"property values without their subclass");
        std::size_t n = countOf(r, i, 90, 1);
        if (n > definitions.size())
            fail(r.line, L"more property values than the block has properties");
        auto* values = new AcDbBlockReference::DynamicValues;
        reference->setDynamicValues(values);
        for (std::size_t k = 0; k < n; ++k) {
            AcDbEvalVariant v = readValue(r, i);
            if (v.restype != restypeOfType(definitions[k].type))
                fail(r.line, L"the value of the property \"" + definitions[k].name +
                                 L"\" is not of its kind");
            values->values.push_back(v);
        }
    }

    DxfReport& m_report;
    std::unique_ptr<AcDbDatabase> m_db;
    AcDbDatabase::Impl* m_impl = nullptr;
    Section* m_header = nullptr;
    Section* m_tables = nullptr;
    Section* m_blocks = nullptr;
    Section* m_entities = nullptr;
    Section* m_objects = nullptr;
    std::map<std::uint64_t, std::uint64_t> m_layoutOf; // space record -> its LAYOUT
    std::map<std::wstring, int> m_notKept;
    std::set<std::uint64_t> m_roleHandles;
    std::uint64_t m_fresh = 1;
    std::uint64_t m_handSeed = 0;
};

} // namespace

std::unique_ptr<AcDbDatabase> readDxf(std::string_view text, DxfReport& report,
                                      std::wstring& error) {
    report = DxfReport();
    std::vector<Group> groups;
    std::string why;
    if (!dxf::readGroups(text, groups, why)) {
        error = lmhost::widen(why);
        return nullptr;
    }
    try {
        return DxfReader(report).read(groups);
    } catch (const Failure& f) {
        error = f.text;
        report.notKept.clear();
        return nullptr;
    }
}

} // namespace drawing
