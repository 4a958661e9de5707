// Writing and removing whole links by link name, for the Parameter Links Manager: a
// parameter's name, "<handle>.<property>" or "<outerHandle>|<nestedHandle>.<property>".
#pragma once

#include "afx.h"

// Stores expression as the link of the named target. An unknown parameter or handle is told
// in a message box, and nothing is stored.
void addLink(CString name, CString expression);

// Removes the stored link that addLink would have written for the same two texts.
void removeLink(CString name, CString expression);
