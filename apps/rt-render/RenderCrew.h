#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

#include "render/Frame.h"
#include "render/PreparedScene.h"
#include "render/TilePool.h"
#include "render/shading/RaytracerParameters.h"
#include "render/studio/StudioRenderer.h"

namespace rt {

/// Renders pictures of a prepared scene with a thread per core.
class RenderCrew {
 public:
    enum class Result { DONE, STOPPED, FAILED };

    /// Scene and settings must outlive it, and may not change while it renders. studioSettings: the light of a studio
    /// in place of the scene's.
    RenderCrew(const PreparedScene& preparedScene, const RaytracerParameters& shadingSettings,
               const std::optional<StudioSettings>& studioSettings, unsigned uWorkers, unsigned uSamplesAcross)
        : scene(preparedScene),
          settings(shadingSettings),
          studio(studioSettings),
          textures(preparedScene.scene, preparedScene.colours),
          uJobs(uWorkers),
          uSamples(uSamplesAcross) {}
    RenderCrew(const RenderCrew&) = delete;
    RenderCrew& operator=(const RenderCrew&) = delete;

    /// Completes the pool's picture, which the frame sees. STOPPED soon after a signal that StopSignals keeps; FAILED,
    /// which is reported, when there is no memory or no thread. What is done stays in the pool. szName is for the
    /// progress line; pfnLook is called now and then, by the caller's thread.
    Result render(const Frame& frame, TilePool& pool, const char* szName, const std::function<void()>& pfnLook);

    /// What surfaces have of textures and holes, null where the light is not a studio's, which does not show them.
    const SurfaceTextures* surfaceTextures() const { return studio ? &textures : nullptr; }

 private:
    void work(const Frame& large, TilePool& pool);

    const PreparedScene& scene;
    const RaytracerParameters& settings;
    const std::optional<StudioSettings> studio;
    const SurfaceTextures textures;
    const unsigned uJobs;
    const unsigned uSamples;
    std::mutex mutex;  // of what follows
    std::condition_variable workerEnded;
    unsigned uRunning = 0;
};

}  // namespace rt
