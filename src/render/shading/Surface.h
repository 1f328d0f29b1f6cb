#pragma once

#include <cmath>

#include "base/Vectors.h"
#include "render/shading/ShadingContext.h"
#include "scene/Attributes.h"
#include "scene/FaceData.h"

namespace rt {

/// The shading data of a hit point, from its face, material and texture. The letters are those of the shading formulas:
/// D direction of the ray, P point, N normal, S surface colour, L direction to the light, H half-way vector.
struct Surface {
    Velk::NMVector3f P, N, S;  // N need not be a unit vector
    float fSide;               // 1 when the front was hit, -1 otherwise
    float fKd, fKs, fExponent, fKts, fKf, fEta;

    /// What a light adds for each unit of irradiance; fCosine is (N . L) and fHalfway (N . H), both times fSide.
    float reflected(float fCosine, float fHalfway) const {
        // Without a specular part the power is skipped. For a base of at most 1 it is finite, so it would add 0.
        if (fKs == 0.0f && fabsf(fHalfway) <= 1.0f) return fKd * fCosine;
        // Rounded once from double, because powf() differs in the last bit between C libraries.
        const double dPower = pow(static_cast<double>(fHalfway), static_cast<double>(fExponent));
        return fKd * fCosine + fKs * static_cast<float>(dPower);
    }
};

/// Looks up material, shading normal and texture at a hit. Requires that the face's material exists.
void makeSurface(const ShadingContext& context, const FaceData& face, const RayTestOutput& hit, Surface* pSurface);

/// Colour and shading normal of a face with the brick texture at a point on it. May change the attribute's fKts.
Velk::NMVector3f brickTexture(const RaytracerParameters& parameters, const FaceData& face,
                              const Velk::NMVector3f& v3Point, Velk::NMVector3f* pNormal,
                              AttributeInstance* pAttribute);

/// The fixed curve from the sum of the lights to a multiple of the surface's colour.
float brightness(float fSum);

}  // namespace rt
