#include "frame/Reactors.h"

#include "dbdatalink.h"
#include "dbtable.h"
#include "links/LiveRefresh.h"
#include "rxregsvc.h"
#include "windows.h"

AsdkDataManager<CDocData> DocVars;

namespace {
AcRxClass* gpAsdkDataBaseReactorDesc = nullptr;
}

// The class is looked up by name, and registered on first use below the host's class.
AcRxClass* AsdkDataBaseReactor::desc() {
    if (!gpAsdkDataBaseReactorDesc)
        gpAsdkDataBaseReactorDesc = acrxFindAcRxClass(L"AsdkDataBaseReactor");
    if (!gpAsdkDataBaseReactorDesc)
        gpAsdkDataBaseReactorDesc = newAcRxClass(L"AsdkDataBaseReactor", L"AcDbDatabaseReactor");
    return gpAsdkDataBaseReactorDesc;
}

AcRxClass* AsdkDataBaseReactor::isA() const {
    return desc();
}

AsdkDataBaseReactor::~AsdkDataBaseReactor() {
    Detach();
}

void AsdkDataBaseReactor::objectModified(const AcDbDatabase*, const AcDbObject* object) {
    if (!object)
        return;
    AcRxClass* cls = object->isA();
    if (cls == AcDbTable::desc())
        enqueueModifiedTable(object);
    else if (cls == AcDbDataLink::desc())
        drainPendingTables();
}

void AsdkDataBaseReactor::Attach(AcDbDatabase* database) {
    Detach();
    if (!m_database && database) {
        m_database = database;
        database->addReactor(this);
    }
}

void AsdkDataBaseReactor::Detach() {
    if (m_database) {
        m_database->removeReactor(this);
        m_database = nullptr;
    }
}

namespace {

AcEditor* hostEditor() {
    AcRxObject* service = acrxSysRegistry()->at(L"AcEditor");
    if (service && service->isA()->isDerivedFrom(AcEditor::desc()))
        return static_cast<AcEditor*>(service);
    return nullptr;
}

} // namespace

AsdkEditorReactor::AsdkEditorReactor() : m_autoInitAndRelease(true) {
    if (AcEditor* editor = hostEditor())
        editor->addReactor(this);
    else
        m_autoInitAndRelease = false;
}

AsdkEditorReactor::~AsdkEditorReactor() {
    Detach();
}

void AsdkEditorReactor::commandWillStart(const ACHAR*) {
    drainPendingTables();
}

void AsdkEditorReactor::commandEnded(const ACHAR* cmdStr) {
    drainPendingTables();
    // The comparison stays without consequence: a REGEN gets no special treatment.
    bool isRegen = cmdStr && _wcsicmp(cmdStr, L"REGEN") == 0;
    (void)isRegen;
}

void AsdkEditorReactor::commandCancelled(const ACHAR*) {
    drainPendingTables();
}

void AsdkEditorReactor::commandFailed(const ACHAR*) {
    drainPendingTables();
}

void AsdkEditorReactor::Attach() {
    Detach();
    if (!m_autoInitAndRelease) {
        if (AcEditor* editor = hostEditor()) {
            editor->addReactor(this);
            m_autoInitAndRelease = true;
        }
    }
}

void AsdkEditorReactor::Detach() {
    if (m_autoInitAndRelease) {
        if (AcEditor* editor = hostEditor())
            editor->removeReactor(this);
        m_autoInitAndRelease = false;
    }
}

AcEditor* AsdkEditorReactor::Subject() const {
    return hostEditor();
}
