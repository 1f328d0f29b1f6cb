#pragma once

#include <memory>

#include "render/TilePool.h"
#include "rt-farm/page/FarmStatus.h"

namespace rt {

/// The page that shows a browser on this machine how far a farm is. It reads and changes nothing, on threads of its own
/// and with a limit to its connections: browsers that hang or flood it keep the page from others at the worst, never
/// the farm.
class FarmPage {
 public:
    /// Both must outlive the process's threads: they end with the process.
    FarmPage(const FarmStatusBoard& statusBoard, const TilePool& tilePool);
    ~FarmPage();
    FarmPage(const FarmPage&) = delete;
    FarmPage& operator=(const FarmPage&) = delete;

    /// Serves at a port of 127.0.0.1, any free one for -1. Returns it, 0 on failure.
    int start(int iPort);

 private:
    struct Inside;
    std::unique_ptr<Inside> pInside;
};

}  // namespace rt
