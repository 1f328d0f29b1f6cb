// Standard output in blocks, and the thread that writes them in time.
#include "app/BufferedOutput.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "base/NLogger.h"

BufferedOutput::BufferedOutput(int iInterval) : iMilliseconds(iInterval) {
    if (isatty(STDOUT_FILENO) || end.init()) return;
    // Signals are for the other threads: one must interrupt connect().
    sigset_t all, old;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &old);
    bHasThread = !pthread_create(&thread, nullptr, writeRegularly, this);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    if (!bHasThread) return;
    // The C standard has this before a stream's first use only. The C libraries of Linux take it at any time; glibc
    // then writes the next piece alone.
    fflush(stdout);
    static char buffer[16 * 1024];  // several of the log's blocks, for what is printed past it
    setvbuf(stdout, buffer, _IOFBF, sizeof(buffer));
}

BufferedOutput::~BufferedOutput() {
    if (!bHasThread) return;
    end.wake();
    pthread_join(thread, nullptr);
    fflush(stdout);
}

void* BufferedOutput::writeRegularly(void* pObject) {
    const BufferedOutput& output = *static_cast<const BufferedOutput*>(pObject);
    while (!output.end.waitFor(output.iMilliseconds)) Velk::NLogger::WriteEcho();
    return nullptr;
}
