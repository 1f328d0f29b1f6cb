// Signals that ask a program to stop.
#include "shared/StopSignals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <initializer_list>

#include "base/OutputFile.h"

namespace rt {

namespace {

std::atomic<int> g_iSignal{0};
std::atomic<StopSignals::Handler> g_pfnFirst{nullptr}, g_pfnNext{nullptr};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<StopSignals::Handler>::is_always_lock_free,
              "handlers use them");

void end(int iSignal) {
    if (const StopSignals::Handler pfnBefore = g_pfnFirst) pfnBefore(iSignal);
    StopSignals::raiseAgain(iSignal);
}

void takeNote(int iSignal) {
    const int iError = errno;
    int iNone = 0;
    const bool bFirst = g_iSignal.compare_exchange_strong(iNone, iSignal);
    if (const StopSignals::Handler pfn = bFirst ? g_pfnFirst : g_pfnNext) pfn(iSignal);
    errno = iError;
}

void handleBy(void (*pfnHandler)(int), StopSignals::Handler pfnFirst, StopSignals::Handler pfnNext) {
    g_pfnFirst = pfnFirst;
    g_pfnNext = pfnNext;
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        sigaction(iSignal, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;
        action = {};
        action.sa_handler = pfnHandler;
        sigfillset(&action.sa_mask);
        sigaction(iSignal, &action, nullptr);
    }
}

}  // namespace

void StopSignals::endProcess(Handler pfnBefore) {
    handleBy(end, pfnBefore, nullptr);
}

void StopSignals::keep(Handler pfnFirst, Handler pfnNext) {
    handleBy(takeNote, pfnFirst, pfnNext);
}

void StopSignals::ignore() {
    handleBy(SIG_IGN, nullptr, nullptr);
}

int StopSignals::which() {
    return g_iSignal;
}

void StopSignals::raiseAgain(int iSignal) {
    Velk::OutputFile::removeUnfinished();
    signal(iSignal, SIG_DFL);
    raise(iSignal);  // delivered when the handler returns
}

}  // namespace rt
