// The host's own side of blocks: making block definitions, layouts, dynamic properties
// and inserts, as the host's block editor and INSERT command do.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "dbdynblk.h"
#include "dbents.h"
#include "dbsymtb.h"

namespace drawing {

// A property of a dynamic block definition. A value must be of the property's kind; a
// range bounds numbers, a list of allowed values restricts them (both optional).
struct DynamicPropertyDefinition {
    std::wstring name;
    AcDb::DwgDataType type = AcDb::kDwgReal;
    AcDbDynBlockReferenceProperty::UnitsType units = AcDbDynBlockReferenceProperty::kNoUnits;
    AcDbEvalVariant defaultValue;
    bool readOnly = false;
    bool visible = true;
    std::wstring description;
    std::optional<double> minimum;
    std::optional<double> maximum;
    std::vector<AcDbEvalVariant> allowedValues;
};

} // namespace drawing

// What a block table record holds: its entities in order, whether it is a space, and the
// properties that make it a dynamic block.
struct AcDbBlockTableRecord::Data {
    std::vector<AcDbObjectId> entities;
    bool layout = false;
    std::vector<drawing::DynamicPropertyDefinition> properties;
};

// The values of a reference's dynamic properties.
struct AcDbBlockReference::DynamicValues {
    std::vector<AcDbEvalVariant> values; // parallel to the definition's properties
};

namespace drawing {

// The restype that holds values of a property type (40, 70, 90, 1, 10), or 0.
short restypeOfType(AcDb::DwgDataType type);

// The definition a reference inserts, read by the host without an open.
AcDbObjectId blockOf(const AcDbBlockReference* reference);

// A new block definition of that name in the database's block table.
Acad::ErrorStatus addBlockDefinition(AcDbDatabase* database, const std::wstring& name,
                                     AcDbObjectId& id);
// A new layout: a paper space record named "*Paper_Space<n>".
Acad::ErrorStatus addLayout(AcDbDatabase* database, AcDbObjectId& spaceId);
// Adds a property to a block definition, which makes it dynamic. Names may repeat (the
// host allows properties whose names differ only in case). eInvalidInput for an empty
// name, a default value of the wrong kind or a type the host has no values for.
Acad::ErrorStatus addDynamicProperty(AcDbObjectId blockDefinition,
                                     const DynamicPropertyDefinition& property);
// A reference to a block definition, appended to an owner record (a space or another
// block definition, which makes the reference nested).
Acad::ErrorStatus insertBlock(AcDbObjectId owner, AcDbObjectId blockDefinition,
                              const AcGePoint3d& position, AcDbObjectId& referenceId);

} // namespace drawing
