#pragma once
// Reads the OBJ files that hold nothing but polygons, many times faster than a reader of all that OBJ can be.

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "base/Vectors.h"
#include "scene/SceneParts.h"

namespace rt {

/// The faces of an OBJ file, with indices from 0, all of which are valid.
struct ObjMesh {
    static constexpr uint32_t NO_NORMAL = 0xFFFFFFFFu, NO_PLACE = 0xFFFFFFFFu;

    /// Faces between two lines that change the group or the material, up to those of the next run.
    struct Run {
        size_t uFirst = 0;                 // triangle
        size_t uPolygon = 0;               // and polygon
        std::array<double, 3> vColours{};  // sum over coloured corners
        uint64_t uColoured = 0;            // their number
        size_t uDigest = 0;                // where its polygons go in the digest
        uint32_t uPart = 0;                // of vParts, if there are some
    };

    /// A face of more than four corners, which assimp cuts. It comes before triangle uBefore.
    struct Polygon {
        size_t uBefore, uFirst;  // uFirst: of its corners
    };

    std::vector<Velk::NMVector3f> vPositions, vNormals;
    std::vector<uint32_t> vVertices;         // three a triangle
    std::vector<uint32_t> vCornerNormals;    // the same, or NO_NORMAL; empty when no face has normals
    std::vector<Velk::NMVector2f> vPlaces;   // in a texture, from the left and from the bottom
    std::vector<uint32_t> vCornerPlaces;     // three a triangle, or NO_PLACE; empty when no face has some
    std::vector<Velk::NMVector3f> vColours;  // one a position; empty when the file has none
    std::vector<uint32_t> vCornerColours;    // or three a triangle, as SurfaceColours has them
    std::vector<Polygon> vPolygons;
    std::vector<uint32_t> vPolygonVertices, vPolygonNormals, vPolygonPlaces;  // one a corner
    std::vector<Run> vRuns;
    std::vector<ScenePart> vParts;  // empty when the file has no groups and objects; one may have no name

    /// A small OBJ file that names the same groups, materials and libraries in the same order. Each run is one triangle
    /// in it, x of whose vertices is the run's number, and the run's polygons after that.
    std::string sDigest;

    /// Begins a run with the next face.
    void startRun();

    /// Puts triangles in place of the polygons. Each names three corners of the same polygon.
    void replacePolygons(std::vector<std::array<uint32_t, 3>> vCuts);

    size_t triangles() const { return vVertices.size() / 3; }
    bool isEmpty() const { return vVertices.empty() && vPolygons.empty(); }

    /// One behind a run's last triangle, and its last corner of a polygon; the first of these.
    size_t endOf(size_t uRun) const { return uRun + 1 < vRuns.size() ? vRuns[uRun + 1].uFirst : triangles(); }
    size_t firstCornerOf(size_t uRun) const {
        return firstCorner(uRun < vRuns.size() ? vRuns[uRun].uPolygon : vPolygons.size());
    }
    size_t firstCorner(size_t uPolygon) const {
        return uPolygon < vPolygons.size() ? vPolygons[uPolygon].uFirst : vPolygonVertices.size();
    }
};

enum class ObjScan { DONE, OTHER, REFUSED };

/// Reads the whole file. OTHER: it holds something else, such as curves; REFUSED: it is broken, with the reason in
/// sReason. The numbers are the same floats that assimp 5.2 reads.
ObjScan scanObj(FILE* pFile, ObjMesh& mesh, std::string& sReason);

}  // namespace rt
