// How far rt-render is, for a browser.
#include "rt-render/RenderPage.h"

namespace rt {

bool RenderPage::start(uint32_t uPort) {
    if (!uPort) return false;
    tStart = Clock::now();
    current.sProgram = "rt-render";
    board.set(current);
    pPage = std::make_unique<StatusPage>(board);
    return pPage->start("rt-render", uPort, true);
}

void RenderPage::look() {
    if (!pPage || !pPool) return;
    const Clock::time_point tNow = Clock::now();
    current.uDone = pPool->countDone();
    current.dSeconds = std::chrono::duration<double>(tNow - tStart).count();
    pace.add(tNow, current.uDone);
    current.dSecondsLeft = pace.secondsFor(current.uTiles - current.uDone);
    board.set(current);
}

RenderPage::Shown::Shown(RenderPage& renderPage, const TilePool& pool, const std::string& sScene,
                         const std::string& sPicture, size_t uNumber, size_t uOf)
    : page(renderPage) {
    if (!page.pPage) return;
    PictureStatus& now = page.current;
    now.sScene = sScene;
    now.sPicture = sPicture;
    now.uNumber = uNumber;
    now.uOf = uOf;
    now.uWidth = pool.width();
    now.uHeight = pool.height();
    now.uTiles = pool.tileCount();
    page.pPool = &pool;
    page.pace = Pace(pool.countDone());
    page.pace.start(Clock::now());
    page.pPage->watch(&pool);
    page.look();
}

RenderPage::Shown::~Shown() {
    if (!page.pPage) return;
    page.look();
    page.pPage->watch(nullptr);
    page.pPool = nullptr;
}

}  // namespace rt
