#include "Database.h"

#include <cmath>
#include <cwchar>
#include <cwctype>
#include <stdexcept>

#include "ResultBuffers.h"
#include "acutads.h"
#include "dbapserv.h"
#include "dbsymtb.h"
#include "sdk/control/Parts.h"
#include "sdk/control/WorkingDatabase.h"
#include "windows.h"

bool AcRxClass::isDerivedFrom(const AcRxClass* other) const {
    for (const AcRxClass* c = this; c; c = c->m_parent)
        if (c == other)
            return true;
    return false;
}

AcRxClass* AcRxObject::desc() {
    static AcRxClass cls(L"AcRxObject", nullptr);
    return &cls;
}
AcRxClass* AcRxObject::isA() const {
    return AcRxObject::desc();
}

ACRX_DEFINE_MEMBERS(AcDbObject, AcRxObject)
ACRX_DEFINE_MEMBERS(AcDbEntity, AcDbObject)
ACRX_DEFINE_MEMBERS(AcDbDatabase, AcRxObject)
ACRX_DEFINE_MEMBERS(AcDbDatabaseReactor, AcRxObject)

const AcDbObjectId AcDbObjectId::kNull;

// ---------------------------------------------------------------------------------------
// Handles and ids

AcDbHandle::AcDbHandle(const ACHAR* text) {
    uint64_t value = 0;
    if (!text || !*text)
        return;
    for (const ACHAR* p = text; *p; ++p) {
        int digit;
        if (*p >= L'0' && *p <= L'9')
            digit = *p - L'0';
        else if (*p >= L'a' && *p <= L'f')
            digit = *p - L'a' + 10;
        else if (*p >= L'A' && *p <= L'F')
            digit = *p - L'A' + 10;
        else
            return; // not a hexadecimal number: the null handle
        if (value >> 60)
            return; // more than 64 bits
        value = value * 16 + digit;
    }
    m_value = value;
}

bool AcDbHandle::getIntoAsciiBuffer(ACHAR* buffer, size_t bufferLength) const {
    wchar_t digits[17];
    int n = 0;
    uint64_t v = m_value;
    do {
        digits[n++] = L"0123456789ABCDEF"[v & 0xF];
        v >>= 4;
    } while (v);
    if (!buffer || bufferLength < static_cast<size_t>(n) + 1)
        return false;
    for (int i = 0; i < n; ++i)
        buffer[i] = digits[n - 1 - i];
    buffer[n] = 0;
    return true;
}

bool AcDbObjectId::isErased() const {
    return m_stub && m_stub->erased;
}
AcDbHandle AcDbObjectId::handle() const {
    return m_stub ? m_stub->handle : AcDbHandle();
}
AcDbDatabase* AcDbObjectId::database() const {
    return m_stub ? m_stub->database : nullptr;
}
AcRxClass* AcDbObjectId::objectClass() const {
    return m_stub && m_stub->object ? m_stub->object->isA() : nullptr;
}

Acad::ErrorStatus AcDbEntity::transformBy(const AcGeMatrix3d&) {
    return isWriteEnabled() ? Acad::eNotApplicable : Acad::eNotOpenForWrite;
}

// ---------------------------------------------------------------------------------------
// Xdata, kept per application as a chain that starts with its 1001 entry

struct AcDbObject::XData {
    struct App {
        std::wstring name;
        resbuf* chain; // 1001 entry first
    };
    std::vector<App> apps;
    ~XData() {
        for (App& a : apps)
            acutRelRb(a.chain);
    }
    App* find(const wchar_t* name) {
        for (App& a : apps)
            if (_wcsicmp(a.name.c_str(), name) == 0)
                return &a;
        return nullptr;
    }
};

namespace {

// The host's limit on the xdata of one object.
constexpr size_t kMaxXDataBytes = 16383;

size_t xdataBytes(const resbuf* chain) {
    size_t bytes = 0;
    for (const resbuf* rb = chain; rb; rb = rb->rbnext) {
        bytes += 2;
        switch (lmhost::resbufKind(rb->restype)) {
        case lmhost::ResbufKind::Text:
            bytes += rb->resval.rstring ? std::wcslen(rb->resval.rstring) + 2 : 2;
            break;
        case lmhost::ResbufKind::Binary:
            bytes += rb->resval.rbinary.clen + 1;
            break;
        case lmhost::ResbufKind::Point:
            bytes += 24;
            break;
        case lmhost::ResbufKind::Real:
            bytes += 8;
            break;
        case lmhost::ResbufKind::Short:
            bytes += 2;
            break;
        default:
            bytes += 4;
            break;
        }
    }
    return bytes;
}

bool isRegistered(AcDbDatabase* db, const wchar_t* app) {
    if (!db)
        return true;
    AcDbRegAppTable* table = nullptr;
    if (acdbOpenObject(table, db->regAppTableId(), AcDb::kForRead) != Acad::eOk)
        return false;
    bool has = table->has(app);
    table->close();
    return has;
}

} // namespace

// ---------------------------------------------------------------------------------------
// Objects

AcDbObject::AcDbObject() = default;
AcDbObject::~AcDbObject() {
    delete m_xdata;
}

AcDbObjectId AcDbObject::objectId() const {
    return AcDbObjectId(m_stub);
}
AcDbHandle AcDbObject::handle() const {
    return m_stub ? m_stub->handle : AcDbHandle();
}
AcDbDatabase* AcDbObject::database() const {
    return m_stub ? m_stub->database : nullptr;
}
bool AcDbObject::isErased() const {
    return m_stub && m_stub->erased;
}

// An object outside any database belongs to its maker and may be changed freely.
bool AcDbObject::isReadEnabled() const {
    return !m_stub || m_readers > 0 || m_writer;
}
bool AcDbObject::isWriteEnabled() const {
    return !m_stub || m_writer;
}

Acad::ErrorStatus AcDbObject::setOwnerId(AcDbObjectId owner) {
    assertWriteEnabled();
    m_ownerId = owner;
    return Acad::eOk;
}

void AcDbObject::assertReadEnabled() const {
    if (!isReadEnabled())
        throw std::logic_error("object read while not open");
}

void AcDbObject::assertWriteEnabled() {
    if (!isWriteEnabled())
        throw std::logic_error("object changed while not open for write");
    if (m_stub)
        m_modified = true;
}

Acad::ErrorStatus AcDbObject::upgradeOpen() {
    if (!m_stub)
        return Acad::eOk;
    if (m_writer)
        return Acad::eWasOpenForWrite;
    if (m_readers > 1)
        return Acad::eHadMultipleReaders;
    if (m_readers == 0)
        return Acad::eNotOpenForRead;
    m_readers = 0;
    m_writer = true;
    return Acad::eOk;
}

Acad::ErrorStatus AcDbObject::downgradeOpen() {
    if (!m_stub)
        return Acad::eOk;
    if (!m_writer)
        return Acad::eNotOpenForWrite;
    bool modified = m_modified;
    m_writer = false;
    m_readers = 1;
    m_modified = false;
    if (modified)
        m_stub->database->impl()->notify(
            [&](AcDbDatabaseReactor* r) { r->objectModified(m_stub->database, this); });
    return Acad::eOk;
}

// Closing a changed object tells the database's reactors, with the object still readable.
Acad::ErrorStatus AcDbObject::close() {
    if (!m_stub)
        return Acad::eNotInDatabase;
    if (m_writer) {
        bool modified = m_modified;
        m_modified = false;
        if (modified) {
            m_readers = 1; // readable during the notification, as on the host
            m_writer = false;
            AcDbDatabase* db = m_stub->database;
            db->impl()->notify([&](AcDbDatabaseReactor* r) { r->objectModified(db, this); });
            m_readers = 0;
        }
        m_writer = false;
        return Acad::eOk;
    }
    if (m_readers > 0) {
        --m_readers;
        return Acad::eOk;
    }
    return Acad::eNotOpenForRead;
}

Acad::ErrorStatus AcDbObject::erase(bool erasing) {
    if (!m_stub)
        return Acad::eNotInDatabase;
    if (!m_writer)
        return Acad::eNotOpenForWrite;
    if (m_stub->erased == erasing)
        return erasing ? Acad::eWasErased : Acad::eWasNotErased;
    m_stub->erased = erasing;
    m_modified = true;
    AcDbDatabase* db = m_stub->database;
    db->impl()->notify([&](AcDbDatabaseReactor* r) { r->objectErased(db, this, erasing); });
    return Acad::eOk;
}

resbuf* AcDbObject::xData(const ACHAR* regappName) const {
    if (!m_xdata)
        return nullptr;
    if (regappName) {
        XData::App* app = m_xdata->find(regappName);
        return app ? lmhost::copyChain(app->chain) : nullptr;
    }
    resbuf* head = nullptr;
    resbuf** tail = &head;
    for (const XData::App& a : m_xdata->apps) {
        *tail = lmhost::copyChain(a.chain);
        while (*tail)
            tail = &(*tail)->rbnext;
    }
    return head;
}

Acad::ErrorStatus AcDbObject::setXData(const resbuf* xdata) {
    if (m_stub && !m_writer)
        return Acad::eNotOpenForWrite;
    if (!xdata)
        return Acad::eOk;
    if (xdata->restype != 1001 || !xdata->resval.rstring)
        return Acad::eInvalidInput;
    // Check every section before changing anything.
    for (const resbuf* rb = xdata; rb; rb = rb->rbnext) {
        if (rb->restype == 1001) {
            if (!rb->resval.rstring || !*rb->resval.rstring)
                return Acad::eInvalidInput;
            if (!isRegistered(database(), rb->resval.rstring))
                return Acad::eRegappIdNotFound;
        } else if (rb->restype < 1000 || rb->restype > 1071) {
            return Acad::eInvalidResBuf;
        }
    }
    XData next;
    if (m_xdata)
        for (const XData::App& a : m_xdata->apps)
            next.apps.push_back({a.name, lmhost::copyChain(a.chain)});
    const resbuf* section = xdata;
    while (section) {
        const resbuf* end = section->rbnext;
        while (end && end->restype != 1001)
            end = end->rbnext;
        XData::App* app = next.find(section->resval.rstring);
        if (section->rbnext == end) {
            // A bare application entry removes that application's xdata.
            if (app) {
                acutRelRb(app->chain);
                next.apps.erase(next.apps.begin() + (app - next.apps.data()));
            }
        } else if (app) {
            acutRelRb(app->chain);
            app->chain = lmhost::copyChain(section, end);
        } else {
            next.apps.push_back({section->resval.rstring, lmhost::copyChain(section, end)});
        }
        section = end;
    }
    size_t bytes = 0;
    for (const XData::App& a : next.apps)
        bytes += xdataBytes(a.chain);
    if (bytes > kMaxXDataBytes)
        return Acad::eXdataSizeExceeded;
    if (!m_xdata)
        m_xdata = new XData;
    std::swap(m_xdata->apps, next.apps);
    if (m_stub)
        m_modified = true;
    return Acad::eOk;
}

// ---------------------------------------------------------------------------------------
// Opening

Acad::ErrorStatus acdbOpenObject(AcDbObject*& object, AcDbObjectId id, const AcRxClass* cls,
                                 AcDb::OpenMode mode, bool openErased) {
    object = nullptr;
    AcDbStub* stub = id.stub();
    if (!stub)
        return Acad::eNullObjectId;
    if (!stub->object)
        return Acad::ePermanentlyErased;
    if (stub->erased && !openErased)
        return Acad::eWasErased;
    AcDbObject* target = stub->object;
    if (cls && !target->isKindOf(cls))
        return Acad::eNotThatKindOfClass;
    Acad::ErrorStatus es = AcDbObjectAccess::open(target, mode);
    if (es == Acad::eOk)
        object = target;
    return es;
}

Acad::ErrorStatus acdbOpenAcDbEntity(AcDbEntity*& entity, AcDbObjectId id, AcDb::OpenMode mode,
                                     bool openErased) {
    entity = nullptr;
    AcDbObject* object = nullptr;
    Acad::ErrorStatus es = acdbOpenObject(object, id, AcDbObject::desc(), mode, openErased);
    if (es != Acad::eOk)
        return es;
    entity = AcDbEntity::cast(object);
    if (!entity) {
        object->close();
        return Acad::eNotAnEntity;
    }
    return Acad::eOk;
}

Acad::ErrorStatus acdbGetAdsName(ads_name& name, AcDbObjectId id) {
    if (id.isNull())
        return Acad::eNullObjectId;
    name[0] = id.asOldId();
    name[1] = reinterpret_cast<intptr_t>(id.database());
    return Acad::eOk;
}

Acad::ErrorStatus acdbGetObjectId(AcDbObjectId& id, const ads_name name) {
    id = AcDbObjectId::kNull;
    if (name[0] == 0)
        return Acad::eInvalidAdsName;
    id.setFromOldId(static_cast<intptr_t>(name[0]));
    return Acad::eOk;
}

// ---------------------------------------------------------------------------------------
// The database

namespace {

lmhost::DrawingBuilder& drawingBuilder() {
    static lmhost::DrawingBuilder build = nullptr;
    return build;
}

} // namespace

void lmhost::setDefaultDrawingBuilder(DrawingBuilder build) {
    drawingBuilder() = build;
}

AcDbDatabase::AcDbDatabase(bool buildDefaultDrawing, bool) : m_impl(new Impl) {
    // The registered-application table exists in every database, with ACAD in it.
    auto* regApps = new AcDbRegAppTable;
    addAcDbObject(m_impl->regAppTable, regApps);
    if (buildDefaultDrawing) {
        auto* acad = new AcDbRegAppTableRecord;
        acad->setName(L"ACAD");
        regApps->add(acad);
        acad->close();
    }
    regApps->close();
    if (buildDefaultDrawing && drawingBuilder())
        drawingBuilder()(this);
}

AcDbDatabase::~AcDbDatabase() {
    // Objects may refer to each other while they go; unhook all first.
    for (auto& stub : m_impl->stubs) {
        AcDbObject* object = stub->object;
        stub->object = nullptr;
        delete object;
    }
    delete m_impl;
}

namespace {

// The style classes belong to the drawing model above; the database knows them by name.
bool holdsKindOf(AcDbObjectId id, const wchar_t* className) {
    AcDbStub* stub = id.stub();
    if (!stub || !stub->object)
        return false;
    for (AcRxClass* c = stub->object->isA(); c; c = c->myParent())
        if (std::wcscmp(c->name(), className) == 0)
            return true;
    return false;
}

} // namespace

// ---------------------------------------------------------------------------------------
// The database's drawing-wide settings

AcDbObjectId AcDbDatabase::blockTableId() const {
    return m_impl->blockTable;
}
AcDbObjectId AcDbDatabase::textStyleTableId() const {
    return m_impl->textStyleTable;
}
AcDbObjectId AcDbDatabase::currentSpaceId() const {
    return m_impl->currentSpace;
}
AcDbObjectId AcDbDatabase::tablestyle() const {
    return m_impl->tableStyle;
}
Acad::ErrorStatus AcDbDatabase::setTablestyle(AcDbObjectId styleId) {
    if (styleId.isNull())
        return Acad::eNullObjectId;
    if (styleId.database() != this || !holdsKindOf(styleId, L"AcDbTableStyle"))
        return Acad::eWrongObjectType;
    m_impl->tableStyle = styleId;
    return Acad::eOk;
}
AcDbObjectId AcDbDatabase::textstyle() const {
    return m_impl->textStyle;
}
Acad::ErrorStatus AcDbDatabase::setTextstyle(AcDbObjectId styleId) {
    if (styleId.isNull())
        return Acad::eNullObjectId;
    if (styleId.database() != this || !holdsKindOf(styleId, L"AcDbTextStyleTableRecord"))
        return Acad::eWrongObjectType;
    m_impl->textStyle = styleId;
    return Acad::eOk;
}
double AcDbDatabase::textsize() const {
    return m_impl->textSize;
}
Acad::ErrorStatus AcDbDatabase::setTextsize(double size) {
    if (!(size > 0) || !std::isfinite(size))
        return Acad::eInvalidInput;
    m_impl->textSize = size;
    return Acad::eOk;
}
AcGePoint3d AcDbDatabase::ucsorg() const {
    return m_impl->ucsOrigin;
}
AcGeVector3d AcDbDatabase::ucsxdir() const {
    return m_impl->ucsXAxis;
}
AcGeVector3d AcDbDatabase::ucsydir() const {
    return m_impl->ucsYAxis;
}
Acad::ErrorStatus AcDbDatabase::setUcs(const AcGePoint3d& origin, const AcGeVector3d& xAxis,
                                       const AcGeVector3d& yAxis) {
    if (xAxis.isZeroLength() || yAxis.isZeroLength() ||
        std::fabs(xAxis.normal().dotProduct(yAxis.normal())) > 1e-9)
        return Acad::eInvalidInput;
    // An axis of unit length is kept as given: normalising it again can move its last bit, and
    // a drawing read back from its file must hold the axes it was saved with.
    auto unit = [](const AcGeVector3d& v) {
        return std::fabs(v.length() - 1.0) <= 1e-12 ? v : v.normal();
    };
    m_impl->ucsOrigin = origin;
    m_impl->ucsXAxis = unit(xAxis);
    m_impl->ucsYAxis = unit(yAxis);
    return Acad::eOk;
}

Acad::ErrorStatus AcDbDatabase::getAcDbObjectId(AcDbObjectId& id, bool, const AcDbHandle& handle,
                                                Adesk::UInt32) {
    id = AcDbObjectId::kNull;
    if (handle.isNull())
        return Acad::eNullHandle;
    auto it = m_impl->byHandle.find(handle.value());
    if (it == m_impl->byHandle.end())
        return Acad::eUnknownHandle;
    id = AcDbObjectId(it->second);
    return Acad::eOk;
}

Acad::ErrorStatus AcDbDatabase::addAcDbObject(AcDbObject* object) {
    AcDbObjectId id;
    return addAcDbObject(id, object);
}

Acad::ErrorStatus AcDbDatabase::addAcDbObject(AcDbObjectId& id, AcDbObject* object) {
    id = AcDbObjectId::kNull;
    if (!object)
        return Acad::eNullObjectPointer;
    if (!object->isNewObject())
        return Acad::eAlreadyInDb;
    auto stub = std::make_unique<AcDbStub>();
    stub->object = object;
    stub->database = this;
    stub->handle = AcDbHandle(m_impl->nextHandle++);
    m_impl->byHandle[stub->handle.value()] = stub.get();
    AcDbObjectAccess::setStub(object, stub.get());
    AcDbObjectAccess::openForWrite(object);
    id = AcDbObjectId(stub.get());
    m_impl->stubs.push_back(std::move(stub));
    m_impl->notify([&](AcDbDatabaseReactor* r) { r->objectAppended(this, object); });
    return Acad::eOk;
}

AcDbObjectId AcDbDatabase::regAppTableId() const {
    return m_impl->regAppTable;
}

void AcDbDatabase::addReactor(AcDbDatabaseReactor* reactor) const {
    for (AcDbDatabaseReactor* r : m_impl->reactors)
        if (r == reactor)
            return;
    m_impl->reactors.push_back(reactor);
}

void AcDbDatabase::removeReactor(AcDbDatabaseReactor* reactor) const {
    std::erase(m_impl->reactors, reactor);
}

// ---------------------------------------------------------------------------------------
// The working database

namespace {

struct WorkingDatabase {
    AcDbDatabase* current = nullptr;
    std::unique_ptr<AcDbDatabase> own; // made on demand when nobody set one
};

WorkingDatabase& working() {
    static WorkingDatabase w;
    return w;
}

} // namespace

AcDbDatabase* AcDbHostApplicationServices::workingDatabase() const {
    WorkingDatabase& w = working();
    if (!w.current) {
        w.own = std::make_unique<AcDbDatabase>();
        w.current = w.own.get();
    }
    return w.current;
}

void AcDbHostApplicationServices::setWorkingDatabase(AcDbDatabase* database) {
    working().current = database;
}

AcDbHostApplicationServices* acdbHostApplicationServices() {
    static AcDbHostApplicationServices services;
    return &services;
}

void lmhost::resetWorkingDatabase() {
    WorkingDatabase& w = working();
    if (w.current == w.own.get())
        w.current = nullptr;
    w.own.reset();
}

// ---------------------------------------------------------------------------------------
// Symbol tables

ACRX_DEFINE_MEMBERS(AcDbSymbolTableRecord, AcDbObject)
ACRX_DEFINE_MEMBERS(AcDbSymbolTable, AcDbObject)
ACRX_DEFINE_MEMBERS(AcDbRegAppTableRecord, AcDbSymbolTableRecord)
ACRX_DEFINE_MEMBERS(AcDbRegAppTable, AcDbSymbolTable)

AcDbSymbolTableRecord::~AcDbSymbolTableRecord() {
    acutDelString(m_name);
}

Acad::ErrorStatus AcDbSymbolTableRecord::getName(ACHAR*& name) const {
    assertReadEnabled();
    return acutNewString(m_name ? m_name : L"", name) == RTNORM ? Acad::eOk : Acad::eOutOfMemory;
}

Acad::ErrorStatus AcDbSymbolTableRecord::getName(const ACHAR*& name) const {
    assertReadEnabled();
    name = m_name ? m_name : L"";
    return Acad::eOk;
}

Acad::ErrorStatus AcDbSymbolTableRecord::setName(const ACHAR* name) {
    if (!name || !*name)
        return Acad::eInvalidInput;
    assertWriteEnabled();
    acutDelString(m_name);
    acutNewString(name, m_name);
    return Acad::eOk;
}

struct AcDbSymbolTable::Records {
    std::vector<AcDbObjectId> ids;
};

AcDbSymbolTable::~AcDbSymbolTable() {
    delete m_records;
}

// The table reads its records' names without opening them.
const ACHAR* AcDbSymbolTable::recordName(AcDbObjectId id) {
    AcDbStub* stub = id.stub();
    if (!stub || !stub->object)
        return L"";
    auto* record = static_cast<AcDbSymbolTableRecord*>(stub->object);
    return record->m_name ? record->m_name : L"";
}

bool AcDbSymbolTable::has(const ACHAR* name) const {
    AcDbObjectId id;
    return getAt(name, id) == Acad::eOk;
}

Acad::ErrorStatus AcDbSymbolTable::getAt(const ACHAR* name, AcDbObjectId& id,
                                         bool getErased) const {
    assertReadEnabled();
    id = AcDbObjectId::kNull;
    if (!name || !m_records)
        return Acad::eKeyNotFound;
    for (const AcDbObjectId& r : m_records->ids)
        if ((getErased || !r.isErased()) && _wcsicmp(recordName(r), name) == 0) {
            id = r;
            return Acad::eOk;
        }
    return Acad::eKeyNotFound;
}

Acad::ErrorStatus AcDbSymbolTable::add(AcDbObjectId& id, AcDbSymbolTableRecord* record) {
    id = AcDbObjectId::kNull;
    if (!record)
        return Acad::eNullObjectPointer;
    assertWriteEnabled();
    const ACHAR* name = L"";
    record->getName(name);
    if (!*name)
        return Acad::eInvalidInput;
    if (has(name))
        return Acad::eDuplicateRecordName;
    if (!database())
        return Acad::eNoDatabase;
    Acad::ErrorStatus es = database()->addAcDbObject(id, record);
    if (es != Acad::eOk)
        return es;
    if (!m_records)
        m_records = new Records;
    m_records->ids.push_back(id);
    AcDbObjectAccess::setOwner(record, objectId());
    return Acad::eOk;
}

int AcDbSymbolTable::count() const {
    return m_records ? static_cast<int>(m_records->ids.size()) : 0;
}

AcDbObjectId AcDbSymbolTable::recordAt(int index) const {
    if (!m_records || index < 0 || index >= count())
        return AcDbObjectId::kNull;
    return m_records->ids[index];
}

int acdbRegApp(const ACHAR* appName) {
    if (!appName || !*appName)
        return RTERROR;
    AcDbDatabase* db = acdbHostApplicationServices()->workingDatabase();
    AcDbRegAppTable* table = nullptr;
    if (acdbOpenObject(table, db->regAppTableId(), AcDb::kForRead) != Acad::eOk)
        return RTERROR;
    if (table->has(appName)) {
        table->close();
        return RTNORM;
    }
    table->upgradeOpen();
    auto* record = new AcDbRegAppTableRecord;
    record->setName(appName);
    Acad::ErrorStatus es = table->add(record);
    if (es == Acad::eOk)
        record->close();
    else
        delete record;
    table->close();
    return es == Acad::eOk ? RTNORM : RTERROR;
}
