// Makes the shared vertices of a model out of the corners of its triangles.

#include "import/VertexJoiner.h"

#include <algorithm>
#include <cmath>
#include <cstring>

using Velk::NMVector3f;

namespace {

constexpr uint32_t NO_ENTRY = 0xFFFFFFFFu;
constexpr double LEAST_HEIGHT = 1e-8;     // of a triangle, as a share of its longest side: below is rounding
constexpr float SAME_NORMAL = 0.9986f;    // cosine of 3 degrees: what files write with few digits stays together
constexpr float SMOOTH_BELOW = 0.99996f;  // cosine of half a degree: faces that close make one plane
constexpr size_t MOST_GROUPS = 32;        // of normals at one place that are compared, so that fans stay quick

Vector3d toDouble(const NMVector3f& v) {
    return {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z)};
}

// Ten bits a component; 0 stands for no normal.
uint32_t packNormal(const NMVector3f& n) {
    const float fLength = length(n);
    if (!(fLength > 1e-20f && std::isfinite(fLength))) return 0;
    const auto bits = [fLength](float f) { return static_cast<uint32_t>(lrintf(f / fLength * 511.0f) + 512); };
    return bits(n.x) | bits(n.y) << 10 | bits(n.z) << 20;
}

NMVector3f unpackNormal(uint32_t u) {
    const auto component = [](uint32_t uBits) { return (static_cast<float>(uBits & 1023) - 512.0f) / 511.0f; };
    return normalize(NMVector3f{component(u), component(u >> 10), component(u >> 20)});
}

uint32_t hashOf(const NMVector3f& p) {
    uint32_t uBits[3];
    memcpy(uBits, &p, sizeof(uBits));
    uint64_t u = 0;
    for (const uint32_t uPart : uBits) u = (u ^ uPart) * 0x9E3779B97F4A7C15u, u ^= u >> 29;
    return static_cast<uint32_t>(u >> 16);
}

bool hasArea(const NMVector3f p[3]) {
    const Vector3d a = toDouble(p[0]), e1 = toDouble(p[1]) - a, e2 = toDouble(p[2]) - a, e3 = e2 - e1;
    const double dLongest = std::max({dot(e1, e1), dot(e2, e2), dot(e3, e3)});
    return length(cross(e1, e2)) > LEAST_HEIGHT * dLongest;
}

uint32_t rootOf(std::vector<uint32_t>& vParents, uint32_t u) {
    while (vParents[u] != u) u = vParents[u] = vParents[vParents[u]];
    return u;
}

}  // namespace

struct VertexJoiner::Corner {
    NMVector3f v3Face;      // unit normal of its triangle
    uint32_t uNext, uLast;  // the triangle's other places
};

void VertexJoiner::reserve(size_t uTriangles) {
    vTriangles.reserve(uTriangles);
    vPositions.reserve(uTriangles / 2);
}

void VertexJoiner::grow() {
    vTable.assign(std::max<size_t>(1024, vTable.size() * 2), NO_ENTRY);
    const size_t uMask = vTable.size() - 1;
    for (uint32_t u = 0; u < vPositions.size(); ++u) {
        size_t uSlot = hashOf(vPositions[u]) & uMask;
        while (vTable[uSlot] != NO_ENTRY) uSlot = (uSlot + 1) & uMask;
        vTable[uSlot] = u;
    }
}

uint32_t VertexJoiner::vertexAt(const NMVector3f& v3Position) {
    if (vPositions.size() * 2 >= vTable.size()) grow();
    const NMVector3f p = v3Position + NMVector3f{};  // turns -0 into 0
    const size_t uMask = vTable.size() - 1;
    size_t uSlot = hashOf(p) & uMask;
    for (; vTable[uSlot] != NO_ENTRY; uSlot = (uSlot + 1) & uMask) {
        const NMVector3f& v3 = vPositions[vTable[uSlot]];
        if (v3.x == p.x && v3.y == p.y && v3.z == p.z) return vTable[uSlot];
    }
    vTable[uSlot] = static_cast<uint32_t>(vPositions.size());
    vPositions.push_back(p);
    return vTable[uSlot];
}

bool VertexJoiner::add(const NMVector3f pPositions[3], const NMVector3f* pNormals, uint32_t uMaterial) {
    if (!hasArea(pPositions)) return true;
    if (pNormals && vNormals.empty()) vNormals.resize(3 * vTriangles.size(), 0);
    const auto at = [&](unsigned u) { return vertexAt(pPositions[u]); };
    const uint32_t a = at(0), b = at(1), c = at(2);
    vTriangles.push_back({{a, b, c}, uMaterial});
    for (unsigned u = 0; u < 3 && (pNormals || !vNormals.empty()); ++u) {
        vNormals.push_back(pNormals ? packNormal(pNormals[u]) : 0);
    }
    return false;
}

NMVector3f VertexJoiner::faceNormal(uint32_t uTriangle) const {
    const uint32_t* p = vTriangles[uTriangle].uVertices;
    const Vector3d a = toDouble(vPositions[p[0]]);
    const Vector3d n = normalize(cross(toDouble(vPositions[p[1]]) - a, toDouble(vPositions[p[2]]) - a));
    return {static_cast<float>(n.x), static_cast<float>(n.y), static_cast<float>(n.z)};
}

// Numbers the corners of one place by the vertex they get: vGroups[i] is an index into vCorners, the same for all
// corners of a vertex.
void VertexJoiner::partCorners(const std::vector<uint32_t>& vCorners, std::vector<uint32_t>& vGroups) const {
    static const float fCrease = static_cast<float>(cos(CREASE_DEGREES * 3.14159265358979 / 180.0));
    const uint32_t uCount = static_cast<uint32_t>(vCorners.size());
    vGroups.resize(uCount);
    for (uint32_t u = 0; u < uCount; ++u) vGroups[u] = u;
    const auto given = [&](uint32_t u) { return vNormals.empty() ? 0 : vNormals[vCorners[u]]; };
    bool bGiven = true;
    for (uint32_t u = 0; u < uCount && bGiven; ++u) bGiven = given(u) != 0;

    if (bGiven) {  // one vertex a normal; turned faces stay apart from the others, or their normals would cancel
        struct Group {
            NMVector3f n;
            bool bTurned;
            uint32_t uFirst;
        };
        std::vector<Group> vFound;
        for (uint32_t u = 0; u < uCount; ++u) {
            const NMVector3f n = unpackNormal(given(u));
            const bool bTurned = dot(faceNormal(vCorners[u] / 3), n) < 0.0f;
            size_t i = vFound.size() > MOST_GROUPS ? vFound.size() - MOST_GROUPS : 0;
            while (i < vFound.size() && (vFound[i].bTurned != bTurned || dot(vFound[i].n, n) < SAME_NORMAL)) ++i;
            if (i == vFound.size()) vFound.push_back({n, bTurned, u});
            vGroups[u] = vFound[i].uFirst;
        }
        return;
    }
    struct Spoke {  // an edge that leaves the place
        uint32_t uFar, uCorner;
    };
    std::vector<Spoke> vSpokes;
    std::vector<NMVector3f> vFaces;
    for (uint32_t u = 0; u < uCount; ++u) {
        const uint32_t uTriangle = vCorners[u] / 3, uCorner = vCorners[u] % 3;
        const uint32_t* p = vTriangles[uTriangle].uVertices;
        vFaces.push_back(faceNormal(uTriangle));
        vSpokes.push_back({p[(uCorner + 1) % 3], u});
        vSpokes.push_back({p[(uCorner + 2) % 3], u});
    }
    std::stable_sort(vSpokes.begin(), vSpokes.end(), [](const Spoke& a, const Spoke& b) { return a.uFar < b.uFar; });
    for (size_t u = 1; u < vSpokes.size(); ++u) {
        for (size_t i = u; i-- > 0 && u - i <= MOST_GROUPS && vSpokes[i].uFar == vSpokes[u].uFar;) {
            if (dot(vFaces[vSpokes[i].uCorner], vFaces[vSpokes[u].uCorner]) < fCrease) continue;
            const uint32_t a = rootOf(vGroups, vSpokes[i].uCorner), b = rootOf(vGroups, vSpokes[u].uCorner);
            vGroups[std::max(a, b)] = std::min(a, b);
        }
    }
    for (uint32_t u = 0; u < uCount; ++u) vGroups[u] = rootOf(vGroups, u);
}

void VertexJoiner::finish(Model& model) {
    std::vector<uint32_t>().swap(vTable);
    const uint32_t uPlaces = static_cast<uint32_t>(vPositions.size());
    std::vector<uint32_t> vStarts(uPlaces + 1, 0), vCornerList(3 * vTriangles.size());
    for (const ModelTriangle& t : vTriangles) {
        for (const uint32_t u : t.uVertices) ++vStarts[u];
    }
    uint32_t uSum = 0;
    for (uint32_t& u : vStarts) uSum = u = uSum + u;  // where the next place's corners begin
    for (uint32_t u = static_cast<uint32_t>(vCornerList.size()); u-- > 0;) {
        vCornerList[--vStarts[vTriangles[u / 3].uVertices[u % 3]]] = u;
    }

    model.vVertices.clear();
    model.vVertices.reserve(uPlaces);
    std::vector<ModelTriangle> vJoined = vTriangles;
    std::vector<uint32_t> vCorners, vGroups, vNumbers;
    for (uint32_t uPlace = 0; uPlace < uPlaces; ++uPlace) {
        vCorners.assign(vCornerList.begin() + vStarts[uPlace], vCornerList.begin() + vStarts[uPlace + 1]);
        partCorners(vCorners, vGroups);
        vNumbers.resize(vCorners.size());
        for (size_t u = 0; u < vCorners.size(); ++u) {
            const uint32_t uTriangle = vCorners[u] / 3, uFirst = vGroups[u];
            if (uFirst == u) {
                vNumbers[u] = static_cast<uint32_t>(model.vVertices.size());
                model.vVertices.push_back(vPositions[uPlace]);
            } else if (dot(faceNormal(uTriangle), faceNormal(vCorners[uFirst] / 3)) < SMOOTH_BELOW) {
                model.vMaterials[vTriangles[uTriangle].uMaterial].bSmooth = true;
                model.vMaterials[vTriangles[vCorners[uFirst] / 3].uMaterial].bSmooth = true;
            }
            vJoined[uTriangle].uVertices[vCorners[u] % 3] = vNumbers[uFirst];
        }
    }
    model.vTriangles = std::move(vJoined);
    *this = VertexJoiner();
}
