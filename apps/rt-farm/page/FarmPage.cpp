// The page's own little server.
#include "rt-farm/page/FarmPage.h"

#include <sys/socket.h>

#include <string>
#include <thread>

#include "rt-farm/page/PageServer.h"
#include "rt-farm/page/PageText.h"
#include "rt-farm/page/Preview.h"
#include "rt-farm/page/StatusText.h"

namespace rt {

namespace {

// A page of another site that got its name to mean this machine may not read what is here.
bool isOwnName(const std::string& sHost) {
    const std::string sName = sHost.substr(0, sHost.rfind(':'));
    return sHost.empty() || sName == "127.0.0.1" || sName == "localhost";
}

}  // namespace

struct FarmPage::Inside {
    const FarmStatusBoard& board;
    Preview preview;
    PageServer server;
    std::thread thread;

    Inside(const FarmStatusBoard& statusBoard, const TilePool& pool) : board(statusBoard), preview(pool) {}

    void route() {
        using httplib::Request;
        using httplib::Response;
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
