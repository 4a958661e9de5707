// Writing and removing whole links by link name, for the Parameter Links Manager: a
// parameter's name, "<handle>.<property>" or "<outerHandle>|<nestedHandle>.<property>".
#pragma once

#include <memory>

#include "acadstrc.h"
#include "afx.h"
#include "dbmain.h"

class VariableLookup;

// A run of link operations on a drawing whose parameters do not change meanwhile, such as an
// import's lines or Remove All Links: parameters are found through one walk of the network,
// made when the first one is looked for, instead of one walk for each link.
class LinkRun {
public:
    LinkRun();
    ~LinkRun();
    LinkRun(const LinkRun&) = delete;
    LinkRun& operator=(const LinkRun&) = delete;
    // As findVariable in the current space, without creating.
    Acad::ErrorStatus findParameter(const CString& name, AcDbObjectId& id);

private:
    std::unique_ptr<VariableLookup> m_variables;
};

// Stores expression as the link of the named target. An unknown parameter or handle is told
// in a message box, and nothing is stored.
void addLink(CString name, CString expression, LinkRun* run = nullptr);

// Removes the stored link that addLink would have written for the same two texts.
void removeLink(CString name, CString expression, LinkRun* run = nullptr);
