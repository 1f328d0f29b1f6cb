#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "raytracer/Scene.h"

/// Pictures of a scene that was prepared for them.
///
///     const raytracer::View view = raytracer::lookAt({{3, 2, -5}, {0, 0, 0}}, 640, 480);
///     std::vector<uint8_t> vPixels(640 * 480 * 3);
///     if (raytracer::render(scene, view, {}, 4, vPixels.data(), 640 * 3)) return 1;  // true is failure
namespace raytracer {

/// A part of a picture. Its pixels are those of the whole picture, so that parts that were rendered anywhere make one.
struct Window {
    uint32_t x = 0;
    uint32_t y = 0;
    uint32_t uColumns = 0xFFFFFFFFu;  // cut off at the picture's edge
    uint32_t uRows = 0xFFFFFFFFu;
};

/// An eye, the rectangle in space that it looks through, and how many pixels that has. Pixel (x, y) looks at
/// corner 0 + (corner 1 - corner 0) * x / uWidth + (corner 2 - corner 0) * y / uHeight.
struct View {
    float eye[3];
    float corners[3][3];  // of the first pixel, of the last column, of the last row
    uint32_t uWidth;
    uint32_t uHeight;
    bool bParallel = false;  // rays go the way from the eye to the rectangle's middle, through all of it
    bool bInner = false;    // in the library's own numbers, without any rounding: lengths are in 1/10000 of the scene's
                            // longest side; corners 1 and 2 are the ways from corner 0 to them
    uint32_t uSamples = 1;  // rays along each side of a pixel, 64 at most
    Window window;          // what is rendered
};

struct Looking {
    float from[3];
    float at[3];
    float up[3] = {0, 1, 0};
    float fFieldOfView = 45.0f;  // degrees from the left edge to the right one
};

/// A view with square pixels, in a world where x goes to the right, y up, and z into the picture.
View lookAt(const Looking& looking, uint32_t uWidth, uint32_t uHeight);

/// The view that the scene's camera file has, in its own resolution; all 0 when none was loaded.
View viewOf(const Scene& scene);

/// The material of the ground that was put under the model of a packed scene; NO_MATERIAL when there is none.
constexpr uint32_t NO_MATERIAL = 0xFFFFFFFFu;
uint32_t groundOf(const Scene& scene);

/// The brick wall that one material can become. Lengths are in 1/10000 of the scene's longest side.
struct Bricks {
    uint32_t uMaterial = NO_MATERIAL;
    float fWidth = 600.0f;
    float fHeight = 125.0f;
    float fMortar = 20.0f;
    float fAngle = 0.125f;  // how crooked they lie
    bool bDirt = false;
};

/// Renders the view's window into memory of the caller, the top row first, each row uStride bytes after the one before,
/// 3 bytes a pixel: red, green, blue. The bytes do not depend on the number of threads. True when the scene was not
/// prepared for pictures, without memory, or when *pStop became true before the end; it is looked at every 32 x 32
/// pixels.
[[nodiscard]] bool render(const Scene& scene, const View& view, const Bricks& bricks, unsigned uThreads,
                          uint8_t* pPixels, size_t uStride, const std::atomic<bool>* pStop = nullptr);

/// What is behind a scene in a studio. Colours are red, green and blue as a screen shows them, 0 to 255.
struct Studio {
    float top[3] = {232, 234, 238};     // of the first row
    float bottom[3] = {192, 197, 205};  // of the last row
    bool bTransparent = false;          // nothing: pixels have 4 bytes, the last one is alpha
    bool bSmoothEdges = true;           // nine rays for pixels in which an edge is seen
    bool bSkyBehind = false;            // the scene's sky, if it has one
    uint32_t uGround = NO_MATERIAL;     // a material of which nothing is seen but the shadows on it
};

/// The same in the soft light of a studio that turns with the view and leaves no side black, in place of the scene's
/// lights. There are no bricks, but textures. *pStop is looked at every 96 x 96 pixels.
[[nodiscard]] bool renderStudio(const Scene& scene, const View& view, const Studio& studio, unsigned uThreads,
                                uint8_t* pPixels, size_t uStride, const std::atomic<bool>* pStop = nullptr);

}  // namespace raytracer
