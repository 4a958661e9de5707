// What the drawing files hold besides the public reference's own entities and objects:
// the classes declared in the classes section, and the layout of our own objects
// (docs/drawing-files.md).
#pragma once

#include <cmath>
#include <numbers>
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

// Rotations are written in degrees below a full turn (a table also as the direction of its
// rows), moved by a few units in the last place to a value that reads back as itself, so that
// a drawing read from a file writes the same file again.
inline double radiansFromDegrees(double degrees) {
    return std::fmod(degrees, 360.0) * std::numbers::pi / 180.0;
}
inline double degreesFromRadians(double radians) {
    return radians * 180.0 / std::numbers::pi;
}
inline double stableDegrees(double radians) {
    double degrees = std::fmod(degreesFromRadians(radians), 360.0);
    if (!std::isfinite(degrees))
        return 0.0;
    auto readBack = [](double d) {
        return std::fmod(degreesFromRadians(radiansFromDegrees(d)), 360.0);
    };
    double up = degrees, down = degrees;
    for (int step = 0; step < 64; ++step) {
        if (readBack(up) == up)
            return up;
        if (readBack(down) == down)
            return down;
        up = std::nextafter(up, HUGE_VAL);
        down = std::nextafter(down, -HUGE_VAL);
    }
    return degrees;
}

} // namespace drawing
