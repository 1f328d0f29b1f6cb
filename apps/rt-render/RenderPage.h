#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "render/TilePool.h"
#include "shared/Pace.h"
#include "shared/page/StatusPage.h"

namespace rt {

/// What rt-render shows a browser, if the user wants that: one picture after the other. For the main thread.
class RenderPage {
 public:
    /// Begins to serve at a port, or does nothing from now on for 0. True when it cannot, which is reported.
    [[nodiscard]] bool start(uint32_t uPort);

    /// Shows how far the picture is now.
    void look();

    /// A picture is shown as long as this object is there. The pool must stay as long.
    class Shown {
     public:
        Shown(RenderPage& renderPage, const TilePool& pool, const std::string& sScene, const std::string& sPicture,
              size_t uNumber, size_t uOf);
        ~Shown();
        Shown(const Shown&) = delete;
        Shown& operator=(const Shown&) = delete;

     private:
        RenderPage& page;
    };

 private:
    using Clock = Pace::Clock;

    StatusBoard board;
    std::unique_ptr<StatusPage> pPage;  // null: none
    PictureStatus current;
    const TilePool* pPool = nullptr;
    Pace pace;
    Clock::time_point tStart{};
};

}  // namespace rt
