// The database's inner state, shared by the host's own parts (never the plug-in).
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "dbmain.h"

// One entry per object ever made resident: the object id points here for the session.
struct AcDbStub {
    AcDbObject* object = nullptr;
    AcDbDatabase* database = nullptr;
    AcDbHandle handle;
    bool erased = false;
};

struct AcDbDatabase::Impl {
    std::vector<std::unique_ptr<AcDbStub>> stubs;
    std::unordered_map<uint64_t, AcDbStub*> byHandle;
    uint64_t nextHandle = 1;
    AcDbObjectId regAppTable;
    mutable std::vector<AcDbDatabaseReactor*> reactors;

    // Database reactors are told in the order they were added; a reactor may remove itself.
    template <class F> void notify(F f) const {
        std::vector<AcDbDatabaseReactor*> copy = reactors;
        for (AcDbDatabaseReactor* r : copy)
            f(r);
    }
};

// The host's own access to an object's open state, for its other parts.
struct AcDbObjectAccess {
    static AcDbStub* stub(const AcDbObject* object) { return object->m_stub; }
    static void setStub(AcDbObject* object, AcDbStub* stub) { object->m_stub = stub; }
    static void openForWrite(AcDbObject* object) { object->m_writer = true; }
    static void setOwner(AcDbObject* object, AcDbObjectId owner) { object->m_ownerId = owner; }

    // The host allows many readers or one writer.
    static Acad::ErrorStatus open(AcDbObject* object, AcDb::OpenMode mode) {
        if (object->m_writer)
            return Acad::eWasOpenForWrite;
        if (mode == AcDb::kForWrite) {
            if (object->m_readers > 0)
                return Acad::eWasOpenForRead;
            object->m_writer = true;
            return Acad::eOk;
        }
        if (object->m_readers >= kMaxReaders)
            return Acad::eAtMaxReaders;
        ++object->m_readers;
        return Acad::eOk;
    }
    static constexpr int kMaxReaders = 256;
};
