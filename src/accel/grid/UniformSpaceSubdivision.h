#pragma once

#include <cstdint>

#include "accel/grid/VoxelGrid.h"
#include "base/Vectors.h"
#include "scene/FaceData.h"

/// A uniform grid over a scene's bounds, with about as many voxels as faces: each voxel lists the faces that overlap
/// it. Answers the same queries as the kd-tree, exactly as a search over all faces would; built or reloaded from its
/// cache file uss.tmp in the working directory. Serves one query at a time.
///
/// The renderer does not use it. It is for programs that link this library and prefer it to the tree, and a second
/// opinion for tests and benchmarks: its walk and the tree's have nothing in common but the face test.
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

    /// Loads or builds the grid of a preprocessed scene, which must outlive it; a grid from before is released. Without
    /// memory it stays empty, which is logged, and true is returned.
    [[nodiscard]] bool createSubdivision(const Scene* pNewScene, bool bResetCache);

    /// Frees everything; every query misses then.
    void releaseSubdivision();

    /// Reads the cache file into an empty grid whose pScene is set. TRUE on success. A file that is for another scene
    /// or breaks any rule of a grid is not taken.
    bool loadSubdivision(const char* szPath);

    /// Writes the cache file, whole or not at all. 0 on success; a failure is logged.
    int saveSubdivision(const char* szPath) const;

    /// The nearest face at 0 <= t <= fMaxDist with its hit record in *pOut, or null; pOut->fT is then fMaxDist. t is in
    /// multiples of v3Dir's length. Of faces at the same t the one tested last is taken.
    const FaceData* findNearestFace(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist,
                                    RayTestOutput* pOut);

    /// True when any face is hit at 0 <= t <= fMaxDist.
    bool findObstacle(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir, float fMaxDist);

    /// Starts a walk in the voxel of the origin, or where the ray enters the grid. FALSE when it misses the grid.
    /// Requires a filled grid, as the rest of the walk does.
    bool setUpTriangleSearch(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Dir);

    /// Goes on to the next voxel that has faces. FALSE when the walk leaves the grid, or crosses a boundary at
    /// t >= fMaxT, and is over.
    bool findNextVoxel();
    bool findNextVoxel(float fMaxT);

    /// Index of the current voxel in hashes.
    unsigned int getVoxelIndex() const { return voxelIndex(vVoxel[0], vVoxel[1], vVoxel[2]); }

    /// Faces of the current or the given voxel, null without any.
    const FaceIndices* getTriangles() const { return getTriangles(getVoxelIndex()); }
    const FaceIndices* getTriangles(unsigned int uVoxel) const {
        const uint32_t uCell = hashes[uVoxel];
        return uCell == NO_INDEX ? nullptr : &cells[uCell];
    }

    /// True when the point lies in the current voxel's box or on its surface.
    bool checkPointInVoxel(const Velk::NMVector3f& v3Point);

 private:
    struct Tolerance;

    static constexpr float STRAY_ROUNDINGS = 256.0f;  // faces that are tested further off than this are strays

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

    /// Faces whose voxels do not tell where a ray can hit them; every ray tests them. Few or none in ordinary meshes,
    /// needles thousands of times as long as wide, and faces that rounding kept out of every voxel.
    FaceIndices strays;
    float fTStart = 0.0f;  // ray parameter where the walk began
};
