// The update command's table half: parameters of the current space and properties of
// dynamic block references in every layout, direct and nested, follow their table cells.
#include <gtest/gtest.h>

#include <cmath>

#include "dbdynblk.h"
#include "drawing/Blocks.h"
#include "links/LinkDrawing.h"
#include "links/UpdateCommand.h"

using namespace linktest;

namespace {

using Property = drawing::DynamicPropertyDefinition;

Property
property(const wchar_t* name, AcDb::DwgDataType type, AcDbEvalVariant value,
         AcDbDynBlockReferenceProperty::UnitsType units = AcDbDynBlockReferenceProperty::kNoUnits,
         bool readOnly = false) {
    Property p;
    p.name = name;
    p.type = type;
    p.units = units;
    p.defaultValue = value;
    p.readOnly = readOnly;
    return p;
}

AcDbObjectId defineBlock(const wchar_t* name, const std::vector<Property>& properties) {
    AcDbObjectId id;
    EXPECT_EQ(drawing::addBlockDefinition(database(), name, id), Acad::eOk);
    for (const Property& p : properties)
        EXPECT_EQ(drawing::addDynamicProperty(id, p), Acad::eOk);
    return id;
}

AcDbObjectId insert(AcDbObjectId owner, AcDbObjectId block) {
    AcDbObjectId id;
    EXPECT_EQ(drawing::insertBlock(owner, block, AcGePoint3d(0, 0, 0), id), Acad::eOk);
    return id;
}

AcDbEvalVariant propertyValue(AcDbObjectId reference, const wchar_t* name) {
    AcDbDynBlockReference dynamic(reference);
    AcDbDynBlockReferencePropertyArray properties;
    dynamic.getBlockProperties(properties);
    for (int i = 0; i < properties.length(); ++i)
        if (properties[i].propertyName() == name)
            return properties[i].value();
    return AcDbEvalVariant();
}

double realValue(AcDbObjectId reference, const wchar_t* name) {
    double value = -12345.0;
    propertyValue(reference, name).getValue(value);
    return value;
}

std::wstring textValue(AcDbObjectId reference, const wchar_t* name) {
    AcString value(L"<none>");
    propertyValue(reference, name).getValue(value);
    return value.str();
}

class UpdateCommandTest : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        table = addTable(6, 3);
        editCell(table, 1, 1, L"250");
        editCell(table, 2, 1, L"Oak");
        editCell(table, 3, 1, L"45");
        editCell(table, 4, 1, L"7");
        pendingTables.setLogicalLength(0);
        lmhost::clearTranscript();
        lmhost::clearRegenRecord();
    }
    AcDbObjectId defineDoor() {
        return defineBlock(
            L"Door",
            {property(L"Width", AcDb::kDwgReal, 900.0, AcDbDynBlockReferenceProperty::kDistance),
             property(L"Finish", AcDb::kDwgText, L"Pine"),
             property(L"Swing", AcDb::kDwgReal, 0.0, AcDbDynBlockReferenceProperty::kAngular),
             property(L"Panels", AcDb::kDwgInt16, static_cast<short>(2)),
             property(L"Serial", AcDb::kDwgInt32, static_cast<Adesk::Int32>(1000))});
    }
    AcDbObjectId table;
};

TEST_F(UpdateCommandTest, DrawingWithoutLinksOnlyFinishes) {
    addParameter(L"Width", L"10");
    insert(database()->currentSpaceId(), defineDoor());
    updateLinkedParameters();
    EXPECT_EQ(commandLine(), L"\nFinish.");
    EXPECT_EQ(lmhost::regenCount(), 0);
}

// Both block walks (the table links here, then the collection of workbook links) free
// their selection set whatever acedSSGet answered; with no insert it answers an error.
TEST_F(UpdateCommandTest, SelectionSetIsFreedWithOrWithoutInserts) {
    addParameter(L"Width", L"10");
    updateLinkedParameters();
    EXPECT_EQ(lmhost::selectionSetFreeCalls(), 2);
    EXPECT_EQ(commandLine(), L"\nFinish.");

    insert(database()->currentSpaceId(), defineDoor());
    updateLinkedParameters();
    EXPECT_EQ(lmhost::selectionSetFreeCalls(), 4);
    EXPECT_EQ(lmhost::selectionSetsHeld(), 0);
}

TEST_F(UpdateCommandTest, ParametersAndTheirDependentsFollowCells) {
    AcDbObjectId width = addParameter(L"Width", L"100");
    AcDbObjectId height = addParameter(L"Height", L"Width*2");
    storeLink(width, kDirectLinkApp, tableLink(table, L"$B$2"));
    updateLinkedParameters();
    EXPECT_EQ(expressionOf(width), L"250");
    EXPECT_DOUBLE_EQ(valueOf(height), 500.0);
    EXPECT_EQ(commandLine(), L"\nFinish.");
    EXPECT_EQ(lmhost::regenCount(), 0);
}

TEST_F(UpdateCommandTest, AnotherSpellingOfTheSameNumberIsAChange) {
    AcDbObjectId width = addParameter(L"Width", L"250");
    editCell(table, 1, 1, L"250.0");
    storeLink(width, kDirectLinkApp, tableLink(table, L"$B$2"));
    updateLinkedParameters();
    EXPECT_EQ(expressionOf(width), L"250.0");
}

TEST_F(UpdateCommandTest, LinksThatAreNoResolvableTableCellsArePassedOver) {
    AcDbObjectId erasedTable = addTable(3, 3);
    AcDbObjectId unknown = addParameter(L"Unknown", L"1");
    AcDbObjectId lower = addParameter(L"Lower", L"2");
    AcDbObjectId plain = addParameter(L"Plain", L"3");
    AcDbObjectId gone = addParameter(L"Gone", L"4");
    storeLink(unknown, kDirectLinkApp, L"Table(FFFFF).$B$2");
    std::wstring lowerText = L"table(" + handleOf(table) + L").$B$2";
    storeLink(lower, kDirectLinkApp, CString(lowerText.c_str()));
    storeLink(plain, kDirectLinkApp, tableLink(table, L"B2"));
    storeLink(gone, kDirectLinkApp, tableLink(erasedTable, L"$A$1"));
    {
        AcDbObjectPointer<AcDbTable> erased(erasedTable, AcDb::kForWrite);
        ASSERT_EQ(erased->erase(), Acad::eOk);
    }
    updateLinkedParameters();
    EXPECT_EQ(expressionOf(unknown), L"1");
    EXPECT_EQ(expressionOf(lower), L"2");
    EXPECT_EQ(expressionOf(plain), L"3");
    EXPECT_EQ(expressionOf(gone), L"4");
    EXPECT_EQ(commandLine(),
              L"\nERROR: Could not translate handle to objectId (eUnknownHandle)\nFinish.");
}

TEST_F(UpdateCommandTest, RefusedTextsPassSilentlyAndFailedEvaluationsArePrinted) {
    AcDbObjectId a = addParameter(L"A", L"1");
    AcDbObjectId b = addParameter(L"B", L"A+1");
    AcDbObjectId c = addParameter(L"C", L"3");
    AcDbObjectId d = addParameter(L"D", L"4");
    editCell(table, 1, 2, L"B*2");
    editCell(table, 2, 2, L"1/0");
    editCell(table, 3, 2, L"2+*");
    storeLink(a, kDirectLinkApp, tableLink(table, L"$C$2"));
    storeLink(c, kDirectLinkApp, tableLink(table, L"$C$3"));
    storeLink(d, kDirectLinkApp, tableLink(table, L"$C$4"));
    updateLinkedParameters();
    EXPECT_EQ(expressionOf(a), L"1");
    EXPECT_EQ(expressionOf(b), L"A+1");
    EXPECT_EQ(expressionOf(c), L"1/0");
    EXPECT_DOUBLE_EQ(valueOf(c), 3.0);
    EXPECT_EQ(expressionOf(d), L"4");
    EXPECT_EQ(commandLine(), L"\neDivisionByZero.\nFinish.");
}

TEST_F(UpdateCommandTest, UnavailableFrameworkEndsTheTableRefreshSilently) {
    AcDbObjectId door = insert(database()->currentSpaceId(), defineDoor());
    storeLink(door, kDirectLinkApp, L"Width:" + tableLink(table, L"$B$2"));
    lmhost::setAssocFrameworkAvailable(false);
    updateLinkedParameters();
    lmhost::setAssocFrameworkAvailable(true);
    EXPECT_EQ(commandLine(), L"\nFinish.");
    EXPECT_DOUBLE_EQ(realValue(door, L"Width"), 900.0);
}

TEST_F(UpdateCommandTest, DirectPropertiesOfEveryKindFollowCells) {
    AcDbObjectId door = insert(database()->currentSpaceId(), defineDoor());
    storeLink(door, kDirectLinkApp, L"Width:" + tableLink(table, L"$B$2"));
    storeLink(door, kDirectLinkApp, L"finish:" + tableLink(table, L"$B$3"));
    storeLink(door, kDirectLinkApp, L"Swing:" + tableLink(table, L"$B$4"));
    storeLink(door, kDirectLinkApp, L"Panels:" + tableLink(table, L"$B$5"));
    storeLink(door, kDirectLinkApp, L"Serial:" + tableLink(table, L"$B$2"));
    storeLink(door, kDirectLinkApp, L"Missing:" + tableLink(table, L"$B$2"));
    updateLinkedParameters();
    EXPECT_DOUBLE_EQ(realValue(door, L"Width"), 250.0);
    EXPECT_EQ(textValue(door, L"Finish"), L"Oak");
    EXPECT_NEAR(realValue(door, L"Swing"), M_PI / 4, 1e-9);
    short panels = 0;
    propertyValue(door, L"Panels").getValue(panels);
    EXPECT_EQ(panels, 7);
    Adesk::Int32 serial = 0;
    propertyValue(door, L"Serial").getValue(serial);
    EXPECT_EQ(serial, 250);
    EXPECT_EQ(commandLine(), L"\nFinish.");
    EXPECT_EQ(lmhost::regenCount(), 0);
}

TEST_F(UpdateCommandTest, ReferencesInEveryLayoutAreRefreshed) {
    AcDbObjectId block = defineDoor();
    AcDbObjectId inLayout = insert(lmhost::paperSpaceId(database()), block);
    storeLink(inLayout, kDirectLinkApp, L"Width:" + tableLink(table, L"$B$2"));
    updateLinkedParameters();
    EXPECT_DOUBLE_EQ(realValue(inLayout, L"Width"), 250.0);
}

TEST_F(UpdateCommandTest, NestedPropertiesFollowCellsAndAskForARegenEveryRun) {
    AcDbObjectId door = defineDoor();
    AcDbObjectId frame = defineBlock(L"Frame", {});
    AcDbObjectId nested = insert(frame, door);
    AcDbObjectId outer = insert(database()->currentSpaceId(), frame);
    CString link = CString(handleOf(nested).c_str()) + kNestedSeparator + L"Width:" +
                   tableLink(table, L"$B$2");
    storeLink(outer, kNestedLinkApp, link);
    updateLinkedParameters();
    EXPECT_DOUBLE_EQ(realValue(nested, L"Width"), 250.0);
    EXPECT_EQ(lmhost::regenCount(), 1);
    updateLinkedParameters();
    EXPECT_EQ(lmhost::regenCount(), 2);
    EXPECT_EQ(commandLine(), L"\nFinish.\nFinish.");
}

TEST_F(UpdateCommandTest, NestedLinkWithoutHandleIsPassedOverButStillRegenerates) {
    AcDbObjectId door = defineDoor();
    AcDbObjectId outer = insert(database()->currentSpaceId(), door);
    storeLink(outer, kNestedLinkApp, L"Width:" + tableLink(table, L"$B$2"));
    updateLinkedParameters();
    EXPECT_DOUBLE_EQ(realValue(outer, L"Width"), 900.0);
    EXPECT_EQ(lmhost::regenCount(), 1);
}

TEST_F(UpdateCommandTest, PlainBlocksAndLinksWithoutSeparatorAreLeftAlone) {
    AcDbObjectId plain = defineBlock(L"Plain", {});
    AcDbObjectId reference = insert(database()->currentSpaceId(), plain);
    storeLink(reference, kDirectLinkApp, L"Width:" + tableLink(table, L"$B$2"));
    AcDbObjectId door = insert(database()->currentSpaceId(), defineDoor());
    storeLink(door, kDirectLinkApp, L":" + tableLink(table, L"$B$2"));
    storeLink(door, kDirectLinkApp, tableLink(table, L"$B$2"));
    updateLinkedParameters();
    EXPECT_DOUBLE_EQ(realValue(door, L"Width"), 900.0);
    EXPECT_EQ(commandLine(), L"\nFinish.");
}

// setBlockProperty is also what the workbook refresh writes with: its rules by value kind.
class SetBlockPropertyTest : public UpdateCommandTest {
protected:
    // A read-only property shows whether a write was tried: an unchanged value gives eOk
    // without one, a change gives the host's refusal.
    Acad::ErrorStatus set(std::vector<Property> properties, const wchar_t* name,
                          const wchar_t* text) {
        std::wstring blockName = L"B" + std::to_wstring(++m_blocks);
        AcDbObjectId block = defineBlock(blockName.c_str(), properties);
        reference = insert(database()->currentSpaceId(), block);
        AcDbDynBlockReference dynamic(reference);
        return setBlockProperty(dynamic, name, text);
    }
    AcDbObjectId reference;

private:
    int m_blocks = 0;
};

constexpr auto kReadOnly = true;
constexpr auto kNone = AcDbDynBlockReferenceProperty::kNoUnits;
constexpr auto kAngular = AcDbDynBlockReferenceProperty::kAngular;
constexpr auto kDistance = AcDbDynBlockReferenceProperty::kDistance;

TEST_F(SetBlockPropertyTest, TextComparesWithoutCase) {
    EXPECT_EQ(
        set({property(L"Finish", AcDb::kDwgText, L"Oak", kNone, kReadOnly)}, L"FINISH", L"OAK"),
        Acad::eOk);
    EXPECT_EQ(
        set({property(L"Finish", AcDb::kDwgText, L"Oak", kNone, kReadOnly)}, L"Finish", L"Ash"),
        Acad::eReadOnlyProperty);
    EXPECT_EQ(set({property(L"Finish", AcDb::kDwgText, L"Oak")}, L"Finish", L"Ash"), Acad::eOk);
    EXPECT_EQ(textValue(reference, L"Finish"), L"Ash");
}

TEST_F(SetBlockPropertyTest, RealComparesItsSixDigitText) {
    EXPECT_EQ(set({property(L"W", AcDb::kDwgReal, 0.0000001, kDistance, kReadOnly)}, L"W", L"0"),
              Acad::eOk);
    EXPECT_EQ(
        set({property(L"W", AcDb::kDwgReal, 1234.5678, kDistance, kReadOnly)}, L"W", L"1234.57"),
        Acad::eOk);
    EXPECT_EQ(
        set({property(L"W", AcDb::kDwgReal, 1234.5678, kDistance, kReadOnly)}, L"W", L"1234.5678"),
        Acad::eReadOnlyProperty);
    EXPECT_EQ(set({property(L"W", AcDb::kDwgReal, 1.0, kNone)}, L"W", L"2.5"), Acad::eOk);
    EXPECT_DOUBLE_EQ(realValue(reference, L"W"), 2.5);
}

TEST_F(SetBlockPropertyTest, RealThatIsNoDistanceTakesItsLeadingNumber) {
    EXPECT_EQ(set({property(L"W", AcDb::kDwgReal, 1.0, kDistance)}, L"W", L"12.5 wide"), Acad::eOk);
    EXPECT_DOUBLE_EQ(realValue(reference, L"W"), 12.5);
    EXPECT_EQ(set({property(L"W", AcDb::kDwgReal, 1.0, kDistance)}, L"W", L"wide"), Acad::eOk);
    EXPECT_DOUBLE_EQ(realValue(reference, L"W"), 0.0);
}

TEST_F(SetBlockPropertyTest, AngleComparesRadiansAndRefusedTextCountsAsZero) {
    EXPECT_EQ(set({property(L"A", AcDb::kDwgReal, M_PI / 2, kAngular, kReadOnly)}, L"A", L"90"),
              Acad::eOk);
    EXPECT_EQ(set({property(L"A", AcDb::kDwgReal, 0.0, kAngular, kReadOnly)}, L"A", L"north"),
              Acad::eOk);
    EXPECT_EQ(set({property(L"A", AcDb::kDwgReal, 1.0, kAngular)}, L"A", L"north"), Acad::eOk);
    EXPECT_DOUBLE_EQ(realValue(reference, L"A"), 0.0);
    EXPECT_EQ(set({property(L"A", AcDb::kDwgReal, 0.0, kAngular)}, L"A", L"180"), Acad::eOk);
    EXPECT_NEAR(realValue(reference, L"A"), M_PI, 1e-9);
}

TEST_F(SetBlockPropertyTest, IntegersTakeTheLeadingNumberInTheirWidth) {
    EXPECT_EQ(set({property(L"N", AcDb::kDwgInt16, static_cast<short>(-3), kNone, kReadOnly)}, L"N",
                  L"-3"),
              Acad::eOk);
    EXPECT_EQ(set({property(L"N", AcDb::kDwgInt16, static_cast<short>(1))}, L"N", L"70000"),
              Acad::eOk);
    short narrow = 0;
    propertyValue(reference, L"N").getValue(narrow);
    EXPECT_EQ(narrow, static_cast<short>(70000));
    EXPECT_EQ(set({property(L"L", AcDb::kDwgInt32, static_cast<Adesk::Int32>(5), kNone, kReadOnly)},
                  L"L", L"5"),
              Acad::eOk);
    EXPECT_EQ(
        set({property(L"L", AcDb::kDwgInt32, static_cast<Adesk::Int32>(5))}, L"L", L"123456 pcs"),
        Acad::eOk);
    Adesk::Int32 wide = 0;
    propertyValue(reference, L"L").getValue(wide);
    EXPECT_EQ(wide, 123456);
}

TEST_F(SetBlockPropertyTest, FirstPropertyOfASupportedKindWins) {
    EXPECT_EQ(set({property(L"Size", AcDb::kDwg3Real, AcGePoint3d(1, 2, 3)),
                   property(L"SIZE", AcDb::kDwgReal, 1.0), property(L"size", AcDb::kDwgReal, 1.0)},
                  L"size", L"4"),
              Acad::eOk);
    EXPECT_DOUBLE_EQ(realValue(reference, L"SIZE"), 4.0);
    EXPECT_DOUBLE_EQ(realValue(reference, L"size"), 1.0);
}

TEST_F(SetBlockPropertyTest, MissingOrUnsupportedPropertyIsInvalidInput) {
    EXPECT_EQ(set({property(L"Size", AcDb::kDwg3Real, AcGePoint3d(1, 2, 3))}, L"Size", L"4"),
              Acad::eInvalidInput);
    EXPECT_EQ(set({property(L"Size", AcDb::kDwgReal, 1.0)}, L"Depth", L"4"), Acad::eInvalidInput);
}

TEST_F(SetBlockPropertyTest, RefusedValueGivesTheHostStatus) {
    Property bounded = property(L"W", AcDb::kDwgReal, 5.0, kDistance);
    bounded.minimum = 1.0;
    bounded.maximum = 10.0;
    EXPECT_EQ(set({bounded}, L"W", L"50"), Acad::eBadDynBlockPropertyValue);
    EXPECT_DOUBLE_EQ(realValue(reference, L"W"), 5.0);
}

class ReadTableCellTextTest : public UpdateCommandTest {};

TEST_F(ReadTableCellTextTest, FindsTheExpressionInsideLongerText) {
    AcString text;
    CString expression = L"see " + tableLink(table, L"$B$3") + L" for the finish";
    EXPECT_EQ(ReadTableCellText(expression, text), 1);
    EXPECT_EQ(text.str(), L"Oak");
}

TEST_F(ReadTableCellTextTest, RefusesWhatIsNoTableCell) {
    AcString text;
    EXPECT_EQ(ReadTableCellText(L"", text), 0);
    EXPECT_EQ(ReadTableCellText(L"table(" + CString(handleOf(table).c_str()) + L").$B$3", text), 0);
    EXPECT_EQ(ReadTableCellText(tableLink(table, L"B3"), text), 0);
    EXPECT_EQ(ReadTableCellText(tableLink(table, L"$ABC$3"), text), 0);
    EXPECT_EQ(ReadTableCellText(tableLink(table, L"$B$0"), text), 0);
    EXPECT_EQ(ReadTableCellText(tableLink(table, L"$B$99"), text), 0);
    EXPECT_EQ(commandLine(), L"");
    EXPECT_EQ(ReadTableCellText(L"Table(0).$A$1", text), 0);
    EXPECT_EQ(commandLine(), L"\nERROR: Could not translate handle to objectId (eNullHandle)");
}

} // namespace
