#pragma once

#include <httplib.h>

namespace rt {

/// The library's server with a limit to everything that a browser can ask for: connections, bytes and time. Whoever
/// wants more loses its connection.
class PageServer : public httplib::Server {
 public:
    PageServer();

 private:
    bool process_and_close_socket(socket_t iSocket) override;
};

}  // namespace rt
