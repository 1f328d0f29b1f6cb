#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "picture/LayerFile.h"
#include "render/Frame.h"
#include "render/PreparedScene.h"
#include "render/studio/SurfaceTextures.h"
#include "rt-render/options/LayerWishes.h"

namespace rt {

/// Finds what each pixel of a picture shows by one ray through its middle.
class LayerTracer {
 public:
    /// Keeps references to all. pColours: what surfaces have of textures and holes, null where these are not shown.
    /// uGround: a material that is not seen, NO_INDEX for none. fMiddle: where a pixel's middle is, 0.5 as a rule.
    LayerTracer(const PreparedScene& prepared, const SurfaceTextures* pColours, uint32_t uGround, const Frame& picture,
                float fMiddle);

    /// Makes the layers, row by row in any number of threads. True when out of memory, or when pfnStop returned
    /// non-zero.
    [[nodiscard]] bool trace(const LayerWishes& wanted, unsigned uThreads, int (*pfnStop)());

    /// Bytes that they need a pixel.
    static uint64_t bytesFor(const LayerWishes& wanted);

    /// Requires trace().
    const std::vector<Layer>& layers() const { return vLayers; }

    /// How many pixels show the scene. Requires trace().
    uint64_t countCovered() const { return uCovered; }

 private:
    struct Scratch;

    float* addFloats(const char* szName, std::vector<std::string> vChannels);
    uint32_t* addIntegers(const char* szName);
    bool createLayers(const LayerWishes& wanted);
    void findFaces(Scratch& scratch) const;
    bool isSeenThrough(uint32_t uFace, const RayTestOutput& hit) const;
    uint64_t traceRow(Scratch& scratch, uint32_t y) const;
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
    std::vector<Layer> vLayers;
    uint64_t uCovered = 0;
    // Into the layers, null for those that nobody wants.
    float *pDepth = nullptr, *pDistance = nullptr, *pNormal = nullptr, *pPosition = nullptr, *pAlbedo = nullptr,
          *pMask = nullptr;
    uint32_t *pMaterial = nullptr, *pFace = nullptr;
};

}  // namespace rt
