#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Vectors.h"
#include "render/Frame.h"
#include "render/PreparedScene.h"
#include "render/shading/RaytracerParameters.h"
#include "render/shading/StreamShader.h"

namespace rt {

/// Renders tiles of pictures of a prepared scene. Holds the scratch memory of one thread, about 800 kB, so it
/// belongs on the heap; each thread that renders has its own.
class TileRenderer {
 public:
    /// Keeps references to both, which must not change while tiles are rendered. Of the settings only those of the
    /// bricks are read.
    TileRenderer(const PreparedScene& scene, const RaytracerParameters& settings);

    /// Renders a tile, 3 bytes a pixel (blue, green, red), into memory of the caller: the first pixel at pFirst, each
    /// row uStride bytes after the one before. Requires a tile inside the frame.
    void render(const Frame& frame, const Tile& tile, unsigned char* pFirst, size_t uStride);

    /// The colour seen along a ray that travels in a medium of the given refractive index, in the range of a pixel: 0
    /// to 255 and beyond. uDepth counts the reflections and refractions before it.
    Velk::NMVector3f traceRay(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Direction, float fMaxDistance,
                              unsigned uDepth, float fRefractiveIndex);

 private:
    void renderBlock(const Frame& frame, const Tile& block, unsigned char* pFirst, size_t uStride);

    StreamShader shader;
};

}  // namespace rt
