#pragma once

#include "net/Sockets.h"

namespace rt {

// Server and client mode of the program.

extern SocketServer g_server;  // listening socket of server mode
extern SocketClient g_client;  // connection of client mode

/// Server mode: hands out the tiles of g_rt's image to clients and writes the picture when all are done. A signal ends
/// it early; the tiles that are done are then written to a file of their own. Failures are logged.
void runServer();

/// Client mode: tries to connect until it succeeds, and renders for the server until it has no more tiles. Failures are
/// logged.
void runClient();

}  // namespace rt
