// The curves between light and screens.
#include "render/studio/Tone.h"

#include <array>
#include <cmath>

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr unsigned STEPS = 4096;   // of light in the table
constexpr float SHOULDER = 0.75f;  // light from here to infinity gets the rest of the range

// From light to the screen's 255 levels. The power is taken in double and rounded once, so that the last bit of a C
// library's function does not show.
const std::array<float, STEPS + 2>& screenTable() {
    static const std::array<float, STEPS + 2> table = [] {
        std::array<float, STEPS + 2> t{};
        for (unsigned u = 0; u < t.size(); ++u) {
            const double d = static_cast<double>(u) / STEPS;
            const double dScreen = d <= 0.0031308 ? 12.92 * d : 1.055 * pow(d, 1.0 / 2.4) - 0.055;
            t[u] = static_cast<float>(255.0 * dScreen);
        }
        return t;
    }();
    return table;
}

float screenOf(float fLight) {
    if (!(fLight < HUGE_VALF)) return 255.0f;
    float f = fLight > 0.0f ? fLight : 0.0f;
    if (f > SHOULDER) {
        const float fOver = (f - SHOULDER) / (1.0f - SHOULDER);
        f = SHOULDER + (1.0f - SHOULDER) * fOver / (1.0f + fOver);
    }
    const float fAt = f * static_cast<float>(STEPS);
    const unsigned u = static_cast<unsigned>(fAt);
    const float fRest = fAt - static_cast<float>(u);
    return screenTable()[u] + (screenTable()[u + 1] - screenTable()[u]) * fRest;
}

}  // namespace

float lightOf(float fScreen) {
    const double d = static_cast<double>(fScreen);
    return static_cast<float>(d <= 0.04045 ? d / 12.92 : pow((d + 0.055) / 1.055, 2.4));
}

NMVector3f lightOf(const NMVector3f& v3Screen) {
    return {lightOf(v3Screen.x), lightOf(v3Screen.y), lightOf(v3Screen.z)};
}

NMVector3f screenOf(const NMVector3f& v3Light) {
    return {screenOf(v3Light.x), screenOf(v3Light.y), screenOf(v3Light.z)};
}

uint8_t byteOf(float fScreen) {
    const float f = fScreen < 255.0f ? fScreen : 255.0f;
    return static_cast<uint8_t>(lroundf(f > 0.0f ? f : 0.0f));
}

}  // namespace rt
