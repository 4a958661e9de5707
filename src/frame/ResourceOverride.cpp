#include "frame/ResourceOverride.h"

extern HINSTANCE _hdllInstance;

CLmeshResourceOverride::CLmeshResourceOverride() {
    AFX_MODULE_STATE* state = AfxGetModuleState();
    m_previous = state->m_hCurrentResourceHandle;
    state->m_hCurrentResourceHandle = _hdllInstance ? _hdllInstance : LmeshDLL.hModule;
}

CLmeshResourceOverride::~CLmeshResourceOverride() {
    AfxGetModuleState()->m_hCurrentResourceHandle = m_previous;
}
