// Dynamic blocks: block definitions with properties whose values each reference keeps.
#pragma once

#include "AcString.h"
#include "dbents.h"
#include "dbeval.h"

class AcDbDynBlockReferenceProperty;
typedef AcArray<AcDbDynBlockReferenceProperty> AcDbDynBlockReferencePropertyArray;

// A view of a block reference as a dynamic block. It keeps the reference's id, so it may
// outlive an open of the reference.
class AcDbDynBlockReference {
public:
    explicit AcDbDynBlockReference(AcDbObjectId blockReferenceId);
    explicit AcDbDynBlockReference(AcDbBlockReference* blockReference);
    ~AcDbDynBlockReference() = default;

    static bool isDynamicBlock(AcDbObjectId blockTableRecordId);
    // True when the reference is one of a block definition with dynamic properties.
    bool isDynamicBlock() const;
    AcDbObjectId blockId() const { return m_reference; }
    // The dynamic block definition the reference stems from; null for a plain block.
    AcDbObjectId dynamicBlockTableRecord() const;
    // The properties in the definition's order (none for a plain block).
    void getBlockProperties(AcDbDynBlockReferencePropertyArray& properties) const;
    // Back to the definition's values.
    Acad::ErrorStatus resetBlock();

private:
    AcDbObjectId m_reference;
};

// One property of one reference.
class AcDbDynBlockReferenceProperty {
public:
    enum UnitsType { kNoUnits = 0, kAngular = 1, kDistance = 2, kArea = 3 };

    AcDbDynBlockReferenceProperty() = default;

    AcDbObjectId blockId() const { return m_reference; }
    AcString propertyName() const;
    AcString description() const;
    AcDb::DwgDataType propertyType() const;
    UnitsType unitsType() const;
    bool readOnly() const;
    bool show() const;
    bool visibleInCurrentVisibilityState() const { return show(); }
    AcDbEvalVariant value() const;
    // The values the property may take: a list, or nothing when any value (in range) goes.
    Acad::ErrorStatus getAllowedValues(AcDbEvalVariantArray& values) const;
    // Refusals: eReadOnlyProperty; eInvalidInput for a value of another kind (a 16-bit value
    // for a 16-bit property, and so on); eBadDynBlockPropertyValue for a value out of the
    // property's range or not among its allowed values; eWasErased for an erased reference.
    // The reference may be open for read or not open at all: the host changes it itself.
    Acad::ErrorStatus setValue(const AcDbEvalVariant& value);

    bool operator==(const AcDbDynBlockReferenceProperty& other) const {
        return m_reference == other.m_reference && m_index == other.m_index;
    }

    // Host side: the property at this index of the definition, for this reference.
    AcDbDynBlockReferenceProperty(AcDbObjectId reference, int index)
        : m_reference(reference), m_index(index) {}

private:
    AcDbObjectId m_reference;
    int m_index = -1;
};

// The definition side of a dynamic block.
class AcDbDynBlockTableRecord {
public:
    explicit AcDbDynBlockTableRecord(AcDbObjectId blockTableRecordId)
        : m_record(blockTableRecordId) {}
    bool isDynamicBlock() const { return AcDbDynBlockReference::isDynamicBlock(m_record); }
    AcDbObjectId blockTableRecordId() const { return m_record; }

private:
    AcDbObjectId m_record;
};
