// Signals that ask a program to stop.
#include "tools/render/StopSignals.h"

#include <atomic>
#include <csignal>
#include <initializer_list>

namespace {

std::atomic<int> g_iSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "a handler writes it");

void takeNote(int iSignal) {
    int iNone = 0;
    g_iSignal.compare_exchange_strong(iNone, iSignal);
}

void handleBy(void (*pfnHandler)(int)) {
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction old {
        }, action{};
        sigaction(iSignal, nullptr, &old);
        if (old.sa_handler == SIG_IGN) continue;
        action.sa_handler = pfnHandler;
        action.sa_flags = SA_RESTART;
        sigaction(iSignal, &action, nullptr);
    }
}

}  // namespace

void StopSignals::keep() {
    handleBy(takeNote);
}

int StopSignals::which() {
    return g_iSignal;
}

void StopSignals::endProcess() {
    handleBy(SIG_DFL);
}

void StopSignals::ignore() {
    handleBy(SIG_IGN);
}
