// The database's inner state, shared by the host's own parts (never the plug-in).
#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
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

    // The drawing (the drawing model fills these for a default drawing).
    AcDbObjectId blockTable;
    AcDbObjectId modelSpace;
    AcDbObjectId paperSpace;
    AcDbObjectId currentSpace;
    AcDbObjectId textStyleTable;
    AcDbObjectId textStyle;
    AcDbObjectId tableStyle;
    AcDbObjectId viewport;
    // The viewports placed on layouts, and the one the user works in through a layout (null
    // when none is: in model space the model's viewport is current, on a layout's paper none).
    std::vector<AcDbObjectId> layoutViewports;
    AcDbObjectId activeLayoutViewport;
    double textSize = 0.2;
    AcGePoint3d ucsOrigin;
    AcGeVector3d ucsXAxis{1, 0, 0};
    AcGeVector3d ucsYAxis{0, 1, 0};
    // Associative networks: the top-level one, and one per owner object and dictionary key.
    AcDbObjectId topLevelNetwork;
    std::map<std::pair<AcDbStub*, std::wstring>, AcDbObjectId> networks;
    // Handles of what a drawing file holds and the model has no object for (layer 0, the
    // layouts, dictionaries), by their role, so that each save gives them the same handles.
    std::map<std::wstring, uint64_t> fileHandles;

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
    static void markModified(AcDbObject* object) { object->m_modified = true; }
    static int readers(const AcDbObject* object) { return object->m_readers; }
    static bool writer(const AcDbObject* object) { return object->m_writer; }

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
