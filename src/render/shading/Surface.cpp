// The shading of one point: material, shading normal, brick texture and brightness.
#include "render/shading/Surface.h"

#include <cassert>

#include "render/shading/BrickWall.h"
#include "render/shading/RaytracerParameters.h"
#include "scene/Scene.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr float BRIGHTNESS_EXPONENT = 0.7f;

}  // namespace

void makeSurface(const ShadingContext& context, const FaceData& face, const RayTestOutput& hit, Surface* pSurface) {
    assert(face.uAttribute < context.attributes.vAttributes.uSize);
    const AttributeInstance& attribute = context.attributes.vAttributes[face.uAttribute];
    Surface& surface = *pSurface;  // in place: a copy would wait for all its stores
    surface.P = hit.v3Hit;
    surface.N = face.v3Normal;
    surface.S = attribute.v3Color;
    surface.fSide = hit.bFrontFace ? 1.0f : -1.0f;
    surface.fKd = attribute.fKd;
    surface.fKs = attribute.fKs;
    surface.fExponent = static_cast<float>(static_cast<uint32_t>(attribute.iGs));
    surface.fKts = attribute.fKts;
    surface.fKf = attribute.fKf;
    surface.fEta = attribute.fEta;
    if (!face.isSound()) return;  // only watertight rays meet such a face; it has a normal and no more
    if (face.uAttribute == context.parameters.uTexturedAttribute) {
        AttributeInstance changed = attribute;  // the texture may change it, the material stays
        surface.S = brickTexture(context.parameters, face, surface.P, &surface.N, &changed);
        surface.fKts = changed.fKts;
    } else if (attribute.uFlags & AF_SMOOTH) {
        surface.N =
            face.pA->v3Normal * hit.fU + face.pB->v3Normal * hit.fV + face.pC->v3Normal * (1.0f - hit.fU - hit.fV);
    }
}

NMVector3f brickTexture(const RaytracerParameters& parameters, const FaceData& face, const NMVector3f& v3Point,
                        NMVector3f* pNormal, AttributeInstance* pAttribute) {
    const NMVector3f d = v3Point - face.v3Min;
    // A face without extent along a texture axis has coordinate 0 there.
    const float u = face.fTexUSize != 0.0f ? dot(face.v3TexU, d) / face.fTexUSize : 0.0f;
    const float v = face.fTexVSize != 0.0f ? dot(face.v3TexV, d) / face.fTexVSize : 0.0f;
    NMVector3f t{0.0f, 0.0f, 1.0f};
    const NMVector3f v3Colour =
        Wall({u, v}, face.fTexUSize, face.fTexVSize, parameters.fBrickWidth, parameters.fBrickHeight,
             parameters.fMortarWidth, parameters.fAngleCoeff, parameters.bDirt, &t, pAttribute);
    *pNormal = TransformPoint(t, face.v3TexU, face.v3TexV, face.v3Normal);
    return v3Colour;
}

float brightness(float fSum) {
    const double d = static_cast<double>(fSum);
    const double dPower = pow(d, static_cast<double>(BRIGHTNESS_EXPONENT));
    return static_cast<float>(d > 1.0 ? dPower + 30.0 * log(d) : dPower);  // the logarithm adds nothing below 1
}

}  // namespace rt
