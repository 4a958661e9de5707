#include "rxmfcapi.h"

#include <cwchar>

#include "acdocman.h"

namespace {
// The substitute has no real windows; its frame is a stand-in handle that owners may name.
HWND__* const kFrameHandle = reinterpret_cast<HWND__*>(0x10);
} // namespace

CWnd* acedGetAcadFrame() {
    static CWnd frame(kFrameHandle);
    return &frame;
}

CDocument* acedGetAcadDoc() {
    AcApDocument* current = acDocManagerPtr()->curDocument();
    if (!current)
        return nullptr;
    static CDocument document;
    // A new drawing bears a bare name ("Drawing1.dwg") until it is saved or opened from a
    // file, which gives it a folder.
    const wchar_t* name = current->fileName() ? current->fileName() : L"";
    document.m_strPathName = std::wcspbrk(name, L"/\\") ? name : L"";
    return &document;
}
