// rt-worker: all cores of this machine for a render farm's server.
#include <malloc.h>

#include <algorithm>
#include <thread>

#include "rt-worker/Worker.h"
#include "rt-worker/WorkerTable.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/ProcessSetup.h"

using namespace rt;

namespace {

// What is built for a while goes back to the system when it is freed. Otherwise each thread that helped to build keeps
// its share for others that do not come.
void returnMemory() {
#ifdef __GLIBC__
    constexpr int LARGE = 128 * 1024;  // bytes of a block that the system gives and takes
    mallopt(M_MMAP_THRESHOLD, LARGE);
#endif
}

int run(int argc, char** argv) {
    WorkerSettings settings;
    std::vector<GivenOption> vGiven;
    int iStatus = STATUS_USAGE;
    if (readCommandLine(workerProgram(), argc, argv, vGiven, iStatus)) return iStatus;
    storeWorkerOptions(vGiven, settings);
    if (settings.sHost.empty()) {
        Console::error("rt-worker: the server's host is missing (--help lists the options)");
        return STATUS_USAGE;
    }
    if (!settings.uJobs) settings.uJobs = std::max(1u, std::thread::hardware_concurrency());
    Console::init(settings.bQuiet, settings.bVerbose);
    returnMemory();
    return Worker(settings).run();
}

}  // namespace

int main(int argc, char** argv) {
    return runTool("rt-worker", run, argc, argv);
}
