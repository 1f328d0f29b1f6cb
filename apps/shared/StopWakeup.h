#pragma once

#include "net/Wakeup.h"

namespace rt {

/// While it lives, a stop signal makes a wakeup's file readable, and a second one ends the process at once. After it,
/// one ends the process. One at a time.
class StopWakeup {
 public:
    explicit StopWakeup(Wakeup& wakeup);
    ~StopWakeup();
    StopWakeup(const StopWakeup&) = delete;
    StopWakeup& operator=(const StopWakeup&) = delete;
};

}  // namespace rt
