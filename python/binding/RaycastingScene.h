#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "binding/LayerArrays.h"
#include "binding/PictureOrder.h"
#include "raytracer/Picture.h"
#include "raytracer/Scene.h"

/// Meshes with a number each, which are one mesh for the library.
namespace python {

/// What rays meet, constant once it is made.
struct PreparedMeshes {
    raytracer::Scene scene;        // all rays miss when it has no triangle
    std::vector<uint32_t> vFirst;  // first triangle of each mesh, and the number of all
    std::vector<float> vNormals;   // unit, three a triangle; 0 for one without area

    bool isEmpty() const { return !vFirst.back(); }

    /// The mesh of a triangle. uGuess is looked at first: rays that are close mostly meet the same mesh.
    uint32_t geometryOf(uint32_t uTriangle, uint32_t uGuess) const;
};

/// The scene of Python. All operations may be called from any number of threads, without the interpreter's lock: one
/// that holds it while it waits for the mutexes would stop the others.
class RaycastingScene {
 public:
    RaycastingScene(raytracer::Rays rays, unsigned uThreads) : eRays(rays), uBuilders(uThreads) {}

    /// Copies a mesh, whose indices are in order. Returns its number. Throws std::bad_alloc, and std::length_error
    /// beyond what 28 bits count.
    uint32_t add(const float* pVertices, size_t uVertices, const int64_t* pTriangles, size_t uTriangles,
                 const std::string& sName);

    /// What is there now; built if something was added since. Null when it was stopped. Throws std::bad_alloc.
    std::shared_ptr<const PreparedMeshes> prepared(const std::atomic<bool>& bStop);

    /// The same if it is built already and nobody builds; null otherwise. Does not wait.
    std::shared_ptr<const PreparedMeshes> ready();

    /// Renders into the order's pixels. True when it was stopped. Throws std::bad_alloc.
    bool render(const PictureOrder& order, unsigned uThreads, uint8_t* pPixels, const std::atomic<bool>& bStop);

    /// Fills the order's layers of pictures with these colours, shading, and no lights; false when there is nothing to
    /// be seen, and then it does not. Throws std::bad_alloc.
    bool findLayers(const PictureOrder& picture, const LayerOrder& order, unsigned uThreads,
                    const std::atomic<bool>& bStop);

    /// The scene of such pictures as bytes, which are empty when it has no triangle. Throws std::bad_alloc.
    std::vector<uint8_t> pack(const std::vector<float>& vColors, bool bSmooth);

    /// The light of its studios. Throws std::invalid_argument for what is none.
    void setSky(const float* pLight, uint32_t uWidth, uint32_t uHeight, float fTurn);

    uint32_t geometryCount();
    std::vector<std::string> geometryNames();

    const raytracer::Rays eRays;

 private:
    void fill(raytracer::Scene& scene, const std::vector<float>& vColors, bool bSmooth) const;
    bool makePictures(const PictureOrder& order, const std::atomic<bool>& bStop);

    std::timed_mutex meshes;  // guards what follows
    const unsigned uBuilders;
    std::vector<float> vVertices;
    std::vector<uint32_t> vTriangles;
    std::vector<uint32_t> vFirst{0};
    std::vector<std::string> vNames;
    std::vector<float> vSky;  // three numbers a pixel
    uint32_t uSkyWidth = 0, uSkyHeight = 0;
    float fSkyTurn = 0.0f;
    std::shared_ptr<const PreparedMeshes> pPrepared;

    std::timed_mutex pictures;  // taken before the other; guards a second scene, in which lights may change
    raytracer::Scene pictureScene;
    size_t uPictureMeshes = 0;  // for how many it was prepared; 0: not yet
    std::vector<float> vPictureColors;
    bool bPictureSmooth = false;
};

}  // namespace python
