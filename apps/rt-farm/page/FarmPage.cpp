// The page's own little server.
#include "rt-farm/page/FarmPage.h"

#include <httplib.h>

#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "rt-farm/page/PageText.h"
#include "rt-farm/page/Preview.h"
#include "rt-farm/page/StatusText.h"

namespace rt {

namespace {

constexpr unsigned THREADS = 8;
constexpr size_t MOST_WAITING = 16;    // connections that are accepted and not yet served
constexpr time_t IO_SECONDS = 2;       // that a browser may keep its thread waiting for more bytes
constexpr size_t LONGEST_BODY = 1024;  // bytes; nobody needs any

// Threads for connections. When enough of these wait, the next ones stay with the system, which costs no descriptor.
class LimitedPool : public httplib::TaskQueue {
 public:
    LimitedPool() {
        for (unsigned u = 0; u < THREADS; ++u) vThreads.emplace_back([this] { work(); });
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

// A page of another site that got its name to mean this machine may not read what is here.
bool isOwnName(const std::string& sHost) {
    const std::string sName = sHost.substr(0, sHost.rfind(':'));
    return sHost.empty() || sName == "127.0.0.1" || sName == "localhost";
}

}  // namespace

struct FarmPage::Inside {
    const FarmStatusBoard& board;
    Preview preview;
    httplib::Server server;
    std::thread thread;

    Inside(const FarmStatusBoard& statusBoard, const TilePool& pool) : board(statusBoard), preview(pool) {}

    void route() {
        using httplib::Request;
        using httplib::Response;
        server.new_task_queue = [] { return new LimitedPool; };
        server.set_read_timeout(IO_SECONDS);
        server.set_write_timeout(IO_SECONDS);
        server.set_keep_alive_max_count(1);
        server.set_payload_max_length(LONGEST_BODY);
        server.set_default_headers(
            {{"Cache-Control", "no-store"},
             {"X-Content-Type-Options", "nosniff"},
             {"Content-Security-Policy",
              "default-src 'none'; img-src 'self'; connect-src 'self'; script-src 'unsafe-inline'; "
              "style-src 'unsafe-inline'; frame-ancestors 'none'"}});
        server.set_pre_routing_handler([](const Request& request, Response& response) {
            if (isOwnName(request.get_header_value("Host"))) return httplib::Server::HandlerResponse::Unhandled;
            response.status = 403;
            return httplib::Server::HandlerResponse::Handled;
        });
        server.Get("/", [](const Request&, Response& response) {
            response.set_content(PAGE_TEXT, sizeof(PAGE_TEXT) - 1, "text/html; charset=utf-8");
        });
        server.Get("/status.json", [this](const Request&, Response& response) {
            response.set_content(statusJson(board.get()), "application/json");
        });
        server.Get("/metrics", [this](const Request&, Response& response) {
            response.set_content(statusMetrics(board.get()), "text/plain; version=0.0.4");
        });
        server.Get("/picture.png", [this](const Request&, Response& response) {
            uint32_t uTiles = 0;
            response.set_content(preview.png(uTiles), "image/png");
            response.set_header("X-Tiles-Done", std::to_string(uTiles));
        });
    }
};

FarmPage::FarmPage(const FarmStatusBoard& statusBoard, const TilePool& tilePool)
    : pInside(std::make_unique<Inside>(statusBoard, tilePool)) {}

// Waits for its connections; a program with some that hang ends without it.
FarmPage::~FarmPage() {
    pInside->server.stop();
    if (pInside->thread.joinable()) pInside->thread.join();
}

int FarmPage::start(int iPort) {
    pInside->route();
    httplib::Server& server = pInside->server;
    // Without the library's SO_REUSEPORT: a second farm must not share the port of the first.
    server.set_socket_options([](socket_t iSocket) {
        const int iOn = 1;
        setsockopt(iSocket, SOL_SOCKET, SO_REUSEADDR, &iOn, sizeof(iOn));
    });
    const int iBound = iPort < 0                                 ? server.bind_to_any_port("127.0.0.1")
                       : server.bind_to_port("127.0.0.1", iPort) ? iPort
                                                                 : 0;
    if (iBound <= 0) return 0;
    pInside->thread = std::thread([&server] { server.listen_after_bind(); });
    return iBound;
}

}  // namespace rt
