#include "rxmfcapi.h"

namespace {
// The substitute has no real windows; its frame is a stand-in handle that owners may name.
HWND__* const kFrameHandle = reinterpret_cast<HWND__*>(0x10);
} // namespace

CWnd* acedGetAcadFrame() {
    static CWnd frame(kFrameHandle);
    return &frame;
}
