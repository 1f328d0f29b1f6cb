// Percent, rays a second and time left.
#include "shared/ProgressLine.h"

#include <cmath>
#include <cstdio>

#include "shared/Console.h"

namespace rt {

namespace {

constexpr std::chrono::milliseconds SHORTEST_INTERVAL{190};

}  // namespace

std::string timeText(double dSeconds) {
    const long lSeconds = lround(dSeconds);
    char sz[64];
    if (lSeconds >= 3600) {
        snprintf(sz, sizeof(sz), "%ld:%02ld:%02ld", lSeconds / 3600, lSeconds / 60 % 60, lSeconds % 60);
    } else {
        snprintf(sz, sizeof(sz), "%ld:%02ld", lSeconds / 60, lSeconds % 60);
    }
    return sz;
}

ProgressLine::ProgressLine(const char* szName, const TilePool& tilePool, unsigned uSamples)
    : sName(szName),
      pool(tilePool),
      dRaysPerTile(double(uSamples) * uSamples * pool.width() * pool.height() / pool.tileCount()),
      uDoneBefore(pool.countDone()) {
    Console::status("%s: 0 %%", szName);
}

ProgressLine::~ProgressLine() {
    Console::clearStatus();
}

void ProgressLine::update() {
    const Clock::time_point tNow = Clock::now();
    if (!Console::showsStatus() || tNow - tShown < SHORTEST_INTERVAL) return;
    tShown = tNow;
    const uint32_t uDone = pool.countDone(), uTiles = pool.tileCount();
    if (uDone == uDoneBefore) return;
    const double dSeconds = std::chrono::duration<double>(tNow - tStart).count();
    const double dTilesPerSecond = (uDone - uDoneBefore) / dSeconds;
    Console::status("%s: %u %%, %.2f million camera rays a second, %s left", sName.c_str(),
                    static_cast<unsigned>(uint64_t{100} * uDone / uTiles), dTilesPerSecond * dRaysPerTile / 1e6,
                    timeText((uTiles - uDone) / dTilesPerSecond).c_str());
}

}  // namespace rt
