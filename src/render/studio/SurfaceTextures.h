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
    /// What a place is like: the light that it gives back and that of its own, how it gleams, whether it is a hole.
    struct Colour {
        Velk::NMVector3f v3Albedo, v3Emission;
        float fMetal, fRough;  // where the rule is a physical one
        bool bHole;
    };

    /// Keeps references to both.
    SurfaceTextures(const Scene& mesh, const SurfaceColours& places);

    /// False when the material has one colour, which it keeps.
    bool has(uint32_t uMaterial) const {
        return uMaterial < colours.vRules.size() && colours.vRules[uMaterial].isNeeded();
    }

    /// Whether a material gleams as metal and roughness say.
    bool isPhysical(uint32_t uMaterial) const {
        return uMaterial < colours.vRules.size() && colours.vRules[uMaterial].bPhysical;
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

    // What a texture is asked at.
    struct Place {
        Velk::NMVector2f v2;
        const FaceData& face;
        const Velk::NMVector2f* pCorners;
        float fPixel;
    };

    static std::vector<uint8_t> halve(const Level& level, uint32_t uWidth, uint32_t uHeight, bool bNumbers);
    void bilinear(const Texture& texture, const Level& level, const Velk::NMVector2f& v2At, float (&fSum)[4],
                  float fWeight) const;
    void sample(const Texture& texture, const Velk::NMVector2f& v2At, float fTexels, float (&fSum)[4]) const;
    void sample(uint32_t uTexture, const Place& place, float (&fSum)[4]) const;
    float texelsAlong(const FaceData& face, const Velk::NMVector2f* pPlaces, const TextureImage& image) const;

    const Scene& scene;
    const SurfaceColours& colours;
    std::vector<Texture> vTextures;
    float fLight[256];  // of a byte, as a screen shows it
    float fShare[256];  // of a byte that is a number
    bool bHoles = false;
};

}  // namespace rt
