#pragma once

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "RayFrame.h"

/// Seconds of all rays of a frame, queries only.
struct FrameTime {
    double dPrimary = 0.0;
    double dShadow = 0.0;

    double sum() const { return dPrimary + dShadow; }
};

/// A tracer's answers to the rays of a frame, and its best time for each tile over all runs.
template <typename Tracer>
struct Contestant {
    Tracer tracer;
    const RayFrame& frame;
    TileTimes times;
    FrameAnswers answers;

    Contestant(Tracer itsTracer, const RayFrame& itsFrame) : tracer(std::move(itsTracer)), frame(itsFrame) {
        times.reset(frame.vTiles.size());
    }
    void run() { traceFrame(frame, tracer, times, answers); }
    FrameTime time() const {
        return {std::accumulate(times.vPrimary.begin(), times.vPrimary.end(), 0.0),
                std::accumulate(times.vShadow.begin(), times.vShadow.end(), 0.0)};
    }
};

/// The value in the middle, 0 of none.
inline double median(std::vector<double> vValues) {
    std::sort(vValues.begin(), vValues.end());
    return vValues.empty() ? 0.0 : vValues[vValues.size() / 2];
}
