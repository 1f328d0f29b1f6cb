// Samples textures: smaller sizes, wrapping, blending of neighbouring texels.
#include "render/studio/SurfaceTextures.h"

#include <algorithm>
#include <cmath>

#include "render/studio/Tone.h"

namespace rt {

using Velk::NMVector2f;
using Velk::NMVector3f;

namespace {

// The texel at any place of a row of uSize.
uint32_t wrapped(int64_t i, uint32_t uSize, TextureImage::Wrap eWrap) {
    const int64_t iSize = uSize;
    if (eWrap == TextureImage::CLAMP) return static_cast<uint32_t>(std::clamp<int64_t>(i, 0, iSize - 1));
    const int64_t iPeriod = eWrap == TextureImage::MIRROR ? 2 * iSize : iSize;
    int64_t iRest = i % iPeriod;
    if (iRest < 0) iRest += iPeriod;
    return static_cast<uint32_t>(iRest < iSize ? iRest : iPeriod - 1 - iRest);
}

// A place so far out that its texel has no number is the first one.
float bounded(float f) {
    return fabsf(f) < 1e6f ? f : 0.0f;
}

}  // namespace

SurfaceTextures::SurfaceTextures(const Scene& mesh, const SurfaceColours& places) : scene(mesh), colours(places) {
    for (unsigned u = 0; u < 256; ++u) {
        fShare[u] = static_cast<float>(u) / 255.0f;
        fLight[u] = lightOf(fShare[u]);
    }
    for (const TextureImage& image : colours.vTextures) {
        Texture texture;
        texture.pImage = &image;
        texture.vLevels.push_back({image.uWidth, image.uHeight, image.vTexels.data()});
        for (uint32_t uWidth = image.uWidth, uHeight = image.uHeight; uWidth > 1 || uHeight > 1;) {
            uWidth = std::max(1u, uWidth / 2);
            uHeight = std::max(1u, uHeight / 2);
            texture.vSmaller.push_back(halve(texture.vLevels.back(), uWidth, uHeight, image.bNumbers));
            texture.vLevels.push_back({uWidth, uHeight, texture.vSmaller.back().data()});
        }
        vTextures.push_back(std::move(texture));
    }
    for (const ColourRule& rule : colours.vRules) bHoles = bHoles || rule.fCutoff > 0.0f;
}

// Means of 2 x 2 texels, or 3 where the size is odd. Colours count by their alpha, and as light, of which the square of
// what a screen shows is near enough. Numbers are numbers.
std::vector<uint8_t> SurfaceTextures::halve(const Level& level, uint32_t uWidth, uint32_t uHeight, bool bNumbers) {
    std::vector<uint8_t> vTexels(size_t{uWidth} * uHeight * 4);
    uint8_t* pOut = vTexels.data();
    for (uint32_t y = 0; y < uHeight; ++y) {
        for (uint32_t x = 0; x < uWidth; ++x) {
            const uint32_t uLastX = x + 1 == uWidth ? level.uWidth : 2 * x + 2;
            const uint32_t uLastY = y + 1 == uHeight ? level.uHeight : 2 * y + 2;
            uint32_t uSum[3] = {}, uPlain[3] = {}, uAlpha = 0, uCount = 0;
            for (uint32_t v = 2 * y; v < uLastY; ++v) {
                for (uint32_t u = 2 * x; u < uLastX; ++u, ++uCount) {
                    const uint8_t* p = level.pTexels + (size_t{v} * level.uWidth + u) * 4;
                    for (unsigned c = 0; c < 3; ++c) {
                        const uint32_t uLight = bNumbers ? p[c] : uint32_t{p[c]} * p[c];
                        uSum[c] += uLight * p[3];
                        uPlain[c] += uLight;
                    }
                    uAlpha += p[3];
                }
            }
            for (unsigned c = 0; c < 3; ++c) {
                const float fMean = uAlpha && !bNumbers ? static_cast<float>(uSum[c]) / static_cast<float>(uAlpha)
                                                        : static_cast<float>(uPlain[c]) / static_cast<float>(uCount);
                *pOut++ = static_cast<uint8_t>(lroundf(bNumbers ? fMean : sqrtf(fMean)));
            }
            *pOut++ = static_cast<uint8_t>((uAlpha + uCount / 2) / uCount);
        }
    }
    return vTexels;
}

void SurfaceTextures::bilinear(const Texture& texture, const Level& level, const NMVector2f& v2At, float (&fSum)[4],
                               float fWeight) const {
    const float fX = bounded(v2At.x) * static_cast<float>(level.uWidth) - 0.5f;
    const float fY = bounded(v2At.y) * static_cast<float>(level.uHeight) - 0.5f;
    const float fLeft = floorf(fX), fTop = floorf(fY), fRight = fX - fLeft, fDown = fY - fTop;
    const float* const pValues = texture.pImage->bNumbers ? fShare : fLight;
    const int64_t iX = static_cast<int64_t>(fLeft), iY = static_cast<int64_t>(fTop);
    for (unsigned u = 0; u < 4; ++u) {
        const uint32_t x = wrapped(iX + (u & 1), level.uWidth, texture.pImage->wraps[0]);
        const uint32_t y = wrapped(iY + (u >> 1), level.uHeight, texture.pImage->wraps[1]);
        const uint8_t* p = level.pTexels + (size_t{y} * level.uWidth + x) * 4;
        const float f = fWeight * (u & 1 ? fRight : 1.0f - fRight) * (u >> 1 ? fDown : 1.0f - fDown);
        for (unsigned c = 0; c < 3; ++c) fSum[c] += f * pValues[p[c]];
        fSum[3] += f * fShare[p[3]];
    }
}

// Blends the two sizes between which a pixel has one texel.
void SurfaceTextures::sample(const Texture& texture, const NMVector2f& v2At, float fTexels, float (&fSum)[4]) const {
    size_t uLevel = 0;
    const size_t uLast = texture.vLevels.size() - 1;
    for (; fTexels >= 2.0f && uLevel < uLast; fTexels *= 0.5f) ++uLevel;
    const float fNext = uLevel < uLast && fTexels > 1.0f ? std::min(fTexels - 1.0f, 1.0f) : 0.0f;
    bilinear(texture, texture.vLevels[uLevel], v2At, fSum, 1.0f - fNext);
    if (fNext > 0.0f) bilinear(texture, texture.vLevels[uLevel + 1], v2At, fSum, fNext);
}

// Texels on a unit of length of a face.
float SurfaceTextures::texelsAlong(const FaceData& face, const NMVector2f* p, const TextureImage& image) const {
    const NMVector3f v3Across =
        cross(face.pA->v3Position - face.pC->v3Position, face.pB->v3Position - face.pC->v3Position);
    const float fOnTexture = fabsf((p[0].x - p[2].x) * (p[1].y - p[2].y) - (p[1].x - p[2].x) * (p[0].y - p[2].y));
    const float fTexels = fOnTexture * static_cast<float>(image.uWidth) * static_cast<float>(image.uHeight);
    const float fSquare = fTexels / length(v3Across);
    return fSquare < HUGE_VALF ? sqrtf(fSquare) : 0.0f;
}

void SurfaceTextures::sample(uint32_t uTexture, const Place& place, float (&fSum)[4]) const {
    const Texture& texture = vTextures[uTexture];
    std::fill_n(fSum, 4, 0.0f);
    sample(texture, place.v2, place.fPixel * texelsAlong(place.face, place.pCorners, *texture.pImage), fSum);
}

SurfaceTextures::Colour SurfaceTextures::at(uint32_t uFace, const RayTestOutput& hit, float fPixel) const {
    const FaceData& face = scene.vFaces[uFace];
    const ColourRule& rule = colours.vRules[face.uAttribute];
    const float fWeights[3] = {hit.fU, hit.fV, 1.0f - hit.fU - hit.fV};
    float fColour[4] = {1.0f, 1.0f, 1.0f, 1.0f}, fNumbers[4];
    Colour result{{}, rule.v3Emission, rule.fMetal, rule.fRough, false};
    if (rule.hasTextures() && !colours.vPlaces.empty()) {
        const NMVector2f* p = &colours.vPlaces[size_t{3} * uFace];
        NMVector2f v2At{0, 0};
        for (unsigned c = 0; c < 3; ++c) v2At = {v2At.x + p[c].x * fWeights[c], v2At.y + p[c].y * fWeights[c]};
        const Place place{v2At, face, p, fPixel};
        if (rule.uTexture != NO_INDEX) sample(rule.uTexture, place, fColour);
        if (rule.uMask != NO_INDEX) {
            sample(rule.uMask, place, fNumbers);
            fColour[3] *= fNumbers[3];
        }
        if (rule.uRough != NO_INDEX) {
            sample(rule.uRough, place, fNumbers);
            result.fRough *= fNumbers[1];
        }
        if (rule.uMetal != NO_INDEX) {
            if (rule.uMetal != rule.uRough) sample(rule.uMetal, place, fNumbers);
            result.fMetal *= fNumbers[2];
        }
        if (rule.uEmission != NO_INDEX) {
            sample(rule.uEmission, place, fNumbers);
            result.v3Emission = multiply(result.v3Emission, {fNumbers[0], fNumbers[1], fNumbers[2]});
        }
    }
    if (rule.bVertices && !colours.vCorners.empty()) {
        float fCorners[4] = {};
        for (unsigned c = 0; c < 3; ++c) {
            const uint32_t u = colours.vCorners[size_t{3} * uFace + c];
            for (unsigned i = 0; i < 3; ++i) fCorners[i] += fWeights[c] * fLight[u >> (8 * i) & 255];
            fCorners[3] += fWeights[c] * (static_cast<float>(u >> 24) / 255.0f);
        }
        for (unsigned i = 0; i < 4; ++i) fColour[i] *= fCorners[i];
    }
    result.v3Albedo = multiply({fColour[0], fColour[1], fColour[2]}, rule.v3Factor);
    result.bHole = fColour[3] < rule.fCutoff;
    return result;
}

}  // namespace rt
