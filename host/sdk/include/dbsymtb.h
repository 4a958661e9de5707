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

// Registers an application name in the working database; RTNORM, also when it was there.
int acdbRegApp(const ACHAR* appName);
