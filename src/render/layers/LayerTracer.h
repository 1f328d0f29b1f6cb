#pragma once

#include <cstdint>
#include <functional>

#include "render/Frame.h"
#include "render/PreparedScene.h"
#include "render/Tiles.h"
#include "render/studio/SurfaceTextures.h"

namespace rt {

/// Where the numbers of a part's pixels go, row after row; null for what nobody wants. Lengths and places are in the
/// scene's own units. Where nothing is seen, depths are infinite, indices NO_INDEX and all else is 0.
struct LayerTargets {
    float* pDepth = nullptr;     // from the eye along the view
    float* pDistance = nullptr;  // and along the pixel's ray
    float* pNormal = nullptr;    // three a pixel: unit, towards the eye
    float* pPosition = nullptr;  // three a pixel
    float* pAlbedo = nullptr;    // three a pixel: shares of light
    float* pMask = nullptr;      // 1 where something is
    uint32_t* pMesh = nullptr;   // the part
    uint32_t* pMaterial = nullptr;
    uint32_t* pFace = nullptr;
};

/// Finds what each pixel of a picture shows by one ray through its middle.
class LayerTracer {
 public:
    /// Keeps references to all. pColours: what surfaces have of textures and holes, null where these are not shown.
    /// uGround: a material that is not seen, NO_INDEX for none. fMiddle: where a pixel's middle is, 0.5 as a rule.
    LayerTracer(const PreparedScene& prepared, const SurfaceTextures* pColours, uint32_t uGround, const Frame& picture,
                float fMiddle);

    /// Fills those of a part of the picture, row by row in any number of threads. True when out of memory, or when
    /// isStopped, which is asked before each row, has been true.
    [[nodiscard]] bool trace(const LayerTargets& wanted, const Tile& part, unsigned uThreads,
                             const std::function<bool()>& isStopped);

    /// How many of its pixels show the scene. Requires trace().
    uint64_t countCovered() const { return uCovered; }

 private:
    struct Scratch;

    void findFaces(Scratch& scratch) const;
    bool isSeenThrough(uint32_t uFace, const RayTestOutput& hit) const;
    uint64_t traceRow(Scratch& scratch, uint32_t uRow) const;
    void store(size_t uPixel, const Frame::Ray& ray, const Velk::NMVector3f& v3Dir, uint32_t uFace,
               const RayTestOutput& hit) const;
    Velk::NMVector3f normalAt(const FaceData& face, const RayTestOutput& hit, const Velk::NMVector3f& v3Dir) const;
    Velk::NMVector3f albedoAt(uint32_t uFace, const RayTestOutput& hit, float fAway) const;

    const PreparedScene& scene;
    const SurfaceTextures* const pTextures;
    const uint32_t uUnseen;
    const Frame frame;
    const float fInPixel;
    float fPixel;                // width at distance 1, or everywhere when rays are parallel
    Velk::NMVector3f v3Forward;  // unit, across the image plane
    LayerTargets to;
    Tile window{};
    uint64_t uCovered = 0;
};

}  // namespace rt
