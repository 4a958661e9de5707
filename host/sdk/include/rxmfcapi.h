// The host's windows as the framework sees them.
#pragma once

#include "afxwin.h"

// The host application's main frame window.
CWnd* acedGetAcadFrame();
