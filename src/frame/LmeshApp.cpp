#include "frame/LmeshApp.h"

#include "acdocman.h"
#include "exchange/ExportParameters.h"
#include "exchange/ImportParameters.h"
#include "frame/MenuCommands.h"
#include "links/LiveRefresh.h"
#include "links/UpdateCommand.h"
#include "support/Registry.h"

namespace {

// Writing back to the workbooks is deliberately not offered: the command exists and does
// nothing at all.
void writeLinkedParametersToSource() {}

// The manager dialog joins the table as it is built; until then its command returns at once.
void linkParameters() {}

} // namespace

ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_Test", L"Lmesh_Test", ACRX_CMD_MODAL, testCommand);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_LoadMenu", L"Lmesh_LoadMenu", ACRX_CMD_MODAL,
                      loadMenuCommand);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_About", L"Lmesh_About", ACRX_CMD_MODAL, aboutCommand);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_Support", L"Lmesh_Support", ACRX_CMD_MODAL,
                      supportCommand);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_Website", L"Lmesh_Website", ACRX_CMD_MODAL,
                      websiteCommand);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_Help", L"Lmesh_Help", ACRX_CMD_MODAL, helpCommand);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_WriteLinkedParametersToSource",
                      L"Lmesh_WriteLinkedParametersToSource", ACRX_CMD_MODAL,
                      writeLinkedParametersToSource);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_UpdateLinkedParameters", L"Lmesh_UpdateLinkedParameters",
                      ACRX_CMD_MODAL, updateLinkedParameters);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_ImportParameters", L"Lmesh_ImportParameters",
                      ACRX_CMD_MODAL, importFromExcel);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_ExportParameters", L"Lmesh_ExportParameters",
                      ACRX_CMD_MODAL, exportParameters);
ACED_ARXCOMMAND_ENTRY(L"Lmesh", L"_Lmesh_LinkParameters", L"Lmesh_LinkParameters", ACRX_CMD_MODAL,
                      linkParameters);

CLmeshApp::CLmeshApp() {
    m_bUnlocked = true;
    m_bMDIAware = true;
}

AcRx::AppRetCode CLmeshApp::On_kInitAppMsg(void* pkt) {
    AcRx::AppRetCode result = AcRxArxApp::On_kInitAppMsg(pkt);
    setHostIdentification();
    CRegistry::SetRegistryKey(L"Norvane");
    startupMenuPlacement();
    if (!m_pEditorReactor)
        m_pEditorReactor = new AsdkEditorReactor();
    // Loaded with no drawing open (a batch update), there is no document to give a reactor;
    // each drawing gets its own when it becomes current.
    if (!acDocManagerPtr()->curDocument())
        return result;
    CDocData& data = DocVars.docData();
    if (!data.m_pDbReactor) {
        data.m_pDbReactor = new AsdkDataBaseReactor();
        acdbHostApplicationServices()->workingDatabase()->addReactor(data.m_pDbReactor);
    }
    return result;
}

AcRx::AppRetCode CLmeshApp::On_kUnloadAppMsg(void* pkt) {
    AcRxArxApp::On_kUnloadAppMsg(pkt);
    if (m_pEditorReactor) {
        delete m_pEditorReactor;
        m_pEditorReactor = nullptr;
    }
    return AcRx::kRetOK;
}

IMPLEMENT_ARX_ENTRYPOINT(CLmeshApp)
