// The pipe that wakes threads from poll().
#include "net/Wakeup.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "base/NLogger.h"

namespace rt {

Wakeup::~Wakeup() {
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

}  // namespace rt
