// The walk of a uniform grid along a ray, and the queries that use it.
#include "accel/reference/UniformSpaceSubdivision.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "scene/Scene.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr unsigned NO_AXIS = 3;
constexpr float NEVER = 1e20f;             // boundary distance on an axis along which the ray does not move
constexpr float HALF_ULP = 5.9604645e-8f;  // 2^-24, the largest relative error of one rounding
constexpr float HIT_ROUNDINGS = 32.0f;     // how far off the face's plane a ray test can accept a point, in half ulps

unsigned outcode(const NMVector3f& P, const NMVector3f& v3Min, const NMVector3f& v3Max) {
    unsigned uCode = 0;
    for (unsigned a = 0; a < 3; ++a) {
        if (P[a] < v3Min[a]) uCode |= 1u << (2 * a);
        if (P[a] > v3Max[a]) uCode |= 2u << (2 * a);
    }
    return uCode;
}

// Finds where a ray from outside enters the box, by the slab method. Compares products of exact differences in double,
// so a ray that just touches an edge hits the box and one that just passes it misses. FALSE when it misses.
bool findEntry(const NMVector3f& O, const NMVector3f& D, const Velk::BoxAABB& box, double& dT) {
    double dNear[3], dFar[3], dSpeed[3];
    unsigned uSlabs = 0;
    dT = 0.0;
    for (unsigned a = 0; a < 3; ++a) {
        const double dLow = double{box.v3Min[a]} - double{O[a]}, dHigh = double{box.v3Max[a]} - double{O[a]};
        if (D[a] == 0.0f) {
            if (!(dLow <= 0.0 && dHigh >= 0.0)) return false;
            continue;
        }
        dNear[uSlabs] = D[a] < 0.0f ? -dHigh : dLow;
        dFar[uSlabs] = D[a] < 0.0f ? -dLow : dHigh;
        dSpeed[uSlabs] = fabs(double{D[a]});
        if (!(dFar[uSlabs] >= 0.0)) return false;
        dT = std::max(dT, dNear[uSlabs] / dSpeed[uSlabs]);
        ++uSlabs;
    }
    for (unsigned a = 0; a < uSlabs; ++a) {
        for (unsigned b = 0; b < uSlabs; ++b) {
            if (a != b && !(dNear[a] * dSpeed[b] <= dFar[b] * dSpeed[a])) return false;
        }
    }
    return uSlabs != 0;
}

// The axis of the nearest boundary; of equal ones z comes before y and y before x.
unsigned nextAxis(const NMVector3f& v3Next) {
    if (v3Next.y > v3Next.x) return v3Next.z > v3Next.x ? 0 : 2;
    return v3Next.z > v3Next.y ? 1 : 2;
}

}  // namespace

bool UniformSpaceSubdivision::setUpTriangleSearch(const NMVector3f& v3Origin, const NMVector3f& v3Dir) {
    return startWalk(v3Origin, v3Dir, {v3Min, v3Max});
}

// Starts a walk where the ray enters the given box around the grid, in the voxel nearest to that point. FALSE when the
// ray misses the box.
bool UniformSpaceSubdivision::startWalk(const NMVector3f& v3Origin, const NMVector3f& v3Dir, const Velk::BoxAABB& box) {
    NMVector3f P = v3Origin;
    fTStart = 0.0f;
    if (outcode(v3Origin, box.v3Min, box.v3Max)) {
        double dT = 0.0;
        if (!findEntry(v3Origin, v3Dir, box, dT)) return false;
        for (unsigned a = 0; a < 3; ++a) P[a] = static_cast<float>(double{v3Origin[a]} + double{v3Dir[a]} * dT);
        fTStart = static_cast<float>(dT);
    }
    for (unsigned a = 0; a < 3; ++a) {
        const float fVoxel = (P[a] - v3Min[a]) / v3Size[a];
        vVoxel[a] = !(fVoxel > 0.0f)                             ? 0
                    : fVoxel >= static_cast<float>(subdivDim[a]) ? subdivDim[a] - 1
                                                                 : static_cast<int32_t>(fVoxel);
        const bool bBack = v3Dir[a] < 0.0f;
        vStep[a] = bBack ? -1 : 1;
        v3TLast[a] = v3Origin[a];
        v3TDelta[a] = NEVER;
        if (v3Dir[a] == 0.0f) continue;
        v3TLast[a] =
            ((v3Min[a] - v3Origin[a]) + static_cast<float>(vVoxel[a] + (bBack ? 1 : 0)) * v3Size[a]) / v3Dir[a];
        v3TDelta[a] = fabsf(v3Size[a] / v3Dir[a]);
    }
    bVoxelBoxValid = false;
    return true;
}

// Crosses the boundary at fT on one axis. FALSE when the walk leaves the grid.
bool UniformSpaceSubdivision::step(unsigned uAxis, float fT) {
    vVoxel[uAxis] += vStep[uAxis];
    v3TLast[uAxis] = fT;
    bVoxelBoxValid = false;
    return vVoxel[uAxis] >= 0 && vVoxel[uAxis] < subdivDim[uAxis];
}

bool UniformSpaceSubdivision::findNextVoxel() {
    do {
        const NMVector3f v3Next = v3TLast + v3TDelta;
        const unsigned uAxis = nextAxis(v3Next);
        if (!step(uAxis, v3Next[uAxis])) return false;
    } while (hashes[getVoxelIndex()] == NO_INDEX);
    return true;
}

bool UniformSpaceSubdivision::findNextVoxel(float fMaxT) {
    do {
        const NMVector3f v3Next = v3TLast + v3TDelta;
        const unsigned uAxis = nextAxis(v3Next);
        if (!step(uAxis, v3Next[uAxis]) || !(v3Next[uAxis] < fMaxT)) return false;
    } while (hashes[getVoxelIndex()] == NO_INDEX);
    return true;
}

bool UniformSpaceSubdivision::checkPointInVoxel(const NMVector3f& v3Point) {
    if (!bVoxelBoxValid) {
        for (unsigned a = 0; a < 3; ++a) v3VoxelMin[a] = v3Min[a] + static_cast<float>(vVoxel[a]) * v3Size[a];
        v3VoxelMax = v3VoxelMin + v3Size;
        bVoxelBoxValid = true;
    }
    return outcode(v3Point, v3VoxelMin, v3VoxelMax) == 0;
}

// How far rounding can carry a ray across the boundaries of each axis, as a distance and in units of the ray parameter.
// For an axis along which the ray does not move, the two flags say whether it runs that close to the voxels behind or
// ahead.
struct UniformSpaceSubdivision::Tolerance {
    NMVector3f v3Distance;
    NMVector3f v3T;
    bool bBehind[3];
    bool bAhead[3];
};

// Bounds the distance between the point where a ray hits a face and the voxels that list the face:
//  - a boundary's parameter is a sum of one rounded term for each boundary crossed;
//  - the hit's parameter is rounded, as are the coordinates that it is computed from, and so is the hit;
//  - a face that is no stray is hit at most STRAY_ROUNDINGS away from it; the overlap test, whose normal has the same
//    error, is wrong by less than twice as much.
// The six decimals of the cache file cause a smaller error than these, in a domain of 10000 units.
//
// True when the bound exceeds half a voxel, so that the voxels cannot narrow the search.
bool UniformSpaceSubdivision::measureTolerance(const NMVector3f& v3Origin, const NMVector3f& v3Dir,
                                               Tolerance& tolerance) const {
    NMVector3f v3Reach;
    for (unsigned a = 0; a < 3; ++a) {
        v3Reach[a] = fabsf(v3Origin[a]) + std::max(fabsf(v3Min[a]), fabsf(v3Max[a]));
    }
    const float fHit = HIT_ROUNDINGS * std::max({v3Reach.x, v3Reach.y, v3Reach.z});
    const float fFace = 3.0f * STRAY_ROUNDINGS * largestCoordinate();
    bool bTooWide = false;
    for (unsigned a = 0; a < 3; ++a) {
        const float fVoxels = static_cast<float>(subdivDim[a]);
        tolerance.v3Distance[a] = HALF_ULP * (fVoxels * v3Reach[a] + fHit + fFace);
        tolerance.v3T[a] = v3Dir[a] == 0.0f ? -INFINITY : tolerance.v3Distance[a] / fabsf(v3Dir[a]);
        bTooWide = bTooWide || (subdivDim[a] > 1 && !(tolerance.v3Distance[a] < 0.5f * v3Size[a]));
    }
    return bTooWide;
}

// Starts the walk of a query. A ray that passes within the tolerance of the grid is let in. FALSE when it misses.
bool UniformSpaceSubdivision::startQuery(const NMVector3f& v3Origin, const NMVector3f& v3Dir, Tolerance& tolerance) {
    const NMVector3f& v3Distance = tolerance.v3Distance;
    if (!startWalk(v3Origin, v3Dir, {v3Min - v3Distance, v3Max + v3Distance})) return false;
    for (unsigned a = 0; a < 3; ++a) {
        const float fInVoxel = v3Origin[a] - (v3Min[a] + static_cast<float>(vVoxel[a]) * v3Size[a]);
        tolerance.bBehind[a] = v3Dir[a] == 0.0f && fInVoxel <= v3Distance[a];
        tolerance.bAhead[a] = v3Dir[a] == 0.0f && v3Size[a] - fInVoxel <= v3Distance[a];
    }
    return true;
}

// Tests the faces of the voxels around the current one, on the flagged sides of each axis. True when a test ended the
// search.
template <typename TestFace>
bool UniformSpaceSubdivision::testNeighbours(const bool* pBehind, const bool* pAhead, const TestFace& testFace) const {
    int32_t iFrom[3], iTo[3];
    for (unsigned a = 0; a < 3; ++a) {
        const int32_t iBehind = pBehind[a] ? vVoxel[a] - vStep[a] : vVoxel[a];
        const int32_t iAhead = pAhead[a] ? vVoxel[a] + vStep[a] : vVoxel[a];
        iFrom[a] = std::max(0, std::min(iBehind, iAhead));
        iTo[a] = std::min(subdivDim[a] - 1, std::max(iBehind, iAhead));
    }
    for (int32_t y = iFrom[1]; y <= iTo[1]; ++y) {
        for (int32_t z = iFrom[2]; z <= iTo[2]; ++z) {
            for (int32_t x = iFrom[0]; x <= iTo[0]; ++x) {
                const FaceIndices* pFaces = getTriangles(voxelIndex(x, y, z));
                if (pFaces && std::any_of(pFaces->begin(), pFaces->end(), testFace)) return true;
            }
        }
    }
    return false;
}

// Walks the voxels along the ray, after Amanatides and Woo 1987, until it crosses a boundary beyond fEnd, which
// testFace(face index) may lower, or until testFace returns true. Two additions make the answers exact: every ray tests
// the strays, even one that misses the grid; and where rounding leaves open which of two boundaries the ray crosses
// first, or on which side of one it runs, the faces on the other side are tested too.
template <typename TestFace>
void UniformSpaceSubdivision::search(const NMVector3f& v3Origin, const NMVector3f& v3Dir, const float& fEnd,
                                     const TestFace& testFace) {
    Tolerance tolerance;
    const bool bTooWide = measureTolerance(v3Origin, v3Dir, tolerance);
    if (!hashes.uCount || std::any_of(strays.begin(), strays.end(), testFace)) return;
    if (!startQuery(v3Origin, v3Dir, tolerance)) return;
    if (bTooWide) {
        for (uint32_t u = 0; u < pScene->vFaces.uCount; ++u) {
            if (testFace(u)) return;
        }
        return;
    }
    const NMVector3f& v3Tol = tolerance.v3T;
    float fIn = fTStart, fInTol = 0.0f, fLeave = FLT_MAX;
    for (unsigned uIn = NO_AXIS;;) {
        const FaceIndices* pFaces = getTriangles();
        if (pFaces && std::any_of(pFaces->begin(), pFaces->end(), testFace)) return;
        const NMVector3f v3Next = v3TLast + v3TDelta;
        const unsigned uOut = nextAxis(v3Next);
        const float fOut = v3Next[uOut];
        bool bBehind[3], bAhead[3], bAny = false;
        for (unsigned a = 0; a < 3; ++a) {
            bBehind[a] = a != uIn && (tolerance.bBehind[a] || v3TLast[a] + v3Tol[a] >= fIn - fInTol);
            bAhead[a] = a != uOut && (tolerance.bAhead[a] || v3Next[a] - v3Tol[a] <= fOut + v3Tol[uOut]);
            bAny = bAny || bBehind[a] || bAhead[a];
        }
        if (bAny && testNeighbours(bBehind, bAhead, testFace)) return;
        if (!step(uOut, fOut)) {
            // Within the tolerance the ray may still be inside, so the walk stays in the outermost voxels.
            vVoxel[uOut] -= vStep[uOut];
            v3TLast[uOut] = INFINITY;
            fLeave = std::min(fLeave, fOut + v3Tol[uOut]);
        }
        if (!(fOut <= std::min(fLeave, fEnd + v3Tol[uOut]))) return;
        fIn = fOut;
        fInTol = v3Tol[uOut];
        uIn = uOut;
    }
}

const FaceData* UniformSpaceSubdivision::findNearestFace(const NMVector3f& v3Origin, const NMVector3f& v3Dir,
                                                         float fMaxDist, RayTestOutput* pOut) {
    const FaceData* pNearest = nullptr;
    pOut->fT = fMaxDist;
    search(v3Origin, v3Dir, pOut->fT, [&](unsigned int uFace) {
        const FaceData* pFace = &pScene->vFaces[uFace];
        RayTestOutput hit;
        if (!pScene->testTriangle(pFace, v3Origin, v3Dir, pOut->fT, &hit)) return false;
        *pOut = hit;
        pNearest = pFace;
        return false;
    });
    return pNearest;
}

bool UniformSpaceSubdivision::findObstacle(const NMVector3f& v3Origin, const NMVector3f& v3Dir, float fMaxDist) {
    bool bFound = false;
    search(v3Origin, v3Dir, fMaxDist, [&](unsigned int uFace) {
        RayTestOutput hit;
        bFound = pScene->testTriangle(&pScene->vFaces[uFace], v3Origin, v3Dir, fMaxDist, &hit);
        return bFound;
    });
    return bFound;
}

}  // namespace rt
