// Writes the drawing model as ASCII DXF. The output depends on the model's structure only
// (table order, entity order, handles), never on the order objects were made in, so a
// drawing read back writes the same bytes.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "drawing/Blocks.h"
#include "drawing/Dxf.h"
#include "drawing/DxfGroups.h"
#include "drawing/DxfObjects.h"
#include "drawing/Tables.h"
#include "sdk/Database.h"
#include "sdk/ResultBuffers.h"
#include "sdk/WideFormat.h"
#include "drawing/control/Editor.h"
#include "sdk/control/SystemVariables.h"
#include "acutads.h"
#include "windows.h"

namespace drawing {

namespace {

using dxf::Writer;

template <class T> T* peek(AcDbObjectId id) {
    AcDbStub* stub = id.stub();
    return stub && stub->object && !stub->erased ? T::cast(stub->object) : nullptr;
}

// The model's members assert a read open; the writer reads what nobody holds open by
// opening it for the moment.
class Reading {
public:
    explicit Reading(AcDbObject* object) : m_object(object) {
        if (object && !object->isReadEnabled())
            m_opened = AcDbObjectAccess::open(object, AcDb::kForRead) == Acad::eOk;
    }
    ~Reading() {
        if (m_opened)
            m_object->close();
    }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

private:
    AcDbObject* m_object;
    bool m_opened = false;
};

std::wstring recordName(AcDbObjectId id) {
    auto* record = peek<AcDbSymbolTableRecord>(id);
    if (!record)
        return L"";
    Reading r(record);
    const ACHAR* name = L"";
    record->getName(name);
    return name;
}

short systemShort(const wchar_t* name, short fallback) {
    lmhost::SystemVariableValue value;
    if (lmhost::getSystemVariable(name, value))
        if (const short* s = std::get_if<short>(&value))
            return *s;
    return fallback;
}

class DxfWriter {
public:
    explicit DxfWriter(AcDbDatabase* db) : m_impl(db->impl()) {
        for (auto& stub : m_impl->stubs)
            if (stub->object && !stub->erased)
                m_live.push_back(stub.get());
        std::sort(m_live.begin(), m_live.end(),
                  [](const AcDbStub* a, const AcDbStub* b) { return a->handle < b->handle; });
        m_roleNext = m_impl->nextHandle;
        for (const auto& [name, handle] : m_impl->fileHandles)
            m_roleNext = std::max(m_roleNext, handle + 1);
    }

    std::string write() {
        Writer body;
        writeClasses(body);
        writeTables(body);
        writeBlocks(body);
        writeEntities(body);
        writeObjects(body);
        body.text(0, "EOF");
        Writer head;
        writeHeader(head); // last: the handle seed counts the handles given above
        head.out() += body.out();
        return std::move(head.out());
    }

private:
    // The handle of a file object the model has no object for, the same on every save.
    // These handles never take one from the model: objects made after a save get the
    // handles they would have got without it; a role whose handle an object took since
    // moves past everything.
    std::uint64_t role(const std::wstring& name) {
        auto it = m_impl->fileHandles.find(name);
        if (it != m_impl->fileHandles.end() && !m_impl->byHandle.count(it->second))
            return it->second;
        std::uint64_t h = m_roleNext++;
        m_impl->fileHandles[name] = h;
        return h;
    }
    std::uint64_t role(const wchar_t* kind, AcDbObjectId id) {
        return role(std::wstring(kind) + L":" + std::to_wstring(id.handle().value()));
    }

    static std::uint64_t handleOf(AcDbObjectId id) { return id.handle().value(); }

    void begin(Writer& w, const char* type, std::uint64_t handle, std::uint64_t owner) {
        w.text(0, type);
        w.handle(5, handle);
        w.handle(330, owner);
    }

    void writeXData(Writer& w, const AcDbObject* object) {
        resbuf* chain = object->xData(nullptr);
        for (const resbuf* rb = chain; rb; rb = rb->rbnext) {
            int code = rb->restype;
            switch (lmhost::resbufKind(code)) {
            case lmhost::ResbufKind::Text:
                w.text(code, rb->resval.rstring ? rb->resval.rstring : L"");
                break;
            case lmhost::ResbufKind::Binary:
                w.binary(code, rb->resval.rbinary.buf,
                         rb->resval.rbinary.buf ? rb->resval.rbinary.clen : 0);
                break;
            case lmhost::ResbufKind::Point:
                w.point(code, rb->resval.rpoint[0], rb->resval.rpoint[1], rb->resval.rpoint[2]);
                break;
            case lmhost::ResbufKind::Real:
                w.real(code, rb->resval.rreal);
                break;
            case lmhost::ResbufKind::Short:
                w.integer(code, rb->resval.rint);
                break;
            case lmhost::ResbufKind::Long:
                w.integer(code, rb->resval.rlong);
                break;
            default:
                break; // the model takes no other xdata codes
            }
        }
        acutRelRb(chain);
    }

    // ----------------------------------------------------------------------------------
    void writeHeader(Writer& w) {
        w.text(0, "SECTION");
        w.text(2, "HEADER");
        auto var = [&](const char* name) { w.text(9, name); };
        var("$ACADVER");
        w.text(1, "AC1032");
        var("$DWGCODEPAGE");
        w.text(3, "ANSI_1252");
        var("$LUNITS");
        w.integer(70, systemShort(L"LUNITS", 2));
        var("$LUPREC");
        w.integer(70, systemShort(L"LUPREC", 4));
        var("$AUNITS");
        w.integer(70, systemShort(L"AUNITS", 0));
        var("$AUPREC");
        w.integer(70, systemShort(L"AUPREC", 0));
        var("$TEXTSIZE");
        w.real(40, m_impl->textSize);
        var("$TEXTSTYLE");
        w.text(7, recordName(m_impl->textStyle));
        var("$CTABLESTYLE");
        std::wstring tableStyle;
        if (auto* style = peek<AcDbTableStyle>(m_impl->tableStyle))
            tableStyle = style->getName();
        w.text(2, tableStyle);
        var("$UCSORG");
        w.point(10, m_impl->ucsOrigin.x, m_impl->ucsOrigin.y, m_impl->ucsOrigin.z);
        var("$UCSXDIR");
        w.point(10, m_impl->ucsXAxis.x, m_impl->ucsXAxis.y, m_impl->ucsXAxis.z);
        var("$UCSYDIR");
        w.point(10, m_impl->ucsYAxis.x, m_impl->ucsYAxis.y, m_impl->ucsYAxis.z);
        var("$HANDSEED");
        w.handle(5, std::max(m_impl->nextHandle, m_roleNext));
        w.text(0, "ENDSEC");
    }

    // ----------------------------------------------------------------------------------
    void writeClasses(Writer& w) {
        w.text(0, "SECTION");
        w.text(2, "CLASSES");
        int tables = 0, styles = 0, networks = 0, parameters = 0;
        for (AcDbStub* s : m_live) {
            AcRxClass* cls = s->object->isA();
            tables += cls == AcDbTable::desc();
            styles += cls == AcDbTableStyle::desc();
            if (cls == AcDbAssocNetwork::desc()) {
                ++networks;
                for (const AcDbObjectId& id :
                     listedActions(static_cast<AcDbAssocNetwork*>(s->object)))
                    parameters += peek<AcDbAssocVariable>(id) != nullptr;
            }
        }
        int blockProperties = 0, values = 0;
        forEachRecord([&](AcDbBlockTableRecord* record) {
            blockProperties += !record->data()->properties.empty();
        });
        forEachEntity([&](AcDbEntity* entity, bool) {
            auto* reference = AcDbBlockReference::cast(entity);
            values += reference && reference->dynamicValues() != nullptr;
        });
        for (const DxfClass& c : dxfClasses()) {
            w.text(0, "CLASS");
            w.text(1, c.dxfName);
            w.text(2, c.className);
            w.text(3, c.application);
            w.integer(90, c.proxyFlags);
            int count = 0;
            switch (c.kind) {
            case DxfClass::Kind::table:
                count = tables;
                break;
            case DxfClass::Kind::tableStyle:
                count = styles;
                break;
            case DxfClass::Kind::network:
                count = networks;
                break;
            case DxfClass::Kind::parameter:
                count = parameters;
                break;
            case DxfClass::Kind::blockProperties:
                count = blockProperties;
                break;
            case DxfClass::Kind::propertyValues:
                count = values;
                break;
            }
            w.integer(91, count);
            w.integer(280, 0);
            w.integer(281, c.isEntity ? 1 : 0);
        }
        w.text(0, "ENDSEC");
    }

    // ----------------------------------------------------------------------------------
    template <class F> void forEachRecord(F f) {
        auto* table = peek<AcDbSymbolTable>(m_impl->blockTable);
        if (!table)
            return;
        for (int i = 0; i < table->count(); ++i)
            if (auto* record = peek<AcDbBlockTableRecord>(table->recordAt(i)))
                f(record);
    }

    // Every entity of every record, with whether the record is a paper space.
    template <class F> void forEachEntity(F f) {
        forEachRecord([&](AcDbBlockTableRecord* record) {
            bool paper = isPaper(record);
            for (const AcDbObjectId& id : record->data()->entities)
                if (auto* entity = peek<AcDbEntity>(id))
                    f(entity, paper);
        });
    }

    bool isPaper(const AcDbBlockTableRecord* record) const {
        return record->data()->layout && record->objectId() != m_impl->modelSpace;
    }

    void tableHead(Writer& w, const char* name, std::uint64_t handle, int count) {
        w.text(0, "TABLE");
        w.text(2, name);
        w.handle(5, handle);
        w.handle(330, 0);
        w.text(100, "AcDbSymbolTable");
        w.integer(70, count);
    }

    void recordHead(Writer& w, const char* type, const char* subclass, std::uint64_t handle,
                    std::uint64_t table) {
        begin(w, type, handle, table);
        w.text(100, "AcDbSymbolTableRecord");
        w.text(100, subclass);
    }

    void writeTables(Writer& w) {
        w.text(0, "SECTION");
        w.text(2, "TABLES");

        // The current viewport is the *ACTIVE viewport record.
        std::uint64_t vportTable = role(L"TABLE:VPORT");
        auto* viewport = peek<AcDbViewport>(m_impl->viewport);
        tableHead(w, "VPORT", vportTable, viewport ? 1 : 0);
        if (viewport) {
            Reading r(viewport);
            recordHead(w, "VPORT", "AcDbViewportTableRecord", handleOf(m_impl->viewport),
                       vportTable);
            w.text(2, "*ACTIVE");
            w.integer(70, 0);
            AcGeVector3d dir = viewport->viewDirection();
            w.point(16, dir.x, dir.y, dir.z);
            w.real(40, 10.0);
            w.real(41, 1.0);
            writeXData(w, viewport);
        }
        w.text(0, "ENDTAB");

        std::uint64_t ltypeTable = role(L"TABLE:LTYPE");
        tableHead(w, "LTYPE", ltypeTable, 3);
        for (const wchar_t* name : {L"ByBlock", L"ByLayer", L"Continuous"}) {
            recordHead(w, "LTYPE", "AcDbLinetypeTableRecord", role(std::wstring(L"LTYPE:") + name),
                       ltypeTable);
            w.text(2, name);
            w.integer(70, 0);
            w.text(3, name == std::wstring(L"Continuous") ? "Solid line" : "");
            w.integer(72, 65);
            w.integer(73, 0);
            w.real(40, 0.0);
        }
        w.text(0, "ENDTAB");

        std::uint64_t layerTable = role(L"TABLE:LAYER");
        tableHead(w, "LAYER", layerTable, 1);
        recordHead(w, "LAYER", "AcDbLayerTableRecord", role(L"LAYER:0"), layerTable);
        w.text(2, "0");
        w.integer(70, 0);
        w.integer(62, 7);
        w.text(6, "Continuous");
        w.text(0, "ENDTAB");

        writeSymbolTable<AcDbTextStyleTableRecord>(w, "STYLE", "AcDbTextStyleTableRecord",
                                                   m_impl->textStyleTable,
                                                   [&](AcDbTextStyleTableRecord* style) {
                                                       w.integer(70, 0);
                                                       w.real(40, style->textSize());
                                                       w.real(41, 1.0);
                                                       w.real(50, 0.0);
                                                       w.integer(71, 0);
                                                       w.real(42, style->priorSize());
                                                       const ACHAR* file = L"";
                                                       style->fileName(file);
                                                       w.text(3, file);
                                                       w.text(4, "");
                                                   });

        writeSymbolTable<AcDbRegAppTableRecord>(w, "APPID", "AcDbRegAppTableRecord",
                                                m_impl->regAppTable,
                                                [&](AcDbRegAppTableRecord*) { w.integer(70, 0); });

        writeSymbolTable<AcDbBlockTableRecord>(
            w, "BLOCK_RECORD", "AcDbBlockTableRecord", m_impl->blockTable,
            [&](AcDbBlockTableRecord* record) {
                w.handle(340, record->data()->layout ? role(L"LAYOUT", record->objectId()) : 0);
                w.integer(70, 0);
                w.integer(280, 1);
                w.integer(281, 0);
            });
        w.text(0, "ENDSEC");
    }

    template <class Record, class F>
    void writeSymbolTable(Writer& w, const char* type, const char* subclass, AcDbObjectId tableId,
                          F body) {
        auto* table = peek<AcDbSymbolTable>(tableId);
        std::vector<Record*> records;
        if (table)
            for (int i = 0; i < table->count(); ++i)
                if (auto* record = peek<Record>(table->recordAt(i)))
                    records.push_back(record);
        tableHead(w, type,
                  table ? handleOf(tableId) : role(std::wstring(L"TABLE:") + lmhost::widen(type)),
                  static_cast<int>(records.size()));
        if (table)
            writeXData(w, table);
        for (Record* record : records) {
            Reading r(record);
            recordHead(w, type, subclass, handleOf(record->objectId()), handleOf(tableId));
            const ACHAR* name = L"";
            record->getName(name);
            w.text(2, name);
            body(record);
            writeXData(w, record);
        }
        w.text(0, "ENDTAB");
    }

    // ----------------------------------------------------------------------------------
    void writeBlocks(Writer& w) {
        w.text(0, "SECTION");
        w.text(2, "BLOCKS");
        forEachRecord([&](AcDbBlockTableRecord* record) {
            Reading r(record);
            AcDbObjectId id = record->objectId();
            bool paper = isPaper(record);
            const ACHAR* name = L"";
            record->getName(name);
            begin(w, "BLOCK", role(L"BLOCK", id), handleOf(id));
            w.text(100, "AcDbEntity");
            if (paper)
                w.integer(67, 1);
            w.text(8, "0");
            w.text(100, "AcDbBlockBegin");
            w.text(2, name);
            w.integer(70, record->isAnonymous() ? 1 : 0);
            AcGePoint3d origin = record->origin();
            w.point(10, origin.x, origin.y, origin.z);
            w.text(3, name);
            w.text(1, "");
            // The spaces' entities are written in the entities section.
            if (id != m_impl->modelSpace && id != m_impl->paperSpace)
                writeEntitiesOf(w, record, paper);
            begin(w, "ENDBLK", role(L"ENDBLK", id), handleOf(id));
            w.text(100, "AcDbEntity");
            if (paper)
                w.integer(67, 1);
            w.text(8, "0");
            w.text(100, "AcDbBlockEnd");
        });
        w.text(0, "ENDSEC");
    }

    void writeEntities(Writer& w) {
        w.text(0, "SECTION");
        w.text(2, "ENTITIES");
        if (auto* model = peek<AcDbBlockTableRecord>(m_impl->modelSpace))
            writeEntitiesOf(w, model, false);
        if (auto* paper = peek<AcDbBlockTableRecord>(m_impl->paperSpace))
            writeEntitiesOf(w, paper, true);
        w.text(0, "ENDSEC");
    }

    void writeEntitiesOf(Writer& w, AcDbBlockTableRecord* record, bool paper) {
        for (const AcDbObjectId& id : record->data()->entities) {
            auto* entity = peek<AcDbEntity>(id);
            if (!entity)
                continue;
            Reading r(entity);
            if (auto* table = AcDbTable::cast(entity))
                writeTable(w, table, paper);
            else if (auto* reference = AcDbBlockReference::cast(entity))
                writeInsert(w, reference, paper);
            else if (auto* line = AcDbLine::cast(entity))
                writeLine(w, line, paper);
        }
        // The viewports placed on a layout follow its entities, numbered from 2 (1 is the
        // paper itself, which the model does not keep).
        if (!paper)
            return;
        int number = 2;
        for (const AcDbObjectId& id : m_impl->layoutViewports) {
            auto* viewport = peek<AcDbViewport>(id);
            if (!viewport || id.isErased() || viewport->ownerId() != record->objectId())
                continue;
            Reading r(viewport);
            writeViewport(w, viewport, number++);
        }
    }

    void writeViewport(Writer& w, AcDbViewport* viewport, int number) {
        entityHead(w, "VIEWPORT", viewport, true);
        w.text(100, "AcDbViewport");
        w.point(10, 0.0, 0.0, 0.0);
        w.real(40, 1.0);
        w.real(41, 1.0);
        w.integer(68, 1);
        w.integer(69, number);
        AcGeVector3d direction = viewport->viewDirection();
        w.point(16, direction.x, direction.y, direction.z);
        writeXData(w, viewport);
    }

    void entityHead(Writer& w, const char* type, AcDbEntity* entity, bool paper) {
        begin(w, type, handleOf(entity->objectId()), handleOf(entity->ownerId()));
        w.text(100, "AcDbEntity");
        if (paper)
            w.integer(67, 1);
        w.text(8, "0");
    }

    void writeInsert(Writer& w, AcDbBlockReference* reference, bool paper) {
        entityHead(w, "INSERT", reference, paper);
        w.text(100, "AcDbBlockReference");
        w.text(2, recordName(blockOf(reference)));
        AcGePoint3d p = reference->position();
        w.point(10, p.x, p.y, p.z);
        w.real(50, stableDegrees(reference->rotation()));
        writeXData(w, reference);
    }

    void writeTable(Writer& w, AcDbTable* table, bool paper) {
        const AcDbTable::Data& d = *table->data();
        entityHead(w, "ACAD_TABLE", table, paper);
        w.text(100, "AcDbBlockReference");
        w.text(2, "");
        AcGePoint3d p = table->position();
        w.point(10, p.x, p.y, p.z);
        double degrees = stableDegrees(table->rotation());
        w.real(50, degrees);
        w.text(100, "AcDbTable");
        w.integer(280, 0);
        if (peek<AcDbTableStyle>(d.style))
            w.handle(342, handleOf(d.style));
        double angle = radiansFromDegrees(degrees);
        w.point(11, std::cos(angle), std::sin(angle), 0.0);
        w.integer(90, 0);
        w.integer(91, d.rows);
        w.integer(92, d.columns);
        w.integer(93, 0);
        w.integer(94, 0);
        w.integer(95, 0);
        w.integer(96, 0);
        for (double h : d.rowHeights)
            w.real(141, h);
        for (double c : d.columnWidths)
            w.real(142, c);
        w.integer(290, d.titleSuppressed ? 1 : 0);
        w.integer(291, d.headerSuppressed ? 1 : 0);
        for (const AcDbTable::Data::Cell& cell : d.cells) {
            w.integer(171, cell.type);
            w.integer(172, 0);
            w.integer(173, 0);
            w.integer(174, 0);
            w.integer(175, 1);
            w.integer(176, 1);
            w.integer(91, 0);
            w.integer(178, 0);
            w.real(145, 0.0);
            if (cell.textHeight > 0)
                w.real(140, cell.textHeight);
            if (!cell.style.empty())
                w.text(309, cell.style);
            w.text(1, cell.text);
        }
        writeXData(w, table);
    }

    void writeLine(Writer& w, AcDbLine* line, bool paper) {
        entityHead(w, "LINE", line, paper);
        w.text(100, "AcDbLine");
        AcGePoint3d a = line->startPoint(), b = line->endPoint();
        w.point(10, a.x, a.y, a.z);
        w.point(11, b.x, b.y, b.z);
        writeXData(w, line);
    }

    // ----------------------------------------------------------------------------------
    struct Entry {
        std::wstring name;
        std::uint64_t handle;
    };

    void dictionary(Writer& w, std::uint64_t handle, std::uint64_t owner,
                    const std::vector<Entry>& entries) {
        begin(w, "DICTIONARY", handle, owner);
        w.text(100, "AcDbDictionary");
        w.integer(281, 1);
        for (const Entry& e : entries) {
            w.text(3, e.name);
            w.handle(350, e.handle);
        }
    }

    static std::wstring layoutName(const std::wstring& recordName, int index) {
        if (_wcsicmp(recordName.c_str(), ACDB_MODEL_SPACE) == 0)
            return L"Model";
        return L"Layout" + std::to_wstring(index);
    }

    void writeObjects(Writer& w) {
        w.text(0, "SECTION");
        w.text(2, "OBJECTS");
        std::uint64_t root = role(L"DICTIONARY:root");
        std::uint64_t layouts = role(L"DICTIONARY:ACAD_LAYOUT");
        std::uint64_t styles = role(L"DICTIONARY:ACAD_TABLESTYLE");
        std::uint64_t parameters = role(L"DICTIONARY:LMESH_PARAMETERS");

        std::vector<AcDbStub*> tableStyles, networks, variables;
        for (AcDbStub* s : m_live) {
            AcRxClass* cls = s->object->isA();
            if (cls == AcDbTableStyle::desc())
                tableStyles.push_back(s);
            else if (cls == AcDbAssocNetwork::desc())
                networks.push_back(s);
        }

        dictionary(w, root, 0,
                   {{L"ACAD_LAYOUT", layouts},
                    {L"ACAD_TABLESTYLE", styles},
                    {L"LMESH_PARAMETERS", parameters}});

        struct Layout {
            AcDbBlockTableRecord* record;
            std::wstring name;
            std::uint64_t handle;
        };
        std::vector<Layout> layoutList;
        int paperIndex = 0;
        forEachRecord([&](AcDbBlockTableRecord* record) {
            if (!record->data()->layout)
                return;
            std::wstring name =
                layoutName(recordName(record->objectId()), isPaper(record) ? ++paperIndex : 0);
            layoutList.push_back({record, name, role(L"LAYOUT", record->objectId())});
        });
        std::vector<Entry> entries;
        for (const Layout& l : layoutList)
            entries.push_back({l.name, l.handle});
        dictionary(w, layouts, root, entries);

        entries.clear();
        for (AcDbStub* s : tableStyles)
            entries.push_back(
                {static_cast<AcDbTableStyle*>(s->object)->getName(), s->handle.value()});
        dictionary(w, styles, root, entries);

        entries.clear();
        for (AcDbStub* s : networks)
            if (s->object->ownerId().isNull())
                entries.push_back({L"N" + std::to_wstring(s->handle.value()), s->handle.value()});
        dictionary(w, parameters, root, entries);

        int tab = 0;
        for (const Layout& l : layoutList) {
            begin(w, "LAYOUT", l.handle, layouts);
            w.text(100, "AcDbPlotSettings");
            w.text(1, "");
            w.integer(70, 0);
            w.text(100, "AcDbLayout");
            w.text(1, l.name);
            w.integer(70, 1);
            w.integer(71, tab++);
            w.handle(330, handleOf(l.record->objectId()));
        }

        for (AcDbStub* s : tableStyles)
            writeTableStyle(w, static_cast<AcDbTableStyle*>(s->object), styles);

        // Which object and key each network belongs to.
        std::map<AcDbStub*, std::pair<AcDbStub*, std::wstring>> belongs;
        for (const auto& [key, id] : m_impl->networks)
            if (id.stub())
                belongs[id.stub()] = key;
        for (AcDbStub* s : networks)
            writeNetwork(w, static_cast<AcDbAssocNetwork*>(s->object), belongs[s], parameters);

        forEachRecord([&](AcDbBlockTableRecord* record) {
            if (!record->data()->properties.empty())
                writeBlockProperties(w, record);
        });
        forEachEntity([&](AcDbEntity* entity, bool) {
            auto* reference = AcDbBlockReference::cast(entity);
            if (reference && reference->dynamicValues())
                writePropertyValues(w, reference);
        });
        w.text(0, "ENDSEC");
    }

    void writeTableStyle(Writer& w, AcDbTableStyle* style, std::uint64_t owner) {
        Reading r(style);
        begin(w, "TABLESTYLE", handleOf(style->objectId()), owner);
        w.text(100, "AcDbTableStyle");
        w.integer(280, 0);
        w.text(3, "");
        w.integer(70, 0);
        w.integer(71, 0);
        w.real(40, 0.06);
        w.real(41, 0.06);
        w.integer(280, 0);
        w.integer(281, 0);
        for (AcDb::RowType type : kStyleRowOrder) {
            w.text(7, recordName(style->textStyle(type)));
            w.real(140, style->textHeight(type));
            w.integer(170, 1);
            w.integer(62, 0);
            w.integer(63, 7);
            w.integer(283, 0);
        }
        writeXData(w, style);
    }

    // The parameters and nested networks a network's entry lists. Parameters are written
    // only there, so the class section counts them from the same list.
    static std::vector<AcDbObjectId> listedActions(AcDbAssocNetwork* network) {
        Reading r(network);
        std::vector<AcDbObjectId> actions;
        const AcDbObjectIdArray& all = network->getActions();
        for (int i = 0; i < all.length(); ++i)
            if (peek<AcDbAssocVariable>(all[i]) || peek<AcDbAssocNetwork>(all[i]))
                actions.push_back(all[i]);
        return actions;
    }

    void writeNetwork(Writer& w, AcDbAssocNetwork* network,
                      const std::pair<AcDbStub*, std::wstring>& belongs, std::uint64_t dictionary) {
        Reading r(network);
        AcDbObjectId owner = network->ownerId();
        begin(w, kNetworkDxfName, handleOf(network->objectId()),
              owner.isNull() ? dictionary : handleOf(owner));
        w.text(100, kNetworkClassName);
        w.handle(331, belongs.first ? belongs.first->handle.value() : 0);
        w.text(1, belongs.second);
        std::vector<AcDbObjectId> actions = listedActions(network);
        w.integer(90, static_cast<std::int64_t>(actions.size()));
        for (const AcDbObjectId& id : actions)
            w.handle(360, handleOf(id));
        writeXData(w, network);
        for (const AcDbObjectId& id : actions)
            if (auto* variable = peek<AcDbAssocVariable>(id))
                writeParameter(w, variable);
    }

    void writeParameter(Writer& w, AcDbAssocVariable* variable) {
        Reading r(variable);
        begin(w, kParameterDxfName, handleOf(variable->objectId()), handleOf(variable->ownerId()));
        w.text(100, kParameterClassName);
        w.text(1, variable->name().kwszPtr());
        w.text(300, variable->expression().kwszPtr());
        w.text(301, variable->evaluatorId().kwszPtr());
        w.text(302, variable->description().kwszPtr());
        const AcDbEvalVariant& value = variable->value();
        w.real(40, value.restype == AcDb::kDxfReal ? value.resval.rreal : 0.0);
        w.integer(290, lmhost::isAngularVariable(variable->objectId()) ? 1 : 0);
        writeXData(w, variable);
    }

    void writeValue(Writer& w, const AcDbEvalVariant& v) {
        bool typed = v.restype == AcDb::kDxfReal || v.restype == AcDb::kDxfInt16 ||
                     v.restype == AcDb::kDxfInt32 || v.restype == AcDb::kDxfText ||
                     v.restype == AcDb::kDxfXCoord;
        w.integer(kValueTypeCode, typed ? v.restype : 0);
        switch (typed ? v.restype : 0) {
        case AcDb::kDxfReal:
            w.real(AcDb::kDxfReal, v.resval.rreal);
            break;
        case AcDb::kDxfInt16:
            w.integer(AcDb::kDxfInt16, v.resval.rint);
            break;
        case AcDb::kDxfInt32:
            w.integer(AcDb::kDxfInt32, v.resval.rlong);
            break;
        case AcDb::kDxfText:
            w.text(AcDb::kDxfText, v.resval.rstring ? v.resval.rstring : L"");
            break;
        case AcDb::kDxfXCoord:
            w.point(AcDb::kDxfXCoord, v.resval.rpoint[0], v.resval.rpoint[1], v.resval.rpoint[2]);
            break;
        default:
            break;
        }
    }

    void writeBlockProperties(Writer& w, AcDbBlockTableRecord* record) {
        const auto& properties = record->data()->properties;
        begin(w, kBlockPropertiesDxfName, role(L"PROPERTIES", record->objectId()),
              handleOf(record->objectId()));
        w.text(100, kBlockPropertiesClassName);
        w.integer(90, static_cast<std::int64_t>(properties.size()));
        for (const DynamicPropertyDefinition& p : properties) {
            w.text(300, p.name);
            w.integer(280, p.type);
            w.integer(281, p.units);
            w.integer(290, p.readOnly ? 1 : 0);
            w.integer(291, p.visible ? 1 : 0);
            w.text(301, p.description);
            writeValue(w, p.defaultValue);
            w.integer(292, p.minimum ? 1 : 0);
            if (p.minimum)
                w.real(141, *p.minimum);
            w.integer(293, p.maximum ? 1 : 0);
            if (p.maximum)
                w.real(142, *p.maximum);
            w.integer(91, static_cast<std::int64_t>(p.allowedValues.size()));
            for (const AcDbEvalVariant& v : p.allowedValues)
                writeValue(w, v);
        }
    }

    void writePropertyValues(Writer& w, AcDbBlockReference* reference) {
        const auto& values = reference->dynamicValues()->values;
        begin(w, kPropertyValuesDxfName, role(L"VALUES", reference->objectId()),
              handleOf(reference->objectId()));
        w.text(100, kPropertyValuesClassName);
        w.integer(90, static_cast<std::int64_t>(values.size()));
        for (const AcDbEvalVariant& v : values)
            writeValue(w, v);
    }

    AcDbDatabase::Impl* m_impl;
    std::vector<AcDbStub*> m_live;
    std::uint64_t m_roleNext = 1;
};

} // namespace

std::string writeDxf(AcDbDatabase* database) {
    return DxfWriter(database).write();
}

} // namespace drawing
