// A small application for the program's terminal tests. Each command asks the user one
// thing as a plug-in does (a point, a keyword, a pick, a message box, a dialog) and prints
// what it got back, so a test sees the answer arrive where the plug-in would use it.
#include <string>

#include "accmd.h"
#include "acedads.h"
#include "acutads.h"
#include "adscodes.h"
#include "dbmain.h"
#include "rxdefs.h"
#include "rxdlinkr.h"
#include "sdk/control/Dialogs.h"
#include "windows.h"

namespace {

const ACHAR* const kGroup = L"PROBE";

void printResult(int result) {
    switch (result) {
    case RTCAN:
        acutPrintf(L"\nProbe: cancelled");
        break;
    case RTKWORD: {
        ACHAR keyword[64] = L"";
        acedGetInput(keyword, 64);
        acutPrintf(L"\nProbe: keyword %s", keyword);
        break;
    }
    default:
        acutPrintf(L"\nProbe: result %d", result);
        break;
    }
}

void askPoint() {
    ads_point point;
    acedInitGet(0, L"Undo");
    int result = acedGetPoint(nullptr, L"\nSpecify a point or [Undo]: ", point);
    if (result == RTNORM)
        acutPrintf(L"\nProbe: point %g,%g,%g", point[0], point[1], point[2]);
    else
        printResult(result);
}

void askKeyword() {
    ACHAR keyword[64] = L"";
    acedInitGet(0, L"Left Right");
    int result = acedGetKword(L"\nSide [Left/Right]: ", keyword, 64);
    if (result == RTNORM)
        acutPrintf(L"\nProbe: keyword %s", keyword);
    else
        printResult(result);
}

void askPick() {
    ads_name picked;
    ads_point point;
    int result = acedEntSel(L"\nSelect an object: ", picked, point);
    AcDbObjectId id;
    if (result != RTNORM || acdbGetObjectId(id, picked) != Acad::eOk)
        return printResult(result);
    ACHAR handle[32] = L"";
    id.handle().getIntoAsciiBuffer(handle);
    acutPrintf(L"\nProbe: picked %s at %g,%g", handle, point[0], point[1]);
}

void askBox() {
    int answer = MessageBoxW(nullptr, L"Keep the changes?", L"Probe", MB_YESNOCANCEL);
    acutPrintf(L"\nProbe: answer %d", answer);
}

void askDialog() {
    lmhost::DialogView view{L"Probe settings", {L"1 button Apply", L"2 edit Name"}, {}};
    lmhost::DialogDriver* driver = lmhost::dialogDriver();
    while (driver) {
        std::optional<lmhost::DialogAction> action = driver->nextAction(view);
        if (!action || action->kind == lmhost::DialogAction::Cancel) {
            acutPrintf(L"\nProbe: dialog cancelled");
            return;
        }
        if (action->kind == lmhost::DialogAction::Ok) {
            acutPrintf(L"\nProbe: dialog OK");
            return;
        }
        acutPrintf(L"\nProbe: action %d on %d \"%s\"", static_cast<int>(action->kind),
                   action->controlId, action->text.c_str());
    }
}

} // namespace

extern "C" __attribute__((visibility("default"))) AcRx::AppRetCode
acrxEntryPoint(AcRx::AppMsgCode message, void* packet) {
    if (message == AcRx::kInitAppMsg) {
        acrxDynamicLinker->unlockApplication(packet);
        acedRegCmds->addCommand(kGroup, L"PROBEPOINT", L"PROBEPOINT", ACRX_CMD_MODAL, askPoint);
        acedRegCmds->addCommand(kGroup, L"PROBEKWORD", L"PROBEKWORD", ACRX_CMD_MODAL, askKeyword);
        acedRegCmds->addCommand(kGroup, L"PROBEPICK", L"PROBEPICK", ACRX_CMD_MODAL, askPick);
        acedRegCmds->addCommand(kGroup, L"PROBEBOX", L"PROBEBOX", ACRX_CMD_MODAL, askBox);
        acedRegCmds->addCommand(kGroup, L"PROBEDIALOG", L"PROBEDIALOG", ACRX_CMD_MODAL, askDialog);
    } else if (message == AcRx::kUnloadAppMsg) {
        acedRegCmds->removeGroup(kGroup);
    }
    return AcRx::kRetOK;
}

extern "C" __attribute__((visibility("default"))) int acrxGetApiVersion() {
    return ACRX_API_VERSION;
}
