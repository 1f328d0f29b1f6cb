#pragma once

#include <atomic>

namespace rt {

/// A file that becomes readable, and stays so, when threads must stop waiting on their sockets: the last tile is done,
/// or the program is to stop. Poll file() together with the socket.
class Wakeup {
 public:
    Wakeup() = default;
    ~Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    /// Opens the file, a pipe. True on failure, which is logged.
    [[nodiscard]] bool init();

    /// Makes the file readable. From any thread or signal handler.
    void wake();

    /// Makes the file readable because the program is to stop. From any thread or signal handler.
    void requestStop();

    bool isStopRequested() const { return bStop; }

    /// Waits until the file is readable, at most that long. True when it is.
    bool waitFor(int iMilliseconds) const;

    int file() const { return iRead; }

 private:
    int iRead = -1;
    int iWrite = -1;
    std::atomic<bool> bStop{false};
};

}  // namespace rt
