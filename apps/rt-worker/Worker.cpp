// All cores of a machine for one server: connecting, the threads, and what is said of them.
#include "rt-worker/Worker.h"

#include <algorithm>
#include <chrono>
#include <system_error>
#include <thread>

#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/ScenePlace.h"
#include "shared/StopSignals.h"
#include "shared/StopWakeup.h"

namespace rt {

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned FIRST_PAUSE = 10;            // milliseconds: a server that is started together with its workers
constexpr unsigned FIRST_STAY_PAUSE = 1000;     // one that was there and has ended
constexpr unsigned LONGEST_PAUSE = 1000;        // for somebody who waits
constexpr unsigned LONGEST_STAY_PAUSE = 60000;  // for a machine that is always ready
constexpr std::chrono::seconds REPORT_INTERVAL{60};
constexpr std::chrono::milliseconds REFRESH_INTERVAL{200};  // of the status line

double secondsSince(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

// The scene that the server names lies here, or else where scenes are installed.
bool loadScene(RayTracer& rayTracer, std::vector<std::string>& vFiles) {
    ScenePlace place;
    if (place.findDescription(rayTracer.parameters.szDescFile)) return loadNamedScene(rayTracer, vFiles);
    return place.visit([&](const char*) { return loadNamedScene(rayTracer, vFiles); });
}

}  // namespace

int Worker::run() {
    if (wakeup.init()) {
        Console::error("rt-worker: no pipe for signals");
        return STATUS_FAILED;
    }
    const StopWakeup signals(wakeup);
    const unsigned uLeast = settings.bStay ? FIRST_STAY_PAUSE : FIRST_PAUSE;
    uPause = uLeast;
    bool bFailed = false;
    while (std::unique_ptr<Member> pFirst = connect()) {
        bFailed = serve(std::move(pFirst));
        if (!settings.bStay || wakeup.isStopRequested()) break;
        // A server for which this machine cannot work is asked less and less often.
        uPause = bFailed ? std::min(2 * uPause, LONGEST_STAY_PAUSE) : uLeast;
        wakeup.waitFor(static_cast<int>(uPause));
    }
    Console::clearStatus();
    if (const int iSignal = StopSignals::which()) return STATUS_SIGNAL + iSignal;
    return bFailed ? STATUS_FAILED : STATUS_DONE;
}

// What is being delivered when a stop is requested still arrives.
void Worker::prepareSocket(SocketClient& socket) const {
    socket.iStopFile = wakeup.file();
    socket.bFinishSend = true;
}

// Tries until there is a server. Null when a stop was requested first.
std::unique_ptr<Worker::Member> Worker::connect() {
    const char* szHost = settings.sHost.c_str();
    auto pMember = std::make_unique<Member>();
    prepareSocket(pMember->socket);
    Clock::time_point tSaid{};
    while (!wakeup.isStopRequested()) {
        if (!pMember->socket.initClient(szHost, static_cast<uint16_t>(settings.uPort))) return pMember;
        const char* szWhy = pMember->socket.sFailure.c_str();
        if (settings.bStay || tSaid == Clock::time_point{} || Clock::now() - tSaid > REPORT_INTERVAL) {
            Console::warning("rt-worker: no server at %s:%u yet: %s", szHost, settings.uPort, szWhy);
            tSaid = Clock::now();
        }
        Console::status("rt-worker: waiting for a server at %s:%u", szHost, settings.uPort);
        wakeup.waitFor(static_cast<int>(uPause));
        uPause = std::min(2 * uPause, settings.bStay ? LONGEST_STAY_PAUSE : LONGEST_PAUSE);
    }
    return nullptr;
}

// Works for the server until it has nothing more to do. True on failure, which is reported.
bool Worker::serve(std::unique_ptr<Member> pFirst) {
    const Clock::time_point tStart = Clock::now();
    SharedScene shared(wakeup, loadScene);
    shared.rayTracer.queries.uThreads = settings.uJobs;
    shared.rayTracer.queries.kdTree.sCacheFile.clear();  // this directory may be nobody's to write to
    std::vector<std::unique_ptr<Member>> vMembers;
    vMembers.push_back(std::move(pFirst));
    while (vMembers.size() < settings.uJobs) {
        vMembers.push_back(std::make_unique<Member>());
        prepareSocket(vMembers.back()->socket);
    }
    std::vector<std::thread> vThreads;
    vThreads.reserve(vMembers.size());
    uRunning = settings.uJobs;
    try {
        for (const auto& pMember : vMembers) {
            const bool bConnected = vThreads.empty();
            vThreads.emplace_back([&, bConnected, p = pMember.get()] { work(*p, shared, bConnected); });
        }
    } catch (const std::system_error&) {
        Console::warning("rt-worker: %zu of %u threads", vThreads.size(), settings.uJobs);
        const std::lock_guard<std::mutex> lock(mutex);
        uRunning -= settings.uJobs - static_cast<unsigned>(vThreads.size());
    }
    watch(shared);
    for (std::thread& thread : vThreads) thread.join();
    Console::clearStatus();
    return vThreads.empty() || report(shared, vMembers, secondsSince(tStart));
}

// A thread's whole life.
void Worker::work(Member& member, SharedScene& shared, bool bConnected) {
    try {
        if (bConnected || !member.socket.initClient(settings.sHost.c_str(), static_cast<uint16_t>(settings.uPort))) {
            member.client.init(member.socket, shared);  // a request that is lost is noticed by the first read
            member.client.run();
        }
    } catch (const std::bad_alloc&) {
        shared.fail("not enough memory for a thread");
        member.socket.release();
    }
    const std::lock_guard<std::mutex> lock(mutex);
    --uRunning;
    memberEnded.notify_one();
}

// Shows how far the threads are until all have ended.
void Worker::watch(const SharedScene& shared) {
    const Clock::time_point tStart = Clock::now();
    std::unique_lock<std::mutex> lock(mutex);
    while (uRunning) {
        memberEnded.wait_for(lock, REFRESH_INTERVAL);
        const uint32_t uTiles = shared.uDelivered;
        Console::status("rt-worker: %u tiles for %s:%u, %.1f a second, %u threads%s", uTiles, settings.sHost.c_str(),
                        settings.uPort, uTiles / secondsSince(tStart), uRunning,
                        wakeup.isStopRequested() ? ", leaving after the tiles in hand" : "");
    }
}

// Says how it went. True when it went wrong.
bool Worker::report(const SharedScene& shared, const std::vector<std::unique_ptr<Member>>& vMembers,
                    double dSeconds) const {
    unsigned uServed = 0, uSentHome = 0;
    for (const auto& pMember : vMembers) {
        uServed += pMember->client.bSceneReady;
        uSentHome += pMember->client.bSentHome;
    }
    const std::string sFailure = shared.failure();
    const bool bLost = !uSentHome && !wakeup.isStopRequested();
    const auto say = sFailure.empty() ? Console::detail : Console::error;
    for (const std::string& sLine : shared.vFiles) say("Scene file %s", sLine.c_str());
    if (!sFailure.empty()) {
        Console::error("rt-worker: %s:%u: %s", settings.sHost.c_str(), settings.uPort, sFailure.c_str());
    } else if (bLost) {
        Console::error(
            "rt-worker: %s:%u: %s", settings.sHost.c_str(), settings.uPort,
            uServed ? "the server went away" : "nothing to do: the farm has ended, or does not let this machine in");
    }
    Console::note("rt-worker: %u tiles for %s:%u in %.2f s, %u threads", shared.uDelivered.load(),
                  settings.sHost.c_str(), settings.uPort, dSeconds, uServed);
    return !sFailure.empty() || bLost;
}

}  // namespace rt
