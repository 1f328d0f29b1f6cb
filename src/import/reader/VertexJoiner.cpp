// Makes the shared vertices of a model out of the corners of its triangles.

#include "import/reader/VertexJoiner.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "base/maths/Angles.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr uint32_t NO_ENTRY = 0xFFFFFFFFu;
constexpr double LEAST_HEIGHT = 1e-8;     // of a triangle, as a share of its longest side: below is rounding
constexpr float SAME_NORMAL = 0.9986f;    // cosine of 3 degrees: what files write with few digits stays together
constexpr float SMOOTH_BELOW = 0.99996f;  // cosine of half a degree: faces that close make one plane
constexpr size_t MOST_COMPARED = 32;      // normals or faces at one place, so that wide fans stay quick

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

NMVector3f faceNormal(const std::vector<NMVector3f>& vPlaces, const ModelTriangle& t) {
    const Vector3d a = toDouble(vPlaces[t.uVertices[0]]);
    const Vector3d n = cross(toDouble(vPlaces[t.uVertices[1]]) - a, toDouble(vPlaces[t.uVertices[2]]) - a);
    const double d = 1.0 / length(n);
    return {static_cast<float>(n.x * d), static_cast<float>(n.y * d), static_cast<float>(n.z * d)};
}

// Parts the corners of one place after the other into those of one vertex each.
class CornerParter {
 public:
    CornerParter(const std::vector<ModelTriangle>& vAll, const std::vector<NMVector3f>& vPlaces,
                 const std::vector<uint32_t>& vGiven)
        : vTriangles(vAll),
          vNormals(vGiven),
          fCrease(Velk::cosine(VertexJoiner::CREASE_DEGREES * 3.14159265f / 180.0f)) {
        vFaces.reserve(vAll.size());
        for (const ModelTriangle& t : vAll) vFaces.push_back(faceNormal(vPlaces, t));
    }

    // pCorners are the numbers 3 t + i of the place's corners. Returns for each the first one of its vertex, as an
    // index into pCorners.
    const std::vector<uint32_t>& part(const uint32_t* pCorners, uint32_t uCount) {
        vGroups.resize(uCount);
        for (uint32_t u = 0; u < uCount; ++u) vGroups[u] = u;
        bool bGiven = !vNormals.empty();
        for (uint32_t u = 0; u < uCount && bGiven; ++u) bGiven = vNormals[pCorners[u]] != 0;
        if (bGiven)
            partByNormals(pCorners, uCount);
        else
            partByCreases(pCorners, uCount);
        return vGroups;
    }

    // Whether these triangles make one plane.
    bool isFlat(uint32_t uTriangle, uint32_t uOther) const {
        return dot(vFaces[uTriangle], vFaces[uOther]) >= SMOOTH_BELOW;
    }

 private:
    // One vertex a normal. Faces on the other side of it stay apart, or their normals would cancel.
    void partByNormals(const uint32_t* pCorners, uint32_t uCount) {
        vSides.clear();
        for (uint32_t u = 0; u < uCount; ++u) {
            const NMVector3f n = unpackNormal(vNormals[pCorners[u]]);
            const bool bTurned = dot(vFaces[pCorners[u] / 3], n) < 0.0f;
            size_t i = vSides.size() > MOST_COMPARED ? vSides.size() - MOST_COMPARED : 0;
            while (i < vSides.size() && (vSides[i].bTurned != bTurned || dot(vSides[i].n, n) < SAME_NORMAL)) ++i;
            if (i == vSides.size()) vSides.push_back({n, u, bTurned});
            vGroups[u] = vSides[i].uFirst;
        }
    }

    // Corners share a vertex when an edge joins their triangles and is no crease, or over a chain of those.
    void partByCreases(const uint32_t* pCorners, uint32_t uCount) {
        vSpokes.clear();
        for (uint32_t u = 0; u < uCount; ++u) {
            const uint32_t* p = vTriangles[pCorners[u] / 3].uVertices;
            const uint32_t uCorner = pCorners[u] % 3;
            vSpokes.push_back({p[(uCorner + 1) % 3], u});
            vSpokes.push_back({p[(uCorner + 2) % 3], u});
        }
        std::sort(vSpokes.begin(), vSpokes.end(), [](const Spoke& a, const Spoke& b) {
            return a.uFar != b.uFar ? a.uFar < b.uFar : a.uCorner < b.uCorner;
        });
        for (size_t u = 1; u < vSpokes.size(); ++u) {
            for (size_t i = u; i-- > 0 && u - i <= MOST_COMPARED && vSpokes[i].uFar == vSpokes[u].uFar;) {
                const uint32_t a = vSpokes[i].uCorner, b = vSpokes[u].uCorner;
                if (dot(vFaces[pCorners[a] / 3], vFaces[pCorners[b] / 3]) < fCrease) continue;
                const uint32_t uRoot = rootOf(vGroups, a), uOther = rootOf(vGroups, b);
                vGroups[std::max(uRoot, uOther)] = std::min(uRoot, uOther);
            }
        }
        for (uint32_t u = 0; u < uCount; ++u) vGroups[u] = rootOf(vGroups, u);
    }

    struct Side {
        NMVector3f n;
        uint32_t uFirst;
        bool bTurned;
    };
    struct Spoke {  // an edge that leaves the place
        uint32_t uFar, uCorner;
    };
    const std::vector<ModelTriangle>& vTriangles;
    const std::vector<uint32_t>& vNormals;
    const float fCrease;
    std::vector<NMVector3f> vFaces;  // unit normals
    std::vector<uint32_t> vGroups;
    std::vector<Side> vSides;
    std::vector<Spoke> vSpokes;
};

// The corners 3 t + i of all triangles, sorted by place: those of place p begin at vStarts[p].
void sortCorners(const std::vector<ModelTriangle>& vTriangles, size_t uPlaces, std::vector<uint32_t>& vStarts,
                 std::vector<uint32_t>& vCorners) {
    vStarts.assign(uPlaces + 1, 0);
    vCorners.resize(3 * vTriangles.size());
    for (const ModelTriangle& t : vTriangles) {
        for (const uint32_t u : t.uVertices) ++vStarts[u];
    }
    uint32_t uSum = 0;
    for (uint32_t& u : vStarts) uSum = u = uSum + u;
    for (uint32_t u = static_cast<uint32_t>(vCorners.size()); u-- > 0;) {
        vCorners[--vStarts[vTriangles[u / 3].uVertices[u % 3]]] = u;
    }
}

}  // namespace

void VertexJoiner::reserve(size_t uTriangles) {
    vTriangles.reserve(uTriangles);
    vPlaces.reserve(uTriangles / 2);
    while (vTable.size() < uTriangles) growTable();
}

void VertexJoiner::growTable() {
    vTable.assign(std::max<size_t>(1024, vTable.size() * 2), NO_ENTRY);
    const size_t uMask = vTable.size() - 1;
    for (uint32_t u = 0; u < vPlaces.size(); ++u) {
        size_t uSlot = hashOf(vPlaces[u]) & uMask;
        while (vTable[uSlot] != NO_ENTRY) uSlot = (uSlot + 1) & uMask;
        vTable[uSlot] = u;
    }
}

uint32_t VertexJoiner::placeAt(const NMVector3f& v3Position) {
    if (vPlaces.size() * 2 >= vTable.size()) growTable();
    const NMVector3f p = v3Position + NMVector3f{};  // turns -0 into 0
    const size_t uMask = vTable.size() - 1;
    size_t uSlot = hashOf(p) & uMask;
    for (; vTable[uSlot] != NO_ENTRY; uSlot = (uSlot + 1) & uMask) {
        const NMVector3f& v3 = vPlaces[vTable[uSlot]];
        if (v3.x == p.x && v3.y == p.y && v3.z == p.z) return vTable[uSlot];
    }
    vTable[uSlot] = static_cast<uint32_t>(vPlaces.size());
    vPlaces.push_back(p);
    return vTable[uSlot];
}

bool VertexJoiner::add(const NMVector3f pPositions[3], const NMVector3f* pNormals, uint32_t uMaterial) {
    if (!hasArea(pPositions)) return true;
    if (pNormals && vNormals.empty()) vNormals.resize(3 * vTriangles.size(), 0);
    const auto at = [&](unsigned u) { return placeAt(pPositions[u]); };
    const uint32_t a = at(0), b = at(1), c = at(2);
    vTriangles.push_back({{a, b, c}, uMaterial});
    for (unsigned u = 0; u < 3 && (pNormals || !vNormals.empty()); ++u) {
        vNormals.push_back(pNormals ? packNormal(pNormals[u]) : 0);
    }
    return false;
}

uint32_t VertexJoiner::packNormal(const NMVector3f& n) {
    const float fLength = length(n);
    if (!(fLength > 1e-20f && std::isfinite(fLength))) return 0;
    const auto bits = [fLength](float f) { return static_cast<uint32_t>(lrintf(f / fLength * 511.0f) + 512); };
    return bits(n.x) | bits(n.y) << 10 | bits(n.z) << 20;
}

void VertexJoiner::add(Indexed& indexed, size_t uFirst, size_t uEnd, uint32_t uMaterial) {
    indexed.vDropped.clear();
    const bool bNormals = !indexed.vCornerNormals.empty();
    if (bNormals && vNormals.empty()) vNormals.resize(3 * vTriangles.size(), 0);
    for (size_t uTriangle = uFirst; uTriangle < uEnd; ++uTriangle) {
        const uint32_t* p = &indexed.vVertices[3 * uTriangle];
        const NMVector3f corners[] = {indexed.vPositions[p[0]], indexed.vPositions[p[1]], indexed.vPositions[p[2]]};
        if (!hasArea(corners)) {
            indexed.vDropped.push_back(uTriangle);
            continue;
        }
        ModelTriangle triangle{{}, uMaterial};
        for (unsigned u = 0; u < 3; ++u) {
            uint32_t& uPlace = indexed.vPlaces[p[u]];
            if (uPlace == NO_PLACE) uPlace = placeAt(corners[u]);
            triangle.uVertices[u] = uPlace;
        }
        vTriangles.push_back(triangle);
        for (unsigned u = 0; u < 3 && (bNormals || !vNormals.empty()); ++u) {
            const size_t uNormal = bNormals ? indexed.vCornerNormals[3 * uTriangle + u] : indexed.vPackedNormals.size();
            vNormals.push_back(uNormal < indexed.vPackedNormals.size() ? indexed.vPackedNormals[uNormal] : 0);
        }
    }
}

void VertexJoiner::finish(Model& model) {
    std::vector<uint32_t>().swap(vTable);
    std::vector<uint32_t> vStarts, vCorners, vNumbers;
    sortCorners(vTriangles, vPlaces.size(), vStarts, vCorners);
    CornerParter parter(vTriangles, vPlaces, vNormals);
    model.vVertices.clear();
    model.vVertices.reserve(vPlaces.size());
    model.vTriangles = vTriangles;
    for (uint32_t uPlace = 0; uPlace < vPlaces.size(); ++uPlace) {
        const uint32_t* pCorners = vCorners.data() + vStarts[uPlace];
        const uint32_t uCount = vStarts[uPlace + 1] - vStarts[uPlace];
        const std::vector<uint32_t>& vGroups = parter.part(pCorners, uCount);
        vNumbers.resize(uCount);
        for (uint32_t u = 0; u < uCount; ++u) {
            const uint32_t uTriangle = pCorners[u] / 3, uFirst = pCorners[vGroups[u]] / 3;
            if (vGroups[u] == u) {
                vNumbers[u] = static_cast<uint32_t>(model.vVertices.size());
                model.vVertices.push_back(vPlaces[uPlace]);
            } else if (!parter.isFlat(uTriangle, uFirst)) {
                for (const uint32_t t : {uTriangle, uFirst}) model.vMaterials[vTriangles[t].uMaterial].bSmooth = true;
            }
            model.vTriangles[uTriangle].uVertices[pCorners[u] % 3] = vNumbers[vGroups[u]];
        }
    }
    *this = VertexJoiner();
}

}  // namespace rt
