// The light of a picture all around: lamps, directions, what mirrors see.
#include "render/studio/SkyMap.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "render/studio/Directions.h"
#include "render/studio/Optics.h"

namespace rt {

using Velk::NM_PI;
using Velk::NMVector2f;
using Velk::NMVector3f;

namespace {

constexpr uint32_t MOST_COLUMNS = 4096;                // of the picture that mirrors show
constexpr uint32_t COLUMNS = 256, ROWS = 128;          // in which lamps are looked for
constexpr float PAPER = 1.15f;                         // the light of the brightest white paper
constexpr float OUTSHINES = 4.0f;                      // times the mean light: a lamp
constexpr float LAMP_COSINE = 0.94f;                   // of the largest lamp
constexpr float LEAST_LAMP = 0.05f;                    // of all light
constexpr float SOFTNESS = 0.05f;                      // sine of half the angle of the smallest lamp
constexpr float LEAST_SHARE = 0.02f;                   // of a direction of the sky
constexpr float ROUGH[] = {0.15f, 0.3f, 0.55f, 1.0f};  // of the levels

// The first waves of a function of directions (Ramamoorthi 2001).
void wavesOf(const NMVector3f& v, float (&fWaves)[9]) {
    const float f[9] = {0.282095f,
                        0.488603f * v.y,
                        0.488603f * v.z,
                        0.488603f * v.x,
                        1.092548f * v.x * v.y,
                        1.092548f * v.y * v.z,
                        0.315392f * (3.0f * v.z * v.z - 1.0f),
                        1.092548f * v.x * v.z,
                        0.546274f * (v.x * v.x - v.y * v.y)};
    std::copy(f, f + 9, fWaves);
}

}  // namespace

// Between the middles of pixels; columns go round.
NMVector3f SkyMap::Grid::at(float fAcross, float fDown) const {
    const float fX = fAcross * static_cast<float>(uWidth) - 0.5f, fY = fDown * static_cast<float>(uHeight) - 0.5f;
    const float fLeft = floorf(fX), fTop = floorf(fY), fRight = fX - fLeft, fBelow = fY - fTop;
    const int64_t iX = static_cast<int64_t>(fLeft), iY = static_cast<int64_t>(fTop), iWidth = uWidth;
    const auto pixel = [&](int64_t x, int64_t y) {
        const int64_t iColumn = ((x % iWidth) + iWidth) % iWidth;
        const int64_t iRow = std::clamp<int64_t>(y, 0, int64_t{uHeight} - 1);
        return vLight[static_cast<size_t>(iRow * iWidth + iColumn)];
    };
    return (pixel(iX, iY) * (1.0f - fRight) + pixel(iX + 1, iY) * fRight) * (1.0f - fBelow) +
           (pixel(iX, iY + 1) * (1.0f - fRight) + pixel(iX + 1, iY + 1) * fRight) * fBelow;
}

// Means of the pixels whose place falls into each of a coarser grid.
SkyMap::Grid SkyMap::Grid::reduced(uint32_t uMostWide, uint32_t uMostHigh) const {
    Grid grid;
    grid.uWidth = std::min(uWidth, uMostWide);
    grid.uHeight = std::min(uHeight, uMostHigh);
    grid.vLight.reserve(size_t{grid.uWidth} * grid.uHeight);
    const auto edge = [](uint32_t u, uint32_t uFrom, uint32_t uTo) {
        return static_cast<uint32_t>(uint64_t{u} * uFrom / uTo);
    };
    for (uint32_t y = 0; y < grid.uHeight; ++y) {
        const uint32_t uTop = edge(y, uHeight, grid.uHeight), uBottom = edge(y + 1, uHeight, grid.uHeight);
        for (uint32_t x = 0; x < grid.uWidth; ++x) {
            const uint32_t uLeft = edge(x, uWidth, grid.uWidth), uRight = edge(x + 1, uWidth, grid.uWidth);
            NMVector3f v3Sum{};
            for (uint32_t v = uTop; v < uBottom; ++v) {
                for (uint32_t u = uLeft; u < uRight; ++u) v3Sum = v3Sum + vLight[size_t{v} * uWidth + u];
            }
            grid.vLight.push_back(v3Sum / static_cast<float>((uRight - uLeft) * (uBottom - uTop)));
        }
    }
    return grid;
}

// At a place of the picture, from 0 to 1.
NMVector3f SkyMap::directionOf(double dAcross, double dDown) const {
    const double dRound = 2.0 * NM_PI * (dAcross - 0.5 + static_cast<double>(fTurned)), r = sin(NM_PI * dDown);
    return {static_cast<float>(r * sin(dRound)), static_cast<float>(cos(NM_PI * dDown)),
            static_cast<float>(r * cos(dRound))};
}

// The middle of a pixel.
NMVector3f SkyMap::directionOf(const Grid& grid, uint32_t x, uint32_t y) const {
    return directionOf((x + 0.5) / grid.uWidth, (y + 0.5) / grid.uHeight);
}

NMVector2f SkyMap::placeOf(const NMVector3f& v3Dir) const {
    if (!isFinite(v3Dir)) return {0, 0};  // as cameras may have that are no number
    const double y = std::clamp(static_cast<double>(v3Dir.y), -1.0, 1.0);
    const double dRound = atan2(static_cast<double>(v3Dir.x), static_cast<double>(v3Dir.z)) / (2.0 * NM_PI);
    return {static_cast<float>(dRound + 0.5) - fTurned, static_cast<float>(acos(y) / NM_PI)};
}

// The solid angle of a pixel of each row. A difference of cosines would make much of their last bits.
std::vector<float> SkyMap::anglesOf(const Grid& grid) const {
    std::vector<float> vAngles;
    for (uint32_t y = 0; y < grid.uHeight; ++y) {
        const double dHalf = 0.5 * NM_PI / grid.uHeight, dBetween = 2.0 * sin((2.0 * y + 1.0) * dHalf) * sin(dHalf);
        vAngles.push_back(static_cast<float>(2.0 * NM_PI / grid.uWidth * dBetween));
    }
    return vAngles;
}

// What is brighter outshines the rest: its mean, from which it is left out itself.
float SkyMap::thresholdOf(const Grid& sky) const {
    const std::vector<float> vAngles = anglesOf(sky);
    float fThreshold = HUGE_VALF;
    for (unsigned uTry = 0; uTry < 12; ++uTry) {
        float fSum = 0.0f;
        for (size_t u = 0; u < sky.vLight.size(); ++u) {
            fSum += std::min(luminance(sky.vLight[u]), fThreshold) * vAngles[u / sky.uWidth];
        }
        fThreshold = OUTSHINES * fSum * 0.25f * Velk::NM_1BYPI_F;
    }
    return fThreshold;
}

// Takes what outshines a threshold around the brightest place out of the sky, if that is much.
void SkyMap::takeLamp(Lamp& lamp, Grid& sky, float fThreshold) const {
    const std::vector<float> vAngles = anglesOf(sky);
    const Grid coarse = sky.reduced(COLUMNS / 4, ROWS / 4);
    size_t uBrightest = 0;
    for (size_t u = 0; u < coarse.vLight.size(); ++u) {
        if (luminance(coarse.vLight[u]) > luminance(coarse.vLight[uBrightest])) uBrightest = u;
    }
    const auto over = [&](size_t u) { return positive(luminance(sky.vLight[u]) - fThreshold); };
    NMVector3f v3Middle = directionOf(coarse, static_cast<uint32_t>(uBrightest % coarse.uWidth),
                                      static_cast<uint32_t>(uBrightest / coarse.uWidth));
    std::vector<float> vLight(sky.vLight.size());  // that the lamp has of each pixel
    std::vector<NMVector3f> vTo;
    for (size_t u = 0; u < vLight.size(); ++u) {
        vTo.push_back(directionOf(sky, static_cast<uint32_t>(u % sky.uWidth), static_cast<uint32_t>(u / sky.uWidth)));
    }
    float fAll = 0.0f, fSum = 0.0f;
    for (unsigned uTry = 0; uTry < 3; ++uTry) {
        NMVector3f v3Sum{};
        fAll = fSum = 0.0f;
        for (size_t u = 0; u < vLight.size(); ++u) {
            const float fAngle = vAngles[u / sky.uWidth];
            vLight[u] = dot(vTo[u], v3Middle) > LAMP_COSINE ? over(u) * fAngle : 0.0f;
            v3Sum = v3Sum + vTo[u] * vLight[u];
            fSum += vLight[u];
            fAll += luminance(sky.vLight[u]) * fAngle;
        }
        if (!(fSum > LEAST_LAMP * fAll) || !(dot(v3Sum, v3Sum) > 0.0f)) return;
        v3Middle = normalize(v3Sum);
    }
    lamp.v3To = v3Middle;
    float fCosines = 0.0f, fBefore = 0.0f;
    unsigned uDirections = 0;
    for (size_t u = 0; u < vLight.size(); ++u) {
        if (!(vLight[u] > 0.0f)) continue;
        const float fShare = over(u) / luminance(sky.vLight[u]);
        lamp.v3Irradiance = lamp.v3Irradiance + sky.vLight[u] * (fShare * vAngles[u / sky.uWidth] * Velk::NM_1BYPI_F);
        sky.vLight[u] = sky.vLight[u] * (1.0f - fShare);
        fCosines += dot(vTo[u], v3Middle) * vLight[u];
        fBefore += vLight[u];
        while (uDirections < LAMP_DIRECTIONS &&
               (static_cast<float>(uDirections) + 0.5f) * fSum <= fBefore * static_cast<float>(LAMP_DIRECTIONS)) {
            lamp.v3Directions[uDirections] =
                inDisc(vTo[u], static_cast<double>(SOFTNESS), uDirections, LAMP_DIRECTIONS);
            ++uDirections;
        }
    }
    for (; uDirections < LAMP_DIRECTIONS; ++uDirections) lamp.v3Directions[uDirections] = v3Middle;
    // A disc has this mean cosine.
    lamp.fEdge = std::clamp(2.0f * fCosines / fSum - 1.0f, 0.8f, 0.995f);
}

// Directions in the order of the golden angle, moved to where the light is: a quarter of them stays everywhere.
std::vector<SkyMap::Direction> SkyMap::spread(const Grid& sky, unsigned uCount) const {
    constexpr double EVERYWHERE = 0.25;
    const std::vector<float> vAngles = anglesOf(sky);
    const auto lightOf = [&](size_t u) {
        return static_cast<double>(luminance(sky.vLight[u]) * vAngles[u / sky.uWidth]);
    };
    double dAll = 0.0;
    for (size_t u = 0; u < sky.vLight.size(); ++u) dAll += lightOf(u);
    // Of all directions up to each pixel and up to each row; the share of light in a pixel.
    const auto shareOf = [&](size_t u) { return dAll > 0.0 ? lightOf(u) / dAll : 0.0; };
    const auto densityOf = [&](size_t u) {
        const double dEven = static_cast<double>(vAngles[u / sky.uWidth]) / (4.0 * NM_PI);
        return dAll > 0.0 ? (1.0 - EVERYWHERE) * shareOf(u) + EVERYWHERE * dEven : dEven;
    };
    std::vector<double> vRows(sky.uHeight, 0.0);
    double dSum = 0.0;
    for (size_t u = 0; u < sky.vLight.size(); ++u) vRows[u / sky.uWidth] += densityOf(u);
    for (const double d : vRows) dSum += d;
    std::vector<Direction> vDirections;
    // The first place at which a sum of steps reaches d, and how far it is in this step.
    const auto find = [](double d, uint32_t uSteps, const auto& step) {
        uint32_t u = 0;
        for (; u + 1 < uSteps && d > step(u); ++u) d -= step(u);
        return std::pair(u, step(u) > 0.0 ? std::clamp(d / step(u), 0.0, 1.0) : 0.5);
    };
    for (unsigned u = 0; u < uCount; ++u) {
        const double dTurns = GOLDEN_ANGLE / (2.0 * NM_PI) * u;
        const auto [y, dBelow] = find((u + 0.5) / uCount * dSum, sky.uHeight, [&](uint32_t i) { return vRows[i]; });
        const size_t uRow = size_t{y} * sky.uWidth;
        const auto [x, dRight] = find((dTurns - floor(dTurns)) * vRows[y], sky.uWidth,
                                      [&, uFirst = uRow](uint32_t i) { return densityOf(uFirst + i); });
        const double dShare = shareOf(uRow + x) / densityOf(uRow + x);
        vDirections.push_back({directionOf((x + dRight) / sky.uWidth, (y + dBelow) / sky.uHeight),
                               std::max(LEAST_SHARE, static_cast<float>(dShare))});
    }
    return vDirections;
}

void SkyMap::findIrradiance(const Grid& sky) {
    const std::vector<float> vAngles = anglesOf(sky);
    float fWaves[9];
    for (size_t u = 0; u < sky.vLight.size(); ++u) {
        wavesOf(directionOf(sky, static_cast<uint32_t>(u % sky.uWidth), static_cast<uint32_t>(u / sky.uWidth)), fWaves);
        for (unsigned i = 0; i < 9; ++i) {
            v3Waves[i] = v3Waves[i] + sky.vLight[u] * (fWaves[i] * vAngles[u / sky.uWidth]);
        }
    }
    // What a cosine leaves of each, divided by pi.
    for (unsigned i = 0; i < 9; ++i) v3Waves[i] = v3Waves[i] * (i == 0 ? 1.0f : i < 4 ? 2.0f / 3.0f : 0.25f);
}

// What a mirror of a roughness gathers (Trowbridge 1975).
SkyMap::Grid SkyMap::blurred(const Grid& sky, uint32_t uWidth, uint32_t uHeight, float fRough) const {
    Grid grid;
    grid.uWidth = uWidth;
    grid.uHeight = uHeight;
    const std::vector<float> vAngles = anglesOf(sky);
    std::vector<NMVector3f> vTo;
    for (uint32_t u = 0; u < sky.uWidth * sky.uHeight; ++u) {
        vTo.push_back(directionOf(sky, u % sky.uWidth, u / sky.uWidth));
    }
    const float fSquare = fRough * fRough * fRough * fRough;
    for (uint32_t i = 0; i < uWidth * uHeight; ++i) {
        const NMVector3f v3Dir = directionOf(grid, i % uWidth, i / uWidth);
        NMVector3f v3Sum{};
        float fSum = 0.0f;
        for (size_t u = 0; u < vTo.size(); ++u) {
            const float fCosine = dot(v3Dir, vTo[u]);
            if (!(fCosine > 0.0f)) continue;
            const float f = fSquare + (1.0f - std::min(fCosine, 1.0f)) / (1.0f + fCosine),
                        fWeight = fCosine * vAngles[u / sky.uWidth] / (f * f);
            v3Sum = v3Sum + sky.vLight[u] * fWeight;
            fSum += fWeight;
        }
        const NMVector2f v2 = placeOf(v3Dir);
        grid.vLight.push_back(fSum > 0.0f ? v3Sum / fSum : sky.at(v2.x, v2.y));  // a few pixels leave gaps
    }
    return grid;
}

// Of white paper that is turned in any way.
float SkyMap::brightestPaper() const {
    float fMost = 0.0f;
    const auto look = [&](const NMVector3f& v3Normal) {
        NMVector3f v3Sum = irradiance(v3Normal);
        for (const Lamp& lamp : lamps) v3Sum = v3Sum + lamp.v3Irradiance * positive(dot(v3Normal, lamp.v3To));
        fMost = std::max(fMost, luminance(v3Sum));
    };
    for (unsigned u = 0; u < FEW; ++u) look(inSphere(u, FEW));
    for (const Lamp& lamp : lamps) look(lamp.v3To);
    return fMost;
}

SkyMap::SkyMap(const float* pLight, uint32_t uWidth, uint32_t uHeight, float fTurn) : fTurned(fTurn / 360.0f) {
    whole.uWidth = uWidth;
    whole.uHeight = uHeight;
    float fMost = 0.0f;  // so that no sum is beyond all numbers
    for (size_t u = 0; u < size_t{3} * uWidth * uHeight; ++u) fMost = std::max(fMost, pLight[u]);
    if (!(fMost > 0.0f)) return;
    whole.vLight.reserve(size_t{uWidth} * uHeight);
    for (size_t u = 0; u < size_t{3} * uWidth * uHeight; u += 3) {
        whole.vLight.push_back(NMVector3f{pLight[u], pLight[u + 1], pLight[u + 2]} / fMost);
    }
    if (uWidth > MOST_COLUMNS || uHeight > MOST_COLUMNS) whole = whole.reduced(MOST_COLUMNS, MOST_COLUMNS);
    Grid& sky = levels[0];
    sky = whole.reduced(COLUMNS, ROWS);
    const float fThreshold = thresholdOf(sky);
    for (Lamp& lamp : lamps) takeLamp(lamp, sky, fThreshold);
    const Grid half = sky.reduced(COLUMNS / 2, ROWS / 2), small = sky.reduced(COLUMNS / 4, ROWS / 4);
    vFew = spread(half, FEW);
    vMany = spread(half, MANY);
    findIrradiance(half);
    const float fPaper = brightestPaper();
    if (!(fPaper > 0.0f)) return;
    levels[1] = blurred(small, 64, 32, ROUGH[1]);
    for (unsigned u = 2; u < LEVELS; ++u) levels[u] = blurred(small, 32, 16, ROUGH[u]);
    fScale = PAPER / fPaper;
    const auto scale = [this](NMVector3f& v3) { v3 = v3 * fScale; };
    std::for_each(whole.vLight.begin(), whole.vLight.end(), scale);
    for (Grid& level : levels) std::for_each(level.vLight.begin(), level.vLight.end(), scale);
    for (NMVector3f& v3 : v3Waves) scale(v3);
    for (Lamp& lamp : lamps) scale(lamp.v3Irradiance);
}

NMVector3f SkyMap::irradiance(const NMVector3f& v3Normal) const {
    float fWaves[9];
    wavesOf(v3Normal, fWaves);
    NMVector3f v3Sum{};
    for (unsigned i = 0; i < 9; ++i) v3Sum = v3Sum + v3Waves[i] * fWaves[i];
    return maximum(v3Sum, {0, 0, 0});
}

NMVector3f SkyMap::radiance(const NMVector3f& v3Dir) const {
    const NMVector2f v2 = placeOf(v3Dir);
    return whole.at(v2.x, v2.y);
}

NMVector3f SkyMap::gleam(const NMVector3f& v3Dir, float fRough) const {
    const NMVector2f v2 = placeOf(v3Dir);
    unsigned u = 0;
    while (u + 2 < LEVELS && fRough > ROUGH[u + 1]) ++u;
    const float f = std::clamp((fRough - ROUGH[u]) / (ROUGH[u + 1] - ROUGH[u]), 0.0f, 1.0f);
    return levels[u].at(v2.x, v2.y) * (1.0f - f) + levels[u + 1].at(v2.x, v2.y) * f;
}

}  // namespace rt
