// Connections to the page: how many, how long, and how much they may say.
#include "shared/page/PageServer.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace rt {

namespace {

constexpr unsigned THREADS = 8;
constexpr size_t MOST_WAITING = 16;              // connections that are accepted and not yet served
constexpr size_t LONGEST_REQUEST = 32 * 1024;    // bytes; browsers send cookies of other pages of this machine
constexpr size_t LONGEST_BODY = 1024;            // bytes; nobody needs any
constexpr std::chrono::seconds PAUSE{2};         // that a browser may keep its thread waiting
constexpr std::chrono::seconds REQUEST_TIME{5};  // in all, from the first byte to the last
constexpr std::chrono::seconds ANSWER_TIME{30};  // the same, the answer included

// Threads for connections. When enough of these wait, the next ones stay with the system, which costs no descriptor.
class LimitedPool : public httplib::TaskQueue {
 public:
    LimitedPool() {
        try {
            for (unsigned u = 0; u < THREADS; ++u) vThreads.emplace_back([this] { work(); });
        } catch (const std::system_error&) {  // fewer threads serve, too, and without any the page waits
        }
    }
    LimitedPool(const LimitedPool&) = delete;
    LimitedPool& operator=(const LimitedPool&) = delete;

    void enqueue(std::function<void()> pfnServe) override {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [this] { return vWaiting.size() < MOST_WAITING || bEnd; });
        vWaiting.push_back(std::move(pfnServe));
        changed.notify_all();
    }

    void shutdown() override {
        {
            const std::lock_guard<std::mutex> lock(mutex);
            bEnd = true;
        }
        changed.notify_all();
        for (std::thread& thread : vThreads) thread.join();
    }

 private:
    void work() {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return !vWaiting.empty() || bEnd; });
            if (vWaiting.empty()) return;
            const std::function<void()> pfnServe = std::move(vWaiting.front());
            vWaiting.pop_front();
            changed.notify_all();
            lock.unlock();
            pfnServe();
            lock.lock();
        }
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::list<std::function<void()>> vWaiting;
    std::vector<std::thread> vThreads;
    bool bEnd = false;
};

// A connection that ends when it has had its bytes or its time: the library counts neither.
class LimitedStream : public httplib::Stream {
 public:
    explicit LimitedStream(int i) : iSocket(i) {}

    bool is_readable() const override { return uNext < uHeld || waitFor(POLLIN, REQUEST_TIME); }
    bool is_writable() const override { return waitFor(POLLOUT, ANSWER_TIME); }

    ssize_t read(char* pTo, size_t uMost) override {
        if (uNext == uHeld) {
            const size_t uRoom = std::min(held.size(), LONGEST_REQUEST - uReceived);
            if (!uRoom || !waitFor(POLLIN, REQUEST_TIME)) return -1;
            const ssize_t iBytes = recv(iSocket, held.data(), uRoom, MSG_DONTWAIT);
            if (iBytes <= 0) return iBytes;
            uNext = 0;
            uHeld = static_cast<size_t>(iBytes);
            uReceived += uHeld;
        }
        const size_t uBytes = std::min(uMost, uHeld - uNext);
        std::copy_n(held.data() + uNext, uBytes, pTo);
        uNext += uBytes;
        return static_cast<ssize_t>(uBytes);
    }

    ssize_t write(const char* pFrom, size_t uBytes) override {
        return waitFor(POLLOUT, ANSWER_TIME) ? send(iSocket, pFrom, uBytes, MSG_NOSIGNAL | MSG_DONTWAIT) : -1;
    }

    // Nobody asks.
    void get_remote_ip_and_port(std::string&, int&) const override {}
    void get_local_ip_and_port(std::string&, int&) const override {}
    socket_t socket() const override { return iSocket; }

 private:
    using Clock = std::chrono::steady_clock;

    // False when it takes too long.
    bool waitFor(short iEvent, Clock::duration limit) const {
        const auto left = std::min<Clock::duration>(PAUSE, tStart + limit - Clock::now());
        const int iLeft = static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(left).count());
        pollfd file{iSocket, iEvent, 0};
        return iLeft > 0 && poll(&file, 1, iLeft) == 1;
    }

    const int iSocket;
    const Clock::time_point tStart = Clock::now();
    std::array<char, 4096> held{};  // received, and not yet read from uNext on
    size_t uNext = 0, uHeld = 0, uReceived = 0;
};

}  // namespace

PageServer::PageServer() {
    new_task_queue = [] { return new LimitedPool; };
    set_payload_max_length(LONGEST_BODY);
}

// Ranges of the answer are left out: one may be asked for thousands of times, and nobody needs them here.
bool PageServer::process_and_close_socket(socket_t iSocket) {
    bool bServed = false;
    try {
        LimitedStream stream(iSocket);
        bool bClosed = false;
        bServed = process_request(stream, true, bClosed, [](httplib::Request& request) { request.ranges.clear(); });
    } catch (const std::exception&) {  // no memory for a request
    }
    shutdown(iSocket, SHUT_RDWR);
    close(iSocket);
    return bServed;
}

}  // namespace rt
