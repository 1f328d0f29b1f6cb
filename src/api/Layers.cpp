// Public layers: what pixels show beside their colour.
#include "raytracer/Layers.h"

#include <new>

#include "api/Inside.h"
#include "base/InputReport.h"
#include "render/layers/LayerTracer.h"

namespace raytracer {

bool renderLayers(const Scene& scene, const View& view, const Layers& layers, unsigned uThreads,
                  const std::atomic<bool>* pStop) {
    const Scene::Data& data = Inside::of(scene);
    View single = view;
    single.uSamples = 1;
    if (Inside::isRefused(data, single)) return true;
    const auto isStopped = [pStop] { return pStop && *pStop; };
    const rt::LayerTargets targets{layers.pDepth, layers.pDistance, layers.pNormal,   layers.pPosition, layers.pAlbedo,
                                   layers.pMask,  layers.pMesh,     layers.pMaterial, layers.pFace};
    bool bFailed = true;
    try {
        rt::LayerTracer tracer(data.scene, layers.bTextures ? data.pTextures.get() : nullptr, layers.uUnseen,
                               Inside::frameOf(single, data.scene.scene), layers.fInPixel);
        bFailed = tracer.trace(targets, Inside::windowOf(view), uThreads, isStopped);
    } catch (const std::bad_alloc&) {
    }
    if (bFailed && !isStopped()) Velk::memoryError(sizeof(rt::RayStream), "layers");
    return bFailed;
}

}  // namespace raytracer
