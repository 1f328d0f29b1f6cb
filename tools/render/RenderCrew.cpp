// The worker processes: starting them, what they do, and what happens when one dies.
#include "tools/render/RenderCrew.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "tools/render/Console.h"
#include "tools/render/ProgressLine.h"
#include "tools/render/SampleTile.h"

namespace {

constexpr unsigned HOPELESS_DEATHS = 12;         // workers that died one after the other without a tile done
constexpr long REFRESH_INTERVAL = 200'000'000L;  // nanoseconds between two looks at the progress

}  // namespace

RenderCrew::RenderCrew(RayTracer& renderer, unsigned uWorkers, unsigned uSamplesAcross)
    : rayTracer(renderer), uJobs(uWorkers), uSamples(uSamplesAcross) {
    sigemptyset(&signals);
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&signals, iSignal);
    // A child's end must be seen even if the parent of this process ignored its children's.
    signal(SIGCHLD, SIG_DFL);
    sigprocmask(SIG_BLOCK, &signals, &oldSignals);
}

RenderCrew::~RenderCrew() {
    stopAll();
    // Pictures that are there stay there: a signal that came while the last one was written changes nothing any more.
    if (!iStopSignal) {
        for (const int iSignal : {SIGINT, SIGTERM, SIGHUP}) signal(iSignal, SIG_IGN);
    }
    sigprocmask(SIG_SETMASK, &oldSignals, nullptr);
}

void RenderCrew::restoreSignals() {
    sigset_t all;
    sigemptyset(&all);
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP}) {
        signal(iSignal, SIG_DFL);
        sigaddset(&all, iSignal);
    }
    sigprocmask(SIG_UNBLOCK, &all, nullptr);
}

RenderCrew::Result RenderCrew::render(TilePool& pool, const char* szName) {
    ProgressLine progress(szName, pool, uSamples);
    uDeaths = 0;
    // Tiles of dead workers come last: they are given out again when all others are done.
    for (uint32_t uDone; (uDone = pool.countDone()) < pool.tileCount();) {
        pool.rewind();
        if (start(pool, std::min(uJobs, pool.tileCount() - uDone))) return Result::FAILED;
        while (!vWorkers.empty()) {
            const timespec wait{0, REFRESH_INTERVAL};
            const int iSignal = sigtimedwait(&signals, nullptr, &wait);
            if (iSignal > 0 && iSignal != SIGCHLD) {
                iStopSignal = iSignal;
                stopAll();
                return Result::STOPPED;
            }
            reap(pool);
            if (isHopeless(pool)) return Result::FAILED;
            progress.update();
        }
    }
    return Result::DONE;
}

// Starts workers. True when there is none in the end, which is reported.
bool RenderCrew::start(TilePool& pool, unsigned uCount) {
    fflush(nullptr);
    const pid_t iParent = getpid();
    for (; uCount; --uCount) {
        const uint32_t uNumber = ++uLastNumber;
        const pid_t iProcess = fork();
        if (iProcess == 0) work(pool, uNumber, iParent);
        if (iProcess == -1) {
            Console::warning("%u of %u workers are missing: %s", uCount, uJobs, strerror(errno));
            break;
        }
        vWorkers.push_back({iProcess, uNumber});
    }
    if (vWorkers.empty()) Console::error("rt-render: no worker process could be started");
    return vWorkers.empty();
}

// A worker's whole life. Ctrl-C is the parent's business; a worker ends with its parent.
void RenderCrew::work(TilePool& pool, uint32_t uNumber, pid_t iParent) {
    signal(SIGINT, SIG_IGN);
    signal(SIGTERM, SIG_DFL);
    signal(SIGHUP, SIG_DFL);
    sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != iParent) _exit(1);
    try {
        SampleTile sampler(rayTracer, uSamples);
        for (uint32_t u; (u = pool.claim(uNumber)) != TilePool::NONE;) {
            const Tile tile = pool.tile(u);
            sampler.render(tile, pool.pixelsOf(tile), pool.stride());
            pool.finish(u);
        }
    } catch (const std::bad_alloc&) {
        _exit(1);  // what the parent has on the stack is not this process's to end
    }
    _exit(0);
}

// Takes note of every worker that has ended.
void RenderCrew::reap(TilePool& pool) {
    const std::vector<Worker> vBefore = vWorkers;
    for (const Worker& worker : vBefore) {
        int iStatus = 0;
        if (waitpid(worker.iProcess, &iStatus, WNOHANG) != worker.iProcess) continue;
        vWorkers.erase(std::find_if(vWorkers.begin(), vWorkers.end(),
                                    [&](const Worker& other) { return other.uNumber == worker.uNumber; }));
        if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0) bury(pool, worker, iStatus);
    }
}

// Gives the tile of a dead worker back, and puts another worker in its place.
void RenderCrew::bury(TilePool& pool, const Worker& worker, int iStatus) {
    const char* szReason = WIFSIGNALED(iStatus) ? strsignal(WTERMSIG(iStatus)) : "it gave up";
    const bool bHeld = pool.releaseTileOf(worker.uNumber);
    Console::warning("worker %ld died (%s); %s", static_cast<long>(worker.iProcess), szReason,
                     bHeld ? "its tile is rendered again" : "no tile is lost");
    const uint32_t uDone = pool.countDone();
    uDeaths = uDone == uDoneAtDeath ? uDeaths + 1 : 1;
    uDoneAtDeath = uDone;
    if (uDone < pool.tileCount()) static_cast<void>(start(pool, 1));
}

bool RenderCrew::isHopeless(const TilePool& pool) {
    if (uDeaths < HOPELESS_DEATHS + uJobs) return false;
    Console::error("rt-render: %u workers died without a tile done, %u of %u tiles are there", uDeaths,
                   pool.countDone(), pool.tileCount());
    stopAll();
    return true;
}

void RenderCrew::stopAll() {
    for (const Worker& worker : vWorkers) kill(worker.iProcess, SIGKILL);
    for (const Worker& worker : vWorkers) {
        while (waitpid(worker.iProcess, nullptr, 0) == -1 && errno == EINTR) continue;
    }
    vWorkers.clear();
}
