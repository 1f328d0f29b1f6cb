#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <optional>

namespace rt {

/// How fast tiles get done: by the last two minutes, since what was before says little of a farm whose workers come and
/// go, or of a picture whose lower half is the hard one.
class Pace {
 public:
    using Clock = std::chrono::steady_clock;

    /// uDoneBefore: tiles that were done before anything was rendered here.
    explicit Pace(uint32_t uDoneBefore = 0) : uBefore(uDoneBefore) {}

    /// Where it counts from. Without it from the first tile on: the time before that is nobody's pace.
    void start(Clock::time_point tNow) { vSamples.push_back({tNow, uBefore}); }

    /// Learns how many tiles are done now.
    void add(Clock::time_point tNow, uint32_t uDone);

    /// Tiles a second; none before the first tiles and when none came for two minutes.
    std::optional<double> tilesPerSecond() const;

    /// Seconds for so many more tiles.
    std::optional<double> secondsFor(uint32_t uTiles) const;

 private:
    struct Sample {
        Clock::time_point t;
        uint32_t uDone;
    };

    uint32_t uBefore;
    std::deque<Sample> vSamples;  // one a second at most
    Sample latest{};
};

}  // namespace rt
