#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <vector>

#include "base/Vectors.h"

namespace rt {
class RayTracer;
}

/// Seconds of processor time that this thread has used, so that what else the machine does counts little.
inline double readClock() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

/// One query. The direction is a unit vector.
struct Ray {
    Velk::NMVector3f v3Origin;
    Velk::NMVector3f v3Dir;
    float fMaxDist;
};

/// The rays of a square of pixels: one primary ray a pixel, row by row, and for each light one shadow ray from every
/// hit that faces it, in the order of the pixels.
struct RayTile {
    std::vector<Ray> vPrimary;
    std::vector<std::vector<Ray>> vShadow;
};

/// All rays of one image, those that the renderer would cast without reflection and refraction.
struct RayFrame {
    std::vector<RayTile> vTiles;
    size_t uPrimary = 0;
    size_t uShadow = 0;
};

/// What a tracer answered to the rays of a frame, in their order.
struct FrameAnswers {
    static constexpr float MISS = -1.0f;

    std::vector<float> vDistance;   // of a primary ray's hit, MISS without one
    std::vector<uint8_t> vBlocked;  // 1 for a shadow ray that meets something

    bool operator==(const FrameAnswers& other) const {
        return vDistance == other.vDistance && vBlocked == other.vBlocked;
    }
};

/// Seconds that each tile took in its best run: what else the machine does can only add time, and tiles are short
/// enough to find it idle once.
struct TileTimes {
    std::vector<double> vPrimary, vShadow;

    void reset(size_t uTiles) {
        vPrimary.assign(uTiles, std::numeric_limits<double>::infinity());
        vShadow.assign(uTiles, std::numeric_limits<double>::infinity());
    }
};

/// Makes the rays of a preprocessed scene; its own tree finds the hits from which the shadow rays start.
RayFrame makeRayFrame(rt::RayTracer& rt);

/// True when two distances of one ray mean the same hit, or both a miss: rivals compute them by other formulas.
bool isSameDistance(float a, float b);

/// Number of rays to which two tracers gave different answers.
size_t countDifferences(const FrameAnswers& a, const FrameAnswers& b);

/// Number of rays, among every uStep-th, that a search over all faces answers differently.
size_t countDifferencesFromBruteForce(const rt::RayTracer& rt, const RayFrame& frame, const FrameAnswers& answers,
                                      size_t uStep);

/// Sends a frame through a tracer, tile by tile, a tile's primary rays first and then its shadow rays to one light
/// after the other. Only findNearest() and findObstacles() are timed: a tracer copies rays into records of its own in
/// prepareNearest() or prepareObstacles(), and hands out answers by distance() and isBlocked(), while the clock stands.
/// Requires times that were reset() for this frame.
template <typename Tracer>
void traceFrame(const RayFrame& frame, Tracer& tracer, TileTimes& times, FrameAnswers& answers) {
    answers.vDistance.clear();
    answers.vBlocked.clear();
    for (size_t uTile = 0; uTile < frame.vTiles.size(); ++uTile) {
        const RayTile& tile = frame.vTiles[uTile];
        tracer.prepareNearest(tile.vPrimary);
        const double dStart = readClock();
        tracer.findNearest();
        times.vPrimary[uTile] = std::min(times.vPrimary[uTile], readClock() - dStart);
        for (size_t i = 0; i < tile.vPrimary.size(); ++i) answers.vDistance.push_back(tracer.distance(i));
        double dShadow = 0.0;
        for (const std::vector<Ray>& vShadow : tile.vShadow) {
            if (vShadow.empty()) continue;
            tracer.prepareObstacles(vShadow);
            const double dStartShadow = readClock();
            tracer.findObstacles();
            dShadow += readClock() - dStartShadow;
            for (size_t i = 0; i < vShadow.size(); ++i) answers.vBlocked.push_back(tracer.isBlocked(i));
        }
        times.vShadow[uTile] = std::min(times.vShadow[uTile], dShadow);
    }
}
