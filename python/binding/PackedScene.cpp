// Packed scenes, prepared once and shared by all pictures.
#include "binding/PackedScene.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>
#include <stdexcept>

namespace python {

namespace {

bool isSame(const std::vector<raytracer::Light>& v, const std::vector<raytracer::Light>& vOther) {
    static_assert(sizeof(raytracer::Light) == 4 * sizeof(float));
    return v.size() == vOther.size() &&
           (v.empty() || !std::memcmp(v.data(), vOther.data(), v.size() * sizeof(raytracer::Light)));
}

}  // namespace

PackedScene::PackedScene(const void* pBytes, size_t uBytes, raytracer::Rays rays, unsigned uThreads,
                         const std::atomic<bool>& bStop) {
    lastReport();
    const bool bUnread = scene.loadPacked(pBytes, uBytes);
    vOwn = vLights = scene.lights();
    if ((bUnread || scene.prepare(raytracer::Use::PICTURES, rays, uThreads, &bStop)) && !bStop)
        throw std::invalid_argument(lastReport());
}

bool PackedScene::findLayers(const LayerOrder& order, unsigned uThreads, const std::atomic<bool>& bStop) const {
    const bool bFailed = raytracer::renderLayers(scene, order.view, order.layers, uThreads, &bStop);
    if (bFailed && !bStop) throw std::bad_alloc();
    return bFailed;
}

void PackedScene::setSky(const float* pLight, uint32_t uWidth, uint32_t uHeight, float fTurn) {
    const std::unique_lock<std::shared_mutex> lock(lamps);
    lastReport();
    if (scene.setSky(pLight, uWidth, uHeight, fTurn)) throw std::invalid_argument(lastReport());
}

bool PackedScene::render(const PictureOrder& order, unsigned uThreads, uint8_t* pPixels,
                         const std::atomic<bool>& bStop) {
    const std::vector<raytracer::Light>& vWanted = order.vLights.empty() ? vOwn : order.vLights;
    for (;;) {
        {
            const std::shared_lock<std::shared_mutex> lock(lamps);
            if (order.look.bStudio || isSame(vWanted, vLights)) {
                const bool bFailed = order.render(scene, uThreads, pPixels, bStop);
                if (bFailed && !bStop) throw std::bad_alloc();
                return bFailed;
            }
        }
        const std::unique_lock<std::shared_mutex> lock(lamps);
        vLights = vWanted;
        if (scene.setLights(vLights.data(), static_cast<uint32_t>(vLights.size()))) throw std::bad_alloc();
    }
}

}  // namespace python
