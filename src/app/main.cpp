#include <cstdio>
#include <ctime>

#include "app/FarmModes.h"
#include "app/Options.h"
#include "app/Signals.h"
#include "base/NLogger.h"

using Velk::NLogger;

namespace {

timespec g_ts{};

int64_t readClock() {
    clock_gettime(CLOCK_REALTIME, &g_ts);
    return int64_t{g_ts.tv_sec} * 1000000000 + g_ts.tv_nsec;
}

// Loads, preprocesses and renders one scene on this machine.
void runLocal() {
    removeFilesOnSignals();
    if (g_rt.load(nullptr, false) || g_rt.preprocessScene()) return;
    printf("Preprocess done\n");
    const int64_t iStart = readClock();
    if (g_rt.run()) return;
    const double dSeconds = static_cast<double>(static_cast<uint64_t>(readClock() - iStart)) / 1000000000.0;
    printf("Time: %f\n", dSeconds);
    NLogger::LogMessage("Time: %f\n", dSeconds);
    g_rt.release();
}

}  // namespace

int main(int argc, const char** argv) {
    prepareProcess();
    NLogger::InitLogger("RayTracer.log", true);  // without a log file the program runs on silently
    CommandWalker walker(argc, argv);
    addOptions(walker);
    if (walker.ParseCommands() || (g_uOption != MODE_CLIENT && !*g_rt.parameters.szDescFile)) {
        printUsage(walker);
        return 0;
    }
    switch (g_uOption) {
        case MODE_SERVER:
            runServer();
            break;
        case MODE_CLIENT:
            runClient();
            break;
        default:
            runLocal();
            break;
    }
    return 1;  // of every completed mode
}
