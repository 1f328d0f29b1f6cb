#pragma once

#include <cstdint>
#include <vector>

#include "accel/RayStream.h"
#include "base/Vectors.h"
#include "scene/FaceData.h"
#include "scene/Scene.h"
#include "scene/SurfaceColours.h"

namespace rt {

/// The colours of a mesh's places, ready for sampling: textures with all their smaller sizes. Constant, so that threads
/// share it.
class SurfaceTextures {
 public:
    /// What a place is like: the light that it gives back, and whether it is a hole.
    struct Colour {
        Velk::NMVector3f v3Albedo;
        bool bHole;
    };

    /// Keeps references to both.
    SurfaceTextures(const Scene& mesh, const SurfaceColours& places);

    /// False when the material has one colour, which it keeps.
    bool has(uint32_t uMaterial) const {
        if (uMaterial >= colours.vRules.size()) return false;
        const ColourRule& rule = colours.vRules[uMaterial];
        return rule.uTexture != NO_INDEX || rule.bVertices;
    }

    /// Whether there are holes anywhere.
    bool hasHoles() const { return bHoles; }

    /// The colour at a hit of a face whose material has some. fPixel is the width of a pixel there, in the scene's
    /// units: what is smaller is averaged.
    Colour at(uint32_t uFace, const RayTestOutput& hit, float fPixel) const;

 private:
    struct Level {
        uint32_t uWidth, uHeight;
        const uint8_t* pTexels;
    };
    struct Texture {
        std::vector<Level> vLevels;  // the first is the picture itself
        std::vector<std::vector<uint8_t>> vSmaller;
        const TextureImage* pImage;
    };

    static std::vector<uint8_t> halve(const Level& level, uint32_t uWidth, uint32_t uHeight);
    void bilinear(const Texture& texture, const Level& level, const Velk::NMVector2f& v2At, float (&fSum)[4],
                  float fWeight) const;
    void sample(const Texture& texture, const Velk::NMVector2f& v2At, float fTexels, float (&fSum)[4]) const;
    float texelsAlong(const FaceData& face, const Velk::NMVector2f* pPlaces, const TextureImage& image) const;

    const Scene& scene;
    const SurfaceColours& colours;
    std::vector<Texture> vTextures;
    float fLight[256];  // of a byte, as a screen shows it
    bool bHoles = false;
};

}  // namespace rt
