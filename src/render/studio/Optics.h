#pragma once
// Small formulas of what light does at surfaces.

#include <algorithm>
#include <cstdint>

#include "base/Vectors.h"

namespace rt {

inline float positive(float f) {
    return f > 0.0f ? f : 0.0f;
}

/// From 0 to 1 while f goes from one number to the other.
inline float smoothStep(float fFrom, float fTo, float f) {
    const float t = std::clamp((f - fFrom) / (fTo - fFrom), 0.0f, 1.0f);
    return t * t * (3.0f - 2.0f * t);
}

inline float power(float fBase, uint32_t uExponent) {
    float f = 1.0f;
    for (; uExponent; uExponent >>= 1) {
        if (uExponent & 1) f *= fBase;
        fBase *= fBase;
    }
    return f;
}

/// How much of the sky a partly covered surface of this colour gets, when what covers it has about the same colour and
/// passes light on (Jimenez 2016).
inline float openness(float fOpen, float fAlbedo) {
    const float a = 2.0404f * fAlbedo - 0.3324f, b = -4.7951f * fAlbedo + 0.6417f, c = 2.7552f * fAlbedo + 0.6903f;
    const float fPassed = ((fOpen * a + b) * fOpen + c) * fOpen;
    return 0.08f + 0.92f * std::max(fOpen, fPassed);  // no corner is black
}

inline Velk::NMVector3f reflected(const Velk::NMVector3f& v3Dir, const Velk::NMVector3f& v3Normal) {
    return normalize(v3Dir - v3Normal * (2.0f * dot(v3Dir, v3Normal)));
}

inline float luminance(const Velk::NMVector3f& v3) {
    return 0.2126f * v3.x + 0.7152f * v3.y + 0.0722f * v3.z;
}

inline float strongest(const Velk::NMVector3f& v3) {
    return std::max({v3.x, v3.y, v3.z});
}

}  // namespace rt
