#pragma once

#include <poll.h>

#include <cstdint>

/// Connections that were accepted but are not served: they stay open until their peers close them or this object ends.
class ParkedClients {
 public:
    static constexpr uint32_t MAX_PARKED = 256;  // far below the usual limit of 1024 open files

    ParkedClients() = default;
    ~ParkedClients();
    ParkedClients(const ParkedClients&) = delete;
    ParkedClients& operator=(const ParkedClients&) = delete;

    /// Takes over a connection. When there are too many the oldest is closed.
    void add(int iSocket);

    /// Closes those whose peers have closed.
    void dropClosed();

    uint32_t count() const { return uCount; }

 private:
    void drop(uint32_t u);

    pollfd vParked[MAX_PARKED];  // the oldest first
    uint32_t uCount = 0;
};
