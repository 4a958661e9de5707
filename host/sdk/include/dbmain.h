// The host's drawing database: object ids, handles, objects, opening and closing, xdata.
#pragma once

#include <cstddef>
#include <cstdint>

#include "AdAChar.h"
#include "acadstrc.h"
#include "adsdef.h"
#include "gemat3d.h"
#include "rxobject.h"

class AcDbDatabase;
class AcDbObject;
class AcDbEntity;
struct AcDbStub;

namespace AcDb {
enum OpenMode { kNotOpen = -1, kForRead = 0, kForWrite = 1, kForNotify = 2 };
} // namespace AcDb

// A 64-bit handle, unique within its database and kept across saves.
class AcDbHandle {
public:
    AcDbHandle() = default;
    AcDbHandle(uint64_t value) : m_value(value) {}
    AcDbHandle(int low, int high)
        : m_value((static_cast<uint64_t>(static_cast<uint32_t>(high)) << 32) |
                  static_cast<uint32_t>(low)) {}
    // Parses hexadecimal text; text that is not a hexadecimal number gives the null handle.
    explicit AcDbHandle(const ACHAR* text);
    AcDbHandle& operator=(const ACHAR* text) { return *this = AcDbHandle(text); }

    bool isNull() const { return m_value == 0; }
    void setNull() { m_value = 0; }
    uint32_t low() const { return static_cast<uint32_t>(m_value); }
    uint32_t high() const { return static_cast<uint32_t>(m_value >> 32); }
    uint64_t value() const { return m_value; }
    AcDbHandle& operator++() {
        ++m_value;
        return *this;
    }
    // Writes the handle as upper-case hexadecimal without leading zeros; false if the buffer
    // of bufferLength characters cannot take it with its terminator.
    bool getIntoAsciiBuffer(ACHAR* buffer, size_t bufferLength) const;
    template <size_t N> bool getIntoAsciiBuffer(ACHAR (&buffer)[N]) const {
        return getIntoAsciiBuffer(buffer, N);
    }

    friend bool operator==(const AcDbHandle& a, const AcDbHandle& b) {
        return a.m_value == b.m_value;
    }
    friend bool operator!=(const AcDbHandle& a, const AcDbHandle& b) {
        return a.m_value != b.m_value;
    }
    friend bool operator<(const AcDbHandle& a, const AcDbHandle& b) {
        return a.m_value < b.m_value;
    }

private:
    uint64_t m_value = 0;
};

// Names one object of a database for the life of the session.
class AcDbObjectId {
public:
    AcDbObjectId() = default;
    static const AcDbObjectId kNull;

    bool isNull() const { return m_stub == nullptr; }
    bool isValid() const { return m_stub != nullptr; }
    bool isErased() const;
    AcDbHandle handle() const;
    AcDbDatabase* database() const;
    // The exact class of the object, without opening it; null for a null or purged id.
    AcRxClass* objectClass() const;
    AcDbObjectId& setFromOldId(intptr_t oldId) {
        m_stub = reinterpret_cast<AcDbStub*>(oldId);
        return *this;
    }
    intptr_t asOldId() const { return reinterpret_cast<intptr_t>(m_stub); }

    friend bool operator==(const AcDbObjectId& a, const AcDbObjectId& b) {
        return a.m_stub == b.m_stub;
    }
    friend bool operator!=(const AcDbObjectId& a, const AcDbObjectId& b) {
        return a.m_stub != b.m_stub;
    }
    friend bool operator<(const AcDbObjectId& a, const AcDbObjectId& b) {
        return a.m_stub < b.m_stub;
    }

    AcDbStub* stub() const { return m_stub; }
    explicit AcDbObjectId(AcDbStub* stub) : m_stub(stub) {}

private:
    AcDbStub* m_stub = nullptr;
};

// The root of everything a database holds.
class AcDbObject : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbObject);

    AcDbObject();
    ~AcDbObject() override;
    AcDbObject(const AcDbObject&) = delete;
    AcDbObject& operator=(const AcDbObject&) = delete;

    AcDbObjectId objectId() const;
    AcDbObjectId ownerId() const { return m_ownerId; }
    Acad::ErrorStatus setOwnerId(AcDbObjectId owner);
    AcDbHandle handle() const;
    void getAcDbHandle(AcDbHandle& handle) const { handle = this->handle(); }
    AcDbDatabase* database() const;

    bool isErased() const;
    bool isReadEnabled() const;
    bool isWriteEnabled() const;
    bool isNewObject() const { return m_stub == nullptr; }
    bool isModified() const { return m_modified; }

    Acad::ErrorStatus upgradeOpen();
    Acad::ErrorStatus downgradeOpen();
    Acad::ErrorStatus close();
    Acad::ErrorStatus erase(bool erasing = true);

    // A changing member asks for write access; the host treats a change through a read-only
    // open as a fatal error of the caller.
    void assertReadEnabled() const;
    void assertWriteEnabled();

    // The xdata of one application (its 1001 entry and what follows it), or of all when the
    // name is null. The chain is the caller's to free with acutRelRb.
    virtual resbuf* xData(const ACHAR* regappName = nullptr) const;
    // Replaces the xdata of each application named by a 1001 entry of the chain; an
    // application whose entry stands alone loses its xdata.
    virtual Acad::ErrorStatus setXData(const resbuf* xdata);

private:
    friend struct AcDbObjectAccess;
    AcDbStub* m_stub = nullptr;
    AcDbObjectId m_ownerId;
    int m_readers = 0;
    bool m_writer = false;
    bool m_modified = false;
    struct XData;
    XData* m_xdata = nullptr;
};

class AcDbEntity : public AcDbObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbEntity);
    AcDbObjectId blockId() const { return ownerId(); }
    // Moves, turns or scales the entity; eNotOpenForWrite unless open for write.
    virtual Acad::ErrorStatus transformBy(const AcGeMatrix3d& xform);
};

// Opens an object by id. Refusals: eNullObjectId, eWasErased (unless openErased),
// eWasOpenForWrite / eWasOpenForRead / eAtMaxReaders for a clashing open, and
// eNotThatKindOfClass when the object is not of the class asked for.
Acad::ErrorStatus acdbOpenObject(AcDbObject*& object, AcDbObjectId id, const AcRxClass* cls,
                                 AcDb::OpenMode mode, bool openErased);

template <class T>
Acad::ErrorStatus acdbOpenObject(T*& object, AcDbObjectId id, AcDb::OpenMode mode = AcDb::kForRead,
                                 bool openErased = false) {
    AcDbObject* opened = nullptr;
    Acad::ErrorStatus es = acdbOpenObject(opened, id, T::desc(), mode, openErased);
    object = es == Acad::eOk ? static_cast<T*>(opened) : nullptr;
    return es;
}

inline Acad::ErrorStatus acdbOpenAcDbObject(AcDbObject*& object, AcDbObjectId id,
                                            AcDb::OpenMode mode, bool openErased = false) {
    return acdbOpenObject(object, id, AcDbObject::desc(), mode, openErased);
}

// As acdbOpenObject, with eNotAnEntity for an object that is no entity.
Acad::ErrorStatus acdbOpenAcDbEntity(AcDbEntity*& entity, AcDbObjectId id, AcDb::OpenMode mode,
                                     bool openErased = false);

// Holds an object open for a scope and closes it on every path; an object created through
// the holder and never added to a database is deleted instead.
template <class T> class AcDbObjectPointer {
public:
    AcDbObjectPointer() = default;
    AcDbObjectPointer(AcDbObjectId id, AcDb::OpenMode mode = AcDb::kForRead,
                      bool openErased = false) {
        m_status = acdbOpenObject(m_object, id, mode, openErased);
    }
    ~AcDbObjectPointer() { close(); }
    AcDbObjectPointer(const AcDbObjectPointer&) = delete;
    AcDbObjectPointer& operator=(const AcDbObjectPointer&) = delete;

    Acad::ErrorStatus openStatus() const { return m_status; }
    Acad::ErrorStatus open(AcDbObjectId id, AcDb::OpenMode mode = AcDb::kForRead,
                           bool openErased = false) {
        close();
        m_status = acdbOpenObject(m_object, id, mode, openErased);
        return m_status;
    }
    Acad::ErrorStatus create() {
        close();
        m_object = new T();
        m_status = Acad::eOk;
        return m_status;
    }
    Acad::ErrorStatus acquire(T*& object) {
        close();
        m_object = object;
        object = nullptr;
        m_status = m_object ? Acad::eOk : Acad::eNullObjectPointer;
        return m_status;
    }
    Acad::ErrorStatus release(T*& object) {
        object = m_object;
        m_object = nullptr;
        m_status = Acad::eNullObjectPointer;
        return Acad::eOk;
    }
    Acad::ErrorStatus close() {
        if (!m_object)
            return Acad::eNullObjectPointer;
        Acad::ErrorStatus es = Acad::eOk;
        if (m_object->isNewObject())
            delete m_object;
        else
            es = m_object->close();
        m_object = nullptr;
        m_status = Acad::eNullObjectPointer;
        return es;
    }
    T* object() const { return m_object; }
    T* operator->() const { return m_object; }
    operator T*() const { return m_object; }

private:
    T* m_object = nullptr;
    Acad::ErrorStatus m_status = Acad::eNullObjectPointer;
};

class AcDbDatabaseReactor;

class AcDbDatabase : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbDatabase);

    explicit AcDbDatabase(bool buildDefaultDrawing = true, bool noDocument = false);
    ~AcDbDatabase() override;
    AcDbDatabase(const AcDbDatabase&) = delete;
    AcDbDatabase& operator=(const AcDbDatabase&) = delete;

    // The id of the object with the handle: eNullHandle for the null handle, eUnknownHandle
    // when no object has it. createIfNotFound and xRefId are accepted and not used here.
    Acad::ErrorStatus getAcDbObjectId(AcDbObjectId& id, bool createIfNotFound,
                                      const AcDbHandle& handle, Adesk::UInt32 xRefId = 0);
    // Makes the object resident, with the next handle, open for write.
    Acad::ErrorStatus addAcDbObject(AcDbObject* object);
    Acad::ErrorStatus addAcDbObject(AcDbObjectId& id, AcDbObject* object);

    AcDbObjectId regAppTableId() const;
    AcDbObjectId blockTableId() const;
    AcDbObjectId textStyleTableId() const;

    // The space new entities go to: model space, or the paper space of the current layout.
    AcDbObjectId currentSpaceId() const;

    // Current table style, text style and text height for new text.
    AcDbObjectId tablestyle() const;
    Acad::ErrorStatus setTablestyle(AcDbObjectId styleId);
    AcDbObjectId textstyle() const;
    Acad::ErrorStatus setTextstyle(AcDbObjectId styleId);
    double textsize() const;
    Acad::ErrorStatus setTextsize(double size);

    // The current user coordinate system, in world coordinates.
    AcGePoint3d ucsorg() const;
    AcGeVector3d ucsxdir() const;
    AcGeVector3d ucsydir() const;
    // eInvalidInput unless the axes are of non-zero length and perpendicular.
    Acad::ErrorStatus setUcs(const AcGePoint3d& origin, const AcGeVector3d& xAxis,
                             const AcGeVector3d& yAxis);

    void addReactor(AcDbDatabaseReactor* reactor) const;
    void removeReactor(AcDbDatabaseReactor* reactor) const;

    struct Impl;
    Impl* impl() const { return m_impl; }

private:
    Impl* m_impl;
};

class AcDbDatabaseReactor : public AcRxObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbDatabaseReactor);
    virtual void objectAppended(const AcDbDatabase*, const AcDbObject*) {}
    virtual void objectModified(const AcDbDatabase*, const AcDbObject*) {}
    virtual void objectErased(const AcDbDatabase*, const AcDbObject*, bool /*erased*/) {}
};

// The matrix from the current UCS of the database (the working one when null) to world
// coordinates; false without a database.
bool acdbUcsMatrix(AcGeMatrix3d& mat, AcDbDatabase* db = nullptr);
// A point (or, with vec, a direction) from the working database's UCS to world coordinates.
bool acdbUcs2Wcs(const ads_point p, ads_point q, bool vec);
bool acdbWcs2Ucs(const ads_point p, ads_point q, bool vec);
// Asks for the given entities to be drawn again; the number of entities queued.
int acdbQueueForRegen(const AcDbObjectId* ids, Adesk::Int32 count);

// The editor's names for objects, two integers, and their ids.
Acad::ErrorStatus acdbGetAdsName(ads_name& name, AcDbObjectId id);
Acad::ErrorStatus acdbGetObjectId(AcDbObjectId& id, const ads_name name);
