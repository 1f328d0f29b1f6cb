#pragma once
// Holds back signals for a while.

#include <csignal>

namespace rt {

/// No signal is delivered to this thread as long as it lives, but those that cannot be held back.
class SignalBlock {
 public:
    SignalBlock() {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_SETMASK, &all, &before);
    }
    ~SignalBlock() { sigprocmask(SIG_SETMASK, &before, nullptr); }
    SignalBlock(const SignalBlock&) = delete;
    SignalBlock& operator=(const SignalBlock&) = delete;

 private:
    sigset_t before;
};

}  // namespace rt
