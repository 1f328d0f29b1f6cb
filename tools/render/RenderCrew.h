#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

#include "render/RayTracer.h"
#include "tools/render/TilePool.h"

/// Renders a picture with one forked process per core: all share the prepared scene, which nobody writes to any more,
/// and the picture. A worker that dies is replaced, and its tile is rendered again.
class RenderCrew {
 public:
    enum class Result { DONE, STOPPED, FAILED };

    /// Takes over SIGINT, SIGTERM and SIGHUP, which wait from now on until render() looks at them.
    RenderCrew(RayTracer& renderer, unsigned uWorkers, unsigned uSamplesAcross);
    ~RenderCrew();
    RenderCrew(const RenderCrew&) = delete;
    RenderCrew& operator=(const RenderCrew&) = delete;

    /// Completes the picture. Requires a prepared scene, whose image is uSamples times as wide and high as the pool's
    /// picture. STOPPED after a signal; FAILED, which is reported, when no worker can be had or they keep dying. What
    /// is done stays in the pool then. szName is for the progress line.
    Result render(TilePool& pool, const char* szName);

    /// The signal that stopped it.
    int stopSignal() const { return iStopSignal; }

    /// From now on a further signal ends the process at once.
    static void restoreSignals();

 private:
    struct Worker {
        pid_t iProcess;
        uint32_t uNumber;
    };

    bool start(TilePool& pool, unsigned uCount);
    [[noreturn]] void work(TilePool& pool, uint32_t uNumber, pid_t iParent);
    void reap(TilePool& pool);
    void bury(TilePool& pool, const Worker& worker, int iStatus);
    bool isHopeless(const TilePool& pool);
    void stopAll();

    RayTracer& rayTracer;
    const unsigned uJobs;
    const unsigned uSamples;
    sigset_t signals{};     // blocked while this object lives
    sigset_t oldSignals{};  // what was blocked before
    std::vector<Worker> vWorkers;
    uint32_t uLastNumber = 0;
    unsigned uDeaths = 0;  // since a tile was done
    uint32_t uDoneAtDeath = 0;
    int iStopSignal = 0;
};
