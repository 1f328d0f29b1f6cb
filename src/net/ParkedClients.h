#pragma once

#include <netinet/in.h>
#include <poll.h>

#include <cstdint>

/// Accepted connections that are not served yet. Owns them: each stays open until it is handed over, its peer closes
/// it, or this object is destroyed. Used by one thread.
class ParkedClients {
 public:
    static constexpr uint32_t MAX_PARKED = 256;  // far below the usual limit of 1024 open files

    ParkedClients() = default;
    ~ParkedClients();
    ParkedClients(const ParkedClients&) = delete;
    ParkedClients& operator=(const ParkedClients&) = delete;

    /// Takes over a connection. Beyond MAX_PARKED the oldest is closed, which is logged the first time.
    void add(int iSocket, const sockaddr_in& address);

    /// Closes the connections whose peers have closed them.
    void dropClosed();

    /// Closes the oldest connection. Requires one.
    void dropOldest();

    /// The oldest connection, and its peer's address. Requires one.
    int oldest() const { return vParked[0].fd; }
    const sockaddr_in& oldestAddress() const { return vAddresses[0]; }

    /// Hands the oldest connection over to the caller, who must close it. Requires one.
    void forgetOldest() { remove(0); }

    uint32_t count() const { return uCount; }

 private:
    void remove(uint32_t u);

    pollfd vParked[MAX_PARKED];  // the oldest first
    sockaddr_in vAddresses[MAX_PARKED];
    uint32_t uCount = 0;
    bool bWasFull = false;
};
