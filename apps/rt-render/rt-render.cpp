// rt-render: a scene or a model becomes a picture, on all cores.
#include <exception>
#include <new>

#include "rt-render/RenderJob.h"
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
    Console::init(options.bQuiet, options.bVerbose);
    return RenderJob(options).run();
}

}  // namespace

int main(int argc, char** argv) {
    prepareProcess();
    // Large blocks are asked for where failing can be handled. This is for all others.
    try {
        return run(argc, argv);
    } catch (const std::bad_alloc&) {
        Console::error("rt-render: not enough memory");
    } catch (const std::exception& error) {
        Console::error("rt-render: %s", error.what());
    }
    return STATUS_FAILED;
}
