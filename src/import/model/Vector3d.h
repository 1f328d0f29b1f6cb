#pragma once
// Vectors in double precision: models may lie far from the origin of their coordinates.

#include <cmath>

#include "base/Vectors.h"

namespace rt {

constexpr double DEGREE = 3.14159265358979323846 / 180.0;  // in radians

struct Vector3d {
    double x = 0, y = 0, z = 0;
};

inline Vector3d toDouble(const Velk::NMVector3f& v) {
    return {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z)};
}

inline Vector3d operator+(const Vector3d& a, const Vector3d& b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vector3d operator-(const Vector3d& a, const Vector3d& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vector3d operator*(const Vector3d& a, double d) {
    return {a.x * d, a.y * d, a.z * d};
}
inline double dot(const Vector3d& a, const Vector3d& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vector3d cross(const Vector3d& a, const Vector3d& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double length(const Vector3d& a) {
    return std::sqrt(dot(a, a));
}
inline Vector3d normalize(const Vector3d& a) {
    return a * (1.0 / length(a));
}
inline bool isFinite(const Vector3d& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

/// Bounds; empty until the first point.
struct Box3d {
    Vector3d v3Min{INFINITY, INFINITY, INFINITY}, v3Max{-INFINITY, -INFINITY, -INFINITY};

    void add(const Vector3d& p) {
        v3Min = {std::fmin(v3Min.x, p.x), std::fmin(v3Min.y, p.y), std::fmin(v3Min.z, p.z)};
        v3Max = {std::fmax(v3Max.x, p.x), std::fmax(v3Max.y, p.y), std::fmax(v3Max.z, p.z)};
    }
    Vector3d centre() const { return (v3Min + v3Max) * 0.5; }
    Vector3d size() const { return v3Max - v3Min; }
    double extent() const { return std::fmax(size().x, std::fmax(size().y, size().z)); }
};

/// An affine map: the columns of its matrix and where it moves the origin.
struct Map3d {
    Vector3d v3X{1, 0, 0}, v3Y{0, 1, 0}, v3Z{0, 0, 1}, v3Origin;

    Vector3d direction(const Vector3d& v) const { return v3X * v.x + v3Y * v.y + v3Z * v.z; }
    Vector3d point(const Vector3d& p) const { return direction(p) + v3Origin; }
    Map3d after(const Map3d& first) const {
        return {direction(first.v3X), direction(first.v3Y), direction(first.v3Z), point(first.v3Origin)};
    }
    double determinant() const { return dot(v3X, cross(v3Y, v3Z)); }
};

}  // namespace rt
