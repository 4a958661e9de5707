#include "DxfDrawing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

#include "AcDbAssocNetwork.h"
#include "AcDbAssocVariable.h"
#include "acutads.h"
#include "dbapserv.h"
#include "dbdynblk.h"
#include "dbtable.h"
#include "drawing/Blocks.h"
#include "drawing/Tables.h"
#include "sdk/Database.h"
#include "sdk/ResultBuffers.h"
#include "drawing/control/Editor.h"

namespace dxftest {

namespace {

void regApp(AcDbDatabase* db, const wchar_t* name) {
    AcDbObjectPointer<AcDbRegAppTable> table(db->regAppTableId(), AcDb::kForWrite);
    if (table->has(name))
        return;
    auto* record = new AcDbRegAppTableRecord;
    record->setName(name);
    ASSERT_EQ(table->add(record), Acad::eOk);
    record->close();
}

void setXData(AcDbObjectId id, resbuf* chain) {
    AcDbObjectPointer<AcDbObject> object(id, AcDb::kForWrite);
    EXPECT_EQ(object->setXData(chain), Acad::eOk);
    acutRelRb(chain);
}

AcDbObjectId addParameter(AcDbDatabase* db, AcDbObjectId space, const wchar_t* name,
                          const wchar_t* expression, double value,
                          const wchar_t* description = L"") {
    AcDbObjectId networkId = AcDbAssocNetwork::getInstanceFromObject(space, true, true, L"");
    auto* variable = new AcDbAssocVariable;
    AcDbObjectId id;
    EXPECT_EQ(db->addAcDbObject(id, variable), Acad::eOk);
    variable->close();
    {
        AcDbObjectPointer<AcDbAssocNetwork> network(networkId, AcDb::kForWrite);
        EXPECT_EQ(network->addAction(id, true), Acad::eOk);
    }
    AcDbObjectPointer<AcDbAssocVariable> v(id, AcDb::kForWrite);
    if (*name) {
        EXPECT_EQ(v->setName(name, true), Acad::eOk);
    }
    EXPECT_EQ(v->setValue(AcDbEvalVariant(value)), Acad::eOk);
    if (*expression) {
        AcString error;
        EXPECT_EQ(v->setExpression(expression, L"", true, true, error), Acad::eOk) << error.str();
    }
    v->setDescription(description);
    return id;
}

AcDbObjectId addTable(AcDbObjectId space, int rows, int columns, const AcGePoint3d& at) {
    auto* table = new AcDbTable;
    EXPECT_EQ(table->setSize(rows, columns), Acad::eOk);
    table->setPosition(at);
    AcDbObjectPointer<AcDbBlockTableRecord> record(space, AcDb::kForWrite);
    AcDbObjectId id;
    EXPECT_EQ(record->appendAcDbEntity(id, table), Acad::eOk);
    table->close();
    return id;
}

drawing::DynamicPropertyDefinition property(const wchar_t* name, AcDb::DwgDataType type,
                                            AcDbEvalVariant value) {
    drawing::DynamicPropertyDefinition p;
    p.name = name;
    p.type = type;
    p.defaultValue = value;
    return p;
}

std::wstring number(double v) {
    std::wostringstream out;
    out.precision(17);
    out << v;
    return out.str();
}

std::wstring valueText(const AcDbEvalVariant& v) {
    switch (v.restype) {
    case AcDb::kDxfReal:
        return L"real " + number(v.resval.rreal);
    case AcDb::kDxfInt16:
        return L"int16 " + std::to_wstring(v.resval.rint);
    case AcDb::kDxfInt32:
        return L"int32 " + std::to_wstring(v.resval.rlong);
    case AcDb::kDxfText:
        return L"text \"" + std::wstring(v.resval.rstring) + L"\"";
    case AcDb::kDxfXCoord:
        return L"point " + number(v.resval.rpoint[0]) + L"," + number(v.resval.rpoint[1]) + L"," +
               number(v.resval.rpoint[2]);
    default:
        return L"none";
    }
}

std::wstring handleText(AcDbObjectId id) {
    return std::to_wstring(id.handle().value());
}

std::wstring pointText(const AcGePoint3d& p) {
    return number(p.x) + L"," + number(p.y) + L"," + number(p.z);
}

std::wstring xdataText(const AcDbObject* object) {
    std::wstring out;
    resbuf* chain = object->xData(nullptr);
    for (const resbuf* rb = chain; rb; rb = rb->rbnext) {
        out += L" [" + std::to_wstring(rb->restype) + L" ";
        switch (lmhost::resbufKind(rb->restype)) {
        case lmhost::ResbufKind::Text:
            out += rb->resval.rstring;
            break;
        case lmhost::ResbufKind::Binary:
            for (int i = 0; i < rb->resval.rbinary.clen; ++i)
                out +=
                    std::to_wstring(static_cast<unsigned char>(rb->resval.rbinary.buf[i])) + L".";
            break;
        case lmhost::ResbufKind::Point:
            out += number(rb->resval.rpoint[0]) + L"," + number(rb->resval.rpoint[1]) + L"," +
                   number(rb->resval.rpoint[2]);
            break;
        case lmhost::ResbufKind::Real:
            out += number(rb->resval.rreal);
            break;
        case lmhost::ResbufKind::Short:
            out += std::to_wstring(rb->resval.rint);
            break;
        default:
            out += std::to_wstring(rb->resval.rlong);
            break;
        }
        out += L"]";
    }
    acutRelRb(chain);
    return out;
}

} // namespace

void buildRichDrawing(AcDbDatabase* db) {
    AcDbObjectId model = lmhost::modelSpaceId(db), paper = lmhost::paperSpaceId(db);
    AcDbObjectId layout;
    ASSERT_EQ(drawing::addLayout(db, layout), Acad::eOk);
    AcDbDatabase* previous = acdbHostApplicationServices()->workingDatabase();
    acdbHostApplicationServices()->setWorkingDatabase(db);
    regApp(db, L"LMESH_EXPRESSION_AD66626A");
    regApp(db, L"LMESH_EXPRESSION_368AE0D");
    regApp(db, L"OTHER^APP");
    acdbHostApplicationServices()->setWorkingDatabase(previous);

    // A second text style and a table style that uses it for titles.
    AcDbObjectId narrow;
    {
        AcDbObjectPointer<AcDbTextStyleTable> styles(db->textStyleTableId(), AcDb::kForWrite);
        auto* style = new AcDbTextStyleTableRecord;
        style->setName(L"Narrow");
        style->setTextSize(0.35);
        style->setPriorSize(0.125);
        style->setFileName(L"romans.shx");
        ASSERT_EQ(styles->add(narrow, style), Acad::eOk);
        style->close();
    }
    AcDbObjectId tableStyle;
    {
        auto* style = new AcDbTableStyle;
        style->setName(L"Schedule");
        style->setTextHeight(0.4, AcDb::kTitleRow);
        style->setTextHeight(0.3, AcDb::kHeaderRow | AcDb::kDataRow);
        style->setTextStyle(narrow, AcDb::kTitleRow);
        style->setTextStyle(db->textstyle(), AcDb::kHeaderRow | AcDb::kDataRow);
        ASSERT_EQ(db->addAcDbObject(tableStyle, style), Acad::eOk);
        style->close();
    }
    db->setTextsize(0.25);
    db->setTextstyle(narrow);
    db->setUcs(AcGePoint3d(10, 20, 0), AcGeVector3d(0, 1, 0), AcGeVector3d(-1, 0, 0));

    // Tables.
    AcDbObjectId table = addTable(model, 4, 3, AcGePoint3d(100, 50, 0));
    {
        AcDbObjectPointer<AcDbTable> t(table, AcDb::kForWrite);
        t->setTableStyle(tableStyle);
        t->setTextString(0, 0, L"Door schedule");
        t->setTextString(1, 0, L"Width");
        t->setTextString(1, 1, L"{\\fArial|b1;\\H2x;Height}");
        t->setTextString(2, 0, L"900");
        t->setTextString(2, 1, L"a^b \n\t line\\Pnext \u00e9\u4e2d");
        t->setTextString(3, 2, std::wstring(600, L'x').c_str());
        t->setRowHeight(2, 1.25);
        t->setColumnWidth(1, 4.5);
        t->setCellStyle(3, -1, L"_HEADER");
        t->setTextHeight(2, 0, 0.6);
        t->setCellType(3, 0, AcDb::kBlockCell);
        t->setRotation(0.5);
    }
    AcDbObjectId small = addTable(paper, 2, 2, AcGePoint3d(1, 2, 3));
    {
        AcDbObjectPointer<AcDbTable> t(small, AcDb::kForWrite);
        t->suppressTitleRow(true);
        t->setTextString(0, 1, L"B1");
    }

    // Blocks: a dynamic door with a plain frame nested in it, and a window in the layout.
    AcDbObjectId door, frame, window;
    ASSERT_EQ(drawing::addBlockDefinition(db, L"Door", door), Acad::eOk);
    ASSERT_EQ(drawing::addBlockDefinition(db, L"Frame", frame), Acad::eOk);
    ASSERT_EQ(drawing::addBlockDefinition(db, L"Window", window), Acad::eOk);
    {
        AcDbObjectPointer<AcDbBlockTableRecord> record(door, AcDb::kForWrite);
        record->setOrigin(AcGePoint3d(0.5, 0.25, 0));
    }
    auto width = property(L"Width", AcDb::kDwgReal, AcDbEvalVariant(900.0));
    width.units = AcDbDynBlockReferenceProperty::kDistance;
    width.minimum = 600.0;
    width.maximum = 1200.0;
    width.description = L"Leaf width";
    ASSERT_EQ(drawing::addDynamicProperty(door, width), Acad::eOk);
    auto leaves = property(L"Leaves", AcDb::kDwgInt16, AcDbEvalVariant(short(1)));
    leaves.allowedValues = {AcDbEvalVariant(short(1)), AcDbEvalVariant(short(2))};
    ASSERT_EQ(drawing::addDynamicProperty(door, leaves), Acad::eOk);
    ASSERT_EQ(drawing::addDynamicProperty(
                  door, property(L"Count", AcDb::kDwgInt32, AcDbEvalVariant(Adesk::Int32(70000)))),
              Acad::eOk);
    auto finish = property(L"Finish", AcDb::kDwgText, AcDbEvalVariant(L"Oak"));
    finish.allowedValues = {AcDbEvalVariant(L"Oak"), AcDbEvalVariant(L"Painted white")};
    ASSERT_EQ(drawing::addDynamicProperty(door, finish), Acad::eOk);
    auto origin = property(L"Origin", AcDb::kDwg3Real, AcDbEvalVariant(AcGePoint3d(1, 2, 3)));
    origin.readOnly = true;
    origin.visible = false;
    ASSERT_EQ(drawing::addDynamicProperty(door, origin), Acad::eOk);
    auto angle = property(L"Angle", AcDb::kDwgReal, AcDbEvalVariant(0.25));
    angle.units = AcDbDynBlockReferenceProperty::kAngular;
    ASSERT_EQ(drawing::addDynamicProperty(door, angle), Acad::eOk);
    ASSERT_EQ(drawing::addDynamicProperty(
                  window, property(L"Height", AcDb::kDwgReal, AcDbEvalVariant(1.5))),
              Acad::eOk);

    AcDbObjectId nested, doorRef, plainRef, windowRef, untouched;
    ASSERT_EQ(drawing::insertBlock(door, frame, AcGePoint3d(0, 0, 0), nested), Acad::eOk);
    ASSERT_EQ(drawing::insertBlock(model, door, AcGePoint3d(5, 6, 0), doorRef), Acad::eOk);
    ASSERT_EQ(drawing::insertBlock(model, door, AcGePoint3d(9, 6, 0), untouched), Acad::eOk);
    ASSERT_EQ(drawing::insertBlock(model, frame, AcGePoint3d(-1, -2, 0), plainRef), Acad::eOk);
    ASSERT_EQ(drawing::insertBlock(layout, window, AcGePoint3d(3, 3, 0), windowRef), Acad::eOk);
    {
        AcDbObjectPointer<AcDbBlockReference> reference(doorRef, AcDb::kForWrite);
        reference->setRotation(1.5707963267948966);
    }
    AcDbDynBlockReference dynamic(doorRef);
    AcDbDynBlockReferencePropertyArray props;
    dynamic.getBlockProperties(props);
    ASSERT_EQ(props.length(), 6);
    EXPECT_EQ(props[0].setValue(AcDbEvalVariant(1000.5)), Acad::eOk);
    EXPECT_EQ(props[1].setValue(AcDbEvalVariant(short(2))), Acad::eOk);
    EXPECT_EQ(props[3].setValue(AcDbEvalVariant(L"Painted white")), Acad::eOk);

    // A line and xdata of every kind.
    {
        AcDbObjectPointer<AcDbBlockTableRecord> record(model, AcDb::kForWrite);
        auto* line = new AcDbLine(AcGePoint3d(0, 0, 0), AcGePoint3d(3.5, 1e-7, -2));
        ASSERT_EQ(record->appendAcDbEntity(line), Acad::eOk);
        line->close();
    }
    static const ads_real p1[3] = {1, 2, 3}, p2[3] = {-4, 5.5, 0};
    resbuf* all = acutBuildList(1001, L"OTHER^APP", 1000, L"text ^ with\tcontrol\x1D", 1002, L"{",
                                1070, 12, 1071, 123456, 1040, 2.5, 1041, 1e-300, 1002, L"}", 1003,
                                L"0", 1005, L"1F", 1010, p1, 1011, p2, 0);
    if (all) {
        resbuf* last = all;
        while (last->rbnext)
            last = last->rbnext;
        last->rbnext = acutNewRb(1004);
        last->rbnext->resval.rbinary.clen = 3;
        last->rbnext->resval.rbinary.buf = static_cast<char*>(std::malloc(3));
        std::memcpy(last->rbnext->resval.rbinary.buf, "\x00\xFF\x10", 3);
    }
    setXData(plainRef, all);
    setXData(doorRef, acutBuildList(1001, L"LMESH_EXPRESSION_368AE0D", 1000, L"Width:Sizes!B2",
                                    1000, L"Frame\x1DWidth:Sizes!B3", 0));
    setXData(table, acutBuildList(1001, L"OTHER^APP", 1000, L"on a table", 0));

    // Parameters: model space with a forward reference, an unnamed one, and the layout's own.
    AcDbObjectId a = addParameter(db, model, L"a", L"", 2, L"first");
    AcDbObjectId b = addParameter(db, model, L"b", L"a*3+1", 7);
    addParameter(db, model, L"", L"", 42);
    addParameter(db, model, L"c", L"b/2", 3.5, L"half of b");
    addParameter(db, model, L"d", L"", 5);
    {
        // A reference to a parameter made later.
        AcDbObjectPointer<AcDbAssocVariable> v(a, AcDb::kForWrite);
        AcString error;
        EXPECT_EQ(v->setExpression(L"d - 3", L"", true, true, error), Acad::eOk) << error.str();
    }
    setXData(b, acutBuildList(1001, L"LMESH_EXPRESSION_AD66626A", 1000, L"Sizes!C4", 0));
    addParameter(db, layout, L"Gap", L"12.5", 12.5);
    AcDbObjectId margin = addParameter(db, paper, L"Margin", L"45", 45);
    lmhost::setAngularVariable(margin, true);

    // Viewports on both layouts, looking at the model from their own directions.
    AcDbObjectId viewport;
    ASSERT_EQ(lmhost::addLayoutViewport(db, paper, AcGeVector3d(1, -1, 1), viewport), Acad::eOk);
    ASSERT_EQ(lmhost::addLayoutViewport(db, layout, AcGeVector3d(0, 0, 1), viewport), Acad::eOk);
    ASSERT_EQ(lmhost::addLayoutViewport(db, layout, AcGeVector3d(-2, 0, 0.5), viewport), Acad::eOk);
}

void buildLargeDrawing(AcDbDatabase* db, int parameters, int references, int cells) {
    AcDbObjectId model = lmhost::modelSpaceId(db);
    AcDbDatabase* previous = acdbHostApplicationServices()->workingDatabase();
    acdbHostApplicationServices()->setWorkingDatabase(db);
    regApp(db, L"LMESH_EXPRESSION_AD66626A");
    acdbHostApplicationServices()->setWorkingDatabase(previous);
    // Links as the plug-in stores them: the workbook beside the drawing, one row each.
    for (int i = 0; i < parameters; ++i) {
        std::wstring name = L"p" + std::to_wstring(i);
        AcDbObjectId id = addParameter(db, model, name.c_str(), std::to_wstring(i).c_str(), i);
        setXData(id, acutBuildList(1001, L"LMESH_EXPRESSION_AD66626A", 1000,
                                   (L"Sizes.xlsx*Sizes*$A$" + std::to_wstring(i + 1)).c_str(), 0));
    }
    AcDbObjectId door;
    drawing::addBlockDefinition(db, L"Door", door);
    drawing::addDynamicProperty(door, property(L"Width", AcDb::kDwgReal, AcDbEvalVariant(900.0)));
    drawing::addDynamicProperty(door, property(L"Finish", AcDb::kDwgText, AcDbEvalVariant(L"Oak")));
    for (int i = 0; i < references; ++i) {
        AcDbObjectId id;
        drawing::insertBlock(model, door, AcGePoint3d(i * 2.0, 0, 0), id);
        setXData(id, acutBuildList(
                         1001, L"LMESH_EXPRESSION_AD66626A", 1000,
                         (L"Width:Sizes.xlsx*Sizes*$B$" + std::to_wstring(i + 1)).c_str(), 1000,
                         (L"Finish:Sizes.xlsx*Sizes*$C$" + std::to_wstring(i + 1)).c_str(), 0));
    }
    int columns = 10;
    AcDbObjectId table = addTable(model, std::max(1, cells / columns), columns, AcGePoint3d());
    AcDbObjectPointer<AcDbTable> t(table, AcDb::kForWrite);
    for (int r = 0; r < t->numRows(); ++r)
        for (int c = 0; c < columns; ++c)
            t->setTextString(r, c, (L"R" + std::to_wstring(r) + L"C" + std::to_wstring(c)).c_str());
}

std::wstring describe(AcDbDatabase* db) {
    AcDbDatabase::Impl* impl = db->impl();
    std::wostringstream out;
    out << L"text size " << number(db->textsize()) << L", text style "
        << handleText(db->textstyle()) << L", table style " << handleText(db->tablestyle())
        << L", ucs " << pointText(db->ucsorg()) << L" "
        << pointText(AcGePoint3d::kOrigin + db->ucsxdir()) << L" "
        << pointText(AcGePoint3d::kOrigin + db->ucsydir()) << L"\n";
    out << L"tables " << handleText(db->blockTableId()) << L" " << handleText(db->regAppTableId())
        << L" " << handleText(db->textStyleTableId()) << L", model " << handleText(impl->modelSpace)
        << L", paper " << handleText(impl->paperSpace) << L", viewport "
        << handleText(impl->viewport) << L", top network " << handleText(impl->topLevelNetwork)
        << L"\n";
    std::vector<std::wstring> networks;
    for (const auto& [key, id] : impl->networks)
        networks.push_back(L"network of " +
                           (key.first ? std::to_wstring(key.first->handle.value()) : L"db") +
                           L" \"" + key.second + L"\" = " + handleText(id) + L"\n");
    std::sort(networks.begin(), networks.end());
    for (const std::wstring& n : networks)
        out << n;
    std::vector<AcDbStub*> stubs;
    for (auto& s : impl->stubs)
        if (s->object && !s->erased)
            stubs.push_back(s.get());
    std::sort(stubs.begin(), stubs.end(),
              [](AcDbStub* a, AcDbStub* b) { return a->handle < b->handle; });
    for (AcDbStub* s : stubs) {
        AcDbObject* object = s->object;
        AcDbObjectAccess::open(object, AcDb::kForRead);
        out << s->handle.value() << L" " << object->isA()->name() << L" owner "
            << handleText(object->ownerId());
        if (auto* record = AcDbSymbolTableRecord::cast(object)) {
            const ACHAR* name = L"";
            record->getName(name);
            out << L" \"" << name << L"\"";
        }
        if (auto* table = AcDbSymbolTable::cast(object)) {
            for (int i = 0; i < table->count(); ++i)
                out << L" " << handleText(table->recordAt(i));
        }
        if (auto* style = AcDbTextStyleTableRecord::cast(object)) {
            const ACHAR* file = L"";
            style->fileName(file);
            out << L" size " << number(style->textSize()) << L" prior "
                << number(style->priorSize()) << L" file " << file;
        }
        if (auto* record = AcDbBlockTableRecord::cast(object)) {
            out << L" layout " << record->isLayout() << L" origin " << pointText(record->origin())
                << L" entities";
            for (const AcDbObjectId& id : record->data()->entities)
                out << L" " << handleText(id);
            for (const auto& p : record->data()->properties) {
                out << L"\n  property " << p.name << L" " << p.type << L" " << p.units << L" ro "
                    << p.readOnly << L" vis " << p.visible << L" \"" << p.description << L"\" "
                    << valueText(p.defaultValue);
                if (p.minimum)
                    out << L" min " << number(*p.minimum);
                if (p.maximum)
                    out << L" max " << number(*p.maximum);
                for (const auto& v : p.allowedValues)
                    out << L" | " << valueText(v);
            }
        }
        if (auto* table = AcDbTable::cast(object)) {
            const AcDbTable::Data& d = *table->data();
            out << L" table " << d.rows << L"x" << d.columns << L" at "
                << pointText(table->position()) << L" rotation " << number(table->rotation())
                << L" style " << handleText(d.style) << L" suppressed " << d.titleSuppressed
                << d.headerSuppressed;
            for (double h : d.rowHeights)
                out << L" h" << number(h);
            for (double w : d.columnWidths)
                out << L" w" << number(w);
            for (const auto& c : d.cells)
                out << L"\n  cell " << c.type << L" \"" << c.text << L"\" style \"" << c.style
                    << L"\" height " << number(c.textHeight);
        } else if (auto* reference = AcDbBlockReference::cast(object)) {
            out << L" insert " << handleText(drawing::blockOf(reference)) << L" at "
                << pointText(reference->position()) << L" rotation "
                << number(reference->rotation());
            if (reference->dynamicValues())
                for (const auto& v : reference->dynamicValues()->values)
                    out << L" | " << valueText(v);
        }
        if (auto* line = AcDbLine::cast(object))
            out << L" line " << pointText(line->startPoint()) << L" "
                << pointText(line->endPoint());
        if (auto* style = AcDbTableStyle::cast(object))
            for (AcDb::RowType t : {AcDb::kDataRow, AcDb::kTitleRow, AcDb::kHeaderRow})
                out << L" " << style->getName() << L" " << number(style->textHeight(t)) << L" "
                    << handleText(style->textStyle(t));
        if (auto* viewport = AcDbViewport::cast(object))
            out << L" view " << pointText(AcGePoint3d::kOrigin + viewport->viewDirection());
        if (auto* network = AcDbAssocNetwork::cast(object)) {
            out << L" actions";
            for (int i = 0; i < network->getActions().length(); ++i)
                out << L" " << handleText(network->getActions()[i]);
        }
        if (auto* variable = AcDbAssocVariable::cast(object))
            out << L" parameter "
                << (lmhost::isAngularVariable(variable->objectId()) ? L"angular " : L"") << L"\""
                << variable->name().str() << L"\" = \"" << variable->expression().str() << L"\" = "
                << valueText(variable->value()) << L" \"" << variable->description().str() << L"\"";
        out << xdataText(object) << L"\n";
        object->close();
    }
    return out.str();
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

} // namespace dxftest
