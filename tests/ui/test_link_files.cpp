// Export Links and Import Links: the file dialogs, the exact lines written, how lines are
// read back (first comma, trimmed sides, skipped lines, one prompt per line), and files that
// cannot be read: a directory, a pipe, a missing file, a huge line, bytes that are no text.
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "ManagerFixture.h"
#include "links/LinkText.h"

namespace managertest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class LinkFiles : public ManagerWithParameters {
protected:
    std::string file(const std::wstring& name) const {
        return wbtest::fs::path(path(name)).string();
    }
    std::string contents(const std::wstring& name) const {
        std::ifstream in(file(name), std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    void writeFile(const std::wstring& name, const std::string& text) const {
        std::ofstream(file(name), std::ios::binary) << text;
    }
    // Presses the button, types the path into the file dialog and takes it.
    void viaFileDialog(const wchar_t* button, const std::wstring& target) {
        driver.steps.push_back({false, button});
        driver.steps.push_back({false, L"type 1152 " + target});
        driver.steps.push_back({false, L"ok"});
    }
};

TEST_F(LinkFiles, ExportWritesOneLinePerRowInListOrder) {
    AcDbObjectId door = insert(defineDoor());
    ASSERT_TRUE(setXdata(width, kDirectLinkApp, L"C:\\Data\\sizes.xlsx*Sheet1*$B$4"));
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"Table(2C4).$B$2"));
    ASSERT_TRUE(setXdata(door, kDirectLinkApp, L"Finish:.\\a,b.xlsx*Sheet1*$C$2"));
    viaFileDialog(L"press 106", path(L"links"));
    act({L"cancel"});
    run();
    EXPECT_EQ(driver.seen.at(1).title, L"Save As");
    EXPECT_EQ(driver.seen.at(1).controls,
              (Lines{L"File name:", L"1152 edit \"Untitled\"",
                     L"Save as type: CSV (Comma delimited) (*.csv)", L"1 button \"Save\" (default)",
                     L"2 button \"Cancel\""}));
    std::string finish = wbtest::fs::path(handleOf(door)).string() + ".Finish";
    EXPECT_EQ(contents(L"links.csv"), finish + ",.\\a,b.xlsx*Sheet1*$C$2\n"
                                               "d1,Table(2C4).$B$2\n"
                                               "Width,C:\\Data\\sizes.xlsx*Sheet1*$B$4\n");
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|64] Successfully export the links. -> 1");
}

TEST_F(LinkFiles, AnEmptyListExportsAnEmptyFile) {
    viaFileDialog(L"press 106", path(L"empty.csv"));
    act({L"cancel"});
    run();
    EXPECT_EQ(contents(L"empty.csv"), "");
    EXPECT_TRUE(wbtest::fs::exists(file(L"empty.csv")));
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|64] Successfully export the links. -> 1");
}

TEST_F(LinkFiles, CancellingEitherFileDialogDoesNothing) {
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"a.xlsx*Sheet1*$B$2"));
    act({L"press 106", L"cancel", L"press 107", L"cancel", L"cancel"});
    run();
    EXPECT_EQ(driver.seen.at(3).title, L"Open");
    EXPECT_EQ(transcript(), L"");
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"a.xlsx*Sheet1*$B$2"));
}

TEST_F(LinkFiles, ExportOverAFileAsksFirstAndTruncatesOnYes) {
    writeFile(L"old.csv", "a much longer old content that must go\n");
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"a.xlsx*Sheet1*$B$2"));
    answer({IDNO, IDYES});
    act({L"press 106", (L"type 1152 " + path(L"old.csv")).c_str(), L"ok", L"ok", L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Confirm Save As|52] old.csv already exists.\nDo you want to "
                            L"replace it? -> 7"
                            L"\n[Confirm Save As|52] old.csv already exists.\nDo you want to "
                            L"replace it? -> 6"
                            L"\n[Norvane Linkmesh|64] Successfully export the links. -> 1");
    EXPECT_EQ(contents(L"old.csv"), "d1,a.xlsx*Sheet1*$B$2\n");
}

TEST_F(LinkFiles, ExportIntoAFolderThatIsNotThereIsReportedAndNothingElse) {
    act({L"press 106", (L"type 1152 " + path(L"missing/links.csv")).c_str(), L"ok", L"cancel"});
    run();
    EXPECT_THAT(transcript(), HasSubstr(L"links.csv contains an incorrect path."));
    EXPECT_THAT(transcript(), ::testing::Not(HasSubstr(L"Successfully")));
}

TEST_F(LinkFiles, ImportSplitsAtTheFirstCommaTrimsAndSkipsWhatHasNoTwoSides) {
    writeFile(L"in.csv", "Parameter Name,Cell Expression\n"
                         " d1 , a.xlsx*S*$A$1 \n"
                         "Width,a,b.xlsx*S*$A$1\r\n"
                         ",x\n"
                         "area,\n"
                         "area, \n"
                         "no comma\n"
                         "\n");
    viaFileDialog(L"press 107", path(L"in.csv"));
    act({L"cancel"});
    run();
    EXPECT_EQ(driver.seen.at(1).controls.at(1), L"1152 edit \"\"");
    EXPECT_EQ(transcript(), L"\n[Linkmesh|64] eNullObjectId -> 1"
                            L"\n[Norvane Linkmesh|64] Successfully import the links. -> 1");
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\""
                      L"\n     \"d1\" | \"a.xlsx*S*$A$1\""
                      L"\n     \"Parameter Name\" | \"Cell Expression\""
                      L"\n     \"Width\" | \"a,b.xlsx*S*$A$1\"");
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"a.xlsx*S*$A$1"));
    EXPECT_THAT(stored(width, kDirectLinkApp), ElementsAre(L"a,b.xlsx*S*$A$1"));
}

TEST_F(LinkFiles, ExportThenImportAsksNothingAndChangesNothing) {
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"a.xlsx*Sheet1*$B$2"));
    ASSERT_TRUE(setXdata(width, kDirectLinkApp, L"w.xlsx*Sheet1*$B$2"));
    viaFileDialog(L"press 106", path(L"round.csv"));
    viaFileDialog(L"press 107", path(L"round.csv"));
    act({L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|64] Successfully export the links. -> 1"
                            L"\n[Norvane Linkmesh|64] Successfully import the links. -> 1");
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"a.xlsx*Sheet1*$B$2"));
    EXPECT_THAT(stored(width, kDirectLinkApp), ElementsAre(L"w.xlsx*Sheet1*$B$2"));
}

TEST_F(LinkFiles, EachLineForANameInTheListPromptsOnItsOwn) {
    ASSERT_TRUE(setXdata(d1, kDirectLinkApp, L"a.xlsx*Sheet1*$B$2"));
    writeFile(L"twice.csv", "d1,b.xlsx*Sheet1*$B$2\nd1,c.xlsx*Sheet1*$B$2\n");
    answer({IDNO, IDYES});
    viaFileDialog(L"press 107", path(L"twice.csv"));
    act({L"cancel"});
    run();
    const std::wstring prompt =
        L"\n[Norvane Linkmesh|68] d1 already has a linked cell. Do you want to replace it? -> ";
    EXPECT_EQ(transcript(), prompt + L"7" + prompt + L"6" +
                                L"\n[Norvane Linkmesh|64] Successfully import the links. -> 1");
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"c.xlsx*Sheet1*$B$2"));
}

TEST_F(LinkFiles, AFileThatCannotBeReadIsReportedAndNothingWaits) {
    wbtest::fs::create_directories(file(L"folder"));
    ASSERT_EQ(mkfifo(file(L"pipe").c_str(), 0600), 0);
    viaFileDialog(L"press 107", path(L"folder"));
    viaFileDialog(L"press 107", path(L"pipe"));
    viaFileDialog(L"press 107", path(L"gone.csv"));
    act({L"cancel"});
    run();
    std::wstring seen = transcript();
    EXPECT_THAT(seen, HasSubstr(L"Access to " + path(L"folder") + L" was denied."));
    EXPECT_THAT(seen, HasSubstr(path(L"pipe") + L" is not a file that can be read or written."));
    EXPECT_THAT(seen, HasSubstr(path(L"gone.csv") + L" was not found."));
    EXPECT_THAT(seen, ::testing::Not(HasSubstr(L"Successfully")));
    EXPECT_EQ(list(), L"100 list view \"Parameter Name\" | \"Cell Expression\" (empty)");
}

TEST_F(LinkFiles, AHugeLineAndBytesThatAreNoTextLoseNothingElse) {
    std::string huge(10 * 1024 * 1024, 'x');
    using namespace std::string_literals;
    writeFile(L"odd.csv",
              huge + "\n" + "Width,\xff\xfe.xlsx*S*$A$1\n"s + "d1,a.xlsx*S*$A$1\0tail\n"s);
    viaFileDialog(L"press 107", path(L"odd.csv"));
    act({L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Norvane Linkmesh|64] Successfully import the links. -> 1");
    EXPECT_THAT(stored(width, kDirectLinkApp), ElementsAre(L"\xFFFD\xFFFD.xlsx*S*$A$1"));
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"a.xlsx*S*$A$1"));
}

// An import finds each parameter as Add does, by the first name in the network that begins
// with the line's name, and it reports an unknown one; Remove All Links the same.
TEST_F(LinkFiles, ImportAndRemoveAllFindParametersAsAddDoes) {
    AcDbObjectId len10 = addParameter(L"len10", L"1");
    AcDbObjectId len1 = addParameter(L"len1", L"1");
    AcDbObjectId door = insert(defineDoor());
    std::string finish = wbtest::fs::path(handleOf(door)).string() + ".Finish";
    writeFile(L"many.csv", finish + ",f.xlsx*S*$A$1\nlen1,a.xlsx*S*$A$1\nd1,d.xlsx*S*$A$1\n"
                                    "nothing,n.xlsx*S*$A$1\n");
    viaFileDialog(L"press 107", path(L"many.csv"));
    act({L"cancel"});
    run();
    EXPECT_EQ(transcript(), L"\n[Linkmesh|64] eNullObjectId -> 1"
                            L"\n[Norvane Linkmesh|64] Successfully import the links. -> 1");
    EXPECT_THAT(stored(len10, kDirectLinkApp), ElementsAre(L"a.xlsx*S*$A$1"));
    EXPECT_THAT(stored(len1, kDirectLinkApp), ElementsAre());
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre(L"d.xlsx*S*$A$1"));
    EXPECT_THAT(stored(door, kDirectLinkApp), ElementsAre(L"Finish:f.xlsx*S*$A$1"));
    // The list shows what was read; Remove All Links takes each row's link off again.
    lmhost::clearTranscript();
    driver.steps.clear();
    driver.next = 0;
    answer({IDYES});
    act({L"press 142", L"cancel"});
    run();
    EXPECT_THAT(stored(len10, kDirectLinkApp), ElementsAre());
    EXPECT_THAT(stored(d1, kDirectLinkApp), ElementsAre());
    EXPECT_THAT(stored(door, kDirectLinkApp), ElementsAre());
}

// Lines in any order end as rows in name order, each found in its place: a name already in
// the list, in another case, prompts once for another cell and is passed over for its own.
TEST_F(LinkFiles, ImportedRowsTakeTheirPlacesInNameOrder) {
    std::vector<int> order{17, 3, 29, 0, 11, 24, 8,  21, 14, 5,  27, 1,  19, 9,  26,
                           12, 2, 22, 6, 15, 28, 10, 4,  18, 25, 7,  13, 20, 16, 23};
    std::string lines;
    for (int i : order) {
        std::string name = std::string(i % 3 ? "n" : "N") + char('a' + i / 10) + char('0' + i % 10);
        addParameter(wbtest::fs::path(name).wstring().c_str(), L"1");
        lines += name + ",x" + std::to_string(i) + ".xlsx*S*$A$1\n";
    }
    lines += "nb4,other.xlsx*S*$A$1\nNA7,X7.XLSX*s*$a$1\n";
    writeFile(L"order.csv", lines);
    answer({IDNO});
    viaFileDialog(L"press 107", path(L"order.csv"));
    act({L"cancel"});
    run();
    EXPECT_EQ(
        transcript(),
        L"\n[Norvane Linkmesh|68] nb4 already has a linked cell. Do you want to replace it? -> 7"
        L"\n[Norvane Linkmesh|64] Successfully import the links. -> 1");
    std::wstring expected = L"100 list view \"Parameter Name\" | \"Cell Expression\"";
    for (int i = 0; i < 30; ++i) {
        std::wstring name =
            std::wstring(i % 3 ? L"n" : L"N") + wchar_t(L'a' + i / 10) + wchar_t(L'0' + i % 10);
        expected += L"\n     \"" + name + L"\" | \"x" + std::to_wstring(i) + L".xlsx*S*$A$1\"";
    }
    EXPECT_EQ(list(), expected);
}

} // namespace
} // namespace managertest
