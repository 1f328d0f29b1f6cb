#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "net/Client.h"
#include "net/SharedScene.h"
#include "net/Sockets.h"
#include "net/Wakeup.h"
#include "rt-worker/WorkerTable.h"

namespace rt {

/// One run of rt-worker: connects to a server, renders for it in several threads that share one scene, and with --stay
/// waits for the next.
class Worker {
 public:
    explicit Worker(const WorkerSettings& wanted) : settings(wanted) {}
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /// Exit status of the program.
    int run();

 private:
    /// A thread's connection and its end of the exchange.
    struct Member {
        SocketClient socket;
        RSIClient client;
    };

    std::unique_ptr<Member> connect();
    bool serve(std::unique_ptr<Member> pFirst);
    void work(Member& member, SharedScene& shared, bool bConnected);
    void watch(const SharedScene& shared);
    bool report(const SharedScene& shared, const std::vector<std::unique_ptr<Member>>& vMembers, double dSeconds) const;
    void prepareSocket(SocketClient& socket) const;

    const WorkerSettings settings;
    Wakeup wakeup;
    unsigned uPause = 0;  // milliseconds before the next attempt to connect
    std::mutex mutex;     // of what follows
    std::condition_variable memberEnded;
    unsigned uRunning = 0;
};

}  // namespace rt
