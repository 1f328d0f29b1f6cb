#pragma once

#include <cstdint>
#include <memory>

#include "render/TilePool.h"
#include "shared/page/PictureStatus.h"

namespace rt {

/// The page that shows a browser on this machine how far a picture is. It reads and changes nothing, on threads of its
/// own and with a limit to its connections: browsers that hang or flood it keep the page from others at the worst,
/// never the program.
class StatusPage {
 public:
    /// Shows what the board has. Both must stay until the process ends: a connection that hangs may still see them, so
    /// a program with a page ends by _exit().
    explicit StatusPage(const StatusBoard& statusBoard);
    ~StatusPage();
    StatusPage(const StatusPage&) = delete;
    StatusPage& operator=(const StatusPage&) = delete;

    /// Serves at this port of 127.0.0.1, and says so. True when it cannot, which is an error if the user asked for the
    /// page.
    [[nodiscard]] bool start(const char* szProgram, uint32_t uPort, bool bAsked);

    /// The picture to show, as Preview::watch() takes it.
    void watch(const TilePool* pPool);

 private:
    struct Inside;
    std::unique_ptr<Inside> pInside;
};

}  // namespace rt
