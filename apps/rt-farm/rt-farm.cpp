// rt-farm: the server of a render farm, for people.
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "base/NLogger.h"
#include "picture/PictureFile.h"
#include "rt-farm/FarmJob.h"
#include "rt-farm/FarmTable.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/ProcessSetup.h"

using namespace rt;

namespace {

// True when something is wrong, which is reported.
bool checkSettings(FarmSettings& settings) {
    AddressRange range;
    if (settings.sScene.empty()) {
        Console::error("rt-farm: the name of a scene is missing (--help lists the options)");
        return true;
    }
    if (settings.sPicture.empty()) {
        const std::filesystem::path scene = std::filesystem::path(settings.sScene).filename();
        settings.sPicture = (scene.extension() == ".txt" ? scene.stem() : scene).string() + ".png";
    }
    if (!pictureFormat(settings.sPicture)) {
        Console::error("rt-farm: --out: no picture format has this suffix, there are %s: \"%s\"",
                       pictureSuffixes().c_str(), settings.sPicture.c_str());
        return true;
    }
    if (settings.parameters.bCustomCamera && !(length(settings.parameters.v3CameraLook) > 0.0f)) {
        Console::error("rt-farm: --camera: the direction has no length");
        return true;
    }
    if (!readRange(settings.sAllow, range)) return false;
    Console::error("rt-farm: --allow: \"%s\" is no range of addresses such as 10.1.0.0/16", settings.sAllow.c_str());
    return true;
}

int run(int argc, char** argv) {
    FarmSettings settings;
    std::vector<GivenOption> vGiven;
    int iStatus = STATUS_USAGE;
    if (readCommandLine(farmProgram(), argc, argv, vGiven, iStatus)) return iStatus;
    storeFarmOptions(vGiven, settings);
    if (checkSettings(settings)) return STATUS_USAGE;
    Console::init(settings.bQuiet, settings.bVerbose);
    // Of the log only its echo is wanted, which follows standard output to where the messages go.
    if (settings.bVerbose) Velk::NLogger::InitLogger("/dev/null", true);
    FarmJob job(settings);
    iStatus = job.run();
    // A page may have connections that hang. Nobody waits for these threads, so what they see must not be torn down.
    fflush(nullptr);
    _exit(iStatus);
}

}  // namespace

int main(int argc, char** argv) {
    return runTool("rt-farm", run, argc, argv);
}
