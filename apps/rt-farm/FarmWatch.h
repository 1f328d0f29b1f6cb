#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "net/AcceptLoop.h"
#include "net/ClientSlots.h"
#include "net/TaskBoard.h"
#include "render/TilePool.h"
#include "shared/Pace.h"
#include "shared/page/PictureStatus.h"

namespace rt {

/// A thread that looks at a farm a few times a second: for the line on the terminal, and for whoever asks how far it
/// is. Those who ask wait for nothing but a copy.
class FarmWatch {
 public:
    /// What is watched must outlive this object. sHelp: what to do while nobody works. vSceneFiles: their hashes.
    FarmWatch(const PictureStatus& status, const std::string& sHelp, const std::vector<std::string>& vSceneFiles,
              const TaskBoard& tasks, const ClientSlots& clients, const AcceptLoop& acceptLoop, TilePool& tilePool);
    ~FarmWatch();
    FarmWatch(const FarmWatch&) = delete;
    FarmWatch& operator=(const FarmWatch&) = delete;

    const StatusBoard& status() const { return latest; }

    /// Ends the thread, after which the pool knows of every tile that is done.
    void stop();

 private:
    using Clock = Pace::Clock;

    void run();
    void look();
    void show() const;

    const std::string sHelpText;
    const std::vector<std::string> vFiles;
    const TaskBoard& board;
    const ClientSlots& slots;
    const AcceptLoop& loop;
    TilePool& pool;  // learns which tiles are done
    Pace pace;
    const Clock::time_point tStart = Clock::now();
    std::vector<uint32_t> vDone;  // in the order of their coming
    PictureStatus current;        // the thread's own
    bool bRefusalSaid = false;
    StatusBoard latest;
    std::atomic<bool> bStop{false};
    std::thread thread;
};

}  // namespace rt
