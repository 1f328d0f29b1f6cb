#pragma once

#include <atomic>
#include <shared_mutex>
#include <string>
#include <vector>

#include "binding/LayerArrays.h"
#include "binding/PictureOrder.h"
#include "raytracer/Scene.h"

namespace python {

/// A scene that came as bytes, ready for pictures. All operations may be called from any number of threads, without the
/// interpreter's lock.
class PackedScene {
 public:
    /// Reads and prepares it. Throws std::invalid_argument for bytes that are none of this version. It is of no use
    /// when it was stopped.
    PackedScene(const void* pBytes, size_t uBytes, raytracer::Rays rays, unsigned uThreads,
                const std::atomic<bool>& bStop);

    /// Renders into the order's pixels, with the scene's own lights where the order has none. Other lights than those
    /// of the picture before wait until its threads are done. True when it was stopped. Throws std::bad_alloc.
    bool render(const PictureOrder& order, unsigned uThreads, uint8_t* pPixels, const std::atomic<bool>& bStop);

    /// Sets the light of its studios, three numbers a pixel, once no thread renders. Throws std::invalid_argument for
    /// what is none.
    void setSky(const float* pLight, uint32_t uWidth, uint32_t uHeight, float fTurn);

    /// Fills layers, which no light changes. True when it was stopped. Throws std::bad_alloc.
    bool findLayers(const LayerOrder& order, unsigned uThreads, const std::atomic<bool>& bStop) const;

    std::vector<raytracer::Part> parts() const { return scene.parts(); }
    std::string sLight = "lamps";  // that pictures have by default

    raytracer::View view() const { return raytracer::viewOf(scene); }
    uint32_t ground() const { return raytracer::groundOf(scene); }
    uint32_t triangleCount() const { return scene.triangleCount(); }

 private:
    raytracer::Scene scene;
    std::shared_mutex lamps;  // of what follows and the sky; shared while pictures are made
    std::vector<raytracer::Light> vOwn;
    std::vector<raytracer::Light> vLights;  // that shine now
};

}  // namespace python
