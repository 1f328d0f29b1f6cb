// rt-render: a scene or a model becomes a picture, on all cores.
#include <csignal>

#include "tools/render/Console.h"
#include "tools/render/RenderJob.h"
#include "tools/render/RenderOptions.h"

int main(int argc, char** argv) {
    RenderOptions options;
    int iStatus = STATUS_USAGE;
    if (parseOptions(argc, argv, options, iStatus)) return iStatus;
    Console::init(options.bQuiet, options.bVerbose);
    // A message that nobody reads and a file that reaches its limit are failures to report, not to die of.
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    return RenderJob(options).run();
}
