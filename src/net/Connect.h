#pragma once

#include <chrono>
#include <cstdint>

#include "net/Sockets.h"
#include "net/Wakeup.h"

/// How a client looks for its server.
struct ConnectTimes {
    int iLongestPause = 1000;                         // milliseconds between two attempts; the first follow faster
    std::chrono::milliseconds reportInterval{60000};  // between two reports of what was tried in vain
};

/// Connects, however long that takes. Every attempt in vain is logged, and once an interval address, reason and number
/// of attempts. True when the stop was requested before.
[[nodiscard]] bool connectInTheEnd(SocketClient& client, const char* szHost, uint16_t uPort, const Wakeup& wakeup,
                                   const ConnectTimes& times = {});
