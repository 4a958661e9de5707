#include "links/LinkOperations.h"

#include "dbapserv.h"
#include "acutads.h"
#include "exchange/ADNAssocSampleUtils.h"
#include "exchange/VariableLookup.h"
#include "links/LinkStore.h"

namespace {

const wchar_t* const kTitle = L"Linkmesh";

enum class Operation { Add, Remove };

// The object that carries the link, its application name and the text stored there; false
// when the name names nothing, after the operation's own message.
bool resolveLink(Operation operation, const CString& name, const CString& expression,
                 AcDbObjectId& id, const wchar_t*& appName, CString& text, LinkRun* run) {
    AcDbDatabase* database = acdbHostApplicationServices()->workingDatabase();
    LinkName target = parseLinkName(name);
    appName = target.kind == LinkName::NestedProperty ? kNestedLinkApp : kDirectLinkApp;
    if (target.kind == LinkName::Parameter) {
        Acad::ErrorStatus es = run ? run->findParameter(name, id)
                                   : findVariable(database->currentSpaceId(),
                                                  static_cast<const wchar_t*>(name), false, id);
        if (es != Acad::eOk) {
            MessageBoxW(nullptr, acadErrorStatusText(es), kTitle, MB_ICONINFORMATION);
            return false;
        }
        text = expression;
        return true;
    }
    if (operation == Operation::Remove && target.handle.IsEmpty())
        return false;
    Acad::ErrorStatus es = database->getAcDbObjectId(id, false, AcDbHandle(target.handle));
    if (es != Acad::eOk) {
        acutPrintf(L"\nERROR: Could not translate handle to objectId (%s)",
                   acadErrorStatusText(es));
        if (operation == Operation::Add) {
            CString message;
            message.Format(L"Invalid dynamic block. %s.", acadErrorStatusText(Acad::eInvalidInput));
            MessageBoxW(nullptr, message, kTitle, MB_ICONINFORMATION);
        }
        return false;
    }
    if (target.kind == LinkName::NestedProperty)
        text = composeNestedLinkText(target.nestedHandle, target.name, expression);
    else
        text = composeDirectLinkText(target.name, expression);
    return true;
}

} // namespace

LinkRun::LinkRun() = default;
LinkRun::~LinkRun() = default;

Acad::ErrorStatus LinkRun::findParameter(const CString& name, AcDbObjectId& id) {
    // An empty name is findVariable's own answer; nothing to walk for.
    if (name.IsEmpty())
        return findVariable(acdbHostApplicationServices()->workingDatabase()->currentSpaceId(),
                            static_cast<const wchar_t*>(name), false, id);
    if (!m_variables)
        m_variables = std::make_unique<VariableLookup>(
            acdbHostApplicationServices()->workingDatabase()->currentSpaceId());
    return m_variables->find(static_cast<const wchar_t*>(name), false, id);
}

void addLink(CString name, CString expression, LinkRun* run) {
    AcDbObjectId id;
    const wchar_t* appName = nullptr;
    CString text;
    if (resolveLink(Operation::Add, name, expression, id, appName, text, run))
        setXdata(id, appName, text);
}

void removeLink(CString name, CString expression, LinkRun* run) {
    AcDbObjectId id;
    const wchar_t* appName = nullptr;
    CString text;
    if (resolveLink(Operation::Remove, name, expression, id, appName, text, run))
        deleteXdata(id, appName, text);
}
