#pragma once

#include <atomic>

/// A file that becomes readable, and stays so, once something happened for which a thread must stop waiting on its
/// sockets: the last tile is done, or the program is to stop. Poll file() beside the socket.
class Wakeup {
 public:
    Wakeup() = default;
    ~Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    /// Opens the pipe behind it. True on failure, which is logged.
    [[nodiscard]] bool init();

    /// From now on SIGINT and SIGTERM request the stop; a second one ends the process at once. At most one object of
    /// the process does this; its destruction restores the defaults.
    void catchSignals();

    /// Makes the file readable. From any thread or signal handler.
    void wake();

    /// The same for a program that is to stop.
    void requestStop();

    bool isStopRequested() const { return bStop; }

    /// Waits that long at most. True when the file is readable.
    bool waitFor(int iMilliseconds) const;

    int file() const { return iRead; }

 private:
    int iRead = -1;
    int iWrite = -1;
    std::atomic<bool> bStop{false};
    bool bCatchesSignals = false;
};
