// Dialog templates in a module's resources. The resource compiler of the host platform
// puts them into the library; here a library declares them with DIALOG_RESOURCE and the
// framework finds them by the module they belong to and their id.
#pragma once

#include "windows.h"

// One control of a template, as a resource script lists it.
struct DLGITEMRESOURCE {
    const wchar_t* className; // "BUTTON", "LISTBOX", "COMBOBOX", "STATIC"
    const wchar_t* text;
    int id; // -1 for a label nobody addresses
    DWORD style;
    short x, y, cx, cy;
};

struct DLGRESOURCE {
    UINT id;
    const wchar_t* caption;
    short cx, cy; // size in dialog units
    const DLGITEMRESOURCE* items;
    int itemCount;
};

// Registers a template under the module that holds `inModule`. FALSE if the module already
// has a template of that id.
BOOL RegisterDialogResource(const void* inModule, const DLGRESOURCE* resource);
void UnregisterDialogResource(const DLGRESOURCE* resource);
// The template of that id in a module's resources; null when it has none.
const DLGRESOURCE* FindDialogResource(HINSTANCE module, UINT id);
// The module whose resources hold a dialog of that id: the current resource module first,
// then the extension libraries; null when none has it.
HINSTANCE AfxFindResourceHandle(UINT dialogId);

namespace lmresource {
struct DialogResourceEntry {
    explicit DialogResourceEntry(const DLGRESOURCE* resource) : m_resource(resource) {
        RegisterDialogResource(resource, resource);
    }
    ~DialogResourceEntry() { UnregisterDialogResource(m_resource); }
    DialogResourceEntry(const DialogResourceEntry&) = delete;
    DialogResourceEntry& operator=(const DialogResourceEntry&) = delete;

private:
    const DLGRESOURCE* m_resource;
};
} // namespace lmresource

// Puts the template into the module's resources when the library is loaded.
#define DIALOG_RESOURCE(variable)                                                                  \
    static const lmresource::DialogResourceEntry variable##Entry(&variable)
