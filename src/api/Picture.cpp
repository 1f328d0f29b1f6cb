// Public rendering: views, and worker threads that render tiles.
#include "raytracer/Picture.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <new>
#include <vector>

#include "api/Inside.h"
#include "base/InputReport.h"
#include "render/TileRenderer.h"
#include "render/studio/StudioRenderer.h"
#include "scene/OnThreads.h"

using Velk::NMVector3f;
using namespace rt;

namespace raytracer {

namespace {

constexpr uint32_t TILE_EDGE = 32, STUDIO_EDGE = 96;

void put(const NMVector3f& v3, float (&f)[3]) {
    for (unsigned a = 0; a < 3; ++a) f[a] = v3[a];
}

View viewThrough(const Camera& camera) {
    View view{};
    put(camera.v3Position, view.eye);
    for (unsigned u = 0; u < 3; ++u) put(camera.v3Screen[u], view.corners[u]);
    view.uWidth = camera.uWidth;
    view.uHeight = camera.uHeight;
    return view;
}

Frame frameOf(const View& view, const rt::Scene& scene) {
    Camera camera;
    camera.v3Position = vectorOf(view.eye);
    for (unsigned u = 0; u < 3; ++u) camera.v3Screen[u] = vectorOf(view.corners[u]);
    camera.applyDomainFactor(scene.fDomainFactor);
    return rt::frameOf(camera, scene, view.uWidth, view.uHeight);
}

// What all worker threads share.
struct Work {
    std::atomic<uint64_t> uNext{0};
    std::atomic<bool> bFailed{false};
    const std::atomic<bool>* pStop;

    bool isStopped() const { return pStop && *pStop; }
};

// What each worker thread runs: renders tiles until none is left, each with paint(tile, first pixel).
template <typename Paint>
void renderTiles(const TileGrid& tiles, unsigned uChannels, Work& work, uint8_t* pPixels, size_t uStride,
                 const Paint& paint) {
    for (uint64_t u; !work.isStopped() && (u = work.uNext++) < tiles.count();) {
        const Tile tile = tiles.tile(u);
        uint8_t* pFirst = pPixels + tile.y * uStride + size_t{tile.x} * uChannels;
        paint(tile, pFirst);
        for (uint32_t y = 0; y < tile.uRows; ++y) {
            uint8_t* p = pFirst + y * uStride;
            for (uint32_t x = 0; x < tile.uColumns; ++x, p += uChannels) std::swap(p[0], p[2]);  // from BGR to RGB
        }
    }
}

// Runs what each worker does, renderSome(work), on some threads. It is true when out of memory, and so is this.
template <typename RenderSome>
bool share(unsigned uThreads, const std::atomic<bool>* pStop, const RenderSome& renderSome) {
    Work work{};
    work.pStop = pStop;
    onThreads(uThreads, [&](unsigned) {
        if (renderSome(work)) work.bFailed = true;
    });
    if (work.bFailed) Velk::memoryError(sizeof(TileRenderer), "rendering");
    return work.bFailed || work.isStopped();
}

// True, with a report, when a scene cannot be shown.
bool isUnprepared(const Scene::Data& data) {
    if (data.bPrepared && data.bPictures) return false;
    Velk::inputError("scene", 0, nullptr, "is not prepared for pictures");
    return true;
}

}  // namespace

View lookAt(const Looking& looking, uint32_t uWidth, uint32_t uHeight) {
    const NMVector3f v3From = vectorOf(looking.from);
    const NMVector3f v3Look = normalize(vectorOf(looking.at) - v3From);
    const NMVector3f v3Right = normalize(cross(vectorOf(looking.up), v3Look));
    const NMVector3f v3Down = cross(v3Right, v3Look);
    const float fRow = tanf(looking.fFieldOfView * 0.5f * 3.14159265f / 180.0f);
    const float fColumn = fRow * static_cast<float>(uHeight) / static_cast<float>(uWidth);
    View view{};
    put(v3From, view.eye);
    put(v3From + v3Look - v3Right * fRow - v3Down * fColumn, view.corners[0]);
    put(v3From + v3Look + v3Right * fRow - v3Down * fColumn, view.corners[1]);
    put(v3From + v3Look - v3Right * fRow + v3Down * fColumn, view.corners[2]);
    view.uWidth = uWidth;
    view.uHeight = uHeight;
    return view;
}

View viewOf(const Scene& scene) {
    return viewThrough(Inside::of(scene).camera);
}

bool render(const Scene& scene, const View& view, const Bricks& bricks, unsigned uThreads, uint8_t* pPixels,
            size_t uStride, const std::atomic<bool>* pStop) {
    const Scene::Data& data = Inside::of(scene);
    if (isUnprepared(data)) return true;
    RaytracerParameters settings;
    settings.uTexturedAttribute = bricks.uMaterial;
    settings.fBrickWidth = bricks.fWidth;
    settings.fBrickHeight = bricks.fHeight;
    settings.fMortarWidth = bricks.fMortar;
    settings.fAngleCoeff = bricks.fAngle;
    settings.bDirt = bricks.bDirt;
    const Frame frame = frameOf(view, data.scene.scene);
    return share(uThreads, pStop, [&](Work& work) {
        const std::unique_ptr<TileRenderer> pRenderer(new (std::nothrow) TileRenderer(data.scene, settings));
        if (!pRenderer) return true;
        renderTiles(frame.tiles(TILE_EDGE), 3, work, pPixels, uStride,
                    [&](const Tile& tile, uint8_t* pFirst) { pRenderer->render(frame, tile, pFirst, uStride); });
        return false;
    });
}

bool renderStudio(const Scene& scene, const View& view, const Studio& studio, unsigned uThreads, uint8_t* pPixels,
                  size_t uStride, const std::atomic<bool>* pStop) {
    const Scene::Data& data = Inside::of(scene);
    if (isUnprepared(data)) return true;
    StudioSettings settings;
    settings.v3Top = vectorOf(studio.top);
    settings.v3Bottom = vectorOf(studio.bottom);
    settings.bTransparent = studio.bTransparent;
    settings.bSmoothEdges = studio.bSmoothEdges;
    const Frame frame = frameOf(view, data.scene.scene);
    const SurfaceTextures textures(data.scene.scene, data.scene.colours);
    return share(uThreads, pStop, [&](Work& work) {
        try {
            const auto pRenderer = std::make_unique<StudioRenderer>(data.scene, textures, frame, settings);
            renderTiles(frame.tiles(STUDIO_EDGE), studio.bTransparent ? 4 : 3, work, pPixels, uStride,
                        [&](const Tile& tile, uint8_t* pFirst) { pRenderer->render(tile, pFirst, uStride); });
        } catch (const std::bad_alloc&) {
            return true;
        }
        return false;
    });
}

}  // namespace raytracer
