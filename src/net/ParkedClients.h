#pragma once

#include <netinet/in.h>
#include <poll.h>

#include <cstdint>
#include <vector>

namespace rt {

/// Accepted connections that are not served yet. Owns them: each stays open until it is handed over, its peer closes
/// it, or this object is destroyed. Used by one thread.
class ParkedClients {
 public:
    static constexpr uint32_t SPARE_FILES = 16;  // descriptors kept free, above all for writing the picture

    ParkedClients() = default;
    ~ParkedClients();
    ParkedClients(const ParkedClients&) = delete;
    ParkedClients& operator=(const ParkedClients&) = delete;

    /// Takes over a connection, and makes room when the limit of open files (RLIMIT_NOFILE) is near.
    void add(int iSocket, const sockaddr_in& address);

    /// Frees a descriptor: closes the connections whose peers have closed them, or else the oldest one. Of the latter,
    /// only the 1st, 2nd, 4th, 8th and so on are logged.
    void makeRoom();

    /// Closes the connections whose peers have closed them.
    void dropClosed();

    /// Closes the oldest connection. Requires one.
    void dropOldest();

    /// The oldest connection, and its peer's address. Requires one.
    int oldest() const { return vParked[0].fd; }
    const sockaddr_in& oldestAddress() const { return vAddresses[0]; }

    /// Hands the oldest connection over to the caller, who must close it. Requires one.
    void forgetOldest();

    uint32_t count() const { return static_cast<uint32_t>(vParked.size()); }

 private:
    std::vector<pollfd> vParked;  // the oldest first
    std::vector<sockaddr_in> vAddresses;
    uint32_t uSentAway = 0;  // for lack of descriptors
};

}  // namespace rt
