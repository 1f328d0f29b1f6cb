#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "render/RayTracer.h"
#include "render/TilePool.h"
#include "render/studio/StudioRenderer.h"
#include "rt-render/cameras/Shots.h"
#include "rt-render/remote/HelperProcess.h"

namespace rt {

/// Renders pictures by the workers of a Dask scheduler. A program of Python, python/raytracer/_on.py, gives tiles to
/// them and brings them back.
class RemoteCrew {
 public:
    /// Starts it; it connects while this program goes on. True on failure, which is reported.
    [[nodiscard]] bool start(const std::string& sScheduler, bool bVerbose);

    /// Hands it the loaded scene, which is not prepared yet. studio: as for a RenderCrew; uSamplesGiven: 0 when the
    /// user gave none.
    void begin(const RayTracer& rayTracer, const std::optional<StudioSettings>& studio, unsigned uSamplesGiven);

    /// Waits until the scheduler has answered. True when there is none, which is reported, or when a signal came.
    [[nodiscard]] bool connect();

    /// Completes the pool's picture, which is of a shot. Workers meanwhile begin those after it, in tiles of the same
    /// edge. True on failure, which is reported, and soon after a signal that StopSignals keeps. What is done stays in
    /// the pool. pfnLook is called now and then.
    [[nodiscard]] bool render(const Shots& shots, size_t uShot, uint32_t uEdge, TilePool& pool, const char* szName,
                              const std::function<void()>& pfnLook);

 private:
    using Message = std::vector<uint8_t>;

    bool sendStart(const RayTracer& rayTracer, const StudioSettings& settings, bool bStudio, unsigned uSamples);
    bool sendScene(const RayTracer& rayTracer, uint32_t uGround);
    bool announce(const Shots& shots, size_t uShot, uint32_t uEdge, const TilePool& pool);
    bool sendShot(const Shots& shots, size_t uShot, uint32_t uEdge, const TilePool* pPool);
    bool hear(int iMilliseconds, std::string& sKind, Message& message);
    static bool store(const Message& message, TilePool& pool);

    HelperProcess helper;
    std::string sAddress;
    unsigned uRays = 1;     // along each side of a pixel
    size_t uAnnounced = 0;  // shots
    bool bConnected = false;
    bool bLast = false;                               // all are
    std::map<size_t, std::vector<Message>> vWaiting;  // tiles of shots whose turn has not come
};

}  // namespace rt
