#pragma once

#include <memory>
#include <string>
#include <vector>

#include "net/AcceptLoop.h"
#include "net/ClientSlots.h"
#include "net/Sockets.h"
#include "net/TaskBoard.h"
#include "net/Wakeup.h"
#include "render/RayTracer.h"
#include "render/TilePool.h"
#include "rt-farm/FarmTable.h"
#include "rt-farm/FarmWatch.h"
#include "shared/ScenePlace.h"
#include "shared/page/StatusPage.h"
#include "shared/parts/PartFile.h"

namespace rt {

/// One run of rt-farm: hands out the tiles of a picture, and writes it.
class FarmJob {
 public:
    explicit FarmJob(const FarmSettings& wanted) : settings(wanted) {}
    FarmJob(const FarmJob&) = delete;
    FarmJob& operator=(const FarmJob&) = delete;

    /// Exit status of the program. This object must stay until the process ends: the page's threads may still see it.
    int run();

 private:
    bool readScene();
    bool preparePicture();
    bool listenForWorkers();
    std::string settingsKey() const;
    void takeUpPart(const PartFile& part);
    bool startPage();
    int serve(const PartFile& part);
    int finish(const PartFile& part, bool bStopped);

    const FarmSettings settings;
    RayTracer rayTracer;  // of the scene only description and camera
    ScenePlace place;
    std::vector<std::string> vSceneFiles;
    Wakeup wakeup;
    SocketServer listener;
    TilePool pool;
    TaskBoard board;
    ClientSlots slots;  // ends before the pixels that its threads write to
    std::unique_ptr<FarmWatch> pWatch;
    std::unique_ptr<StatusPage> pPage;
};

/// Reads "10.1.0.0/16", or an address alone. True when it is neither.
[[nodiscard]] bool readRange(const std::string& sText, AddressRange& range);

}  // namespace rt
