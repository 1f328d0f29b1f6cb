#pragma once

#include <cstdint>
#include <string>

#include "shared/CommandLine.h"

namespace rt {

/// What the user wants, as the command line of rt-worker says it.
struct WorkerSettings {
    std::string sHost;
    uint32_t uPort = 5000;
    unsigned uJobs = 0;  // threads; 0: one a core
    bool bStay = false;
    bool bQuiet = false;
    bool bVerbose = false;
};

/// rt-worker as its users see it.
Program workerProgram();

/// Stores what is given on its command line.
void storeWorkerOptions(const std::vector<GivenOption>& vGiven, WorkerSettings& settings);

}  // namespace rt
