#pragma once

#include <cstdint>

#include "accel/reference/VoxelGrid.h"
#include "base/Vectors.h"
#include "scene/FaceData.h"

namespace rt {

/// A uniform grid over a scene's bounds with about as many voxels as faces; each voxel lists the faces that overlap it.
/// Answers the same queries as the kd-tree, exactly as a search over all faces would. It is built, or loaded from its
/// cache file uss.tmp in the working directory. Serves one query at a time.
///
/// The renderer does not use it. It is for programs that link this library and prefer it to the tree, and an
/// independent reference for tests and benchmarks: its walk and the tree's share only the face test.
class UniformSpaceSubdivision : public VoxelGrid {
 public:
    // State of the walk along one ray.
    int32_t vVoxel[3] = {};
    int32_t vStep[3] = {};
    Velk::NMVector3f v3TLast{};   // ray parameter of the last boundary crossed, for each axis
    Velk::NMVector3f v3TDelta{};  // between two boundaries; 1e20 on an axis along which the ray does not move
    bool bVoxelBoxValid = false;  // the next two are those of the current voxel
    Velk::NMVector3f v3VoxelMin{};
    Velk::NMVector3f v3VoxelMax{};

    UniformSpaceSubdivision() = default;
    ~UniformSpaceSubdivision() { releaseSubdivision(); }
    UniformSpaceSubdivision(const UniformSpaceSubdivision&) = delete;
    UniformSpaceSubdivision& operator=(const UniformSpaceSubdivision&) = delete;

    /// Loads or builds the grid of a preprocessed scene, which must outlive it. Frees what was built before. True when
    /// out of memory, which is logged; the grid is empty then.
    [[nodiscard]] bool createSubdivision(const Scene* pNewScene, bool bResetCache);

    /// Frees everything; every query misses then.
    void releaseSubdivision();

    /// Reads the cache file into an empty grid whose pScene is set. TRUE on success. A file that belongs to another
    /// scene or breaks any rule of a grid is rejected; the grid is empty then.
    bool loadSubdivision(const char* szPath);

    /// Writes the cache file, whole or not at all. 0 on success; a failure is logged.
    int saveSubdivision(const char* szPath) const;

    /// The nearest face at 0 <= t <= fMaxDist with its hit record in *pOut, or null; pOut->fT is then fMaxDist. t is in
    /// multiples of v3Dir's length. Of several faces at the same t, returns the one tested last.
    const FaceData* findNearestFace(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist,
                                    RayTestOutput* pOut);

    /// True when any face is hit at 0 <= t <= fMaxDist.
    bool findObstacle(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist);

    /// Starts a walk in the voxel of the origin, or where the ray enters the grid. FALSE when it misses the grid.
    /// This and the walk's other functions require a grid that was built or loaded.
    bool setUpTriangleSearch(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir);

    /// Advances to the next voxel that has faces. FALSE, and the walk is over, when it leaves the grid or crosses a
    /// boundary at t >= fMaxT.
    bool findNextVoxel();
    bool findNextVoxel(float fMaxT);

    /// Index of the current voxel in hashes.
    unsigned int getVoxelIndex() const { return voxelIndex(vVoxel[0], vVoxel[1], vVoxel[2]); }

    /// Faces of the current or the given voxel, null when it has none.
    const FaceIndices* getTriangles() const { return getTriangles(getVoxelIndex()); }
    const FaceIndices* getTriangles(unsigned int uVoxel) const {
        const uint32_t uCell = hashes[uVoxel];
        return uCell == NO_INDEX ? nullptr : &cells[uCell];
    }

    /// True when the point lies in the current voxel's box or on its surface.
    bool checkPointInVoxel(const Velk::NMVector3f& v3Point);

 private:
    struct Tolerance;

    static constexpr float STRAY_ROUNDINGS =
        256.0f;  // a face that may be hit further away from it than this is a stray

    float largestCoordinate() const;
    bool collectStrays();
    bool startWalk(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, const Velk::BoxAABB& box);
    bool step(unsigned uAxis, float fT);
    bool measureTolerance(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, Tolerance& tolerance) const;
    bool startQuery(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, Tolerance& tolerance);

    template <typename TestFace>
    void search(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, const float& fEnd,
                const TestFace& testFace);
    template <typename TestFace>
    bool testNeighbours(const bool* pBehind, const bool* pAhead, const TestFace& testFace) const;

    /// Faces that a ray may hit outside the voxels that list them; every ray tests them. They are needles thousands of
    /// times as long as wide, and faces that rounding kept out of every voxel: few or none in ordinary meshes.
    FaceIndices strays;
    float fTStart = 0.0f;  // ray parameter where the walk began
};

}  // namespace rt
