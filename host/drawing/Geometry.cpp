// Geometry basics, the host's text type and evaluation values.
#include <cmath>
#include <cstring>
#include <cwctype>

#include "AcString.h"
#include "dbeval.h"
#include "gemat3d.h"
#include "windows.h"

const AcGeVector3d AcGeVector3d::kIdentity(0, 0, 0);
const AcGeVector3d AcGeVector3d::kXAxis(1, 0, 0);
const AcGeVector3d AcGeVector3d::kYAxis(0, 1, 0);
const AcGeVector3d AcGeVector3d::kZAxis(0, 0, 1);
const AcGePoint3d AcGePoint3d::kOrigin(0, 0, 0);
const AcGeMatrix3d AcGeMatrix3d::kIdentity;

AcGeVector3d& AcGeVector3d::transformBy(const AcGeMatrix3d& m) {
    const double v[3] = {x, y, z};
    double r[3];
    for (int i = 0; i < 3; ++i)
        r[i] = m.entry[i][0] * v[0] + m.entry[i][1] * v[1] + m.entry[i][2] * v[2];
    x = r[0];
    y = r[1];
    z = r[2];
    return *this;
}

AcGePoint3d& AcGePoint3d::transformBy(const AcGeMatrix3d& m) {
    const double v[3] = {x, y, z};
    double r[4];
    for (int i = 0; i < 4; ++i)
        r[i] = m.entry[i][0] * v[0] + m.entry[i][1] * v[1] + m.entry[i][2] * v[2] + m.entry[i][3];
    // A projective matrix divides by w; an affine one has w = 1.
    double w = r[3] != 0.0 ? r[3] : 1.0;
    x = r[0] / w;
    y = r[1] / w;
    z = r[2] / w;
    return *this;
}

AcGeMatrix3d& AcGeMatrix3d::setToIdentity() {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            entry[i][j] = i == j ? 1.0 : 0.0;
    return *this;
}

bool AcGeMatrix3d::isEqualTo(const AcGeMatrix3d& m, double tol) const {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            if (std::fabs(entry[i][j] - m.entry[i][j]) > tol)
                return false;
    return true;
}

AcGeMatrix3d& AcGeMatrix3d::setToTranslation(const AcGeVector3d& v) {
    setToIdentity();
    entry[0][3] = v.x;
    entry[1][3] = v.y;
    entry[2][3] = v.z;
    return *this;
}

AcGeMatrix3d AcGeMatrix3d::translation(const AcGeVector3d& v) {
    AcGeMatrix3d m;
    return m.setToTranslation(v);
}

AcGeMatrix3d& AcGeMatrix3d::setCoordSystem(const AcGePoint3d& origin, const AcGeVector3d& xAxis,
                                           const AcGeVector3d& yAxis, const AcGeVector3d& zAxis) {
    setToIdentity();
    const AcGeVector3d* axes[3] = {&xAxis, &yAxis, &zAxis};
    for (int c = 0; c < 3; ++c) {
        entry[0][c] = axes[c]->x;
        entry[1][c] = axes[c]->y;
        entry[2][c] = axes[c]->z;
    }
    entry[0][3] = origin.x;
    entry[1][3] = origin.y;
    entry[2][3] = origin.z;
    return *this;
}

AcGeMatrix3d AcGeMatrix3d::rotation(double angle, const AcGeVector3d& axis,
                                    const AcGePoint3d& center) {
    AcGeVector3d u = axis.normal();
    double c = std::cos(angle), s = std::sin(angle), t = 1 - c;
    AcGeMatrix3d r;
    r.entry[0][0] = t * u.x * u.x + c;
    r.entry[0][1] = t * u.x * u.y - s * u.z;
    r.entry[0][2] = t * u.x * u.z + s * u.y;
    r.entry[1][0] = t * u.x * u.y + s * u.z;
    r.entry[1][1] = t * u.y * u.y + c;
    r.entry[1][2] = t * u.y * u.z - s * u.x;
    r.entry[2][0] = t * u.x * u.z - s * u.y;
    r.entry[2][1] = t * u.y * u.z + s * u.x;
    r.entry[2][2] = t * u.z * u.z + c;
    return translation(center.asVector()) * r * translation(-center.asVector());
}

AcGeMatrix3d AcGeMatrix3d::scaling(double scale, const AcGePoint3d& center) {
    AcGeMatrix3d m;
    for (int i = 0; i < 3; ++i) {
        m.entry[i][i] = scale;
        m.entry[i][3] = (1 - scale) * center[i];
    }
    return m;
}

AcGeMatrix3d AcGeMatrix3d::operator*(const AcGeMatrix3d& m) const {
    AcGeMatrix3d r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            double sum = 0;
            for (int k = 0; k < 4; ++k)
                sum += entry[i][k] * m.entry[k][j];
            r.entry[i][j] = sum;
        }
    return r;
}

// Gauss-Jordan with partial pivoting.
bool AcGeMatrix3d::invert() {
    double a[4][8];
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            a[i][j] = entry[i][j];
            a[i][j + 4] = i == j ? 1.0 : 0.0;
        }
    for (int c = 0; c < 4; ++c) {
        int pivot = c;
        for (int r = c + 1; r < 4; ++r)
            if (std::fabs(a[r][c]) > std::fabs(a[pivot][c]))
                pivot = r;
        if (std::fabs(a[pivot][c]) < 1e-14)
            return false;
        if (pivot != c)
            for (int j = 0; j < 8; ++j)
                std::swap(a[c][j], a[pivot][j]);
        double d = a[c][c];
        for (int j = 0; j < 8; ++j)
            a[c][j] /= d;
        for (int r = 0; r < 4; ++r)
            if (r != c) {
                double f = a[r][c];
                for (int j = 0; j < 8; ++j)
                    a[r][j] -= f * a[c][j];
            }
    }
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            entry[i][j] = a[i][j + 4];
    return true;
}

// ---------------------------------------------------------------------------------------

int AcString::compareNoCase(const ACHAR* other) const {
    return _wcsicmp(kwszPtr(), other ? other : L"");
}

AcString& dummyString() {
    static AcString text;
    text.setEmpty();
    return text;
}

// ---------------------------------------------------------------------------------------

namespace {

ACHAR* copyText(const ACHAR* text) {
    size_t n = std::wcslen(text);
    auto* copy = new ACHAR[n + 1];
    std::memcpy(copy, text, (n + 1) * sizeof(ACHAR));
    return copy;
}

} // namespace

AcDbEvalVariant::AcDbEvalVariant() {
    rbnext = nullptr;
    restype = RTNONE;
    std::memset(&resval, 0, sizeof resval);
}
AcDbEvalVariant::AcDbEvalVariant(double value) : AcDbEvalVariant() {
    *this = value;
}
AcDbEvalVariant::AcDbEvalVariant(short value) : AcDbEvalVariant() {
    *this = value;
}
AcDbEvalVariant::AcDbEvalVariant(Adesk::Int32 value) : AcDbEvalVariant() {
    *this = value;
}
AcDbEvalVariant::AcDbEvalVariant(const ACHAR* value) : AcDbEvalVariant() {
    *this = value;
}
AcDbEvalVariant::AcDbEvalVariant(const AcString& value) : AcDbEvalVariant() {
    *this = value.kwszPtr();
}
AcDbEvalVariant::AcDbEvalVariant(const AcGePoint3d& value) : AcDbEvalVariant() {
    restype = AcDb::kDxfXCoord;
    resval.rpoint[0] = value.x;
    resval.rpoint[1] = value.y;
    resval.rpoint[2] = value.z;
}
AcDbEvalVariant::AcDbEvalVariant(const AcDbEvalVariant& other) : AcDbEvalVariant() {
    *this = other;
}
AcDbEvalVariant::~AcDbEvalVariant() {
    clear();
}

void AcDbEvalVariant::clear() {
    if (restype == AcDb::kDxfText)
        delete[] resval.rstring;
    restype = RTNONE;
    std::memset(&resval, 0, sizeof resval);
}

AcDbEvalVariant& AcDbEvalVariant::operator=(const AcDbEvalVariant& other) {
    if (this == &other)
        return *this;
    if (other.restype == AcDb::kDxfText)
        return *this = other.resval.rstring;
    clear();
    restype = other.restype;
    resval = other.resval;
    return *this;
}
AcDbEvalVariant& AcDbEvalVariant::operator=(double value) {
    clear();
    restype = AcDb::kDxfReal;
    resval.rreal = value;
    return *this;
}
AcDbEvalVariant& AcDbEvalVariant::operator=(short value) {
    clear();
    restype = AcDb::kDxfInt16;
    resval.rint = value;
    return *this;
}
AcDbEvalVariant& AcDbEvalVariant::operator=(Adesk::Int32 value) {
    clear();
    restype = AcDb::kDxfInt32;
    resval.rlong = value;
    return *this;
}
AcDbEvalVariant& AcDbEvalVariant::operator=(const ACHAR* value) {
    ACHAR* copy = copyText(value ? value : L""); // value may be our own text
    clear();
    restype = AcDb::kDxfText;
    resval.rstring = copy;
    return *this;
}

AcDb::DwgDataType AcDbEvalVariant::getType() const {
    switch (restype) {
    case AcDb::kDxfReal:
        return AcDb::kDwgReal;
    case AcDb::kDxfInt16:
        return AcDb::kDwgInt16;
    case AcDb::kDxfInt32:
        return AcDb::kDwgInt32;
    case AcDb::kDxfText:
        return AcDb::kDwgText;
    case AcDb::kDxfXCoord:
        return AcDb::kDwg3Real;
    default:
        return AcDb::kDwgNull;
    }
}

Acad::ErrorStatus AcDbEvalVariant::getValue(double& value) const {
    if (restype != AcDb::kDxfReal)
        return Acad::eInvalidInput;
    value = resval.rreal;
    return Acad::eOk;
}
Acad::ErrorStatus AcDbEvalVariant::getValue(short& value) const {
    if (restype != AcDb::kDxfInt16)
        return Acad::eInvalidInput;
    value = resval.rint;
    return Acad::eOk;
}
Acad::ErrorStatus AcDbEvalVariant::getValue(Adesk::Int32& value) const {
    if (restype != AcDb::kDxfInt32)
        return Acad::eInvalidInput;
    value = resval.rlong;
    return Acad::eOk;
}
Acad::ErrorStatus AcDbEvalVariant::getValue(AcString& value) const {
    if (restype != AcDb::kDxfText)
        return Acad::eInvalidInput;
    value = resval.rstring;
    return Acad::eOk;
}
Acad::ErrorStatus AcDbEvalVariant::getValue(AcGePoint3d& value) const {
    if (restype != AcDb::kDxfXCoord)
        return Acad::eInvalidInput;
    value.set(resval.rpoint[0], resval.rpoint[1], resval.rpoint[2]);
    return Acad::eOk;
}

bool AcDbEvalVariant::operator==(const AcDbEvalVariant& other) const {
    if (restype != other.restype)
        return false;
    switch (restype) {
    case AcDb::kDxfReal:
        return resval.rreal == other.resval.rreal;
    case AcDb::kDxfInt16:
        return resval.rint == other.resval.rint;
    case AcDb::kDxfInt32:
        return resval.rlong == other.resval.rlong;
    case AcDb::kDxfText:
        return std::wcscmp(resval.rstring, other.resval.rstring) == 0;
    case AcDb::kDxfXCoord:
        return resval.rpoint[0] == other.resval.rpoint[0] &&
               resval.rpoint[1] == other.resval.rpoint[1] &&
               resval.rpoint[2] == other.resval.rpoint[2];
    default:
        return true;
    }
}
