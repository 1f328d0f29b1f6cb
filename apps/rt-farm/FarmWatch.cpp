// Looks at a farm from outside, so that nobody who wants to know holds it up.
#include "rt-farm/FarmWatch.h"

#include "shared/Console.h"
#include "shared/ProgressLine.h"

namespace rt {

namespace {

constexpr std::chrono::milliseconds INTERVAL{200};

double secondsBetween(std::chrono::steady_clock::time_point t0, std::chrono::steady_clock::time_point t1) {
    return std::chrono::duration<double>(t1 - t0).count();
}

}  // namespace

FarmWatch::FarmWatch(const FarmStatus& status, const std::string& sHelp, const std::vector<std::string>& vSceneFiles,
                     const TaskBoard& tasks, const ClientSlots& clients, const AcceptLoop& acceptLoop,
                     TilePool& tilePool)
    : sHelpText(sHelp),
      vFiles(vSceneFiles),
      board(tasks),
      slots(clients),
      loop(acceptLoop),
      pool(tilePool),
      uDoneBefore(tasks.doneTasks()),
      current(status) {
    look();
    thread = std::thread([this] { run(); });
}

FarmWatch::~FarmWatch() {
    stop();
}

void FarmWatch::stop() {
    bStop = true;
    if (thread.joinable()) thread.join();
    Console::clearStatus();
}

void FarmWatch::run() {
    while (!bStop) {
        std::this_thread::sleep_for(INTERVAL);
        look();
        show();
    }
    look();
}

// What is done is told to the pool before anybody can read its number.
void FarmWatch::look() {
    const size_t uKnown = vDone.size();
    board.addDoneTasks(static_cast<uint32_t>(uKnown), vDone);
    for (size_t u = uKnown; u < vDone.size(); ++u) pool.finish(vDone[u]);
    const Clock::time_point tNow = Clock::now();
    const uint32_t uDone = static_cast<uint32_t>(vDone.size());
    FarmStatus& now = current;
    if (tFirstTile == Clock::time_point{} && uDone > uDoneBefore) tFirstTile = tNow;
    const double dWorking = tFirstTile == Clock::time_point{} ? 0 : secondsBetween(tFirstTile, tNow);
    now.uTiles = pool.tileCount();
    now.uDone = uDone;
    now.uUntaken = board.untakenTasks();
    now.uParked = loop.uParked;
    now.dSeconds = secondsBetween(tStart, tNow);
    if (dWorking > 0) now.dSecondsLeft = (now.uTiles - uDone) * dWorking / (uDone - uDoneBefore);
    now.vClients = slots.clients();
    std::string sRefuser;
    const uint32_t uRefusals = slots.refusals(sRefuser);
    if (uRefusals && !now.uRefusals) {
        Console::warning("%s gives its tiles back: are its scene files these?", sRefuser.c_str());
        for (const std::string& sLine : vFiles) Console::warning("Scene file %s", sLine.c_str());
    }
    now.uRefusals = uRefusals;
    latest.set(now);
}

void FarmWatch::show() const {
    if (!Console::showsStatus()) return;
    const FarmStatus& now = current;
    if (now.vClients.empty() && !now.uParked) {
        Console::status("%s: %u %%, %s", now.sPicture.c_str(), now.percent(), sHelpText.c_str());
        return;
    }
    Console::status("%s: %u %%, %zu connections at work, %s left", now.sPicture.c_str(), now.percent(),
                    now.vClients.size(), now.dSecondsLeft ? timeText(*now.dSecondsLeft).c_str() : "unknown time");
}

}  // namespace rt
