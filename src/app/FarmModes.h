#pragma once

#include "net/Sockets.h"

// Server and client mode of the program.

extern SocketServer g_server;  // listening socket of server mode
extern SocketClient g_client;  // connection of client mode

/// Server mode: hands the tiles of g_rt's image out to clients and writes the picture once all are done. Failures are
/// logged.
void runServer();

/// Client mode: connects to the server, however long that takes, and renders for it until it has no more tiles.
void runClient();
