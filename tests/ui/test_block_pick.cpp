// Picking a dynamic block from the manager: the nested single pick and its printed record,
// the Dynamic Block dialog, the property filter, and what reaches the manager's combo.
#include "ManagerFixture.h"

#include <algorithm>
#include <deque>

#include "drawing/Blocks.h"
#include "drawing/control/Input.h"
#include "frame/ResourceOverride.h"
#include "ui/DrawingPicks.h"
#include "ui/DynaBlockParameterDialog.h"

namespace managertest {
namespace {

using linktest::database;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class BlockPick : public ManagerTest {
protected:
    void SetUp() override {
        ManagerTest::SetUp();
        addParameter(L"d1", L"10");
        lmhost::setInputSource([this](const std::wstring&) {
            dialogShownAtPrompt.push_back(dialog && dialog->IsWindowVisible());
            if (picks.empty())
                return;
            std::vector<AcDbObjectId> path = picks.front();
            picks.pop_front();
            if (path.empty())
                lmhost::queueCancel();
            else
                lmhost::queueNestedEntity(path);
        });
    }
    void TearDown() override {
        lmhost::setInputSource(nullptr);
        ManagerTest::TearDown();
    }
    // A click on the last of the path, inside the ones before it; an empty path is Esc.
    void click(std::vector<AcDbObjectId> path) { picks.push_back(std::move(path)); }

    AcDbObjectId block(const wchar_t* name) {
        AcDbObjectId id;
        EXPECT_EQ(drawing::addBlockDefinition(database(), name, id), Acad::eOk);
        return id;
    }
    static void property(AcDbObjectId block, const wchar_t* name, AcDbEvalVariant value,
                         AcDb::DwgDataType type = AcDb::kDwgReal) {
        drawing::DynamicPropertyDefinition p;
        p.name = name;
        p.type = type;
        p.defaultValue = value;
        ASSERT_EQ(drawing::addDynamicProperty(block, p), Acad::eOk);
    }
    // A dynamic block "Wall" with a Length.
    AcDbObjectId defineWall() {
        AcDbObjectId wall = block(L"Wall");
        property(wall, L"Length", AcDbEvalVariant(3000.0));
        return wall;
    }
    AcDbObjectId nest(AcDbObjectId inner, AcDbObjectId into) { return insert(inner, into); }

    INT_PTR runShown() {
        CParametersManagerDialog shown;
        dialog = driver.dialog = &shown;
        INT_PTR result = shown.DoModal();
        dialog = driver.dialog = nullptr;
        return result;
    }
    // The Dynamic Block dialog as it was first shown.
    const lmhost::DialogView& blockDialog() const {
        for (const auto& view : driver.seen)
            if (view.title == L"Dynamic Block")
                return view;
        static lmhost::DialogView none;
        return none;
    }
    // The manager's combo line; it sorts without regard to case.
    static std::wstring combo(const std::wstring& selected, std::vector<std::wstring> all) {
        std::sort(all.begin(), all.end(), [](const std::wstring& a, const std::wstring& b) {
            return _wcsicmp(a.c_str(), b.c_str()) < 0;
        });
        std::wstring line =
            L"101 combo " + (selected.empty() ? L"(none)" : L"\"" + selected + L"\"") + L" of";
        for (const auto& item : all)
            line += L" \"" + item + L"\"";
        return line;
    }

    std::deque<std::vector<AcDbObjectId>> picks;
    std::vector<bool> dialogShownAtPrompt;
    CParametersManagerDialog* dialog = nullptr;
};

TEST_F(BlockPick, ADirectReferenceOffersItsPropertiesAndTheChoiceIsSelected) {
    AcDbObjectId door = insert(defineDoor());
    std::wstring h = handleOf(door);
    click({door});
    act({L"press 108", L"choose 109 Width", L"ok", L"cancel"});
    runShown();
    EXPECT_EQ(transcript(), L"\nSelect a dynamic block:\nEntity 0: (AcDbBlockReference)\n"
                            L"(block name: Door)\n");
    EXPECT_EQ(blockDialog().controls,
              (Lines{L"Block:", L"110 edit \"Door\" (read-only)", L"Handle:",
                     L"108 edit \"" + h + L"\" (read-only)", L"Parameter:",
                     L"109 combo \"Finish\" of \"Finish\" \"Panels\" \"Width\"",
                     L"1 button \"OK\" (default)", L"2 button \"Cancel\""}));
    EXPECT_EQ(control(L"101 "),
              combo(h + L".Width", {L"d1", h + L".Finish", h + L".Panels", h + L".Width"}));
    EXPECT_EQ(control(L"141 "), L"141 edit \"Door\" (read-only)");
    EXPECT_THAT(dialogShownAtPrompt, ElementsAre(false));
    // A pick makes no link.
    EXPECT_THAT(stored(door, kDirectLinkApp), ElementsAre());
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\" (empty)");
}

TEST_F(BlockPick, PickThenTableCellThenAddStoresThePropertyLink) {
    AcDbObjectId door = insert(defineDoor());
    click({door});
    act({L"press 108", L"choose 109 Panels", L"ok"});
    pick(L"Table(2A).$B$2");
    act({L"press 104", L"cancel"});
    runShown();
    EXPECT_THAT(stored(door, kDirectLinkApp), ElementsAre(L"Panels:Table(2A).$B$2"));
}

TEST_F(BlockPick, ADynamicBlockInAPlainBlockGivesItsOwnHandle) {
    AcDbObjectId frame = block(L"Frame");
    AcDbObjectId inner = nest(defineDoor(), frame);
    AcDbObjectId outer = insert(frame);
    click({outer, inner});
    act({L"press 108", L"ok", L"cancel"});
    runShown();
    EXPECT_EQ(transcript(), L"\nSelect a dynamic block:\nEntity 0: (AcDbBlockReference)\n"
                            L"(block name: Door)\nEntity 0: (AcDbBlockReference)\n");
    EXPECT_EQ(blockDialog().controls.at(3), L"108 edit \"" + handleOf(inner) + L"\" (read-only)");
    EXPECT_THAT(control(L"101 "), HasSubstr(L"\"" + handleOf(inner) + L".Finish\" "));
}

TEST_F(BlockPick, ADynamicBlockInADynamicBlockJoinsOuterAndInner) {
    AcDbObjectId wall = defineWall();
    AcDbObjectId inner = nest(defineDoor(), wall);
    AcDbObjectId outer = insert(wall);
    click({outer, inner});
    act({L"press 108", L"ok", L"cancel"});
    runShown();
    std::wstring h = handleOf(outer) + L"|" + handleOf(inner);
    EXPECT_EQ(blockDialog().controls.at(3), L"108 edit \"" + h + L"\" (read-only)");
    // The inner block's properties, not the outer's Length.
    EXPECT_EQ(blockDialog().controls.at(5),
              L"109 combo \"Finish\" of \"Finish\" \"Panels\" \"Width\"");
    EXPECT_EQ(control(L"101 "),
              combo(h + L".Finish", {L"d1", h + L".Finish", h + L".Panels", h + L".Width"}));
}

TEST_F(BlockPick, APlainBlockInADynamicBlockGivesTheDynamicOneOnly) {
    AcDbObjectId wall = defineWall();
    AcDbObjectId plain = nest(block(L"Frame"), wall);
    AcDbObjectId outer = insert(wall);
    click({outer, plain});
    act({L"press 108", L"ok", L"cancel"});
    runShown();
    EXPECT_EQ(transcript(), L"\nSelect a dynamic block:\nEntity 0: (AcDbBlockReference)\n"
                            L"Entity 0: (AcDbBlockReference)\n(block name: Wall)\n");
    EXPECT_EQ(blockDialog().controls.at(3), L"108 edit \"" + handleOf(outer) + L"\" (read-only)");
    EXPECT_EQ(control(L"101 "),
              combo(handleOf(outer) + L".Length", {L"d1", handleOf(outer) + L".Length"}));
}

TEST_F(BlockPick, ThreeDynamicLevelsJoinTheOutermostAndTheInnermost) {
    AcDbObjectId site = block(L"Site");
    property(site, L"Area", AcDbEvalVariant(1.0));
    AcDbObjectId wall = defineWall();
    AcDbObjectId middle = nest(wall, site);
    AcDbObjectId inner = nest(defineDoor(), wall);
    AcDbObjectId outer = insert(site);
    click({outer, middle, inner});
    act({L"press 108", L"ok", L"cancel"});
    runShown();
    EXPECT_EQ(blockDialog().controls.at(3),
              L"108 edit \"" + handleOf(outer) + L"|" + handleOf(inner) + L"\" (read-only)");
    EXPECT_THAT(transcript(), HasSubstr(L"(block name: Wall)")) << "the middle one is found too";
}

TEST_F(BlockPick, SomethingThatIsNoDynamicBlockShowsItsClassAndNothingElse) {
    AcDbObjectId table = linktest::addTable(1, 1);
    AcDbObjectId plain = insert(block(L"Frame"));
    click({table});
    click({plain});
    act({L"press 108", L"press 108", L"cancel"});
    runShown();
    EXPECT_EQ(transcript(), L"\nSelect a dynamic block:\nEntity 0: (AcDbTable)\n"
                            L"\nSelect a dynamic block:\nEntity 0: (AcDbBlockReference)\n");
    EXPECT_EQ(blockDialog().title, L"");
    EXPECT_EQ(control(L"101 "), combo(L"", {L"d1"}));
    EXPECT_EQ(control(L"141 "), L"141 edit \"\" (read-only)");
}

TEST_F(BlockPick, EscOrAPickOfNothingChangesNothingAndSaysNothing) {
    click({});
    act({L"press 108", L"cancel"});
    runShown();
    lmhost::queueEntity(AcDbObjectId::kNull);
    act({L"press 108", L"cancel"});
    runShown();
    EXPECT_EQ(transcript(), L"\nSelect a dynamic block:\nSelect a dynamic block:");
    EXPECT_EQ(control(L"101 "), combo(L"", {L"d1"}));
    EXPECT_EQ(lmhost::selectionSetsHeld(), 0);
}

TEST_F(BlockPick, ABlockWithoutLinkableTypesSaysSoAndChangesNothing) {
    AcDbObjectId marker = block(L"Marker");
    property(marker, L"Origin", AcDbEvalVariant(AcGePoint3d(1, 2, 0)), AcDb::kDwg3Real);
    AcDbObjectId reference = insert(marker);
    click({reference});
    act({L"press 108", L"cancel"});
    runShown();
    EXPECT_EQ(transcript(),
              L"\nSelect a dynamic block:\nEntity 0: (AcDbBlockReference)\n(block name: Marker)\n"
              L"\n[Norvane Linkmesh|64] The dynamic block doesn't have any parameters. -> 1");
    EXPECT_EQ(control(L"101 "), combo(L"", {L"d1"}));
    EXPECT_EQ(control(L"141 "), L"141 edit \"\" (read-only)");
}

TEST_F(BlockPick, PointPropertiesAreLeftOutAndARepeatedNameIsOfferedOnce) {
    AcDbObjectId marker = block(L"Marker");
    property(marker, L"Origin", AcDbEvalVariant(AcGePoint3d(1, 2, 0)), AcDb::kDwg3Real);
    property(marker, L"Size", AcDbEvalVariant(2.0));
    property(marker, L"Size", AcDbEvalVariant(3.0));
    property(marker, L"size", AcDbEvalVariant(static_cast<short>(4)), AcDb::kDwgInt16);
    property(marker, L"Label", AcDbEvalVariant(L"A"), AcDb::kDwgText);
    click({insert(marker)});
    act({L"press 108", L"cancel", L"cancel"});
    runShown();
    // Names are told apart with regard to case, and the combo sorts without.
    EXPECT_EQ(blockDialog().controls.at(5), L"109 combo \"Label\" of \"Label\" \"Size\" \"size\"");
}

TEST_F(BlockPick, CancelInTheDynamicBlockDialogKeepsComboAndFields) {
    AcDbObjectId door = insert(defineDoor());
    click({door});
    act({L"press 108", L"choose 109 Width", L"cancel", L"cancel"});
    runShown();
    EXPECT_EQ(control(L"101 "), combo(L"", {L"d1"}));
    EXPECT_EQ(control(L"141 "), L"141 edit \"\" (read-only)");
}

TEST_F(BlockPick, PickingTheSameBlockTwiceAddsNoDuplicateAndMovesTheSelection) {
    AcDbObjectId door = insert(defineDoor());
    std::wstring h = handleOf(door);
    click({door});
    click({door});
    act({L"press 108", L"choose 109 Width", L"ok", L"press 108"});
    act({L"cancel"}); // the second Dynamic Block dialog: only look at it
    act({L"press 108"});
    click({door});
    act({L"choose 109 Panels", L"ok", L"cancel"});
    runShown();
    EXPECT_EQ(control(L"101 "),
              combo(h + L".Panels", {L"d1", h + L".Finish", h + L".Panels", h + L".Width"}));
    // The second dialog opened on the first name again, not on the one chosen before.
    std::vector<std::wstring> offers;
    for (const auto& view : driver.seen)
        if (view.title == L"Dynamic Block")
            offers.push_back(view.controls.at(5));
    const wchar_t* first = L"109 combo \"Finish\" of \"Finish\" \"Panels\" \"Width\"";
    EXPECT_THAT(offers,
                ElementsAre(first, L"109 combo \"Width\" of \"Finish\" \"Panels\" \"Width\"", first,
                            first, L"109 combo \"Panels\" of \"Finish\" \"Panels\" \"Width\""));
}

TEST_F(BlockPick, TheDialogOpensOnTheFirstNameEvenWhenAnotherIsLinked) {
    AcDbObjectId door = insert(defineDoor());
    ASSERT_TRUE(setXdata(door, kDirectLinkApp, L"Width:a.xlsx*Sheet1*$B$2"));
    click({door});
    act({L"press 108", L"cancel", L"cancel"});
    runShown();
    EXPECT_EQ(blockDialog().controls.at(5),
              L"109 combo \"Finish\" of \"Finish\" \"Panels\" \"Width\"");
}

TEST_F(BlockPick, ABlockErasedBetweenThePickAndAddKeepsTheRowAndStoresNothing) {
    AcDbObjectId door = insert(defineDoor());
    click({door});
    act({L"press 108", L"choose 109 Width", L"ok"});
    pick(L"a.xlsx*Sheet1*$B$2");
    act({L"press 104", L"cancel"});
    struct Eraser : lmhost::DialogDriver {
        StepDriver* inner;
        AcDbObjectId door;
        std::optional<lmhost::DialogAction> nextAction(const lmhost::DialogView& view) override {
            if (inner->next == 3 && !door.isErased()) {
                AcDbObjectPointer<AcDbBlockReference> r(door, AcDb::kForWrite);
                r->erase();
            }
            return inner->nextAction(view);
        }
    } eraser;
    eraser.inner = &driver;
    eraser.door = door;
    lmhost::setDialogDriver(&eraser);
    CParametersManagerDialog shown;
    driver.dialog = &shown;
    shown.DoModal();
    lmhost::setDialogDriver(&driver);
    ASSERT_TRUE(door.isErased());
    // The row is placed, the store refuses, and nothing is written on the erased reference.
    EXPECT_THAT(list(), HasSubstr(handleOf(door) + L".Width")) << transcript();
    EXPECT_EQ(transcript(), L"\nSelect a dynamic block:\nEntity 0: (AcDbBlockReference)\n"
                            L"(block name: Door)\nacdbOpenEntity failed in setXdata function");
}

TEST_F(BlockPick, WhatCannotBeOpenedIsToldAndLeftOut) {
    AcDbObjectId wall = defineWall();
    AcDbObjectId door = defineDoor();
    AcDbObjectId inner = nest(door, wall);
    AcDbObjectId outer = insert(wall);
    // The outer reference is open elsewhere, and so is the door's definition.
    AcDbBlockReference* busy = nullptr;
    ASSERT_EQ(acdbOpenObject(busy, outer, AcDb::kForWrite), Acad::eOk);
    click({outer, inner});
    AcDbObjectId first, last;
    int found = selectDynamicBlock(first, last);
    busy->close();
    ASSERT_EQ(found, RTNORM);
    EXPECT_EQ(first, inner);
    EXPECT_EQ(last, inner) << "the outer one could not be looked at";
    AcDbBlockTableRecord* record = nullptr;
    ASSERT_EQ(acdbOpenObject(record, door, AcDb::kForWrite), Acad::eOk);
    click({outer, inner});
    AcDbObjectId untouched;
    found = selectDynamicBlock(untouched, untouched);
    record->close();
    EXPECT_EQ(found, RTNORM) << "the wall is found";
    EXPECT_EQ(untouched, outer);
    EXPECT_EQ(commandLine(), L"\nSelect a dynamic block:\n"
                             L"Entity 0: (AcDbBlockReference)\n(block name: Door)\n"
                             L"Entity 0: \nCouldn't open object"
                             L"\nSelect a dynamic block:\n"
                             L"Entity 0: (AcDbBlockReference)\n\nCouldn't open block"
                             L"Entity 0: (AcDbBlockReference)\n(block name: Wall)\n");
}

TEST_F(BlockPick, TheDynamicBlockDialogRefusesOkWithoutAChoiceAndStaysOpen) {
    // The manager never shows it empty; on its own an empty offer leaves nothing chosen.
    CDynaBlockParameterDialog empty;
    empty.blockName = L"Door";
    act({L"ok", L"cancel"});
    {
        CLmeshResourceOverride resources;
        EXPECT_EQ(empty.DoModal(), IDCANCEL);
    }
    EXPECT_EQ(transcript(), L"\n[Error|0] Invalid parameter. -> 1");
    EXPECT_EQ(driver.seen.size(), 2u) << "it stayed open for the next action";
    EXPECT_EQ(driver.seen.at(1).controls.at(5), L"109 combo (none) of");
    EXPECT_TRUE(empty.selectedParameter.IsEmpty());
}

TEST_F(BlockPick, TheSelectionRecordNamesEachEntityOfTheChainWithTheSameIndex) {
    AcDbObjectId wall = defineWall();
    AcDbObjectId frame = block(L"Frame");
    AcDbObjectId door = nest(defineDoor(), frame);
    AcDbObjectId framed = nest(frame, wall);
    AcDbObjectId outer = insert(wall);
    click({outer, framed, door});
    AcDbObjectId first, last;
    ASSERT_EQ(selectDynamicBlock(first, last), RTNORM);
    EXPECT_EQ(first, door);
    EXPECT_EQ(last, outer);
    EXPECT_EQ(commandLine(), L"\nSelect a dynamic block:\n"
                             L"Entity 0: (AcDbBlockReference)\n(block name: Door)\n"
                             L"Entity 0: (AcDbBlockReference)\n"
                             L"Entity 0: (AcDbBlockReference)\n(block name: Wall)\n");
    click({});
    AcDbObjectId untouched = wall;
    EXPECT_EQ(selectDynamicBlock(untouched, untouched), RTERROR);
    EXPECT_EQ(untouched, wall);
}

} // namespace
} // namespace managertest
