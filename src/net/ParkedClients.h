#pragma once

#include <netinet/in.h>
#include <poll.h>

#include <cstdint>

/// Connections that were accepted but are not served yet: they stay open until they are taken out, their peers close
/// them, or this object ends.
class ParkedClients {
 public:
    static constexpr uint32_t MAX_PARKED = 256;  // far below the usual limit of 1024 open files

    ParkedClients() = default;
    ~ParkedClients();
    ParkedClients(const ParkedClients&) = delete;
    ParkedClients& operator=(const ParkedClients&) = delete;

    /// Takes over a connection. When there are too many the oldest is closed, which is logged the first time.
    void add(int iSocket, const sockaddr_in& address);

    /// Closes those whose peers have closed.
    void dropClosed();

    /// Closes the oldest. Requires one.
    void dropOldest();

    /// The oldest, and its peer. Requires one.
    int oldest() const { return vParked[0].fd; }
    const sockaddr_in& oldestAddress() const { return vAddresses[0]; }

    /// Hands the oldest connection over to the caller, who closes it. Requires one.
    void forgetOldest() { remove(0); }

    uint32_t count() const { return uCount; }

 private:
    void remove(uint32_t u);

    pollfd vParked[MAX_PARKED];  // the oldest first
    sockaddr_in vAddresses[MAX_PARKED];
    uint32_t uCount = 0;
    bool bWasFull = false;
};
