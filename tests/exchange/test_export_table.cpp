// Export to a table in the drawing: the dialog, the table built with its sizes from the
// table style, and the drag that places it.
#include <gmock/gmock.h>

#include "acedads.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "excel/CStringTable.h"
#include "exchange/ExchangeFixture.h"
#include "exchange/ExportParameters.h"
#include "exchange/ExportRows.h"
#include "drawing/control/Editor.h"
#include "testkit/Transcript.h"

using namespace exchangetest;

namespace {

using Rows = std::vector<std::vector<std::wstring>>;
const std::wstring kPrompt = L"\nSpecify insertion point: ";
const std::wstring kDone = L"\nSuccessfully export the constraint parameters.";

class ExportTableTest : public ExchangeTest {
protected:
    void SetUp() override {
        ExchangeTest::SetUp();
        addParameter(L"Width", L"1250");
        addParameter(L"area", L"Width*2");
        addParameter(L"Depth", L"0.5");
        lmhost::clearTranscript();
    }
    // The tables of model space, in order.
    std::vector<AcDbObjectId> tables() {
        std::vector<AcDbObjectId> found;
        AcDbObjectPointer<AcDbBlockTableRecord> space(database()->currentSpaceId(), AcDb::kForRead);
        AcDbBlockTableRecordIterator* it = nullptr;
        space->newIterator(it);
        for (; it && !it->done(); it->step()) {
            AcDbObjectId id;
            it->getEntityId(id);
            if (id.objectClass() == AcDbTable::desc() && !id.isErased())
                found.push_back(id);
        }
        delete it;
        return found;
    }
    Rows cells(AcDbObjectId id) {
        AcDbObjectPointer<AcDbTable> table(id, AcDb::kForRead);
        Rows rows;
        for (int r = 0; r < table->numRows(); ++r) {
            rows.emplace_back();
            for (int c = 0; c < table->numColumns(); ++c)
                rows.back().push_back(table->textString(r, c).str());
        }
        return rows;
    }
    AcDbObjectId onlyTable() {
        std::vector<AcDbObjectId> all = tables();
        EXPECT_EQ(all.size(), 1u);
        return all.empty() ? AcDbObjectId::kNull : all[0];
    }
};

TEST_F(ExportTableTest, DefaultExportIsDraggedIntoPlaceInTheListsOrder) {
    act({L"ok"});
    lmhost::queuePoint(AcGePoint3d(100, 50, 0));
    exportParameters();
    EXPECT_EQ(testkit::transcript(), kPrompt + kDone);
    AcDbObjectId id = onlyTable();
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(cells(id), (Rows{{L"area", L"Width*2", L"2500"},
                               {L"Depth", L"0.5", L"0.5"},
                               {L"Width", L"1250", L"1250"}}));
    AcDbObjectPointer<AcDbTable> table(id, AcDb::kForRead);
    EXPECT_EQ(table->position(), AcGePoint3d(100, 50, 0));
    EXPECT_TRUE(table->isTitleSuppressed());
    // The standard style's data text height is 0.18.
    EXPECT_DOUBLE_EQ(table->rowHeight(0), 0.18 * 1.5);
    EXPECT_DOUBLE_EQ(table->rowHeight(2), 0.18 * 1.5);
    EXPECT_DOUBLE_EQ(table->columnWidth(0), 5 * 0.18 * 1.25);
    EXPECT_DOUBLE_EQ(table->columnWidth(1), 7 * 0.18 * 1.25);
    EXPECT_DOUBLE_EQ(table->columnWidth(2), 4 * 0.18 * 1.25);
    EXPECT_EQ(table->cellStyle(0, 2).str(), L"_DATA");
    EXPECT_EQ(table->cellStyle(1, 1).str(), L"_DATA");
    EXPECT_THAT(lmhost::queuedForRegen(), ::testing::Contains(id));
}

TEST_F(ExportTableTest, HeaderRowTakesTheTitlesAndTheDataStyle) {
    act({L"check 106 on", L"check 107 off", L"check 109 on", L"check 139 on", L"check 100 area off",
         L"ok"});
    lmhost::queuePoint(AcGePoint3d(0, 0, 0));
    exportParameters();
    AcDbObjectId id = onlyTable();
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(cells(id), (Rows{{L"Name", L"Value", L"Description"},
                               {L"Depth", L"0.5", L""},
                               {L"Width", L"1250", L""}}));
    AcDbObjectPointer<AcDbTable> table(id, AcDb::kForRead);
    EXPECT_EQ(table->cellStyle(0, 0).str(), L"_DATA") << "not the header style";
    EXPECT_EQ(table->cellStyle(1, 2).str(), L"_DATA");
    EXPECT_EQ(table->cellType(0, 1), AcDb::kTextCell);
    EXPECT_DOUBLE_EQ(table->columnWidth(1), 5 * 0.18 * 1.25) << "the title is the longest";
    EXPECT_DOUBLE_EQ(table->columnWidth(2), 11 * 0.18 * 1.25);
}

TEST_F(ExportTableTest, CancelledDragLeavesNoTableAndStillReportsSuccess) {
    act({L"ok"});
    lmhost::queueCancel();
    exportParameters();
    EXPECT_TRUE(tables().empty());
    EXPECT_EQ(testkit::transcript(), kPrompt + kDone);
}

TEST_F(ExportTableTest, NoColumnOnChangesNothingButTheLineComes) {
    act({L"check 106 off", L"check 107 off", L"check 108 off", L"ok"});
    exportParameters();
    EXPECT_TRUE(tables().empty());
    EXPECT_EQ(testkit::transcript(), kDone);
}

TEST_F(ExportTableTest, CancelledDialogOrNoParameterCheckedSaysNothing) {
    act({L"cancel"});
    exportParameters();
    act({L"press 135", L"ok"});
    exportParameters();
    EXPECT_TRUE(tables().empty());
    EXPECT_EQ(testkit::transcript(), L"");
}

TEST_F(ExportTableTest, ASingleNameGivesOneRowWithTheDataStyle) {
    CStringArrayEx selected;
    selected.Add(L"Depth");
    lmhost::queuePoint(AcGePoint3d(1, 1, 0));
    EXPECT_EQ(exportToTable(selected, 1, 0, 0, 0, 0), Acad::eOk);
    AcDbObjectId id = onlyTable();
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(cells(id), (Rows{{L"Depth"}}));
    AcDbObjectPointer<AcDbTable> table(id, AcDb::kForRead);
    EXPECT_EQ(table->cellStyle(0, 0).str(), L"_DATA");
}

TEST_F(ExportTableTest, NamesAreFoundIgnoringCaseAndAnUnfoundNameLeavesItsRowEmpty) {
    CStringArrayEx selected;
    selected.Add(L"WIDTH");
    selected.Add(L"Gone");
    selected.Add(L"width");
    lmhost::queuePoint(AcGePoint3d(0, 0, 0));
    exportToTable(selected, 1, 1, 0, 0, 0);
    AcDbObjectId id = onlyTable();
    ASSERT_FALSE(id.isNull());
    EXPECT_EQ(cells(id), (Rows{{L"Width", L"1250"}, {L"", L""}, {L"", L""}}));
    AcDbObjectPointer<AcDbTable> table(id, AcDb::kForRead);
    EXPECT_DOUBLE_EQ(table->columnWidth(1), 4 * 0.18 * 1.25);
    EXPECT_DOUBLE_EQ(table->height(), 3 * 0.18 * 1.5);
}

TEST_F(ExportTableTest, SizesFollowTheDataTextHeightOfTheCurrentTableStyle) {
    auto* style = new AcDbTableStyle();
    style->setName(L"Big");
    ASSERT_EQ(style->setTextHeight(2.5, AcDb::kDataRow), Acad::eOk);
    AcDbObjectId styleId;
    ASSERT_EQ(database()->addAcDbObject(styleId, style), Acad::eOk);
    style->close();
    ASSERT_EQ(database()->setTablestyle(styleId), Acad::eOk);
    EXPECT_DOUBLE_EQ(tableTextHeight(), 2.5);
    CStringArrayEx selected;
    selected.Add(L"Width");
    lmhost::queuePoint(AcGePoint3d(0, 0, 0));
    exportToTable(selected, 1, 0, 0, 0, 0);
    AcDbObjectPointer<AcDbTable> table(onlyTable(), AcDb::kForRead);
    ASSERT_EQ(table.openStatus(), Acad::eOk);
    EXPECT_DOUBLE_EQ(table->rowHeight(0), 3.75);
    EXPECT_DOUBLE_EQ(table->columnWidth(0), 5 * 2.5 * 1.25);
}

TEST_F(ExportTableTest, AStyleThatCannotBeOpenedGivesMinusOneAndTheTableKeepsItsOwnSizes) {
    {
        AcDbObjectPointer<AcDbTableStyle> style(database()->tablestyle(), AcDb::kForWrite);
        ASSERT_EQ(style.openStatus(), Acad::eOk);
        // A text style with a height of its own has no say.
        EXPECT_DOUBLE_EQ(tableTextHeight(), -1.0);
    }
    AcDbObjectPointer<AcDbTableStyle> open(database()->tablestyle(), AcDb::kForWrite);
    CStringArrayEx selected;
    selected.Add(L"Width");
    lmhost::queuePoint(AcGePoint3d(0, 0, 0));
    exportToTable(selected, 1, 0, 0, 0, 0);
    open->close();
    AcDbObjectPointer<AcDbTable> table(onlyTable(), AcDb::kForRead);
    ASSERT_EQ(table.openStatus(), Acad::eOk);
    EXPECT_GT(table->rowHeight(0), 0.0) << "the host refused the negative sizes";
    EXPECT_GT(table->columnWidth(0), 0.0);
    EXPECT_EQ(table->textString(0, 0).str(), L"Width");
}

TEST_F(ExportTableTest, NoNetworkLeavesTheDrawingAsItWas) {
    lmhost::setAssocFrameworkAvailable(false);
    act({L"ok"});
    exportParameters();
    lmhost::setAssocFrameworkAvailable(true);
    EXPECT_TRUE(tables().empty());
}

TEST(ExportValues, EachResultTypeHasItsFormat) {
    EXPECT_EQ(evalVariantToText(AcDbEvalVariant(1234567.0)), L"1.23457e+06");
    EXPECT_EQ(evalVariantToText(AcDbEvalVariant(0.5)), L"0.5");
    EXPECT_EQ(evalVariantToText(AcDbEvalVariant(static_cast<short>(-7))), L"-7");
    EXPECT_EQ(evalVariantToText(AcDbEvalVariant(static_cast<Adesk::Int32>(70000))), L"70000");
    EXPECT_EQ(evalVariantToText(AcDbEvalVariant(L"oak")), L"oak");
    EXPECT_EQ(evalVariantToText(AcDbEvalVariant(AcGePoint3d(1, 2, 3))), L"unknown");
    EXPECT_EQ(evalVariantToText(AcDbEvalVariant()), L"unknown");
}

TEST(ExportSelectedNames, LookupAnswersAsTheInwardSearchDoes) {
    const wchar_t* names[] = {L"a", L"B", L"c", L"A", L"b", L"C", L"a", L"d", L"D", L"x"};
    for (int n = 0; n <= 10; ++n) {
        CStringArrayEx list;
        for (int i = 0; i < n; ++i)
            list.Add(names[i]);
        SelectedNames index(list);
        for (const wchar_t* probe : {L"a", L"b", L"C", L"d", L"x", L"y", L""})
            EXPECT_EQ(index.find(probe), list.FindString(probe, TRUE))
                << "n=" << n << " probe=" << probe;
    }
}

} // namespace
