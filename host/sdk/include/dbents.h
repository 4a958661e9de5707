// The host's entities: block references, lines, viewports.
#pragma once

#include "dbmain.h"

// An insert of a block definition at a position. References can stand in spaces and inside
// block definitions, so they nest.
class AcDbBlockReference : public AcDbEntity {
public:
    ACRX_DECLARE_MEMBERS(AcDbBlockReference);
    AcDbBlockReference();
    AcDbBlockReference(const AcGePoint3d& position, AcDbObjectId blockTableRecord);
    ~AcDbBlockReference() override;

    AcDbObjectId blockTableRecord() const;
    virtual Acad::ErrorStatus setBlockTableRecord(AcDbObjectId blockTableRecord);
    AcGePoint3d position() const;
    virtual Acad::ErrorStatus setPosition(const AcGePoint3d& position);
    double rotation() const;
    Acad::ErrorStatus setRotation(double angle);
    AcGeVector3d normal() const { return AcGeVector3d::kZAxis; }
    // The matrix that takes the definition's coordinates to the owner's.
    AcGeMatrix3d blockTransform() const;
    Acad::ErrorStatus transformBy(const AcGeMatrix3d& xform) override;

    // Values of the dynamic properties of this reference (host side, see AcDbDynBlockReference).
    struct DynamicValues;
    DynamicValues* dynamicValues() const { return m_dynamic; }
    void setDynamicValues(DynamicValues* values);

private:
    friend struct BlockReferenceAccess;
    AcDbObjectId m_block;
    AcGePoint3d m_position;
    double m_rotation = 0.0;
    DynamicValues* m_dynamic = nullptr;
};

class AcDbLine : public AcDbEntity {
public:
    ACRX_DECLARE_MEMBERS(AcDbLine);
    AcDbLine() = default;
    AcDbLine(const AcGePoint3d& start, const AcGePoint3d& end) : m_start(start), m_end(end) {}
    AcGePoint3d startPoint() const;
    AcGePoint3d endPoint() const;
    Acad::ErrorStatus setStartPoint(const AcGePoint3d& point);
    Acad::ErrorStatus setEndPoint(const AcGePoint3d& point);
    Acad::ErrorStatus transformBy(const AcGeMatrix3d& xform) override;

private:
    AcGePoint3d m_start, m_end;
};

// A view of the drawing; the current one gives the direction the user looks from.
class AcDbViewport : public AcDbEntity {
public:
    ACRX_DECLARE_MEMBERS(AcDbViewport);
    // From the target towards the viewer; the Z axis in plan view.
    AcGeVector3d viewDirection() const;
    Acad::ErrorStatus setViewDirection(const AcGeVector3d& direction);

private:
    AcGeVector3d m_viewDirection = AcGeVector3d::kZAxis;
};
