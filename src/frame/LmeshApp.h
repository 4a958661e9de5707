// The application object: host messages become virtual calls, and the command table is
// registered at start and removed at unload.
#pragma once

#include "acrxEntryPoint.h"
#include "frame/Reactors.h"

class CLmeshApp : public AcRxArxApp {
public:
    CLmeshApp();

    AcRx::AppRetCode On_kInitAppMsg(void* pkt) override;
    AcRx::AppRetCode On_kUnloadAppMsg(void* pkt) override;
    void RegisterServerComponents() override {}

    AsdkEditorReactor* editorReactor() const { return m_pEditorReactor; }

private:
    AsdkEditorReactor* m_pEditorReactor = nullptr;
};

extern CLmeshApp theArxApp;

// The library's exports.
extern "C" AcRx::AppRetCode acrxEntryPoint(AcRx::AppMsgCode msg, void* pkt);
extern "C" int acrxGetApiVersion();
