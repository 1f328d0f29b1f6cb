#pragma once

#include <chrono>
#include <cstdint>

#include "net/Sockets.h"
#include "net/Wakeup.h"

namespace rt {

/// The timing of a client's attempts to reach its server.
struct ConnectTimes {
    int iLongestPause = 1000;                         // milliseconds between two attempts; shorter at first
    std::chrono::milliseconds reportInterval{60000};  // between two summaries of the failed attempts
};

/// Tries to connect until it succeeds. Every failed attempt is logged, and once an interval the address, the reason and
/// the number of attempts. True when a stop was requested first.
[[nodiscard]] bool connectWithRetries(SocketClient& client, const char* szHost, uint16_t uPort, const Wakeup& wakeup,
                                      const ConnectTimes& times = {});

}  // namespace rt
