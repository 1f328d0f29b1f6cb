#pragma once

#include <cstdint>
#include <vector>

#include "base/Vectors.h"
#include "scene/FaceData.h"

namespace rt {

/// A picture that surfaces have: 4 bytes a texel (red, green, blue as a screen shows them, alpha), the first row first.
struct TextureImage {
    enum Wrap : uint32_t { REPEAT, CLAMP, MIRROR };

    uint32_t uWidth = 0;
    uint32_t uHeight = 0;
    Wrap wraps[2] = {REPEAT, REPEAT};  // across, down
    uint32_t bNumbers = 0;             // 1: red, green and blue are shares, not colours of a screen
    std::vector<uint8_t> vTexels;
};

/// What a material makes of the colours of a place. All textures of a material lie in the same places.
struct ColourRule {
    static constexpr float MOST_EMISSION = 1000.0f;

    uint32_t uTexture = NO_INDEX;        // none: all of it is white
    Velk::NMVector3f v3Factor{1, 1, 1};  // of light, for the product of texture and vertices' colours
    uint32_t bVertices = 0;              // 1: the vertices' colours count
    float fCutoff = 0.0f;                // where alpha is less, there is a hole; 0: nowhere
    uint32_t uMask = NO_INDEX;           // its alpha counts, too

    uint32_t bPhysical = 0;  // 1: it gleams as metal and roughness say, not as the material does
    float fMetal = 0.0f, fRough = 1.0f;
    uint32_t uMetal = NO_INDEX, uRough = NO_INDEX;  // blue times fMetal, green times fRough

    Velk::NMVector3f v3Emission{0, 0, 0};  // light of its own
    uint32_t uEmission = NO_INDEX;         // times this

    bool hasTextures() const { return (uTexture & uMask & uMetal & uRough & uEmission) != NO_INDEX; }
    bool shines() const { return v3Emission.x > 0.0f || v3Emission.y > 0.0f || v3Emission.z > 0.0f; }

    /// False when the material says it all.
    bool isNeeded() const { return hasTextures() || bVertices || bPhysical || shines(); }

    void dropTextures() { uTexture = uMask = uMetal = uRough = uEmission = NO_INDEX; }
};

/// Colours of places on the faces of a mesh, beyond one colour a material. All is optional; what is there fits the mesh
/// that it belongs to.
struct SurfaceColours {
    std::vector<Velk::NMVector2f> vPlaces;  // in textures, three a face: 0 to 1 from the left and from the top
    std::vector<uint32_t> vCorners;         // three a face: red, green, blue, alpha as a screen shows them, red lowest
    std::vector<ColourRule> vRules;         // one a material; empty: materials have the one colour each
    std::vector<TextureImage> vTextures;
};

}  // namespace rt
