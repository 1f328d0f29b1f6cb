#pragma once

#include <condition_variable>
#include <mutex>

#include "render/Frame.h"
#include "render/PreparedScene.h"
#include "render/TilePool.h"
#include "render/shading/RaytracerParameters.h"

namespace rt {

/// Renders pictures of a prepared scene with a thread per core.
class RenderCrew {
 public:
    enum class Result { DONE, STOPPED, FAILED };

    /// Scene and settings must outlive it, and may not change while it renders.
    RenderCrew(const PreparedScene& preparedScene, const RaytracerParameters& shadingSettings, unsigned uWorkers,
               unsigned uSamplesAcross)
        : scene(preparedScene), settings(shadingSettings), uJobs(uWorkers), uSamples(uSamplesAcross) {}
    RenderCrew(const RenderCrew&) = delete;
    RenderCrew& operator=(const RenderCrew&) = delete;

    /// Completes the pool's picture, which the frame sees. STOPPED soon after a signal that StopSignals keeps; FAILED,
    /// which is reported, when there is no memory or no thread. What is done stays in the pool. szName is for the
    /// progress line.
    Result render(const Frame& frame, TilePool& pool, const char* szName);

 private:
    void work(const Frame& large, TilePool& pool);

    const PreparedScene& scene;
    const RaytracerParameters& settings;
    const unsigned uJobs;
    const unsigned uSamples;
    std::mutex mutex;  // of what follows
    std::condition_variable workerEnded;
    unsigned uRunning = 0;
};

}  // namespace rt
