// The host's symbol tables and their records, such as the registered-application table.
#pragma once

#include "dbmain.h"

class AcDbSymbolTableRecord : public AcDbObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbSymbolTableRecord);
    Acad::ErrorStatus getName(ACHAR*& name) const; // caller frees with acutDelString
    Acad::ErrorStatus getName(const ACHAR*& name) const;
    Acad::ErrorStatus setName(const ACHAR* name);

    ~AcDbSymbolTableRecord() override;

private:
    friend class AcDbSymbolTable;
    ACHAR* m_name = nullptr;
};

// Records by name; names compare without regard to case.
class AcDbSymbolTable : public AcDbObject {
public:
    ACRX_DECLARE_MEMBERS(AcDbSymbolTable);
    ~AcDbSymbolTable() override;
    bool has(const ACHAR* name) const;
    Acad::ErrorStatus getAt(const ACHAR* name, AcDbObjectId& id, bool getErased = false) const;
    // Appends a record that is not yet in a database; eDuplicateRecordName for a taken name.
    Acad::ErrorStatus add(AcDbObjectId& id, AcDbSymbolTableRecord* record);
    Acad::ErrorStatus add(AcDbSymbolTableRecord* record) {
        AcDbObjectId id;
        return add(id, record);
    }
    int count() const;
    AcDbObjectId recordAt(int index) const;

private:
    static const ACHAR* recordName(AcDbObjectId id);
    struct Records;
    Records* m_records = nullptr;
};

class AcDbRegAppTableRecord : public AcDbSymbolTableRecord {
public:
    ACRX_DECLARE_MEMBERS(AcDbRegAppTableRecord);
};

class AcDbRegAppTable : public AcDbSymbolTable {
public:
    ACRX_DECLARE_MEMBERS(AcDbRegAppTable);
};

#define ACDB_MODEL_SPACE L"*Model_Space"
#define ACDB_PAPER_SPACE L"*Paper_Space"

class AcDbBlockTableRecordIterator;

// A block definition, or a space (model space, the paper space of a layout): it owns the
// entities appended to it, in their order.
class AcDbBlockTableRecord : public AcDbSymbolTableRecord {
public:
    ACRX_DECLARE_MEMBERS(AcDbBlockTableRecord);
    AcDbBlockTableRecord();
    ~AcDbBlockTableRecord() override;

    // Makes the entity resident and owned by this record. Refusals: eNotOpenForWrite,
    // eNullEntityPointer, eAlreadyInDb, eNotInDatabase (record not in a database).
    Acad::ErrorStatus appendAcDbEntity(AcDbObjectId& id, AcDbEntity* entity);
    Acad::ErrorStatus appendAcDbEntity(AcDbEntity* entity) {
        AcDbObjectId id;
        return appendAcDbEntity(id, entity);
    }
    // An iterator over the entities, erased ones left out when skipDeleted; the caller
    // deletes it.
    Acad::ErrorStatus newIterator(AcDbBlockTableRecordIterator*& iterator, bool atBeginning = true,
                                  bool skipDeleted = true) const;

    // True for model space and the paper spaces of layouts.
    bool isLayout() const;
    AcGePoint3d origin() const { return m_origin; }
    Acad::ErrorStatus setOrigin(const AcGePoint3d& origin);
    bool isAnonymous() const;

    struct Data;
    Data* data() const { return m_data; }

private:
    AcGePoint3d m_origin;
    Data* m_data;
};

class AcDbBlockTableRecordIterator {
public:
    ~AcDbBlockTableRecordIterator() = default;
    void start(bool atBeginning = true, bool skipDeleted = true);
    bool done() const;
    void step(bool forward = true, bool skipDeleted = true);
    Acad::ErrorStatus getEntityId(AcDbObjectId& id) const;
    Acad::ErrorStatus getEntity(AcDbEntity*& entity, AcDb::OpenMode mode = AcDb::kForRead,
                                bool openErasedEntity = false) const;
    const AcDbBlockTableRecord* blockTableRecord() const { return m_record; }

private:
    friend class AcDbBlockTableRecord;
    AcDbBlockTableRecordIterator(const AcDbBlockTableRecord* record) : m_record(record) {}
    void skip(bool forward, bool skipDeleted);
    const AcDbBlockTableRecord* m_record;
    long m_index = 0;
};

// The block definitions and spaces of a database, by name.
class AcDbBlockTable : public AcDbSymbolTable {
public:
    ACRX_DECLARE_MEMBERS(AcDbBlockTable);
};

// A text style: its font and its fixed text height (0 means the height is asked for).
class AcDbTextStyleTableRecord : public AcDbSymbolTableRecord {
public:
    ACRX_DECLARE_MEMBERS(AcDbTextStyleTableRecord);
    double textSize() const;
    Acad::ErrorStatus setTextSize(double size);
    double priorSize() const;
    Acad::ErrorStatus setPriorSize(double size);
    Acad::ErrorStatus fileName(const ACHAR*& name) const;
    Acad::ErrorStatus setFileName(const ACHAR* name);

private:
    double m_textSize = 0.0;
    double m_priorSize = 0.2;
    ACHAR* m_fileName = nullptr;

public:
    ~AcDbTextStyleTableRecord() override;
};

class AcDbTextStyleTable : public AcDbSymbolTable {
public:
    ACRX_DECLARE_MEMBERS(AcDbTextStyleTable);
};

// Registers an application name in the working database; RTNORM, also when it was there.
int acdbRegApp(const ACHAR* appName);
