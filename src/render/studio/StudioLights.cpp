// Where the light of the studio comes from.
#include "render/studio/StudioLights.h"

#include <cmath>

#include "render/studio/Directions.h"
#include "render/studio/Optics.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr double KEY_RADIUS = 0.16, RIM_RADIUS = 0.25;  // sines of half the angles that they fill
constexpr NMVector3f KEY_COLOUR{0.98f, 0.97f, 0.94f}, RIM_COLOUR{0.50f, 0.52f, 0.55f};
constexpr NMVector3f SKY_COLOUR{0.25f, 0.265f, 0.29f};  // on a level surface's side
constexpr float SKY_UP = 0.45f;                         // how much more comes from above, and less from below

// What mirrors see of the lamps.
constexpr NMVector3f BOX{2.6f, 2.55f, 2.45f}, STRIP{1.6f, 1.65f, 1.75f}, BEHIND_LAMPS{0.4f, 0.4f, 0.4f};
constexpr float BOX_EDGE = 0.93f, STRIP_EDGE = 0.95f;

// How much of a disc a rough mirror sees that looks at this cosine from its middle. fEdge is the cosine at its rim,
// which roughness blurs; all that the disc sends out stays the same.
float blurredDisc(float fCosine, float fEdge, float fBlur) {
    const float f = (fCosine - fEdge + fBlur) / (2.0f * fBlur);
    if (!(f > 0.0f)) return 0.0f;
    const auto step = [](float t) { return t < 1.0f ? t * t * (3.0f - 2.0f * t) : 1.0f; };
    const float fOutside = (1.0f - fEdge + fBlur) / (2.0f * fBlur), t = fOutside < 1.0f ? fOutside : 1.0f;
    const float fSum = 2.0f * fBlur * (t * t * t - 0.5f * t * t * t * t + positive(fOutside - 1.0f));
    return step(f) * (1.0f - fEdge) / fSum;
}

// How much roughness blurs a cosine.
float blurOf(float fRough) {
    return 0.004f + 0.6f * fRough * fRough;
}

}  // namespace

StudioLights::StudioLights(const Frame& frame, const SkyMap* pSkyMap) : pSky(pSkyMap) {
    const NMVector3f v3Middle = frame.v3ImageOrigin + frame.v3ImageSpanX * 0.5f + frame.v3ImageSpanY * 0.5f;
    const NMVector3f v3Forward = normalize(v3Middle - frame.v3Eye), v3Right = normalize(frame.v3ImageSpanX);
    const NMVector3f v3Up = normalize(frame.v3ImageSpanY * -1.0f);
    v3Key = normalize(v3Right * -0.55f + v3Up * 0.8f - v3Forward * 0.62f);
    v3Rim = normalize(v3Right * 0.62f + v3Up * 0.5f + v3Forward * 0.7f);
    if (pSky) {
        v3Key = pSky->lamp(0).v3To;
        v3Rim = pSky->lamp(1).v3To;
    }
    const auto ofLamp = [this](Kind eKind, unsigned u, unsigned uCount) -> Direction {
        if (!pSky)
            return {eKind == KEY ? inDisc(v3Key, KEY_RADIUS, u, uCount) : inDisc(v3Rim, RIM_RADIUS, u, uCount), eKind};
        const SkyMap::Lamp& lamp = pSky->lamp(eKind == KEY ? 0 : 1);
        return {lamp.v3Directions[u * (SkyMap::LAMP_DIRECTIONS / uCount)], eKind,
                strongest(lamp.v3Irradiance) > 0.0f ? 1.0f : 0.0f};
    };
    const auto ofSky = [this](unsigned u, unsigned uCount) -> Direction {
        if (!pSky) return {inSphere(u, uCount), SKY};
        const SkyMap::Direction& direction = pSky->direction(u, uCount);
        return {direction.v3, SKY, direction.fShare};
    };
    for (unsigned uPhase = 0; uPhase < PHASES; ++uPhase) {
        Direction* p = directions[uPhase];
        const unsigned uLamp = uPhase % LAMP_PHASES, uPart = uLamp * (PHASES / LAMP_PHASES) + uPhase / LAMP_PHASES;
        for (unsigned i = 0; i < 2; ++i) *p++ = ofLamp(KEY, i * LAMP_PHASES + uLamp, 2 * LAMP_PHASES);
        *p++ = ofLamp(RIM, uLamp, LAMP_PHASES);
        for (unsigned i = 0; i < 4; ++i) *p++ = ofSky(i * PHASES + uPart, SkyMap::FEW);
        for (unsigned i = 0; i < 12; ++i) *p++ = ofSky(i * PHASES + uPart, SkyMap::MANY);
    }
}

NMVector3f StudioLights::irradiance(Kind eKind, const NMVector3f& v3Normal) const {
    if (pSky && eKind == SKY) return pSky->irradiance(v3Normal);
    if (pSky && eKind == KEY) return pSky->lamp(0).v3Irradiance * positive(dot(v3Normal, v3Key));
    if (pSky) return pSky->lamp(1).v3Irradiance * positive(dot(v3Normal, v3Rim));
    if (eKind == KEY) return KEY_COLOUR * positive(dot(v3Normal, v3Key));
    if (eKind == RIM) return RIM_COLOUR * positive(dot(v3Normal, v3Rim));
    return SKY_COLOUR * (1.0f + SKY_UP * v3Normal.y);
}

NMVector3f StudioLights::radiance(const NMVector3f& v3Dir) const {
    if (pSky) return pSky->radiance(v3Dir);
    if (dot(v3Dir, v3Key) > BOX_EDGE) return BOX;
    if (dot(v3Dir, v3Rim) > STRIP_EDGE) return STRIP;
    // Dark below, bright above, and a bright horizon: what makes metal look like metal.
    const float y = v3Dir.y, fHorizon = 1.0f - fabsf(y);
    const float f = (y > 0.0f ? 0.45f + 0.35f * y : 0.22f) + 0.4f * fHorizon * fHorizon * fHorizon;
    return {f, f * 1.01f, f * 1.03f};
}

NMVector3f StudioLights::gleam(Kind eKind, const NMVector3f& v3Dir, float fRough) const {
    const float fBlur = blurOf(fRough);
    if (pSky) {
        if (eKind == SKY) return pSky->gleam(v3Dir, fRough);
        const SkyMap::Lamp& lamp = pSky->lamp(eKind == KEY ? 0 : 1);
        const float fSeen = blurredDisc(dot(v3Dir, lamp.v3To), lamp.fEdge, fBlur);
        return lamp.v3Irradiance * (fSeen / (2.0f * (1.0f - lamp.fEdge)));
    }
    if (eKind == KEY) return (BOX - BEHIND_LAMPS) * blurredDisc(dot(v3Dir, v3Key), BOX_EDGE, fBlur);
    if (eKind == RIM) return (STRIP - BEHIND_LAMPS) * blurredDisc(dot(v3Dir, v3Rim), STRIP_EDGE, fBlur);
    // As radiance() has it, with its horizon blurred and less light around the lamps: colours of metals look deep.
    constexpr float BELOW = 0.2f;
    const float y = v3Dir.y, fHorizon = 1.0f - fabsf(y), fAt = (y + fBlur) / (2.0f * fBlur);
    const float fUp = fAt > 0.0f ? (fAt < 1.0f ? fAt * fAt * (3.0f - 2.0f * fAt) : 1.0f) : 0.0f;
    const float fAbove = 0.32f + 0.4f * positive(y), fBright = fHorizon * fHorizon * fHorizon;
    const float f = BELOW + (fAbove - BELOW) * fUp + 0.35f * (fBright * (1.0f - fRough) + 0.25f * fRough);
    return {f, f * 1.01f, f * 1.03f};
}

unsigned phaseOf(int32_t x, int32_t y) {
    constexpr uint8_t BAYER[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    const unsigned uQuarter = static_cast<unsigned>((y >> 2 & 1) * 2 + ((x ^ y) >> 2 & 1));
    return uQuarter * StudioLights::LAMP_PHASES + BAYER[y & 3][x & 3];
}

}  // namespace rt
