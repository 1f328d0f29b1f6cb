// The pipe that ends waits, and the signal handler that writes to it.
#include "net/Wakeup.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "base/NLogger.h"
#include "base/OutputFile.h"

namespace {

std::atomic<Wakeup*> g_pWakeup{nullptr};  // the one that the signals go to
static_assert(std::atomic<Wakeup*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "used in a signal handler");

void onSignal(int iSignal) {
    const int iError = errno;
    Wakeup* pWakeup = g_pWakeup;
    if (!pWakeup || pWakeup->isStopRequested()) {
        Velk::OutputFile::removeUnfinished();
        signal(iSignal, SIG_DFL);
        raise(iSignal);  // delivered when this handler returns
    } else {
        pWakeup->requestStop();
    }
    errno = iError;
}

}  // namespace

Wakeup::~Wakeup() {
    if (bCatchesSignals) {
        signal(SIGINT, SIG_DFL);
        signal(SIGTERM, SIG_DFL);
        g_pWakeup = nullptr;
    }
    if (iRead != -1) close(iRead);
    if (iWrite != -1) close(iWrite);
}

bool Wakeup::init() {
    int files[2];
    if (pipe2(files, O_NONBLOCK | O_CLOEXEC) == -1) {
        ReportError("pipe2() failed");
        return true;
    }
    iRead = files[0];
    iWrite = files[1];
    return false;
}

void Wakeup::catchSignals() {
    g_pWakeup = this;
    bCatchesSignals = true;
    struct sigaction action {};
    action.sa_handler = onSignal;  // without SA_RESTART, so that a signal interrupts connect()
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

void Wakeup::wake() {
    // The write fails only when the pipe is full, and then it is readable already.
    [[maybe_unused]] const ssize_t iWritten = write(iWrite, "", 1);
}

void Wakeup::requestStop() {
    bStop = true;
    wake();
}

bool Wakeup::waitFor(int iMilliseconds) const {
    pollfd file{iRead, POLLIN, 0};
    return poll(&file, 1, iMilliseconds) > 0;
}
