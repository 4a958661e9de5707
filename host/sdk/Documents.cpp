// The document manager: open drawings, the current one, switching and closing, and the
// reactors told of it. The current document's database is the working database.
#include "sdk/control/Documents.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "acdocman.h"
#include "dbapserv.h"
#include "dbmain.h"
#include "windows.h"

ACRX_DEFINE_MEMBERS(AcApDocument, AcRxObject)
ACRX_DEFINE_MEMBERS(AcApDocManager, AcRxObject)
ACRX_DEFINE_MEMBERS(AcApDocManagerReactor, AcRxObject)

struct AcApDocument::Data {
    std::wstring fileName;
    std::wstring title;
    std::unique_ptr<AcDbDatabase> database;
    AcTransactionManager transactions;
};

AcApDocument::~AcApDocument() {
    delete m_data;
}
AcDbDatabase* AcApDocument::database() const {
    return m_data->database.get();
}
const ACHAR* AcApDocument::fileName() const {
    return m_data->fileName.c_str();
}
const ACHAR* AcApDocument::docTitle() const {
    return m_data->title.c_str();
}
AcAp::DocLockMode AcApDocument::lockMode(bool) const {
    return AcAp::kNotLocked;
}
AcTransactionManager* AcApDocument::transactionManager() const {
    return &m_data->transactions;
}
// Nothing is on a screen here, so nothing waits to be shown.
Acad::ErrorStatus AcTransactionManager::flushGraphics() {
    return Acad::eOk;
}

namespace {

struct DocState {
    std::vector<std::unique_ptr<AcApDocument>> documents;
    AcApDocument* current = nullptr;
    std::vector<AcApDocManagerReactor*> reactors;
};

DocState& docs() {
    static DocState s;
    return s;
}

// Reactors may add or remove reactors while told; each present at the start is told once
// unless it was removed meanwhile.
template <class F> void notify(F f) {
    std::vector<AcApDocManagerReactor*> copy = docs().reactors;
    for (AcApDocManagerReactor* r : copy)
        if (std::find(docs().reactors.begin(), docs().reactors.end(), r) != docs().reactors.end())
            f(r);
}

bool isOpen(AcApDocument* doc) {
    for (auto& d : docs().documents)
        if (d.get() == doc)
            return true;
    return false;
}

void makeCurrent(AcApDocument* doc) {
    DocState& s = docs();
    if (s.current == doc)
        return;
    if (s.current)
        notify([&](AcApDocManagerReactor* r) { r->documentToBeDeactivated(s.current); });
    notify([&](AcApDocManagerReactor* r) { r->documentToBeActivated(doc); });
    s.current = doc;
    acdbHostApplicationServices()->setWorkingDatabase(doc ? doc->database() : nullptr);
    notify([&](AcApDocManagerReactor* r) { r->documentBecameCurrent(doc); });
    notify([&](AcApDocManagerReactor* r) { r->documentActivated(doc); });
}

} // namespace

AcApDocument* AcApDocManager::curDocument() const {
    return docs().current;
}

AcApDocument* AcApDocManager::mdiActiveDocument() const {
    return docs().current;
}

int AcApDocManager::documentCount() const {
    return static_cast<int>(docs().documents.size());
}

AcApDocumentIterator* AcApDocManager::newAcApDocumentIterator() {
    return new AcApDocumentIterator();
}

bool AcApDocumentIterator::done() const {
    return m_index >= docs().documents.size();
}
void AcApDocumentIterator::step() {
    ++m_index;
}
AcApDocument* AcApDocumentIterator::document() {
    return done() ? nullptr : docs().documents[m_index].get();
}

void AcApDocManager::addReactor(AcApDocManagerReactor* reactor) {
    auto& rs = docs().reactors;
    if (reactor && std::find(rs.begin(), rs.end(), reactor) == rs.end())
        rs.push_back(reactor);
}

void AcApDocManager::removeReactor(AcApDocManagerReactor* reactor) {
    std::erase(docs().reactors, reactor);
}

Acad::ErrorStatus AcApDocManager::setCurDocument(AcApDocument* doc, AcAp::DocLockMode, bool) {
    if (!doc || !isOpen(doc))
        return Acad::eInvalidInput;
    makeCurrent(doc);
    return Acad::eOk;
}

Acad::ErrorStatus AcApDocManager::activateDocument(AcApDocument* doc, bool) {
    return setCurDocument(doc);
}

// The host closes the active drawing: a document closed from elsewhere is made current
// first, and the reactors hear documentToBeDestroyed with it current.
Acad::ErrorStatus AcApDocManager::closeDocument(AcApDocument* doc) {
    DocState& s = docs();
    if (!doc || !isOpen(doc))
        return Acad::eInvalidInput;
    makeCurrent(doc);
    notify([&](AcApDocManagerReactor* r) { r->documentToBeDestroyed(doc); });
    std::wstring fileName = doc->fileName();
    auto it = std::find_if(s.documents.begin(), s.documents.end(),
                           [&](const std::unique_ptr<AcApDocument>& d) { return d.get() == doc; });
    size_t index = static_cast<size_t>(it - s.documents.begin());
    std::unique_ptr<AcApDocument> closing = std::move(*it);
    s.documents.erase(it);
    s.current = nullptr;
    acdbHostApplicationServices()->setWorkingDatabase(nullptr);
    closing.reset();
    notify([&](AcApDocManagerReactor* r) { r->documentDestroyed(fileName.c_str()); });
    if (!s.documents.empty())
        makeCurrent(s.documents[index > 0 ? index - 1 : 0].get());
    return Acad::eOk;
}

AcApDocManager* acDocManagerPtr() {
    static AcApDocManager manager;
    return &manager;
}

namespace lmhost {

AcApDocument* newDocument(const std::wstring& name) {
    return openDocument(name, nullptr);
}

AcApDocument* openDocument(const std::wstring& name, std::unique_ptr<AcDbDatabase> database) {
    DocState& s = docs();
    auto* data = new AcApDocument::Data;
    data->fileName = name;
    size_t slash = name.find_last_of(L"/\\");
    data->title = slash == std::wstring::npos ? name : name.substr(slash + 1);
    auto doc = std::make_unique<AcApDocument>(data);
    AcApDocument* raw = doc.get();
    notify([&](AcApDocManagerReactor* r) { r->documentCreateStarted(raw); });
    data->database = database ? std::move(database) : std::make_unique<AcDbDatabase>();
    s.documents.push_back(std::move(doc));
    notify([&](AcApDocManagerReactor* r) { r->documentCreated(raw); });
    makeCurrent(raw);
    return raw;
}

AcApDocument* findDocument(const std::wstring& name) {
    for (auto& d : docs().documents)
        if (_wcsicmp(d->docTitle(), name.c_str()) == 0 ||
            _wcsicmp(d->fileName(), name.c_str()) == 0)
            return d.get();
    return nullptr;
}

bool setDocumentFileName(AcApDocument* doc, const std::wstring& fileName) {
    if (!doc || !isOpen(doc))
        return false;
    AcApDocument::Data* data = doc->data();
    data->fileName = fileName;
    size_t slash = fileName.find_last_of(L"/\\");
    data->title = slash == std::wstring::npos ? fileName : fileName.substr(slash + 1);
    return true;
}

void closeAllDocuments() {
    while (!docs().documents.empty())
        acDocManagerPtr()->closeDocument(docs().documents.back().get());
}

} // namespace lmhost
