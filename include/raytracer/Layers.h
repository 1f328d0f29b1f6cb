#pragma once

#include <atomic>
#include <cstdint>

#include "raytracer/Picture.h"

/// What the pixels of a picture show beside their colour.
///
///     std::vector<float> vDepth(640 * 480);
///     raytracer::Layers layers;
///     layers.pDepth = vDepth.data();
///     if (raytracer::renderLayers(scene, view, layers, 4)) return 1;  // true is failure
namespace raytracer {

/// Where the numbers of a view's window go, in memory of the caller, row after row without gaps; null for what nobody
/// wants. Lengths and places are in the mesh's units. Where nothing is seen, depths are infinite, numbers 0xFFFFFFFF,
/// and all else is 0.
struct Layers {
    float* pDepth = nullptr;     // from the eye along the view, across which the image plane lies
    float* pDistance = nullptr;  // from the eye along the pixel's ray
    float* pNormal = nullptr;    // three a pixel: unit, towards the eye, rounded where the material is smooth
    float* pPosition = nullptr;  // three a pixel: the point
    float* pAlbedo = nullptr;    // three a pixel: red, green and blue of the surface as light, 0 to 1
    float* pMask = nullptr;      // 1 where something is seen
    uint32_t* pMesh = nullptr;   // the part
    uint32_t* pMaterial = nullptr;
    uint32_t* pFace = nullptr;  // the triangle

    /// Where in a pixel its one ray goes through: 0.5 is its middle, as renderStudio() has it. render() looks at
    /// corners of samples: 0.5 - 0.5 / uSamples is the middle of what a pixel shows.
    float fInPixel = 0.5f;
    bool bTextures = true;           // their holes and colours count, as in a studio
    uint32_t uUnseen = NO_MATERIAL;  // a material of which nothing is seen, such as a studio's ground
};

/// Finds them with one ray a pixel. The numbers do not depend on the number of threads, and those of a window are those
/// of the whole picture. True when the scene was not prepared for pictures, without memory, or when *pStop became true
/// before the end; it is looked at every row.
[[nodiscard]] bool renderLayers(const Scene& scene, const View& view, const Layers& layers, unsigned uThreads,
                                const std::atomic<bool>* pStop = nullptr);

}  // namespace raytracer
