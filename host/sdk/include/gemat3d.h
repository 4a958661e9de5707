// The host's 3D geometry basics: points, vectors and 4x4 transformation matrices.
#pragma once

#include <cmath>

class AcGeMatrix3d;

class AcGeVector3d {
public:
    AcGeVector3d() = default;
    AcGeVector3d(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}

    static const AcGeVector3d kIdentity;
    static const AcGeVector3d kXAxis;
    static const AcGeVector3d kYAxis;
    static const AcGeVector3d kZAxis;

    double length() const { return std::sqrt(x * x + y * y + z * z); }
    bool isZeroLength(double tol = 1e-10) const { return length() <= tol; }
    AcGeVector3d normal() const {
        double l = length();
        return l > 0 ? AcGeVector3d(x / l, y / l, z / l) : *this;
    }
    AcGeVector3d& normalize() { return *this = normal(); }
    double dotProduct(const AcGeVector3d& v) const { return x * v.x + y * v.y + z * v.z; }
    AcGeVector3d crossProduct(const AcGeVector3d& v) const {
        return {y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x};
    }
    bool isEqualTo(const AcGeVector3d& v, double tol = 1e-10) const {
        return (*this - v).length() <= tol;
    }
    // Directions are transformed without the matrix's translation.
    AcGeVector3d& transformBy(const AcGeMatrix3d& m);

    AcGeVector3d operator+(const AcGeVector3d& v) const { return {x + v.x, y + v.y, z + v.z}; }
    AcGeVector3d operator-(const AcGeVector3d& v) const { return {x - v.x, y - v.y, z - v.z}; }
    AcGeVector3d operator-() const { return {-x, -y, -z}; }
    AcGeVector3d operator*(double s) const { return {x * s, y * s, z * s}; }
    bool operator==(const AcGeVector3d& v) const { return isEqualTo(v); }
    double operator[](unsigned i) const { return i == 0 ? x : i == 1 ? y : z; }

    double x = 0, y = 0, z = 0;
};

class AcGePoint3d {
public:
    AcGePoint3d() = default;
    AcGePoint3d(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}
    explicit AcGePoint3d(const double p[3]) : x(p[0]), y(p[1]), z(p[2]) {}

    static const AcGePoint3d kOrigin;

    AcGePoint3d& transformBy(const AcGeMatrix3d& m);
    double distanceTo(const AcGePoint3d& p) const { return (*this - p).length(); }
    bool isEqualTo(const AcGePoint3d& p, double tol = 1e-10) const { return distanceTo(p) <= tol; }
    AcGePoint3d& set(double x_, double y_, double z_) {
        x = x_;
        y = y_;
        z = z_;
        return *this;
    }
    AcGeVector3d asVector() const { return {x, y, z}; }

    AcGeVector3d operator-(const AcGePoint3d& p) const { return {x - p.x, y - p.y, z - p.z}; }
    AcGePoint3d operator+(const AcGeVector3d& v) const { return {x + v.x, y + v.y, z + v.z}; }
    AcGePoint3d operator-(const AcGeVector3d& v) const { return {x - v.x, y - v.y, z - v.z}; }
    AcGePoint3d& operator+=(const AcGeVector3d& v) { return *this = *this + v; }
    bool operator==(const AcGePoint3d& p) const { return isEqualTo(p); }
    bool operator!=(const AcGePoint3d& p) const { return !isEqualTo(p); }
    double operator[](unsigned i) const { return i == 0 ? x : i == 1 ? y : z; }

    double x = 0, y = 0, z = 0;
};

// A 4x4 matrix acting on column vectors: p' = M * p.
class AcGeMatrix3d {
public:
    AcGeMatrix3d() { setToIdentity(); }

    static const AcGeMatrix3d kIdentity;

    AcGeMatrix3d& setToIdentity();
    bool isEqualTo(const AcGeMatrix3d& m, double tol = 1e-10) const;
    AcGeMatrix3d& setToTranslation(const AcGeVector3d& v);
    static AcGeMatrix3d translation(const AcGeVector3d& v);
    AcGeVector3d translation() const { return {entry[0][3], entry[1][3], entry[2][3]}; }
    // The matrix that takes world coordinates to the system with this origin and axes
    // (axes as columns, origin as translation): alignCoordSys from the world system.
    AcGeMatrix3d& setCoordSystem(const AcGePoint3d& origin, const AcGeVector3d& xAxis,
                                 const AcGeVector3d& yAxis, const AcGeVector3d& zAxis);
    static AcGeMatrix3d rotation(double angle, const AcGeVector3d& axis,
                                 const AcGePoint3d& center = AcGePoint3d::kOrigin);
    static AcGeMatrix3d scaling(double scale, const AcGePoint3d& center = AcGePoint3d::kOrigin);

    AcGeMatrix3d operator*(const AcGeMatrix3d& m) const;
    AcGeMatrix3d& operator*=(const AcGeMatrix3d& m) { return *this = *this * m; }
    AcGeMatrix3d& preMultBy(const AcGeMatrix3d& left) { return *this = left * *this; }
    AcGeMatrix3d& postMultBy(const AcGeMatrix3d& right) { return *this = *this * right; }
    // The inverse of a matrix that has one; a singular matrix stays as it is and gives false.
    bool invert();
    AcGeMatrix3d inverse() const {
        AcGeMatrix3d m = *this;
        m.invert();
        return m;
    }
    bool operator==(const AcGeMatrix3d& m) const { return isEqualTo(m); }
    double operator()(unsigned row, unsigned column) const { return entry[row][column]; }
    double& operator()(unsigned row, unsigned column) { return entry[row][column]; }

    double entry[4][4];
};

inline AcGePoint3d operator*(const AcGeMatrix3d& m, const AcGePoint3d& p) {
    AcGePoint3d q = p;
    return q.transformBy(m);
}
inline AcGeVector3d operator*(const AcGeMatrix3d& m, const AcGeVector3d& v) {
    AcGeVector3d w = v;
    return w.transformBy(m);
}
