// The application object, the command table, the per-document reactors and the settings
// store, driven through the host's entry point as the host drives them.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "accmd.h"
#include "acdocman.h"
#include "dbapserv.h"
#include "dbsymtb.h"
#include "dbtable.h"
#include "frame/LmeshApp.h"
#include "links/LiveRefresh.h"
#include "rxmfcapi.h"
#include "sdk/control/Commands.h"
#include "sdk/control/Documents.h"
#include "sdk/control/Menus.h"
#include "sdk/control/Registry.h"
#include "support/Registry.h"
#include "testkit/Transcript.h"

namespace fs = std::filesystem;

namespace {

const wchar_t* const kCommands[] = {L"_Lmesh_Test",
                                    L"_Lmesh_LoadMenu",
                                    L"_Lmesh_About",
                                    L"_Lmesh_Support",
                                    L"_Lmesh_Website",
                                    L"_Lmesh_Help",
                                    L"_Lmesh_WriteLinkedParametersToSource",
                                    L"_Lmesh_UpdateLinkedParameters",
                                    L"_Lmesh_ImportParameters",
                                    L"_Lmesh_ExportParameters",
                                    L"_Lmesh_LinkParameters"};

class FrameTest : public testkit::HostTest {
protected:
    void SetUp() override {
        testkit::HostTest::SetUp();
        m_config = fs::temp_directory_path() / ("lmframe-" + std::to_string(getpid()));
        fs::remove_all(m_config);
        setenv("XDG_CONFIG_HOME", m_config.c_str(), 1);
        lmhost::resetSettingsStore();
        lmhost::resetMenus();
        CRegistry::s_vendorKey.Empty();
        lmhost::newDocument(L"Drawing1.dwg");
    }
    void TearDown() override {
        acrxEntryPoint(AcRx::kUnloadAppMsg, nullptr);
        lmhost::closeAllDocuments();
        lmhost::takeQueuedExpressions();
        lmhost::resetSettingsStore();
        lmhost::resetMenus();
        fs::remove_all(m_config);
        testkit::HostTest::TearDown();
    }
    fs::path m_config;
};

int registeredCount() {
    int n = 0;
    for (const wchar_t* name : kCommands)
        if (AcEdCommand* cmd = acedRegCmds->lookupGlobalCmd(name)) {
            EXPECT_STREQ(cmd->groupName(), L"Lmesh");
            EXPECT_STREQ(cmd->localName(), name + 1);
            ++n;
        }
    return n;
}

TEST_F(FrameTest, InitRegistersTheElevenCommandsAndUnloadRemovesThem) {
    EXPECT_EQ(acrxEntryPoint(AcRx::kInitAppMsg, nullptr), AcRx::kRetOK);
    EXPECT_EQ(registeredCount(), 11);
    EXPECT_EQ(acrxEntryPoint(AcRx::kUnloadAppMsg, nullptr), AcRx::kRetOK);
    EXPECT_EQ(registeredCount(), 0);
    EXPECT_EQ(theArxApp.editorReactor(), nullptr);
}

TEST_F(FrameTest, AMessageAboveFifteenTouchesNothing) {
    EXPECT_EQ(acrxEntryPoint(static_cast<AcRx::AppMsgCode>(16), nullptr), AcRx::kRetOK);
    EXPECT_EQ(acrxEntryPoint(static_cast<AcRx::AppMsgCode>(99), nullptr), AcRx::kRetOK);
    EXPECT_EQ(registeredCount(), 0);
    EXPECT_EQ(theArxApp.editorReactor(), nullptr);
    EXPECT_EQ(testkit::transcript(), L"");
}

TEST_F(FrameTest, ASecondInitMakesNoSecondEditorReactorOrDatabaseReactor) {
    acrxEntryPoint(AcRx::kInitAppMsg, nullptr);
    AsdkEditorReactor* first = theArxApp.editorReactor();
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->IsAttached());
    AsdkDataBaseReactor* dbReactor = DocVars.docData().m_pDbReactor;
    ASSERT_NE(dbReactor, nullptr);
    acrxEntryPoint(AcRx::kUnloadAppMsg, nullptr);
    acrxEntryPoint(AcRx::kInitAppMsg, nullptr);
    acrxEntryPoint(AcRx::kInitAppMsg, nullptr);
    EXPECT_NE(theArxApp.editorReactor(), nullptr);
    // The document's reactor outlives the unload and is not made again.
    EXPECT_EQ(DocVars.docData().m_pDbReactor, dbReactor);
}

TEST_F(FrameTest, UnloadMessageLeavesTheTableQueueAlone) {
    acrxEntryPoint(AcRx::kInitAppMsg, nullptr);
    AcDbDatabase* database = acdbHostApplicationServices()->workingDatabase();
    auto* table = new AcDbTable();
    table->setSize(2, 2);
    AcDbObjectId id;
    {
        AcDbObjectPointer<AcDbBlockTableRecord> space(database->currentSpaceId(), AcDb::kForWrite);
        ASSERT_EQ(space->appendAcDbEntity(id, table), Acad::eOk);
        table->close();
    }
    {
        AcDbObjectPointer<AcDbTable> open(id, AcDb::kForWrite);
        ASSERT_EQ(open->setTextString(0, 0, L"5"), Acad::eOk);
    }
    ASSERT_EQ(pendingTables.logicalLength(), 1);
    const AcDbObjectId* storage = pendingTables.asArrayPtr();
    // Remove the commands, delete the editor reactor, and nothing more: the queue keeps its
    // ids and its storage until the library itself goes.
    acrxEntryPoint(AcRx::kUnloadAppMsg, nullptr);
    ASSERT_EQ(pendingTables.logicalLength(), 1);
    EXPECT_EQ(pendingTables[0], id);
    EXPECT_EQ(pendingTables.asArrayPtr(), storage);
    pendingTables.setLogicalLength(0);
}

TEST_F(FrameTest, ADocumentGetsItsReactorWhenItFirstBecomesCurrent) {
    acrxEntryPoint(AcRx::kInitAppMsg, nullptr);
    AcApDocument* first = acDocManagerPtr()->curDocument();
    AcApDocument* second = lmhost::newDocument(L"Drawing2.dwg");
    ASSERT_TRUE(DocVars.has(second));
    AsdkDataBaseReactor* reactor = DocVars.docData(second).m_pDbReactor;
    EXPECT_NE(reactor, nullptr);
    acDocManagerPtr()->setCurDocument(first);
    acDocManagerPtr()->setCurDocument(second);
    EXPECT_EQ(DocVars.docData(second).m_pDbReactor, reactor);
    lmhost::closeAllDocuments();
    EXPECT_EQ(DocVars.size(), 0u);
}

TEST_F(FrameTest, StartupQueuesTheMenuLoadWhileTheLmeshGroupIsMissing) {
    acrxEntryPoint(AcRx::kInitAppMsg, nullptr);
    std::vector<std::wstring> queued = lmhost::takeQueuedExpressions();
    ASSERT_EQ(queued.size(), 1u);
    EXPECT_EQ(queued[0], L"(command \"Lmesh_LoadMenu\")");
}

TEST_F(FrameTest, LoadMenuWithoutTheMenuFileNamesTheFileToLoad) {
    acrxEntryPoint(AcRx::kInitAppMsg, nullptr);
    lmhost::clearTranscript();
    // The test program has no Linkmesh.cuix beside it.
    lmhost::runCommand(L"Lmesh_LoadMenu");
    EXPECT_EQ(testkit::transcript(),
              L"\nFailed to load the menu and toolbar of Linkmesh. Please load Linkmesh.cuix "
              L"from the installation folder of Linkmesh manually.");
}

TEST_F(FrameTest, AboutShowsOneButtonWithTheHostInItsTitle) {
    acrxEntryPoint(AcRx::kInitAppMsg, nullptr);
    lmhost::runCommand(L"Lmesh_About");
    auto boxes = lmhost::messageBoxes();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0].title, L"About Linkmesh for AutoCAD 2025");
    EXPECT_EQ(boxes[0].style, 0u);
    EXPECT_EQ(boxes[0].text.rfind(L"Linkmesh\nVersion 2.79\n", 0), 0u);
    // Like every dialog of the plug-in, it belongs to the host's frame.
    EXPECT_EQ(boxes[0].owner, acedGetAcadFrame()->GetSafeHwnd());
}

TEST_F(FrameTest, RegistryIsUntouchedBeforeTheVendorKeyIsSet) {
    EXPECT_EQ(CRegistry::GetProfileInt(L"ExportPRMName", 7), 7);
    EXPECT_EQ(CRegistry::WriteProfileInt(L"ExportPRMName", 1), 0);
    EXPECT_FALSE(fs::exists(lmhost::settingsStorePath()));
}

TEST_F(FrameTest, RegistryValuesRoundTripAndOddValuesGiveTheDefault) {
    CRegistry::SetRegistryKey(L"Norvane");
    EXPECT_EQ(CRegistry::GetProfileInt(L"ExportDestination", 5), 5);
    EXPECT_TRUE(fs::exists(lmhost::settingsStorePath())); // the key was made by the read
    EXPECT_EQ(CRegistry::WriteProfileInt(L"ExportDestination", -2), 1);
    lmhost::resetSettingsStore(); // read back from the file
    EXPECT_EQ(CRegistry::GetProfileInt(L"ExportDestination", 5), -2);

    HKEY key = CRegistry::GetSectionKey();
    ASSERT_NE(key, nullptr);
    const BYTE three[3] = {1, 2, 0};
    const BYTE eight[8] = {1, 0, 0, 0, 1, 0, 0, 0};
    RegSetValueExW(key, L"Short", 0, REG_BINARY, three, 3);
    RegSetValueExW(key, L"Long", 0, REG_BINARY, eight, 8);
    RegCloseKey(key);
    EXPECT_EQ(CRegistry::GetProfileInt(L"Short", 9) & 0xFFFF, 0x0201);
    EXPECT_EQ(CRegistry::GetProfileInt(L"Long", 9), 9);
}

} // namespace
