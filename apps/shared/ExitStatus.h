#pragma once

namespace rt {

/// How the tools end. (RayTracer has its own rule: 1 after every completed run.)
enum ExitStatus {
    STATUS_DONE = 0,
    STATUS_FAILED = 1,
    STATUS_USAGE = 2,     // the command line
    STATUS_DIFFERS = 3,   // the picture is there, but is not the reference
    STATUS_SIGNAL = 128,  // and the signal's number
};

}  // namespace rt
