// Surfaces that metal and roughness describe.
#include <algorithm>

#include "render/studio/Optics.h"
#include "render/studio/StudioRenderer.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr float OF_GLOSS = 0.04f;  // that a surface which is no metal mirrors, seen from above
constexpr float SHARPEST = 0.12f,
                NO_MORE_SHARP = 0.5f;       // roughness between which mirrors stop to show their neighbours
constexpr float SHARP_SKY = 0.1f;           // roughness of mirrors that show all of a sky's picture
constexpr float FEW = 0.06f, MANY = 0.25f;  // of the light, that makes a mirror worth tracing

// What a rough mirror sends to the eye of even light all around: a share that its colour has, and one that is white
// (Karis 2014, with a polynomial for his power of two).
struct Mirror {
    float fColoured, fWhite;
    float fLost;  // between the bumps of a rough one, from where it comes back coloured once more

    Mirror(float fRough, float fCosine) {
        const float r = 1.0f - fRough, f = power(1.0f - std::clamp(fCosine, 0.0f, 1.0f), 6);
        const float a = std::min(r * r, f) * r + 0.0425f - 0.0275f * fRough;
        fColoured = 1.04f - 0.572f * fRough - 1.04f * a;
        fWhite = 1.04f * a + 0.022f * fRough - 0.04f;
        fWhite = std::max(fWhite, 0.0f);
        fLost = 1.0f / (fColoured + fWhite) - 1.0f;
    }

    NMVector3f of(const NMVector3f& v3Colour, float fMetal) const {
        const float fBase = OF_GLOSS * (1.0f - fMetal);
        const NMVector3f v3Base = NMVector3f{fBase, fBase, fBase} + v3Colour * fMetal;
        const NMVector3f v3Once = v3Base * fColoured + NMVector3f{fWhite, fWhite, fWhite};
        return v3Once + multiply(v3Once, v3Base) * fLost;
    }
};

}  // namespace

// The share of light of the mirrored direction alone.
NMVector3f StudioRenderer::tracedShare(const Sample& sample) const {
    const float fSharp = 1.0f - smoothStep(SHARPEST, NO_MORE_SHARP, sample.fRough);
    if (!(fSharp > 0.0f)) return {0, 0, 0};
    const NMVector3f v3Mirror =
        Mirror(sample.fRough, -dot(sample.v3Normal, sample.v3Dir)).of(sample.v3Albedo, sample.fMetal);
    return v3Mirror * (fSharp * smoothStep(FEW, MANY, strongest(v3Mirror)));
}

// What a path that meets nothing shows.
NMVector3f StudioRenderer::seenAround(const Path& path) const {
    if (!(path.fRough > (settings.pSky ? SHARP_SKY : 0.0f))) return lights.radiance(path.v3Dir);
    NMVector3f v3Sum{};
    for (unsigned k = 0; k < StudioLights::KINDS; ++k) {
        v3Sum = v3Sum + lights.gleam(static_cast<StudioLights::Kind>(k), path.v3Dir, path.fRough);
    }
    return v3Sum;
}

// The light that such a surface gives back, without what is traced.
NMVector3f StudioRenderer::gleamingLight(const Sample& sample, const Light& light) const {
    const Mirror mirror(sample.fRough, -dot(sample.v3Normal, sample.v3Dir));
    const NMVector3f v3Mirror = mirror.of(sample.v3Albedo, sample.fMetal), v3Traced = tracedShare(sample);
    const NMVector3f v3Dir = reflected(sample.v3Dir, sample.v3Normal);
    const float fBelow = 1.0f - OF_GLOSS * mirror.fColoured - mirror.fWhite;  // that gets into what is no metal
    const NMVector3f v3Diffuse = sample.v3Albedo * ((1.0f - sample.fMetal) * fBelow);
    NMVector3f v3Sum = sample.v3Emission;
    for (unsigned k = 0; k < StudioLights::KINDS; ++k) {
        const auto eKind = static_cast<StudioLights::Kind>(k);
        const float fOpen = light.fAll[k] > 0.0f ? light.fOpen[k] / light.fAll[k] : 0.0f;
        const float fFacing = eKind == StudioLights::KEY   ? dot(sample.v3Normal, lights.toKey())
                              : eKind == StudioLights::RIM ? dot(sample.v3Normal, lights.toRim())
                                                           : 1.0f;
        const float fLit = fOpen * smoothStep(0.0f, 0.05f + 0.4f * sample.fRough, fFacing);  // ends softly
        NMVector3f v3Matte = lights.irradiance(eKind, sample.v3Normal),
                   v3Gleam = lights.gleam(eKind, v3Dir, sample.fRough);
        for (unsigned a = 0; a < 3; ++a) {
            const bool bSky = eKind == StudioLights::SKY;
            v3Matte[a] *= bSky ? openness(fOpen, v3Diffuse[a]) : fOpen;
            v3Gleam[a] *= bSky ? openness(fOpen, v3Mirror[a]) : fLit;
        }
        v3Sum = v3Sum + multiply(v3Diffuse, v3Matte) + multiply(v3Mirror - v3Traced, v3Gleam);
    }
    return v3Sum;
}

}  // namespace rt
