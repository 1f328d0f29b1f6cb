// rt-render: a scene or a model becomes a picture, on all cores.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "rt-render/Batch.h"
#include "rt-render/options/RenderOptions.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/ProcessSetup.h"

using namespace rt;

namespace {

int run(int argc, char** argv) {
    RenderOptions options;
    int iStatus = STATUS_USAGE;
    if (parseOptions(argc, argv, options, iStatus)) return iStatus;
    FILE* pOutput = nullptr;
    if (options.bJson || options.sPicture == "-") {
        // The console sends away what the library prints there.
        const int iOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        pOutput = iOutput == -1 ? nullptr : fdopen(iOutput, "w");
        if (!pOutput) {
            Console::error("rt-render: standard output cannot be written");
            return STATUS_FAILED;
        }
    }
    const bool bTerminal = isatty(STDOUT_FILENO) == 1;
    Console::init(options.bQuiet, options.bVerbose);
    if (options.sPicture == "-" && bTerminal) {
        Console::error("rt-render: --out: standard output is a terminal, which shows no pictures");
        return STATUS_USAGE;
    }
    RenderPage page;
    if (page.start(options.uPage)) return STATUS_FAILED;
    iStatus = renderBatch(options, pOutput, page);
    if (!options.uPage) return iStatus;
    // The page may have connections that hang, for which nobody waits.
    fflush(nullptr);
    _exit(iStatus);
}

}  // namespace

int main(int argc, char** argv) {
    return runTool("rt-render", run, argc, argv);
}
