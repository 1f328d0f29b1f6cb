// Signals and standard streams, set up once for the process.
#include "app/Signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "base/OutputFile.h"

namespace {

void onSignal(int iSignal) {
    Velk::OutputFile::removeUnfinished();
    signal(iSignal, SIG_DFL);
    raise(iSignal);  // delivered when this handler returns
}

}  // namespace

void prepareProcess() {
    int iFile = 0;
    do {
        iFile = open("/dev/null", O_RDWR);
    } while (iFile >= 0 && iFile <= STDERR_FILENO);
    if (iFile > STDERR_FILENO) close(iFile);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
}

void removeFilesOnSignals() {
    signal(SIGINT, onSignal);
    signal(SIGTERM, onSignal);
}
