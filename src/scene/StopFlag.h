#pragma once

#include <atomic>

namespace rt {

/// Tells a build to give up when it becomes true, as if there were no memory; null: nobody does. It is looked at often
/// enough that the build then ends within a fraction of a second.
using StopFlag = const std::atomic<bool>*;

inline bool isStopped(StopFlag pStop) {
    return pStop && pStop->load(std::memory_order_relaxed);
}

}  // namespace rt
