// A rate over a window of time.
#include "shared/Pace.h"

namespace rt {

namespace {

constexpr std::chrono::minutes WINDOW{2};
constexpr std::chrono::seconds INTERVAL{1};  // between samples

}  // namespace

void Pace::add(Clock::time_point tNow, uint32_t uDone) {
    if (vSamples.empty() && uDone == uBefore) return;
    if (vSamples.empty()) start(tNow);
    latest = {tNow, uDone};
    if (tNow - vSamples.back().t >= INTERVAL) vSamples.push_back(latest);
    // The oldest one left is where the window begins.
    while (vSamples.size() > 1 && tNow - vSamples[1].t >= WINDOW) vSamples.pop_front();
}

std::optional<double> Pace::tilesPerSecond() const {
    if (vSamples.empty()) return std::nullopt;
    const Sample& first = vSamples.front();
    const double dSeconds = std::chrono::duration<double>(latest.t - first.t).count();
    if (latest.uDone == first.uDone || !(dSeconds > 0)) return std::nullopt;
    return (latest.uDone - first.uDone) / dSeconds;
}

std::optional<double> Pace::secondsFor(uint32_t uTiles) const {
    const std::optional<double> dPace = tilesPerSecond();
    if (!dPace) return std::nullopt;
    return uTiles / *dPace;
}

}  // namespace rt
