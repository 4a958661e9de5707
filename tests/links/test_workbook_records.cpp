// Link records of workbook links: how a Cell Expression is taken apart and where a relative
// path leads, how the Parameter Links Manager stores and removes links by name, and what a
// whole drawing's links give when collected.
#include "links/LinkRecords.h"
#include "links/LinkStore.h"
#include "test_workbook_fixture.h"

namespace wbtest {
namespace {

using ::testing::ElementsAre;

std::vector<std::wstring> names(CLinkedParameterXlsInfoArray& links) {
    std::vector<std::wstring> out;
    for (INT_PTR i = 0; i < links.GetSize(); ++i)
        out.push_back(links[i].name.kwszPtr());
    return out;
}

std::vector<std::wstring> storedTexts(AcDbObjectId id, const wchar_t* appName) {
    AcDbObjectPointer<AcDbObject> object(id, AcDb::kForRead);
    CStringArray texts;
    getAllLinkTexts(object.object(), appName, texts);
    std::vector<std::wstring> out;
    for (INT_PTR i = 0; i < texts.GetSize(); ++i)
        out.push_back(texts[i].str());
    return out;
}

// ---------------------------------------------------------------------------------------
// The parse of a Cell Expression

class CellExpressionParse : public WorkbookLinkTest {};

TEST_F(CellExpressionParse, BareFileNameIsTakenFromTheDrawingsFolder) {
    writeSizes(L"sizes.xlsx");
    CLinkedParameterXlsInfo record;
    EXPECT_EQ(record.ParseCellExpression(L"sizes.xlsx*Sheet1*$B$2"), 1);
    EXPECT_EQ(record.workbookPath.str(), path(L"sizes.xlsx"));
    EXPECT_EQ(record.sheetName.str(), L"Sheet1");
    EXPECT_EQ(record.cellAddress.str(), L"$B$2");
    EXPECT_EQ(commandLine(), L"");
}

TEST_F(CellExpressionParse, WindowsRelativePathsResolveAgainstTheDrawingsFolder) {
    writeSizes(L"data/sizes.xlsx");
    writeSizes(L"shared.xlsx");
    CLinkedParameterXlsInfo down, up;
    EXPECT_EQ(down.ParseCellExpression(L".\\data\\sizes.xlsx*Sheet1*$B$3"), 1);
    EXPECT_EQ(down.workbookPath.str(), path(L"data/sizes.xlsx"));
    EXPECT_EQ(up.ParseCellExpression(L"data\\..\\.\\shared.xlsx*Sheet1*$B$3"), 1);
    EXPECT_EQ(up.workbookPath.str(), path(L"shared.xlsx"));
}

TEST_F(CellExpressionParse, AbsentWindowsPathIsReportedAndSkipped) {
    CLinkedParameterXlsInfo record;
    EXPECT_EQ(record.ParseCellExpression(L"C:\\Data\\sizes.xlsx*Sheet1*$B$4"), 0);
    EXPECT_EQ(commandLine(), L"\nCannot find C:\\Data\\sizes.xlsx. Skip it.");
}

TEST_F(CellExpressionParse, AbsentRelativeFileIsNamedByItsResolvedPath) {
    CLinkedParameterXlsInfo record;
    EXPECT_EQ(record.ParseCellExpression(L".\\data\\gone.xlsx*Sheet1*$B$4"), 0);
    EXPECT_EQ(commandLine(), L"\nCannot find " + path(L"data/gone.xlsx") + L". Skip it.");
}

TEST_F(CellExpressionParse, IncompleteExpressionsFailSilently) {
    writeSizes(L"a.xlsx");
    CLinkedParameterXlsInfo empty, table, twoParts, emptySheet;
    EXPECT_EQ(empty.ParseCellExpression(L""), 0);
    EXPECT_EQ(table.ParseCellExpression(L"Table(1F).$B$2"), 0);
    EXPECT_EQ(twoParts.ParseCellExpression(L"a.xlsx*Sheet1"), 0);
    // Runs of asterisks are one separator: the cell moves into the sheet's place.
    EXPECT_EQ(emptySheet.ParseCellExpression(L"a.xlsx**$B$2"), 0);
    EXPECT_EQ(emptySheet.sheetName.str(), L"$B$2");
    EXPECT_EQ(emptySheet.cellAddress.str(), L"");
    EXPECT_EQ(commandLine(), L"");
}

TEST_F(CellExpressionParse, LeadingAsterisksAreSkipped) {
    writeSizes(L"a.xlsx");
    CLinkedParameterXlsInfo record;
    EXPECT_EQ(record.ParseCellExpression(L"**a.xlsx*Sheet1*Width"), 1);
    EXPECT_EQ(record.sheetName.str(), L"Sheet1");
    EXPECT_EQ(record.cellAddress.str(), L"Width");
}

TEST_F(CellExpressionParse, FourthFieldIsATimestamp) {
    writeSizes(L"a.xlsx");
    CLinkedParameterXlsInfo dated, notADate, outOfRange, none;
    EXPECT_EQ(dated.ParseCellExpression(L"a.xlsx*Sheet1*$B$2*3/14/2024 1:30 PM*more"), 1);
    EXPECT_EQ(dated.timestamp.GetStatus(), COleDateTime::valid);
    EXPECT_EQ(dated.timestamp.GetYear(), 2024);
    EXPECT_EQ(dated.timestamp.GetHour(), 13);
    // A field that is no date still parses; the timestamp is marked invalid.
    EXPECT_EQ(notADate.ParseCellExpression(L"a.xlsx*Sheet1*$B$2*soon"), 1);
    EXPECT_EQ(notADate.timestamp.GetStatus(), COleDateTime::invalid);
    EXPECT_EQ(static_cast<double>(notADate.timestamp), 0.0);
    EXPECT_EQ(outOfRange.ParseCellExpression(L"a.xlsx*Sheet1*$B$2*1/1/10000"), 1);
    EXPECT_EQ(outOfRange.timestamp.GetStatus(), COleDateTime::invalid);
    EXPECT_EQ(static_cast<double>(outOfRange.timestamp), -1.0);
    EXPECT_EQ(none.ParseCellExpression(L"a.xlsx*Sheet1*$B$2"), 1);
    EXPECT_EQ(none.timestamp.GetStatus(), COleDateTime::valid);
    EXPECT_EQ(static_cast<double>(none.timestamp), 0.0);
}

TEST_F(CellExpressionParse, UnsavedDrawingLeavesARelativePathRelative) {
    lmhost::closeAllDocuments();
    lmhost::newDocument(L"Drawing1.dwg");
    CLinkedParameterXlsInfo record;
    EXPECT_EQ(record.ParseCellExpression(L".\\no-such-book.xlsx*Sheet1*$A$1"), 0);
    EXPECT_EQ(commandLine(), L"\nCannot find no-such-book.xlsx. Skip it.");
}

// A drawing deep enough that its name, or the joined path, passes the path limit. The same
// workbook name waits in every folder on the way, where a cut name would lead.
class DeepDrawingFolder : public CellExpressionParse {
protected:
    // Moves the drawing into a folder whose path has exactly this length.
    std::wstring moveDrawingInto(size_t length) {
        fs::path folder = m_folder;
        writeSizes(L"sizes.xlsx");
        while (folder.native().size() < length) {
            size_t left = length - folder.native().size() - 1;
            folder /= std::string(left > 80 ? 40 : left, 'f');
            fs::create_directories(folder);
            testkit::XlsxBuilder book;
            book.sheet(L"Sheet1").number("B2", 1);
            book.write((folder / "sizes.xlsx").string());
        }
        EXPECT_EQ(folder.native().size(), length);
        lmhost::closeAllDocuments();
        lmhost::newDocument((folder / "drawing.dwg").wstring());
        return folder.wstring();
    }
};

TEST_F(DeepDrawingFolder, ADrawingNameOverThePathLimitFindsNoWorkbook) {
    moveDrawingInto(MAX_PATH + 20);
    CLinkedParameterXlsInfo record;
    EXPECT_EQ(record.ParseCellExpression(L"sizes.xlsx*Sheet1*$B$2"), 0);
    // Canonicalizing failed and left nothing: that is the path looked for.
    EXPECT_EQ(record.workbookPath.str(), L"");
    EXPECT_EQ(commandLine(), L"\nCannot find . Skip it.");
}

TEST_F(DeepDrawingFolder, AJoinedPathOverThePathLimitFindsNoWorkbook) {
    std::wstring folder = moveDrawingInto(MAX_PATH - 20);
    CLinkedParameterXlsInfo near, climbing;
    // Beside the drawing it fits.
    EXPECT_EQ(near.ParseCellExpression(L"sizes.xlsx*Sheet1*$B$2"), 1);
    EXPECT_EQ(near.workbookPath.str(), folder + L"/sizes.xlsx");
    // Climbing up to the test's own folder would end short, but the joined text is over the
    // limit already.
    fs::path below = fs::relative(folder, m_folder);
    std::wstring up = L".";
    for (auto part = below.begin(); part != below.end(); ++part)
        up += L"\\..";
    up += L"\\sizes.xlsx";
    ASSERT_GE(folder.size() + 1 + up.size(), MAX_PATH);
    EXPECT_EQ(climbing.ParseCellExpression((up + L"*Sheet1*$B$2").c_str()), 0);
    EXPECT_EQ(commandLine(), L"\nCannot find . Skip it.");
}

TEST_F(DeepDrawingFolder, AnAbsolutePathOverThePathLimitIsNotFound) {
    std::wstring folder = moveDrawingInto(MAX_PATH + 20);
    CLinkedParameterXlsInfo record;
    EXPECT_EQ(record.ParseCellExpression((folder + L"/sizes.xlsx*Sheet1*$B$2").c_str()), 0);
    EXPECT_EQ(commandLine(), L"\nCannot find " + folder + L"/sizes.xlsx. Skip it.");
}

// ---------------------------------------------------------------------------------------
// Adding and removing links by link name

class LinkOperations : public WorkbookLinkTest {};

TEST_F(LinkOperations, ParameterLinkGoesOnTheVariable) {
    AcDbObjectId d1 = addParameter(L"d1", L"10");
    addLink(L"d1", L"sizes.xlsx*Sheet1*$B$2");
    EXPECT_THAT(storedTexts(d1, kDirectLinkApp), ElementsAre(L"sizes.xlsx*Sheet1*$B$2"));
    removeLink(L"d1", L"SIZES.xlsx*Sheet1*$B$2");
    EXPECT_THAT(storedTexts(d1, kDirectLinkApp), ElementsAre());
    EXPECT_EQ(transcript(), L"");
}

TEST_F(LinkOperations, UnknownParameterIsToldInABox) {
    addParameter(L"d1", L"10");
    addLink(L"width", L"a.xlsx*Sheet1*$B$2");
    removeLink(L"width", L"a.xlsx*Sheet1*$B$2");
    EXPECT_EQ(transcript(), L"\n[Linkmesh|64] eNullObjectId -> 1"
                            L"\n[Linkmesh|64] eNullObjectId -> 1");
}

TEST_F(LinkOperations, PropertyLinksGoOnTheOuterReference) {
    AcDbObjectId door = defineDoor();
    AcDbObjectId frame;
    ASSERT_EQ(drawing::addBlockDefinition(database(), L"Frame", frame), Acad::eOk);
    AcDbObjectId nested = insert(door, frame);
    AcDbObjectId outer = insert(frame);
    std::wstring direct = handleOf(outer) + L".Finish";
    std::wstring viaNested = handleOf(outer) + L"|" + handleOf(nested) + L".Width";
    addLink(direct.c_str(), L"a.xlsx*Sheet1*$C$2");
    addLink(viaNested.c_str(), L"C:\\x\\a.xlsx*Sheet1*$B$2");
    EXPECT_THAT(storedTexts(outer, kDirectLinkApp), ElementsAre(L"Finish:a.xlsx*Sheet1*$C$2"));
    EXPECT_THAT(storedTexts(outer, kNestedLinkApp),
                ElementsAre(handleOf(nested) + L"\x1DWidth:C:\\x\\a.xlsx*Sheet1*$B$2"));
    removeLink(viaNested.c_str(), L"C:\\x\\a.xlsx*Sheet1*$B$2");
    removeLink(direct.c_str(), L"a.xlsx*Sheet1*$C$2");
    EXPECT_THAT(storedTexts(outer, kDirectLinkApp), ElementsAre());
    EXPECT_THAT(storedTexts(outer, kNestedLinkApp), ElementsAre());
    EXPECT_EQ(transcript(), L"");
}

TEST_F(LinkOperations, UnknownHandleIsPrintedAndBoxedOnAddOnlyPrintedOnRemove) {
    addLink(L"FFFF.Width", L"a.xlsx*Sheet1*$B$2");
    removeLink(L"FFFF.Width", L"a.xlsx*Sheet1*$B$2");
    std::wstring line = L"\nERROR: Could not translate handle to objectId (" +
                        std::wstring(acadErrorStatusText(Acad::eUnknownHandle)) + L")";
    EXPECT_EQ(transcript(),
              line + L"\n[Linkmesh|64] Invalid dynamic block. eInvalidInput. -> 1" + line);
}

TEST_F(LinkOperations, RemovingWithAnEmptyHandleDoesNothing) {
    AcDbObjectId outer = insert(defineDoor());
    addLink((handleOf(outer) + L".Width").c_str(), L"a.xlsx*Sheet1*$B$2");
    removeLink(L".Width", L"a.xlsx*Sheet1*$B$2");
    removeLink(L"|.Width", L"a.xlsx*Sheet1*$B$2");
    EXPECT_THAT(storedTexts(outer, kDirectLinkApp), ElementsAre(L"Width:a.xlsx*Sheet1*$B$2"));
    EXPECT_EQ(transcript(), L"");
}

// ---------------------------------------------------------------------------------------
// Collecting the workbook links of a drawing

class CollectWorkbookLinks : public WorkbookLinkTest {};

TEST_F(CollectWorkbookLinks, ParametersFirstThenEachInsertDirectThenNested) {
    writeSizes(L"a.xlsx");
    AcDbObjectId door = defineDoor();
    AcDbObjectId frame;
    ASSERT_EQ(drawing::addBlockDefinition(database(), L"Frame", frame), Acad::eOk);
    AcDbObjectId nested = insert(door, frame);
    AcDbObjectId first = insert(door);
    AcDbObjectId second = insert(frame);
    AcDbObjectId d1 = addParameter(L"d1", L"1");
    addParameter(L"d2", L"2");
    AcDbObjectId d3 = addParameter(L"d3", L"3");
    addLink((handleOf(second) + L"|" + handleOf(nested) + L".Panels").c_str(),
            L"a.xlsx*Sheet1*$B$4");
    addLink((handleOf(first) + L".Width").c_str(), L"a.xlsx*Sheet1*$B$2");
    addLink((handleOf(first) + L".Finish").c_str(), L"a.xlsx*Sheet1*$B$3");
    addLink(L"d3", L"a.xlsx*Sheet1*$B$3");
    addLink(L"d2", L"Table(1F).$B$2");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");

    CLinkedParameterXlsInfoArray links;
    EXPECT_EQ(collectWorkbookLinks(links), Acad::eOk);
    EXPECT_THAT(names(links), ElementsAre(L"d1", L"d3", L"Width", L"Finish", L"Panels"));
    EXPECT_EQ(links[0].objectId, d1);
    EXPECT_EQ(links[1].objectId, d3);
    EXPECT_EQ(links[0].isBlockProperty, 0);
    EXPECT_EQ(links[2].objectId, first);
    EXPECT_EQ(links[2].isBlockProperty, 1);
    EXPECT_EQ(links[4].objectId, nested);
    EXPECT_EQ(links[4].workbookPath.str(), path(L"a.xlsx"));
    EXPECT_EQ(links[4].cellAddress.str(), L"$B$4");
    EXPECT_TRUE(links[4].cellText.isEmpty());
    EXPECT_TRUE(regenNeeded);
    EXPECT_EQ(commandLine(), L"");
}

TEST_F(CollectWorkbookLinks, WithoutBlocksOnlyParametersAndNoRegeneration) {
    writeSizes(L"a.xlsx");
    addParameter(L"d1", L"1");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");
    CLinkedParameterXlsInfoArray links;
    EXPECT_EQ(collectWorkbookLinks(links), Acad::eOk);
    EXPECT_THAT(names(links), ElementsAre(L"d1"));
    EXPECT_FALSE(regenNeeded);
}

TEST_F(CollectWorkbookLinks, MissingWorkbookIsReportedOncePerLink) {
    writeSizes(L"a.xlsx");
    addParameter(L"d1", L"1");
    addParameter(L"d2", L"2");
    addParameter(L"d3", L"3");
    addLink(L"d1", L"gone.xlsx*Sheet1*$B$2");
    addLink(L"d2", L"a.xlsx*Sheet1*$B$2");
    addLink(L"d3", L"gone.xlsx*Sheet1*$B$3");
    CLinkedParameterXlsInfoArray links;
    EXPECT_EQ(collectWorkbookLinks(links), Acad::eOk);
    EXPECT_THAT(names(links), ElementsAre(L"d2"));
    std::wstring line = L"\nCannot find " + path(L"gone.xlsx") + L". Skip it.";
    EXPECT_EQ(commandLine(), line + line);
}

TEST_F(CollectWorkbookLinks, TextsWithoutANameBeforeTheColonGiveNoRecord) {
    writeSizes(L"a.xlsx");
    AcDbObjectId reference = insert(defineDoor());
    ASSERT_TRUE(setXdata(reference, kDirectLinkApp, L":a.xlsx*Sheet1*$B$2"));
    ASSERT_TRUE(setXdata(reference, kDirectLinkApp, L"Width-a.xlsx*Sheet1*$B$2"));
    ASSERT_TRUE(setXdata(reference, kDirectLinkApp, L"Finish:a.xlsx*Sheet1"));
    ASSERT_TRUE(setXdata(reference, kDirectLinkApp, L"Width:a.xlsx*Sheet1*$B$2"));
    CLinkedParameterXlsInfoArray links;
    EXPECT_EQ(collectWorkbookLinks(links), Acad::eOk);
    EXPECT_THAT(names(links), ElementsAre(L"Width"));
    EXPECT_EQ(commandLine(), L"");
}

TEST_F(CollectWorkbookLinks, NestedEntryWithALostHandleFallsBackToTheLastIdFound) {
    writeSizes(L"a.xlsx");
    AcDbObjectId door = defineDoor();
    AcDbObjectId frame;
    ASSERT_EQ(drawing::addBlockDefinition(database(), L"Frame", frame), Acad::eOk);
    AcDbObjectId nested = insert(door, frame);
    AcDbObjectId outer = insert(frame);
    std::wstring nestedHandle = handleOf(nested);
    ASSERT_TRUE(setXdata(outer, kNestedLinkApp, L"FFFF\x1DWidth:a.xlsx*Sheet1*$B$2"));
    ASSERT_TRUE(setXdata(outer, kNestedLinkApp, L"Finish:a.xlsx*Sheet1*$B$3"));
    ASSERT_TRUE(
        setXdata(outer, kNestedLinkApp, (nestedHandle + L"\x1DPanels:a.xlsx*Sheet1*$B$4").c_str()));
    ASSERT_TRUE(setXdata(outer, kNestedLinkApp, L"FFFF\x1DWidth:a.xlsx*Sheet1*$B$3"));
    CLinkedParameterXlsInfoArray links;
    EXPECT_EQ(collectWorkbookLinks(links), Acad::eOk);
    EXPECT_THAT(names(links), ElementsAre(L"Width", L"Finish", L"Panels", L"Width"));
    EXPECT_EQ(links[0].objectId, outer);
    EXPECT_EQ(links[1].objectId, outer);
    EXPECT_EQ(links[2].objectId, nested);
    EXPECT_EQ(links[3].objectId, nested);
    // A plain block has no properties, yet its nested links count and ask for a regeneration.
    EXPECT_TRUE(regenNeeded);
}

TEST_F(CollectWorkbookLinks, ObjectThatCannotBeOpenedIsPassedOver) {
    writeSizes(L"a.xlsx");
    AcDbObjectId d1 = addParameter(L"d1", L"1");
    addParameter(L"d2", L"2");
    addLink(L"d1", L"a.xlsx*Sheet1*$B$2");
    addLink(L"d2", L"a.xlsx*Sheet1*$B$3");
    AcDbObjectPointer<AcDbAssocVariable> busy(d1, AcDb::kForWrite);
    ASSERT_EQ(busy.openStatus(), Acad::eOk);
    CLinkedParameterXlsInfoArray links;
    EXPECT_EQ(collectWorkbookLinks(links), Acad::eOk);
    EXPECT_THAT(names(links), ElementsAre(L"d2"));
    EXPECT_EQ(commandLine(), L"");
}

} // namespace
} // namespace wbtest
