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
#include "base/maths/Angles.h"
#include "render/SampleTile.h"
#include "render/TileRenderer.h"
#include "render/studio/StudioRenderer.h"
#include "scene/OnThreads.h"

using Velk::NMVector3f;
using namespace rt;

namespace raytracer {

namespace {

constexpr uint32_t TILE_EDGE = 32, STUDIO_EDGE = 96, MOST_SAMPLES = 64;
constexpr uint32_t LARGEST_TILE = 4096;  // edge in samples

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

// What all worker threads share.
struct Work {
    std::atomic<uint64_t> uNext{0};
    std::atomic<bool> bFailed{false};
    const std::atomic<bool>* pStop;

    bool isStopped() const { return pStop && *pStop; }
};

int goOn() {
    return 0;
}

// What each worker thread runs: renders tiles of the view's window until none is left, each with paint(tile of the
// frame, first pixel, stride).
void renderTiles(const View& view, uint32_t uEdge, unsigned uChannels, Work& work, uint8_t* pPixels, size_t uStride,
                 const SampleTile::Paint& paint) {
    const Tile window = Inside::windowOf(view);
    // Small enough for a thread's memory at any number of samples.
    const TileGrid tiles{window.uColumns, window.uRows, std::min(uEdge, LARGEST_TILE / view.uSamples)};
    SampleTile sampler(paint, view.uSamples, uChannels);
    for (uint64_t u; !work.isStopped() && (u = work.uNext++) < tiles.count();) {
        Tile tile = tiles.tile(u);
        uint8_t* pFirst = pPixels + tile.y * uStride + size_t{tile.x} * uChannels;
        tile.x += window.x;
        tile.y += window.y;
        static_cast<void>(sampler.render(tile, pFirst, uStride, goOn));
        for (uint32_t y = 0; y < tile.uRows; ++y) {
            uint8_t* p = pFirst + y * uStride;
            for (uint32_t x = 0; x < tile.uColumns; ++x, p += uChannels) std::swap(p[0], p[2]);  // from BGR to RGB
        }
    }
}

// Runs what each worker does, renderSome(work), on some threads. True when one is out of memory.
template <typename RenderSome>
bool share(unsigned uThreads, const std::atomic<bool>* pStop, const RenderSome& renderSome) {
    Work work{};
    work.pStop = pStop;
    onThreads(uThreads, [&](unsigned) {
        try {
            renderSome(work);
        } catch (const std::bad_alloc&) {
            work.bFailed = true;
        }
    });
    if (work.bFailed) Velk::memoryError(sizeof(TileRenderer), "rendering");
    return work.bFailed || work.isStopped();
}

}  // namespace

bool Inside::isRefused(const Scene::Data& data, const View& view) {
    const bool bPrepared = data.bPrepared && data.bPictures;
    const bool bSamples = view.uSamples && view.uSamples <= MOST_SAMPLES &&
                          uint64_t{std::max(view.uWidth, view.uHeight)} * view.uSamples <= INT32_MAX;
    if (bPrepared && bSamples) return false;
    Velk::inputError(bPrepared ? "view" : "scene", 0, nullptr,
                     bPrepared ? "has no samples or too many pixels" : "is not prepared for pictures");
    return true;
}

Frame Inside::frameOf(const View& view, const rt::Scene& scene) {
    Camera camera;
    camera.v3Position = vectorOf(view.eye);
    for (unsigned u = 0; u < 3; ++u) camera.v3Screen[u] = vectorOf(view.corners[u]);
    if (!view.bInner) camera.applyDomainFactor(scene.fDomainFactor);
    Frame frame = rt::frameOf(camera, scene, view.uWidth * view.uSamples, view.uHeight * view.uSamples);
    frame.bParallel = view.bParallel;
    if (view.bInner) {
        frame.v3ImageSpanX = camera.v3Screen[1];
        frame.v3ImageSpanY = camera.v3Screen[2];
    }
    return frame;
}

Tile Inside::windowOf(const View& view) {
    const Window& window = view.window;
    if (window.x >= view.uWidth || window.y >= view.uHeight) return {};
    return {window.x, window.y, std::min(window.uColumns, view.uWidth - window.x),
            std::min(window.uRows, view.uHeight - window.y)};
}

View lookAt(const Looking& looking, uint32_t uWidth, uint32_t uHeight) {
    const NMVector3f v3From = vectorOf(looking.from);
    const NMVector3f v3Look = normalize(vectorOf(looking.at) - v3From);
    const NMVector3f v3Right = normalize(cross(vectorOf(looking.up), v3Look));
    const NMVector3f v3Down = cross(v3Right, v3Look);
    const float fRow = Velk::tangent(looking.fFieldOfView * 0.5f * 3.14159265f / 180.0f);
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

uint32_t groundOf(const Scene& scene) {
    return Inside::of(scene).uGround;
}

bool render(const Scene& scene, const View& view, const Bricks& bricks, unsigned uThreads, uint8_t* pPixels,
            size_t uStride, const std::atomic<bool>* pStop) {
    const Scene::Data& data = Inside::of(scene);
    if (Inside::isRefused(data, view)) return true;
    RaytracerParameters settings;
    settings.uTexturedAttribute = bricks.uMaterial;
    settings.fBrickWidth = bricks.fWidth;
    settings.fBrickHeight = bricks.fHeight;
    settings.fMortarWidth = bricks.fMortar;
    settings.fAngleCoeff = bricks.fAngle;
    settings.bDirt = bricks.bDirt;
    const Frame frame = Inside::frameOf(view, data.scene.scene);
    return share(uThreads, pStop, [&](Work& work) {
        const auto pRenderer = std::make_unique<TileRenderer>(data.scene, settings);
        renderTiles(view, TILE_EDGE, 3, work, pPixels, uStride, [&](const Tile& tile, uint8_t* pFirst, size_t uRow) {
            pRenderer->render(frame, tile, pFirst, uRow);
        });
    });
}

bool renderStudio(const Scene& scene, const View& view, const Studio& studio, unsigned uThreads, uint8_t* pPixels,
                  size_t uStride, const std::atomic<bool>* pStop) {
    const Scene::Data& data = Inside::of(scene);
    if (Inside::isRefused(data, view)) return true;
    StudioSettings settings;
    settings.v3Top = vectorOf(studio.top);
    settings.v3Bottom = vectorOf(studio.bottom);
    settings.bTransparent = studio.bTransparent;
    settings.bSmoothEdges = studio.bSmoothEdges;
    settings.uGround = studio.uGround;
    settings.pSky = data.pSky.get();
    settings.bSkyBehind = studio.bSkyBehind && data.pSky;
    const Frame frame = Inside::frameOf(view, data.scene.scene);
    return share(uThreads, pStop, [&](Work& work) {
        const auto pRenderer = std::make_unique<StudioRenderer>(data.scene, *data.pTextures, frame, settings);
        renderTiles(view, STUDIO_EDGE, studio.bTransparent ? 4 : 3, work, pPixels, uStride,
                    [&](const Tile& tile, uint8_t* pFirst, size_t uRow) { pRenderer->render(tile, pFirst, uRow); });
    });
}

}  // namespace raytracer
