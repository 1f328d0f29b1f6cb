#pragma once
// Reads the OBJ files that hold nothing but polygons, many times faster than a reader of all that OBJ can be.

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "base/Vectors.h"

namespace rt {

/// The triangles of an OBJ file, with indices from 0. All indices of triangles are valid.
struct ObjMesh {
    static constexpr uint32_t NO_NORMAL = 0xFFFFFFFFu;

    /// Triangles between two lines that change the group or the material.
    struct Run {
        size_t uFirst = 0;                 // triangle; the run ends where the next one begins
        std::array<double, 3> vColours{};  // sum over coloured corners
        uint64_t uColoured = 0;            // their number
    };

    std::vector<Velk::NMVector3f> vPositions, vNormals;
    std::vector<uint32_t> vVertices;       // three a triangle
    std::vector<uint32_t> vCornerNormals;  // the same, or NO_NORMAL; empty when no face has normals
    std::vector<Run> vRuns;

    /// A small OBJ file that names the same groups, materials and libraries in the same order. Each run is one triangle
    /// in it; x of its vertices is the run's number.
    std::string sDigest;

    /// Begins a run with the next triangle.
    void startRun();

    size_t triangles() const { return vVertices.size() / 3; }
};

enum class ObjScan { DONE, OTHER, REFUSED };

/// Reads the whole file. OTHER: it holds something else, such as curves, or polygons of more than four corners;
/// REFUSED: it is broken, with the reason in sReason. The numbers are the same floats that assimp 5.2 reads.
ObjScan scanObj(FILE* pFile, ObjMesh& mesh, std::string& sReason);

}  // namespace rt
