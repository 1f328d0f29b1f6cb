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
      pace(pool.countDone()) {
    pace.start(tShown);
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
    pace.add(tNow, uDone);
    const std::optional<double> dPace = pace.tilesPerSecond();
    if (!dPace) return;
    Console::status("%s: %u %%, %.2f million camera rays a second, %s left", sName.c_str(),
                    static_cast<unsigned>(uint64_t{100} * uDone / uTiles), *dPace * dRaysPerTile / 1e6,
                    timeText((uTiles - uDone) / *dPace).c_str());
}

}  // namespace rt
