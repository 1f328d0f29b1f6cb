// Signals that wake threads from their sockets.
#include "shared/StopWakeup.h"

#include <atomic>

#include "shared/StopSignals.h"

namespace rt {

namespace {

std::atomic<Wakeup*> g_pWakeup{nullptr};

}  // namespace

StopWakeup::StopWakeup(Wakeup& wakeup) {
    g_pWakeup = &wakeup;
    StopSignals::keep([](int) { g_pWakeup.load()->requestStop(); }, StopSignals::raiseAgain);
}

StopWakeup::~StopWakeup() {
    StopSignals::endProcess();
}

}  // namespace rt
