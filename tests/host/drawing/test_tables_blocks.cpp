// Tables (text, format codes, cell styles, hit test) and dynamic block properties (kinds,
// units, refusals, values per reference, nesting).
#include <gtest/gtest.h>

#include "dbapserv.h"
#include "dbdynblk.h"
#include "dbtable.h"
#include "drawing/Blocks.h"
#include "drawing/control/Editor.h"
#include "testkit/Transcript.h"

namespace {

class TableTest : public testkit::HostTest {
protected:
    AcDbDatabase* db() { return acdbHostApplicationServices()->workingDatabase(); }

    AcDbObjectId addTable(int rows, int columns, AcGePoint3d position = AcGePoint3d()) {
        auto* table = new AcDbTable;
        EXPECT_EQ(table->setSize(rows, columns), Acad::eOk);
        table->setPosition(position);
        AcDbObjectPointer<AcDbBlockTableRecord> space(db()->currentSpaceId(), AcDb::kForWrite);
        AcDbObjectId id;
        EXPECT_EQ(space->appendAcDbEntity(id, table), Acad::eOk);
        table->close();
        return id;
    }

    std::wstring plain(AcDbObjectId id, int row, int column) {
        AcDbObjectPointer<AcDbTable> table(id);
        AcString text;
        EXPECT_EQ(table->textString(row, column, AcValue::kIgnoreMtextFormat, text), Acad::eOk);
        return text.kwszPtr();
    }
};

TEST_F(TableTest, CellTextLosesItsFormatCodesOnlyWhenAsked) {
    AcDbObjectId id = addTable(3, 2);
    {
        AcDbObjectPointer<AcDbTable> table(id, AcDb::kForWrite);
        table->setTextString(1, 0, L"{\\fArial|b1|i0;\\H2x;12.5}");
        table->setTextString(1, 1, L"a\\Pb \\C1;red\\~\\S1/2; \\\\ \\{x\\}");
        table->setTextString(2, 0, L"\\LWidth\\l*2");
        EXPECT_EQ(table->setTextString(3, 0, L"x"), Acad::eInvalidInput);
        EXPECT_EQ(table->textString(1, 0), AcString(L"{\\fArial|b1|i0;\\H2x;12.5}"));
    }
    EXPECT_EQ(plain(id, 1, 0), L"12.5");
    EXPECT_EQ(plain(id, 1, 1), L"a\nb red\u00A01/2 \\ {x}");
    EXPECT_EQ(plain(id, 2, 0), L"Width*2");
    EXPECT_EQ(plain(id, 0, 0), L"");
    AcDbObjectPointer<AcDbTable> table(id);
    AcString text;
    EXPECT_EQ(table->textString(0, 2, AcValue::kIgnoreMtextFormat, text), Acad::eInvalidInput);
    EXPECT_EQ(table->textString(-1, 0, AcValue::kIgnoreMtextFormat, text), Acad::eInvalidInput);
    // A table opened for read refuses changes with a status.
    EXPECT_EQ(table->setTextString(0, 0, L"x"), Acad::eNotOpenForWrite);
}

TEST_F(TableTest, CellStylesFollowTheRowsUnlessSet) {
    AcDbObjectId id = addTable(4, 3);
    AcDbObjectPointer<AcDbTable> table(id, AcDb::kForWrite);
    EXPECT_EQ(table->cellStyle(0, 1), AcString(L"_TITLE"));
    EXPECT_EQ(table->cellStyle(1, 1), AcString(L"_HEADER"));
    EXPECT_EQ(table->cellStyle(3, 2), AcString(L"_DATA"));
    ASSERT_EQ(table->setCellStyle(0, -1, L"_DATA"), Acad::eOk);
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(table->cellStyle(0, c), AcString(L"_DATA"));
    EXPECT_EQ(table->setCellStyle(4, -1, L"_DATA"), Acad::eInvalidInput);
    table->suppressTitleRow(true);
    EXPECT_EQ(table->rowType(0), AcDb::kHeaderRow);
    EXPECT_EQ(table->cellStyle(1, 0), AcString(L"_DATA"));
    EXPECT_EQ(table->setCellType(1, 1, AcDb::kTextCell), Acad::eOk);
    EXPECT_EQ(table->cellType(1, 1), AcDb::kTextCell);
    EXPECT_EQ(table->setNumRows(0), Acad::eInvalidInput);
    EXPECT_EQ(table->setSize(5000, 5000), Acad::eInvalidInput);
    EXPECT_EQ(table->numRows(), 4);
    EXPECT_EQ(table->ownerId(), db()->currentSpaceId());
}

TEST_F(TableTest, HitTestFindsTheCellUnderThePoint) {
    AcDbObjectId id = addTable(3, 2, AcGePoint3d(10, 10, 0));
    AcDbObjectPointer<AcDbTable> table(id, AcDb::kForWrite);
    table->setRowHeight(1.0);
    table->setColumnWidth(0, 2.0);
    table->setColumnWidth(1, 3.0);
    int row = -1, column = -1;
    // Rows go down from the position, columns to the right.
    ASSERT_TRUE(table->hitTest(AcGePoint3d(13, 7.5, 0), AcGeVector3d::kZAxis, 0, 0, row, column));
    EXPECT_EQ(row, 2);
    EXPECT_EQ(column, 1);
    // A point above the plane is seen along the view direction.
    ASSERT_TRUE(
        table->hitTest(AcGePoint3d(10.5, 9.5, 50), AcGeVector3d(0, 0, 1), 0, 0, row, column));
    EXPECT_EQ(row, 0);
    EXPECT_EQ(column, 0);
    ASSERT_TRUE(table->hitTest(AcGePoint3d(8, 9.5, -5), AcGeVector3d(1, 0, 1), 0, 0, row, column));
    EXPECT_EQ(column, 1);
    EXPECT_FALSE(table->hitTest(AcGePoint3d(16, 9, 0), AcGeVector3d::kZAxis, 0, 0, row, column));
    EXPECT_FALSE(table->hitTest(AcGePoint3d(11, 9, 0), AcGeVector3d::kXAxis, 0, 0, row, column));
    EXPECT_TRUE(table->hitTest(AcGePoint3d(15.2, 9, 0), AcGeVector3d::kZAxis, 0.5, 0, row, column));
}

TEST_F(TableTest, TextHeightsComeFromTheStyles) {
    AcDbObjectPointer<AcDbTableStyle> style(db()->tablestyle(), AcDb::kForWrite);
    ASSERT_EQ(style.openStatus(), Acad::eOk);
    EXPECT_GT(style->textHeight(AcDb::kDataRow), 0);
    EXPECT_EQ(style->setTextHeight(0.35, AcDb::kDataRow), Acad::eOk);
    EXPECT_EQ(style->setTextHeight(-1, AcDb::kDataRow), Acad::eInvalidInput);
    EXPECT_DOUBLE_EQ(style->textHeight(AcDb::kDataRow), 0.35);
    style.close();
    AcDbObjectPointer<AcDbTextStyleTableRecord> text(db()->textstyle());
    ASSERT_EQ(text.openStatus(), Acad::eOk);
    EXPECT_DOUBLE_EQ(text->textSize(), 0.0);
    EXPECT_DOUBLE_EQ(db()->textsize(), 0.2);
    EXPECT_EQ(db()->setTextsize(0), Acad::eInvalidInput);
    EXPECT_EQ(db()->setTablestyle(db()->textstyle()), Acad::eWrongObjectType);
}

// ---------------------------------------------------------------------------------------

class DynamicBlockTest : public TableTest {
protected:
    void SetUp() override {
        TableTest::SetUp();
        using P = AcDbDynBlockReferenceProperty;
        ASSERT_EQ(drawing::addBlockDefinition(db(), L"Door", door), Acad::eOk);
        add(def(L"Width", AcDb::kDwgReal, P::kDistance, AcDbEvalVariant(1.0)), 0.5, 3.0);
        add(def(L"Angle", AcDb::kDwgReal, P::kAngular, AcDbEvalVariant(0.0)));
        add(def(L"Count", AcDb::kDwgInt16, P::kNoUnits, AcDbEvalVariant(short(2))));
        add(def(L"Serial", AcDb::kDwgInt32, P::kNoUnits, AcDbEvalVariant(Adesk::Int32(7))));
        add(def(L"Label", AcDb::kDwgText, P::kNoUnits, AcDbEvalVariant(L"A")));
        drawing::DynamicPropertyDefinition fixed =
            def(L"Area", AcDb::kDwgReal, P::kArea, AcDbEvalVariant(2.0));
        fixed.readOnly = true;
        ASSERT_EQ(drawing::addDynamicProperty(door, fixed), Acad::eOk);
        drawing::DynamicPropertyDefinition lookup =
            def(L"Size", AcDb::kDwgText, P::kNoUnits, AcDbEvalVariant(L"S"));
        lookup.allowedValues = {AcDbEvalVariant(L"S"), AcDbEvalVariant(L"M")};
        ASSERT_EQ(drawing::addDynamicProperty(door, lookup), Acad::eOk);
        ASSERT_EQ(drawing::addBlockDefinition(db(), L"Plain", plainBlock), Acad::eOk);
    }
    static drawing::DynamicPropertyDefinition def(const wchar_t* name, AcDb::DwgDataType type,
                                                  AcDbDynBlockReferenceProperty::UnitsType units,
                                                  const AcDbEvalVariant& value) {
        drawing::DynamicPropertyDefinition d;
        d.name = name;
        d.type = type;
        d.units = units;
        d.defaultValue = value;
        return d;
    }
    void add(drawing::DynamicPropertyDefinition d, std::optional<double> low = {},
             std::optional<double> high = {}) {
        d.minimum = low;
        d.maximum = high;
        ASSERT_EQ(drawing::addDynamicProperty(door, d), Acad::eOk);
    }
    AcDbObjectId insert(AcDbObjectId owner, AcDbObjectId block) {
        AcDbObjectId id;
        EXPECT_EQ(drawing::insertBlock(owner, block, AcGePoint3d(), id), Acad::eOk);
        return id;
    }
    AcDbDynBlockReferenceProperty property(AcDbObjectId reference, const wchar_t* name) {
        AcDbDynBlockReferencePropertyArray properties;
        AcDbDynBlockReference(reference).getBlockProperties(properties);
        for (int i = 0; i < properties.length(); ++i)
            if (properties[i].propertyName() == name)
                return properties[i];
        ADD_FAILURE() << "no property";
        return {};
    }
    AcDbObjectId door, plainBlock;
};

TEST_F(DynamicBlockTest, PropertiesComeInDefinitionOrderWithTheirKinds) {
    AcDbObjectId ref = insert(db()->currentSpaceId(), door);
    AcDbDynBlockReference dyn(ref);
    ASSERT_TRUE(dyn.isDynamicBlock());
    EXPECT_EQ(dyn.dynamicBlockTableRecord(), door);
    AcDbDynBlockReferencePropertyArray properties;
    dyn.getBlockProperties(properties);
    ASSERT_EQ(properties.length(), 7);
    EXPECT_EQ(properties[0].propertyName(), AcString(L"Width"));
    EXPECT_EQ(properties[0].propertyType(), AcDb::kDwgReal);
    EXPECT_EQ(properties[0].unitsType(), AcDbDynBlockReferenceProperty::kDistance);
    EXPECT_EQ(properties[1].unitsType(), AcDbDynBlockReferenceProperty::kAngular);
    EXPECT_EQ(properties[2].value().restype, 70);
    EXPECT_EQ(properties[3].value().restype, 90);
    EXPECT_EQ(properties[4].value().restype, 1);
    EXPECT_EQ(properties[0].value().restype, 40);
    EXPECT_TRUE(properties[5].readOnly());
    AcDbObjectId plain = insert(db()->currentSpaceId(), plainBlock);
    AcDbDynBlockReference notDynamic(plain);
    EXPECT_FALSE(notDynamic.isDynamicBlock());
    EXPECT_TRUE(notDynamic.dynamicBlockTableRecord().isNull());
    notDynamic.getBlockProperties(properties);
    EXPECT_EQ(properties.length(), 0);
}

TEST_F(DynamicBlockTest, SetValueRefusesWhatThePropertyCannotTake) {
    AcDbObjectId ref = insert(db()->currentSpaceId(), door);
    EXPECT_EQ(property(ref, L"Width").setValue(AcDbEvalVariant(short(2))), Acad::eInvalidInput);
    EXPECT_EQ(property(ref, L"Width").setValue(AcDbEvalVariant(L"2")), Acad::eInvalidInput);
    EXPECT_EQ(property(ref, L"Width").setValue(AcDbEvalVariant(3.5)),
              Acad::eBadDynBlockPropertyValue);
    EXPECT_EQ(property(ref, L"Count").setValue(AcDbEvalVariant(2.0)), Acad::eInvalidInput);
    EXPECT_EQ(property(ref, L"Serial").setValue(AcDbEvalVariant(short(1))), Acad::eInvalidInput);
    EXPECT_EQ(property(ref, L"Area").setValue(AcDbEvalVariant(3.0)), Acad::eReadOnlyProperty);
    EXPECT_EQ(property(ref, L"Size").setValue(AcDbEvalVariant(L"XL")),
              Acad::eBadDynBlockPropertyValue);
    EXPECT_DOUBLE_EQ(property(ref, L"Width").value().resval.rreal, 1.0);
    EXPECT_EQ(property(ref, L"Size").setValue(AcDbEvalVariant(L"M")), Acad::eOk);
    EXPECT_EQ(property(ref, L"Count").setValue(AcDbEvalVariant(short(-3))), Acad::eOk);
    EXPECT_EQ(property(ref, L"Count").value().resval.rint, -3);
    AcDbDynBlockReferenceProperty label = property(ref, L"Label");
    {
        AcDbObjectPointer<AcDbEntity> erasing(ref, AcDb::kForWrite);
        erasing->erase();
    }
    EXPECT_EQ(label.setValue(AcDbEvalVariant(L"B")), Acad::eWasErased);
    EXPECT_FALSE(AcDbDynBlockReference(ref).isDynamicBlock());
}

TEST_F(DynamicBlockTest, EachReferenceKeepsItsOwnValuesAlsoWhenNested) {
    AcDbObjectId first = insert(db()->currentSpaceId(), door);
    AcDbObjectId second = insert(db()->currentSpaceId(), door);
    AcDbObjectId frame;
    ASSERT_EQ(drawing::addBlockDefinition(db(), L"Frame", frame), Acad::eOk);
    AcDbObjectId nested = insert(frame, door);
    AcDbObjectId outer = insert(db()->currentSpaceId(), frame);
    {
        // Changed through a read open of the reference, as the update does.
        AcDbObjectPointer<AcDbBlockReference> reading(first);
        EXPECT_EQ(property(first, L"Width").setValue(AcDbEvalVariant(2.5)), Acad::eOk);
    }
    EXPECT_EQ(property(nested, L"Label").setValue(AcDbEvalVariant(L"inner")), Acad::eOk);
    EXPECT_DOUBLE_EQ(property(first, L"Width").value().resval.rreal, 2.5);
    EXPECT_DOUBLE_EQ(property(second, L"Width").value().resval.rreal, 1.0);
    EXPECT_STREQ(property(nested, L"Label").value().resval.rstring, L"inner");
    EXPECT_EQ(nested.objectClass(), AcDbBlockReference::desc());
    {
        AcDbObjectPointer<AcDbBlockReference> n(nested);
        EXPECT_EQ(n->ownerId(), frame);
        AcDbObjectPointer<AcDbBlockReference> o(outer);
        EXPECT_EQ(o->blockTableRecord(), frame);
    }
    EXPECT_FALSE(AcDbDynBlockReference(outer).isDynamicBlock());
    // The references inside a definition are found through it.
    AcDbObjectPointer<AcDbBlockTableRecord> record(frame);
    AcDbBlockTableRecordIterator* it = nullptr;
    ASSERT_EQ(record->newIterator(it), Acad::eOk);
    AcDbObjectId found;
    ASSERT_FALSE(it->done());
    it->getEntityId(found);
    EXPECT_EQ(found, nested);
    it->step();
    EXPECT_TRUE(it->done());
    delete it;
}

} // namespace
