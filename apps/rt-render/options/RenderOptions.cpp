// What the command line of rt-render means.
#include "rt-render/options/RenderOptions.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "picture/PictureFile.h"
#include "rt-render/options/Background.h"
#include "rt-render/options/PictureName.h"
#include "rt-render/options/RenderTable.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/ScenePlace.h"

namespace rt {

namespace {

// True when the layers are none, which is reported.
bool checkLayers(RenderOptions& options) {
    if (options.sLayers.empty() || !readLayers(options.sLayers, options.layers)) return false;
    Console::error("rt-render: --layers: \"%s\" is no list of %s, with commas between", options.sLayers.c_str(),
                   layerNames().c_str());
    return true;
}

// True when the cameras are none, which is reported.
bool checkCameras(RenderOptions& options) {
    CameraWishes& wishes = options.cameras;
    if (!options.sViews.empty() && readViews(options.sViews, wishes.vViews)) {
        Console::error("rt-render: --views: \"%s\" is no list of %s, each once, with commas between",
                       options.sViews.c_str(), viewNames().c_str());
        return true;
    }
    if (wishes.bSheet && !options.uOrbit && !wishes.isMany()) {
        Console::error("rt-render: --sheet is for --views, --orbit, --hemisphere or --cameras");
        return true;
    }
    const auto& lens = wishes.intrinsics;
    if (lens && !((*lens)[0] > 1e-3 && (*lens)[1] > 1e-3)) {
        Console::error("rt-render: --intrinsics: focal lengths are larger than 0");
        return true;
    }
    return false;
}

// True when standard input cannot be what is asked for, which is reported.
bool checkInput(const RenderOptions& options) {
    const auto uInputs = std::count(options.vScenes.begin(), options.vScenes.end(), "-");
    const bool bWord = options.sFormat.find_first_not_of(
                           "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789") == std::string::npos;
    if (uInputs > 1 || (uInputs && (options.sFormat.empty() || !bWord || options.sFormat == "txt"))) {
        Console::error("rt-render: a model from standard input needs --format with its suffix, and comes once");
        return true;
    }
    if (uInputs || options.sFormat.empty()) return false;
    Console::error("rt-render: --format is for a model from standard input, which is named -");
    return true;
}

// True when it is no address, which is reported. A bare HOST:PORT is a TCP one.
bool checkScheduler(std::string& sScheduler) {
    if (sScheduler.empty()) return false;
    const size_t uSlashes = sScheduler.find("://");
    if (uSlashes == std::string::npos) sScheduler.insert(0, "tcp://");
    const std::string sKind = sScheduler.substr(0, sScheduler.find("://"));
    const size_t uColon = sScheduler.rfind(':');
    const std::string sPort = sScheduler.substr(uColon + 1);
    const bool bPort = uColon > sKind.size() + 3 && !sPort.empty() && sPort.size() <= 5 &&
                       sPort.find_first_not_of("0123456789") == std::string::npos;
    if (bPort && (sKind == "tcp" || sKind == "tls")) return false;
    Console::error("rt-render: --on: \"%s\" is no address such as tcp://HOST:8786 or tls://HOST:8786",
                   sScheduler.c_str());
    return true;
}

}  // namespace

bool completeOptions(RenderOptions& options) {
    if (completePicture(options)) return true;
    if (options.parameters.bCustomCamera && !(length(options.parameters.v3CameraLook) > 0.0f)) {
        Console::error("rt-render: --camera: the direction has no length");
        return true;
    }
    const bool bBricks = options.parameters.uTexturedAttribute != NO_INDEX;
    if (bBricks && options.bStudio.value_or(false)) {
        Console::error("rt-render: --texattr is for --light lamps");
        return true;
    }
    const bool bStudio = options.bStudio.value_or(isModelName(options.sScene) && !bBricks);
    if (!options.sSky.empty() && !bStudio) {
        Console::error("rt-render: --sky is for --light studio, %s has lamps", options.sScene.c_str());
        return true;
    }
    if (!options.sBackground.empty()) {
        if (!bStudio) {
            Console::error("rt-render: --background is for --light studio");
            return true;
        }
        if (readBackground(options.sBackground, options.studio)) {
            Console::error(
                "rt-render: --background: \"%s\" is neither sky, transparent nor a colour such as white or "
                "#E0E4E8, nor two with a comma between them",
                options.sBackground.c_str());
            return true;
        }
        if (options.studio.bSkyBehind && options.sSky.empty()) {
            Console::error("rt-render: --background sky is for --sky FILE");
            return true;
        }
        const PictureFormat* pFormat = pictureFormat(options.sPicture);
        if (options.studio.bTransparent && options.layers.bPicture && !(pFormat && pFormat->bAlpha)) {
            Console::error("rt-render: --background transparent needs a PNG file: \"%s\"", options.sPicture.c_str());
            return true;
        }
    }
    if (isModelName(options.sScene) || options.sModelOption.empty()) return false;
    Console::error("rt-render: %s is for model files: \"%s\"", options.sModelOption.c_str(), options.sScene.c_str());
    return true;
}

bool parseOptions(int argc, char** argv, RenderOptions& options, int& iStatus) {
    const Program program = renderProgram();
    std::vector<GivenOption> vGiven;
    if (readCommandLine(program, argc, argv, vGiven, iStatus)) return true;
    storeRenderOptions(vGiven, options);
    if (!options.uJobs) options.uJobs = std::max(1u, std::thread::hardware_concurrency());
    for (const GivenOption& given : vGiven) {
        if (!strcmp(program.groupOf(given.uIndex), MODEL_OPTIONS)) {
            options.sModelOption = program.vOptions[given.uIndex].szNames;
        }
    }
    iStatus = STATUS_USAGE;
    if (options.vScenes.empty() || std::count(options.vScenes.begin(), options.vScenes.end(), "")) {
        Console::error("rt-render: the name of a scene or a model is missing (--help lists the options)");
        return true;
    }
    return checkInput(options) || checkCameras(options) || checkLayers(options) || checkScheduler(options.sScheduler);
}

}  // namespace rt
