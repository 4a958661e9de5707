// A value of a parameter or of a block property, as a result buffer whose type tells the
// kind: 1 text, 40 real, 70 16-bit integer, 90 32-bit integer, 10 point.
#pragma once

#include "AcString.h"
#include "acadstrc.h"
#include "acarray.h"
#include "adsdef.h"
#include "rxobject.h"

namespace AcDb {
// The host's data types of stored values.
enum DwgDataType {
    kDwgNull = 0,
    kDwgReal = 1,
    kDwgInt32 = 2,
    kDwgInt16 = 3,
    kDwgInt8 = 4,
    kDwgText = 5,
    kDwgBChunk = 6,
    kDwgHandle = 7,
    kDwgHardOwnershipId = 8,
    kDwgSoftOwnershipId = 9,
    kDwgHardPointerId = 10,
    kDwgSoftPointerId = 11,
    kDwg3Real = 12,
    kDwgInt64 = 13,
    kDwg2Real = 14,
    kDwgNotRecognized = 19,
};
// Group codes of the value kinds.
enum DxfCode { kDxfText = 1, kDxfXCoord = 10, kDxfReal = 40, kDxfInt16 = 70, kDxfInt32 = 90 };
} // namespace AcDb

class AcGePoint3d;

// Empty (restype RTNONE) until given a value; it owns its text.
class AcDbEvalVariant : public resbuf {
public:
    AcDbEvalVariant();
    AcDbEvalVariant(double value);
    AcDbEvalVariant(short value);
    AcDbEvalVariant(Adesk::Int32 value);
    AcDbEvalVariant(const ACHAR* value);
    AcDbEvalVariant(const AcString& value);
    AcDbEvalVariant(const AcGePoint3d& value);
    AcDbEvalVariant(const AcDbEvalVariant& other);
    AcDbEvalVariant& operator=(const AcDbEvalVariant& other);
    AcDbEvalVariant& operator=(double value);
    AcDbEvalVariant& operator=(short value);
    AcDbEvalVariant& operator=(Adesk::Int32 value);
    AcDbEvalVariant& operator=(const ACHAR* value);
    ~AcDbEvalVariant();

    void clear();
    // The data type of the value: kDwgReal, kDwgInt16, kDwgInt32, kDwgText, kDwg3Real or
    // kDwgNull when empty.
    AcDb::DwgDataType getType() const;
    // Each fails with eInvalidInput when the value is of another kind.
    Acad::ErrorStatus getValue(double& value) const;
    Acad::ErrorStatus getValue(short& value) const;
    Acad::ErrorStatus getValue(Adesk::Int32& value) const;
    Acad::ErrorStatus getValue(AcString& value) const;
    Acad::ErrorStatus getValue(AcGePoint3d& value) const;

    bool operator==(const AcDbEvalVariant& other) const;
    bool operator!=(const AcDbEvalVariant& other) const { return !(*this == other); }
};

typedef AcArray<AcDbEvalVariant> AcDbEvalVariantArray;
