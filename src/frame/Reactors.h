// The three reactors that let the plug-in notice table changes and commands, and the
// per-document record that owns a document's database reactor.
#pragma once

#include <map>

#include "acdocman.h"
#include "aced.h"
#include "dbapserv.h"
#include "dbmain.h"

// Watches one drawing database for modified tables and data links.
class AsdkDataBaseReactor : public AcDbDatabaseReactor {
public:
    ACRX_DECLARE_MEMBERS(AsdkDataBaseReactor);
    AsdkDataBaseReactor() = default;
    ~AsdkDataBaseReactor() override;

    void objectModified(const AcDbDatabase* database, const AcDbObject* object) override;

    virtual void Attach(AcDbDatabase* database);
    virtual void Detach();
    virtual AcDbDatabase* Subject() const { return m_database; }
    virtual bool IsAttached() const { return m_database != nullptr; }

private:
    AcDbDatabase* m_database = nullptr;
};

// Watches commands; each command event drains the queue of modified tables.
class AsdkEditorReactor : public AcEditorReactor {
public:
    // Attaches itself to the editor if the host offers one.
    AsdkEditorReactor();
    ~AsdkEditorReactor() override;

    void commandWillStart(const ACHAR* cmdStr) override;
    void commandEnded(const ACHAR* cmdStr) override;
    void commandCancelled(const ACHAR* cmdStr) override;
    void commandFailed(const ACHAR* cmdStr) override;

    virtual void Attach();
    virtual void Detach();
    virtual AcEditor* Subject() const;
    virtual bool IsAttached() const { return m_autoInitAndRelease; }

private:
    bool m_autoInitAndRelease = false;
};

// The per-document record: the document's database reactor, null at first.
class CDocData {
public:
    AsdkDataBaseReactor* m_pDbReactor = nullptr;
};

// One record per open document, kept by watching the document manager.
template <class T> class AsdkDataManager : public AcApDocManagerReactor {
public:
    AsdkDataManager() { acDocManagerPtr()->addReactor(this); }
    ~AsdkDataManager() override;
    AsdkDataManager(const AsdkDataManager&) = delete;
    AsdkDataManager& operator=(const AsdkDataManager&) = delete;

    // The record of the current document, made when missing.
    T& docData() { return m_dataMap[acDocManagerPtr()->curDocument()]; }
    T& docData(AcApDocument* doc) { return m_dataMap[doc]; }
    size_t size() const { return m_dataMap.size(); }
    bool has(AcApDocument* doc) const { return m_dataMap.count(doc) > 0; }

    void documentToBeDestroyed(AcApDocument* doc) override;
    void documentBecameCurrent(AcApDocument* doc) override;

private:
    std::map<AcApDocument*, T> m_dataMap;
};

// The host closes the active drawing, so the reactor side works on the current document
// and only the erase uses the argument.
template <class T> void AsdkDataManager<T>::documentToBeDestroyed(AcApDocument* doc) {
    T& data = docData();
    if (data.m_pDbReactor) {
        AcApDocument* current = acDocManagerPtr()->curDocument();
        if (current && current->database())
            current->database()->removeReactor(data.m_pDbReactor);
        delete data.m_pDbReactor;
        data.m_pDbReactor = nullptr;
    }
    m_dataMap.erase(doc);
}

// At library unload the reactors of documents still open are taken off their databases and
// deleted: the host keeps the drawings, and a reactor whose code is gone must not be called.
template <class T> AsdkDataManager<T>::~AsdkDataManager() {
    acDocManagerPtr()->removeReactor(this);
    AcApDocumentIterator* it = acDocManagerPtr()->newAcApDocumentIterator();
    for (; it && !it->done(); it->step()) {
        auto found = m_dataMap.find(it->document());
        if (found == m_dataMap.end() || !found->second.m_pDbReactor)
            continue;
        if (AcDbDatabase* database = it->document()->database())
            database->removeReactor(found->second.m_pDbReactor);
        delete found->second.m_pDbReactor;
        found->second.m_pDbReactor = nullptr;
    }
    delete it;
}

template <class T> void AsdkDataManager<T>::documentBecameCurrent(AcApDocument* doc) {
    if (!doc)
        return;
    T& data = docData();
    if (data.m_pDbReactor)
        return;
    data.m_pDbReactor = new AsdkDataBaseReactor();
    acdbHostApplicationServices()->workingDatabase()->addReactor(data.m_pDbReactor);
}

extern AsdkDataManager<CDocData> DocVars;
