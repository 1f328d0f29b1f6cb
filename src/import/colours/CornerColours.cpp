// What the corners of a model's triangles have beside their positions.

#include "import/colours/CornerColours.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace rt {

using Velk::NMVector2f;

namespace {

constexpr uint32_t WHITE = 0xFFFFFFFFu;

template <typename T>
void addCorners(std::vector<T>& v, size_t uTriangle, const T (&corners)[3], const T& none) {
    v.resize(3 * uTriangle, none);
    v.insert(v.end(), corners, corners + 3);
}

}  // namespace

NMVector2f TextureMap::place(double u, double v) const {
    const auto at = [u, v](const double(&dRow)[3]) {
        const float f = static_cast<float>(dRow[0] * u + dRow[1] * v + dRow[2]);
        return std::isfinite(f) ? f : 0.0f;
    };
    return {at(dRows[0]), at(dRows[1])};
}

void CornerColours::addPlaces(size_t uTriangle, const NMVector2f (&v2Corners)[3]) {
    addCorners(vPlaces, uTriangle, v2Corners, {0, 0});
}

void CornerColours::addColours(size_t uTriangle, const uint32_t (&uCorners)[3]) {
    addCorners(vCorners, uTriangle, uCorners, WHITE);
}

void CornerColours::finish(size_t uTriangles, SurfaceColours& colours) {
    if (!vPlaces.empty()) vPlaces.resize(3 * uTriangles, {0, 0});
    if (!vCorners.empty()) vCorners.resize(3 * uTriangles, WHITE);
    colours.vPlaces = std::exchange(vPlaces, {});
    colours.vCorners = std::exchange(vCorners, {});
}

double share(double d) {
    return std::isfinite(d) ? std::clamp(d, 0.0, 1.0) : 0.0;
}

double toScreen(double d) {
    return d <= 0.0031308 ? 12.92 * d : 1.055 * pow(d, 1.0 / 2.4) - 0.055;
}

float toLight(double dShown) {
    return static_cast<float>(dShown <= 0.04045 ? dShown / 12.92 : pow((dShown + 0.055) / 1.055, 2.4));
}

uint32_t cornerColour(double dRed, double dGreen, double dBlue, double dAlpha, bool bLinear) {
    const auto byte = [](double d) { return static_cast<uint32_t>(std::lround(255.0 * d)); };
    const auto shown = [&](double d) { return byte(bLinear ? toScreen(share(d)) : share(d)); };
    return shown(dRed) | shown(dGreen) << 8 | shown(dBlue) << 16 | byte(share(dAlpha)) << 24;
}

}  // namespace rt
