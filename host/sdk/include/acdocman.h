// The host's document manager: the open drawings, the current one, and its reactors.
#pragma once

#include "AdAChar.h"
#include "acadstrc.h"
#include "rxobject.h"

class AcDbDatabase;
class AcApDocument;

// The document's transaction manager, as far as plug-ins use it here.
class AcTransactionManager {
public:
    // Shows pending changes of entities on the screen now.
    Acad::ErrorStatus flushGraphics();
};

namespace AcAp {
enum DocLockMode {
    kNone = 0x00,
    kAutoWrite = 0x01,
    kNotLocked = 0x02,
    kWrite = 0x04,
    kProtectedAutoWrite = 0x14,
    kRead = 0x20,
    kXWrite = 0x40
};
} // namespace AcAp

class AcApDocument : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcApDocument);
    AcDbDatabase* database() const;
    // The path the drawing was opened from or will be saved to, and its name for display.
    const ACHAR* fileName() const;
    const ACHAR* docTitle() const;
    AcAp::DocLockMode lockMode(bool bIncludeMyLocks = false) const;
    AcTransactionManager* transactionManager() const;

    struct Data;
    explicit AcApDocument(Data* data) : m_data(data) {}
    ~AcApDocument() override;
    AcApDocument(const AcApDocument&) = delete;
    AcApDocument& operator=(const AcApDocument&) = delete;
    Data* data() const { return m_data; }

private:
    Data* m_data;
};

// Told of documents as they are made, become current, and are destroyed. All slots are
// empty here; an application overrides those it needs.
class AcApDocManagerReactor : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcApDocManagerReactor);
    virtual void documentCreateStarted(AcApDocument*) {}
    virtual void documentCreated(AcApDocument*) {}
    virtual void documentToBeDestroyed(AcApDocument*) {}
    virtual void documentDestroyed(const ACHAR* /*fileName*/) {}
    virtual void documentCreateCanceled(AcApDocument*) {}
    virtual void documentLockModeWillChange(AcApDocument*, AcAp::DocLockMode /*myCurrentMode*/,
                                            AcAp::DocLockMode /*myNewMode*/,
                                            AcAp::DocLockMode /*currentMode*/,
                                            const ACHAR* /*globalCmdName*/) {}
    virtual void documentLockModeChangeVetoed(AcApDocument*, const ACHAR* /*globalCmdName*/) {}
    virtual void documentLockModeChanged(AcApDocument*, AcAp::DocLockMode /*myPreviousMode*/,
                                         AcAp::DocLockMode /*myCurrentMode*/,
                                         AcAp::DocLockMode /*currentMode*/,
                                         const ACHAR* /*globalCmdName*/) {}
    virtual void documentBecameCurrent(AcApDocument*) {}
    virtual void documentToBeActivated(AcApDocument*) {}
    virtual void documentToBeDeactivated(AcApDocument*) {}
    virtual void documentActivationModified(bool /*bActivation*/) {}
    virtual void documentActivated(AcApDocument*) {}
    virtual void documentDeactivated(AcApDocument*) {}
};

class AcApDocumentIterator {
public:
    AcApDocumentIterator(const AcApDocumentIterator&) = delete;
    AcApDocumentIterator& operator=(const AcApDocumentIterator&) = delete;
    ~AcApDocumentIterator() = default;
    bool done() const;
    void step();
    AcApDocument* document();

private:
    friend class AcApDocManager;
    AcApDocumentIterator() = default;
    size_t m_index = 0;
};

class AcApDocManager : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcApDocManager);
    // The document whose database commands work on; null when no drawing is open.
    AcApDocument* curDocument() const;
    AcApDocument* mdiActiveDocument() const;
    int documentCount() const;
    // The caller deletes the iterator.
    AcApDocumentIterator* newAcApDocumentIterator();
    // A reactor is told in the order reactors were added; adding one twice adds it once.
    void addReactor(AcApDocManagerReactor* reactor);
    void removeReactor(AcApDocManagerReactor* reactor);
    // Makes the document current and active; eInvalidInput for one that is not open.
    Acad::ErrorStatus setCurDocument(AcApDocument* doc, AcAp::DocLockMode lockMode = AcAp::kNone,
                                     bool activate = false);
    Acad::ErrorStatus activateDocument(AcApDocument* doc, bool bPassScript = false);
    Acad::ErrorStatus closeDocument(AcApDocument* doc);
};

AcApDocManager* acDocManagerPtr();
#define acDocManager acDocManagerPtr()
