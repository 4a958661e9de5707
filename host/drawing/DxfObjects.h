// What the drawing files hold besides the public reference's own entities and objects:
// the classes declared in the classes section, and the layout of our own objects
// (docs/drawing-files.md).
#pragma once

#include <span>

#include "dbtable.h"

namespace drawing {

struct DxfClass {
    enum class Kind { table, tableStyle, network, parameter, blockProperties, propertyValues };
    Kind kind;
    const char* dxfName;
    const char* className;
    const char* application;
    int proxyFlags;
    bool isEntity;
};

inline constexpr const char* kNetworkDxfName = "LMESH_PARAMETER_NETWORK";
inline constexpr const char* kNetworkClassName = "LmeshParameterNetwork";
inline constexpr const char* kParameterDxfName = "LMESH_PARAMETER";
inline constexpr const char* kParameterClassName = "LmeshParameter";
inline constexpr const char* kBlockPropertiesDxfName = "LMESH_BLOCK_PROPERTIES";
inline constexpr const char* kBlockPropertiesClassName = "LmeshBlockProperties";
inline constexpr const char* kPropertyValuesDxfName = "LMESH_BLOCK_PROPERTY_VALUES";
inline constexpr const char* kPropertyValuesClassName = "LmeshBlockPropertyValues";

inline std::span<const DxfClass> dxfClasses() {
    static constexpr DxfClass kClasses[] = {
        {DxfClass::Kind::table, "ACAD_TABLE", "AcDbTable", "ObjectDBX Classes", 1025, true},
        {DxfClass::Kind::tableStyle, "TABLESTYLE", "AcDbTableStyle", "ObjectDBX Classes", 4095,
         false},
        {DxfClass::Kind::network, kNetworkDxfName, kNetworkClassName, "Linkmesh", 0, false},
        {DxfClass::Kind::parameter, kParameterDxfName, kParameterClassName, "Linkmesh", 0, false},
        {DxfClass::Kind::blockProperties, kBlockPropertiesDxfName, kBlockPropertiesClassName,
         "Linkmesh", 0, false},
        {DxfClass::Kind::propertyValues, kPropertyValuesDxfName, kPropertyValuesClassName,
         "Linkmesh", 0, false},
    };
    return kClasses;
}

// A typed value is written as this code with the value's restype (40, 70, 90, 1, 10; 0 for
// none), then the value under the restype's own code.
inline constexpr int kValueTypeCode = 179;

// The order of the row types in a table style's repeated groups.
inline constexpr AcDb::RowType kStyleRowOrder[] = {AcDb::kDataRow, AcDb::kTitleRow,
                                                   AcDb::kHeaderRow};

} // namespace drawing
