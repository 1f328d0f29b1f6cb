// Which way is up.
#include "import/reader/UpAxis.h"

#include <algorithm>
#include <cmath>

#include "import/model/MeshWalk.h"

namespace rt {

namespace {

constexpr double STANDS = 1e-4, FLOATS = 0.05;  // distance of a model from the floor, as a share of its extent
constexpr double RESTS = 1e-3;                  // thickness of a side to rest on, as a share of the extent
constexpr double FLAT = 0.2, ROUND = 0.05;      // share of the box's side that lies in that plane
constexpr double THIN = 0.3;                    // thickness of a plate, as a share of its shorter side
constexpr double FEET = 0.03;                   // height of what touches the floor, as a share of the model's

double heightOf(const Vector3d& p, char cUp) {
    return cUp == 'y' ? p.y : p.z;
}

double areaOf(const Vector3d (&p)[3]) {
    return 0.5 * length(cross(p[1] - p[0], p[2] - p[0]));
}

// Share of the box's side that triangles in the lowest plane cover.
double restingShare(const aiScene& scene, const Box3d& box, char cUp) {
    const double dHighest = heightOf(box.v3Min, cUp) + RESTS * box.extent();
    double dArea = 0;
    visitTriangles(scene, Map3d{}, [&](const Vector3d(&p)[3]) {
        if (std::max({heightOf(p[0], cUp), heightOf(p[1], cUp), heightOf(p[2], cUp)}) <= dHighest) dArea += areaOf(p);
    });
    const Vector3d v3Size = box.size();
    return dArea / (v3Size.x * (cUp == 'y' ? v3Size.z : v3Size.y));
}

// Whether the model would stay as it is: its middle is above the hull of its feet, so that from there feet are seen on
// all sides.
bool isBalanced(const aiScene& scene, const Box3d& box, char cUp) {
    Vector3d v3Sum;
    double dArea = 0;
    visitTriangles(scene, Map3d{}, [&](const Vector3d(&p)[3]) {
        const double d = areaOf(p);
        dArea += d;
        v3Sum = v3Sum + (p[0] + p[1] + p[2]) * (d / 3.0);
    });
    const Vector3d v3Middle = v3Sum * (1.0 / std::max(dArea, 1e-300));
    const double dHighest = heightOf(box.v3Min, cUp) + FEET * heightOf(box.size(), cUp);
    std::vector<double> vAngles;
    visitTriangles(scene, Map3d{}, [&](const Vector3d(&p)[3]) {
        for (const Vector3d& corner : p) {
            const Vector3d v3Away = corner - v3Middle;
            if (heightOf(corner, cUp) <= dHighest) vAngles.push_back(atan2(cUp == 'y' ? v3Away.z : v3Away.y, v3Away.x));
        }
    });
    std::sort(vAngles.begin(), vAngles.end());
    if (vAngles.empty()) return false;
    double dWidest = vAngles.front() + 360.0 * DEGREE - vAngles.back();
    for (size_t u = 1; u < vAngles.size(); ++u) dWidest = std::max(dWidest, vAngles[u] - vAngles[u - 1]);
    return dWidest < 180.0 * DEGREE - 1e-9;  // half a turn is one also where a C library's atan2 lacks a last bit
}

// Whether the file stands on the floor of the unusual axis and floats over that of the usual one, or has a flat side to
// rest on across the unusual axis alone, or is a plate across it, or would fall over but for the unusual axis.
// Printers' files may be plates that stand.
bool isOtherUp(const aiScene& scene, char cUsual, char cOther) {
    const Box3d box = measure(scene, Map3d{}).box;
    const auto floorOf = [&box](char cUp) { return fabs(heightOf(box.v3Min, cUp)) / box.extent(); };
    if (floorOf(cOther) < STANDS && floorOf(cUsual) > FLOATS) return true;
    if (floorOf(cUsual) < STANDS && floorOf(cOther) > FLOATS) return false;
    const double dUsual = restingShare(scene, box, cUsual), dOther = restingShare(scene, box, cOther);
    if (dUsual < ROUND && !isBalanced(scene, box, cUsual) && isBalanced(scene, box, cOther)) return true;
    if (!(dOther > FLAT)) return false;
    const Vector3d v3Size = box.size();
    const double dAside = std::min(v3Size.x, heightOf(v3Size, cUsual));
    return dUsual < ROUND || (cUsual == 'y' && heightOf(v3Size, cOther) < THIN * dAside);
}

}  // namespace

char upOf(const aiScene& scene, const std::string& sSuffix, std::vector<std::string>& vNotices) {
    int32_t iAxis = 1;
    if (scene.mMetaData && scene.mMetaData->Get("UpAxis", iAxis)) return iAxis == 0 ? 'x' : iAxis == 2 ? 'z' : 'y';
    if (sSuffix == "3mf" || sSuffix == "amf" || sSuffix == "dxf") return 'z';
    if (sSuffix != "stl" && sSuffix != "ply") return 'y';
    // Printers' files have z up and scans mostly y.
    const char cUsual = sSuffix == "stl" ? 'z' : 'y', cOther = sSuffix == "stl" ? 'y' : 'z';
    if (!isOtherUp(scene, cUsual, cOther)) return cUsual;
    vNotices.push_back(std::string(1, cOther) + " is taken as up, since it rests best so (--up decides)");
    return cOther;
}

}  // namespace rt
