// The page's own little server.
#include "shared/page/StatusPage.h"

#include <sys/socket.h>

#include <string>
#include <system_error>
#include <thread>

#include "shared/Console.h"
#include "shared/page/PageServer.h"
#include "shared/page/PageText.h"
#include "shared/page/Preview.h"
#include "shared/page/StatusText.h"

namespace rt {

namespace {

// A page of another site that got its name to mean this machine may not read what is here.
bool isOwnName(const std::string& sHost) {
    const std::string sName = sHost.substr(0, sHost.rfind(':'));
    return sHost.empty() || sName == "127.0.0.1" || sName == "localhost";
}

}  // namespace

struct StatusPage::Inside {
    const StatusBoard& board;
    Preview preview;
    PageServer server;
    std::thread thread;

    explicit Inside(const StatusBoard& statusBoard) : board(statusBoard) {}

    void route() {
        using httplib::Request;
        using httplib::Response;
        server.set_default_headers(
            {{"Cache-Control", "no-store"},
             {"X-Content-Type-Options", "nosniff"},
             {"Content-Security-Policy",
              "default-src 'none'; img-src blob:; connect-src 'self'; script-src 'unsafe-inline'; "
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
            const std::string sPng = preview.png(uTiles);
            if (sPng.empty()) response.status = 404;  // no picture yet
            response.set_content(sPng, "image/png");
            response.set_header("X-Tiles-Done", std::to_string(uTiles));
        });
    }
};

StatusPage::StatusPage(const StatusBoard& statusBoard) : pInside(std::make_unique<Inside>(statusBoard)) {}

// Waits for its connections; a program with some that hang ends without it.
StatusPage::~StatusPage() {
    pInside->server.stop();
    if (pInside->thread.joinable()) pInside->thread.join();
}

bool StatusPage::start(const char* szProgram, uint32_t uPort, bool bAsked) {
    pInside->route();
    httplib::Server& server = pInside->server;
    // Without the library's SO_REUSEPORT: a second program must not share the port of the first.
    server.set_socket_options([](socket_t iSocket) {
        const int iOn = 1;
        setsockopt(iSocket, SOL_SOCKET, SO_REUSEADDR, &iOn, sizeof(iOn));
    });
    if (!server.bind_to_port("127.0.0.1", static_cast<int>(uPort))) {
        (bAsked ? Console::error : Console::warning)("%s: --page %u: the port is taken: no page", szProgram, uPort);
        return true;
    }
    try {
        pInside->thread = std::thread([&server] { server.listen_after_bind(); });
    } catch (const std::system_error& error) {
        (bAsked ? Console::error : Console::warning)("%s: --page %u: %s: no page", szProgram, uPort, error.what());
        return true;
    }
    Console::note("%s: http://127.0.0.1:%u/ shows how far it is", szProgram, uPort);
    return false;
}

void StatusPage::watch(const TilePool* pPool) {
    pInside->preview.watch(pPool);
}

}  // namespace rt
