#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "net/Wakeup.h"
#include "render/RayTracer.h"

namespace rt {

/// Loads and prepares the scene that the renderer's settings name. Logs its files' hashes, which vFiles gets too, a
/// line each. True on failure, which is logged.
[[nodiscard]] bool loadNamedScene(RayTracer& rayTracer, std::vector<std::string>& vFiles);

/// One scene for all clients of one process that work for the same server, each on a thread and a connection of its
/// own. The client that gets the settings first loads it while the others wait; then nobody changes it any more.
class SharedScene {
 public:
    using Load = bool (*)(RayTracer& rayTracer, std::vector<std::string>& vFiles);

    /// The clients stop after the tile in hand when the wakeup is asked to stop. It must outlive this object. The
    /// function loads the scene.
    explicit SharedScene(const Wakeup& stopped, Load pfnSceneLoad = loadNamedScene)
        : wakeup(stopped), pfnLoad(pfnSceneLoad) {}
    SharedScene(const SharedScene&) = delete;
    SharedScene& operator=(const SharedScene&) = delete;

    RayTracer rayTracer;                     // constant for a client whose take() succeeded
    std::vector<std::string> vFiles;         // of the scene that was loaded last, likewise
    std::atomic<uint32_t> uDelivered{0};     // tiles of all clients
    std::atomic<uint32_t> uPreparations{0};  // how often a scene was loaded

    /// Has the scene of these settings ready. True when it cannot be loaded, or when another client got other settings.
    [[nodiscard]] bool take(const RaytracerParameters& settings);

    /// Notes why a client gives up; the first reason stays.
    void fail(const std::string& sReason);

    /// Empty while no client gave up.
    std::string failure() const;

    bool isStopRequested() const { return wakeup.isStopRequested(); }

 private:
    enum class State { EMPTY, READY, BROKEN };

    const Wakeup& wakeup;
    const Load pfnLoad;
    std::mutex loading;
    State eState = State::EMPTY;   // this and the next: guarded by the mutex above
    RaytracerParameters received;  // as they came; loading completes the renderer's own
    mutable std::mutex failing;
    std::string sFailure;  // guarded by the mutex above
};

}  // namespace rt
