// Where the light of the studio comes from.
#include "render/studio/StudioLights.h"

#include <cmath>

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr double GOLDEN_ANGLE = 2.399963229728653;
constexpr double KEY_RADIUS = 0.16, RIM_RADIUS = 0.25;  // sines of half the angles that they fill
constexpr NMVector3f KEY_COLOUR{0.98f, 0.97f, 0.94f}, RIM_COLOUR{0.50f, 0.52f, 0.55f};
constexpr NMVector3f SKY_COLOUR{0.25f, 0.265f, 0.29f};  // on a level surface's side
constexpr float SKY_UP = 0.45f;                         // how much more comes from above, and less from below

// A point of a disc around a direction, number u of uCount, evenly spread in the order of the golden angle.
NMVector3f inDisc(const NMVector3f& v3Middle, double dRadius, unsigned u, unsigned uCount) {
    const NMVector3f v3Other = fabsf(v3Middle.y) < 0.9f ? NMVector3f{0, 1, 0} : NMVector3f{1, 0, 0};
    const NMVector3f v3Side = normalize(cross(v3Other, v3Middle)), v3Up = cross(v3Middle, v3Side);
    const double r = dRadius * sqrt((u + 0.5) / uCount), dAngle = GOLDEN_ANGLE * u;
    return normalize(v3Middle * static_cast<float>(sqrt(1.0 - r * r)) + v3Side * static_cast<float>(r * cos(dAngle)) +
                     v3Up * static_cast<float>(r * sin(dAngle)));
}

NMVector3f inSphere(unsigned u, unsigned uCount) {
    const double y = 1.0 - 2.0 * (u + 0.5) / uCount, r = sqrt(1.0 - y * y), dAngle = GOLDEN_ANGLE * u;
    return {static_cast<float>(r * cos(dAngle)), static_cast<float>(y), static_cast<float>(r * sin(dAngle))};
}

float positive(float f) {
    return f > 0.0f ? f : 0.0f;
}

}  // namespace

StudioLights::StudioLights(const Frame& frame) {
    const NMVector3f v3Middle = frame.v3ImageOrigin + frame.v3ImageSpanX * 0.5f + frame.v3ImageSpanY * 0.5f;
    const NMVector3f v3Forward = normalize(v3Middle - frame.v3Eye), v3Right = normalize(frame.v3ImageSpanX);
    const NMVector3f v3Up = normalize(frame.v3ImageSpanY * -1.0f);
    v3Key = normalize(v3Right * -0.55f + v3Up * 0.8f - v3Forward * 0.62f);
    v3Rim = normalize(v3Right * 0.62f + v3Up * 0.5f + v3Forward * 0.7f);
    for (unsigned uPhase = 0; uPhase < PHASES; ++uPhase) {
        Direction* p = directions[uPhase];
        const unsigned uLamp = uPhase % LAMP_PHASES, uSky = uLamp * (PHASES / LAMP_PHASES) + uPhase / LAMP_PHASES;
        for (unsigned i = 0; i < 2; ++i) {
            *p++ = {inDisc(v3Key, KEY_RADIUS, i * LAMP_PHASES + uLamp, 2 * LAMP_PHASES), KEY};
        }
        *p++ = {inDisc(v3Rim, RIM_RADIUS, uLamp, LAMP_PHASES), RIM};
        for (unsigned i = 0; i < 4; ++i) *p++ = {inSphere(i * PHASES + uSky, 4 * PHASES), SKY};
        for (unsigned i = 0; i < 12; ++i) *p++ = {inSphere(i * PHASES + uSky, 12 * PHASES), SKY};
    }
}

NMVector3f StudioLights::irradiance(Kind eKind, const NMVector3f& v3Normal) const {
    if (eKind == KEY) return KEY_COLOUR * positive(dot(v3Normal, v3Key));
    if (eKind == RIM) return RIM_COLOUR * positive(dot(v3Normal, v3Rim));
    return SKY_COLOUR * (1.0f + SKY_UP * v3Normal.y);
}

NMVector3f StudioLights::radiance(const NMVector3f& v3Dir) const {
    constexpr NMVector3f BOX{2.6f, 2.55f, 2.45f}, STRIP{1.6f, 1.65f, 1.75f};
    if (dot(v3Dir, v3Key) > 0.93f) return BOX;
    if (dot(v3Dir, v3Rim) > 0.95f) return STRIP;
    // Dark below, bright above, and a bright horizon: what makes metal look like metal.
    const float y = v3Dir.y, fHorizon = 1.0f - fabsf(y);
    const float f = (y > 0.0f ? 0.45f + 0.35f * y : 0.22f) + 0.4f * fHorizon * fHorizon * fHorizon;
    return {f, f * 1.01f, f * 1.03f};
}

unsigned phaseOf(int32_t x, int32_t y) {
    constexpr uint8_t BAYER[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    const unsigned uQuarter = static_cast<unsigned>((y >> 2 & 1) * 2 + ((x ^ y) >> 2 & 1));
    return uQuarter * StudioLights::LAMP_PHASES + BAYER[y & 3][x & 3];
}

}  // namespace rt
