#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "render/TilePool.h"
#include "shared/Pace.h"

namespace rt {

/// A time for people: "0:07", "12:40", "3:05:00".
std::string timeText(double dSeconds);

/// The line that shows how far a picture is, on a terminal.
class ProgressLine {
 public:
    /// uSamples squared rays make a pixel.
    ProgressLine(const char* szName, const TilePool& tilePool, unsigned uSamples);
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Shows the line anew, a few times a second at most.
    void update();

 private:
    using Clock = Pace::Clock;

    const std::string sName;
    const TilePool& pool;
    const double dRaysPerTile;
    Pace pace;
    Clock::time_point tShown = Clock::now();
};

}  // namespace rt
