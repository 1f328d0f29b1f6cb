#pragma once

#include <cstdint>

#include "base/NArrays.h"
#include "base/Vectors.h"
#include "scene/FaceData.h"
#include "scene/StopFlag.h"

namespace rt {

/// Whether a mesh is scaled so that the longest side of its bounds is 10000 units, as the renderer wants it, or keeps
/// the caller's numbers.
enum class Scaling { DOMAIN, NONE };

/// A mesh in memory of the caller. Each triangle has three indices of vertices and one material.
struct MeshArrays {
    const float* pPositions;  // x, y, z of each vertex
    uint32_t uVertices;
    const uint32_t* pTriangles;
    uint32_t uTriangles;
    const uint32_t* pMaterials;  // null: material 0 for all
};

/// The triangle mesh that is rendered, and the tests of one ray against one triangle.
class Scene {
 public:
    static constexpr uint32_t FACE_ALIGNMENT = 16;

    bool bLoaded = false;
    char szSceneFile[255] = "";        // path it was loaded from, cut to fit
    SceneVertex* pVertices = nullptr;  // owned; vertices never move after loading, faces point at them
    uint32_t uVertexCount = 0;
    Velk::NAlignedArray<FaceData> vFaces;  // owned, 16-byte aligned
    Velk::BoxAABB boxScene{};              // bounds with a margin
    Velk::NMVector3f v3Center{};           // of the bounds
    float fDiagonal = 0.0f;                // length of the bounds' diagonal
    float fDomainFactor = 0.0f;            // by which the mesh was scaled

    Scene() = default;
    ~Scene() { releaseScene(); }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    /// Reads a geometry file into an empty scene. A file that ends early is accepted with a warning: missing vertices
    /// are 0 and missing triangles are dropped. True on failure, which is logged with the line; the scene is empty
    /// then. Neither mesh nor messages depend on the number of threads.
    [[nodiscard]] bool loadScene(const char* szFile, unsigned uThreads = 1);

    /// Copies a mesh into an empty scene. True when there is no vertex, when an index or coordinate is invalid, or when
    /// out of memory, which is logged; the scene is empty then.
    [[nodiscard]] bool setMesh(const MeshArrays& mesh, StopFlag pStop = nullptr);

    void releaseScene();

    /// Measures the bounds, scales the mesh and completes the face records with uThreads threads, whose number changes
    /// no byte. Once for each loaded scene. What is left when it was stopped is of no use.
    void preprocessScene(Scaling scaling = Scaling::DOMAIN, unsigned uThreads = 1, StopFlag pStop = nullptr);

    /// Fills boxScene, v3Center and fDiagonal. Requires at least one vertex.
    void findMinMax();

    /// Scales vertices and bounds so that the longest side of the bounds is 10000 units. Requires the bounds.
    void fixDomain();

    /// Completes every face record and the vertex normals. Requires vertex normals that are zero.
    void precalculateFaces(unsigned uThreads = 1, StopFlag pStop = nullptr);

    /// Gives the faces without area, which are unsound, a unit normal, for rays that meet those, too. Their other
    /// values stay.
    void completeNormals();

    /// Tests a ray against a face by projection; true for a hit at 0 <= t <= fMaxT. *pOut may be partly written when
    /// there is none.
    bool testTriangle(const FaceData* pFace, const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir,
                      float fMaxT, RayTestOutput* pOut) const;

    /// The same for face number uFace, without an upper bound.
    bool testTriangle(unsigned uFace, const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir,
                      RayTestOutput* pOut) const;

    /// The edge test of Möller and Trumbore 1997. Its weights are those of B and C, its front is testTriangle's back,
    /// and it accepts a negative t, so the searches cannot use it.
    bool rayTriangleTestFast(const FaceData* pFace, const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir,
                             float fMaxT, RayTestOutput* pOut) const;
    bool rayTriangleTestFast(unsigned uFace, const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir,
                             float fMaxT, RayTestOutput* pOut) const;
};

}  // namespace rt
