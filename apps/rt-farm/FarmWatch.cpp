// Looks at a farm from outside, so that nobody who wants to know holds it up.
#include "rt-farm/FarmWatch.h"

#include "shared/Console.h"
#include "shared/ProgressLine.h"

namespace rt {

namespace {

constexpr std::chrono::milliseconds INTERVAL{200};

}  // namespace

FarmWatch::FarmWatch(const PictureStatus& status, const std::string& sHelp, const std::vector<std::string>& vSceneFiles,
                     const TaskBoard& tasks, const ClientSlots& clients, const AcceptLoop& acceptLoop,
                     TilePool& tilePool)
    : sHelpText(sHelp),
      vFiles(vSceneFiles),
      board(tasks),
      slots(clients),
      loop(acceptLoop),
      pool(tilePool),
      pace(tasks.doneTasks()),
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
    PictureStatus& now = current;
    FarmStatus& farm = now.farm.emplace();
    now.uTiles = pool.tileCount();
    now.uDone = static_cast<uint32_t>(vDone.size());
    now.dSeconds = std::chrono::duration<double>(tNow - tStart).count();
    pace.add(tNow, now.uDone);
    now.dSecondsLeft = pace.secondsFor(now.uTiles - now.uDone);
    farm.uUntaken = board.untakenTasks();
    farm.uParked = loop.uParked;
    farm.vClients = slots.clients();
    std::string sRefuser;
    farm.uRefusals = slots.refusals(sRefuser);
    if (farm.uRefusals && !bRefusalSaid) {
        bRefusalSaid = true;
        Console::warning("%s gives its tiles back: are its scene files these?", sRefuser.c_str());
        for (const std::string& sLine : vFiles) Console::warning("Scene file %s", sLine.c_str());
    }
    latest.set(now);
}

void FarmWatch::show() const {
    if (!Console::showsStatus()) return;
    const PictureStatus& now = current;
    if (now.farm->vClients.empty() && !now.farm->uParked) {
        Console::status("%s: %u %%, %s", now.sPicture.c_str(), now.percent(), sHelpText.c_str());
        return;
    }
    Console::status("%s: %u %%, %zu connections at work, %s left", now.sPicture.c_str(), now.percent(),
                    now.farm->vClients.size(), now.dSecondsLeft ? timeText(*now.dSecondsLeft).c_str() : "unknown time");
}

}  // namespace rt
