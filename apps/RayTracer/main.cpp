// The program's entry: the log, the command line, and one of the three modes.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <exception>

#include "RayTracer/FarmModes.h"
#include "RayTracer/Options.h"
#include "base/NLogger.h"
#include "base/Progress.h"
#include "shared/ProcessSetup.h"
#include "shared/StopSignals.h"

using namespace rt;

using Velk::NLogger;

namespace {

timespec g_ts{};

int64_t readClock() {
    clock_gettime(CLOCK_REALTIME, &g_ts);
    return int64_t{g_ts.tv_sec} * 1000000000 + g_ts.tv_nsec;
}

// Loads, preprocesses and renders one scene on this machine.
void runLocal() {
    StopSignals::endProcess();
    if (g_rt.load(nullptr, false) || Velk::NBitmap::isRefused(g_rt.parameters.szOutFile)) return;
    if (g_rt.preprocessScene()) return;
    Velk::printProgress("Preprocess done\n");
    const int64_t iStart = readClock();
    if (g_rt.run()) return;
    const double dSeconds = static_cast<double>(static_cast<uint64_t>(readClock() - iStart)) / 1000000000.0;
    Velk::printProgress("Time: %f\n", dSeconds);
    NLogger::LogMessage("Time: %f\n", dSeconds);
    g_rt.release();
}

// Does what the command line says. Returns the exit status.
int run(int argc, const char** argv) {
    CommandWalker walker(argc, argv);
    addOptions(walker);
    bool bRefused = walker.ParseCommands();
    if (!bRefused && g_uOption != MODE_CLIENT && !*g_rt.parameters.szDescFile) {
        fprintf(stderr, "RayTracer.exe: the name of a scene expected\n");
        bRefused = true;
    }
    if (bRefused) {
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

}  // namespace

int main(int argc, const char** argv) {
    constexpr const char* LOG_FILE = "RayTracer.log";
    prepareProcess();
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    Velk::setProgressSink([](const char* szText) { fputs(szText, stdout); });
    if (NLogger::InitLogger(LOG_FILE, true)) {
        fprintf(stderr, "%s: %s: this run has no log and no messages\n", LOG_FILE, strerror(errno));
    }
    // Failures of large allocations are reported where they happen. This is for the rest: a few bytes of a container.
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        NLogger::LogLine("Not enough memory to go on: %s\n", e.what());
        return 1;
    }
}
