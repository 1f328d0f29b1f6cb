// What the command line of rt-render means.
#include "rt-render/options/RenderOptions.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "picture/LayerFile.h"
#include "picture/PictureFile.h"
#include "rt-render/options/Background.h"
#include "rt-render/options/RenderTable.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"

namespace rt {

bool isModelName(const std::string& sFile) {
    const std::string sSuffix = suffixOf(sFile);
    return !sSuffix.empty() && sSuffix != ".txt";
}

namespace {

bool isDirectory(const std::string& sPath) {
    std::error_code error;
    return std::filesystem::is_directory(sPath, error);
}

// Completes the picture's name. True when it cannot be one, which is reported.
bool completePicture(RenderOptions& options) {
    std::string& s = options.sPicture;
    const bool bFolder = !s.empty() && s.back() == '/';
    const bool bFrames = (options.uOrbit || options.cameras.uHemisphere) && !options.cameras.bSheet;
    const std::string sName = (bFrames ? "frame" : std::filesystem::path(options.sScene).stem().string()) + ".png";
    const bool bMany = options.uOrbit || options.cameras.isMany();
    if (bMany && isDirectory(s)) s += (bFolder ? "" : "/") + sName;
    if (s.empty()) s = sName;
    const bool bExr = suffixOf(s) == ".exr", bNpy = suffixOf(s) == ".npy";
    if (options.layers.uKinds && (bExr || bNpy)) {
        options.layers.bNpy = bNpy;
        options.layers.bPicture = false;
    }
    if (options.layers.uKinds && !options.layers.bNpy && !hasExr()) {
        Console::error("rt-render: OpenEXR files cannot be written: rt-render was built without libopenexr-dev");
        return true;
    }
    if (!options.layers.bPicture || pictureFormat(s)) return false;
    if (isDirectory(s)) {
        Console::error("rt-render: --out: \"%s\" is a directory; the name of a file is wanted", s.c_str());
    } else if (bFolder) {
        Console::error("rt-render: --out: there is no directory \"%s\"", s.c_str());
    } else {
        Console::error("rt-render: --out: no picture format has this suffix, there are %s: \"%s\"",
                       pictureSuffixes().c_str(), s.c_str());
    }
    return true;
}

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

// What no option can know of the others. True when something is wrong, which is reported.
bool checkOptions(const Program& program, const std::vector<GivenOption>& vGiven, RenderOptions& options) {
    if (options.sScene.empty()) {
        Console::error("rt-render: the name of a scene or a model is missing (--help lists the options)");
        return true;
    }
    if (checkCameras(options) || checkLayers(options) || completePicture(options)) return true;
    if (options.parameters.bCustomCamera && !(length(options.parameters.v3CameraLook) > 0.0f)) {
        Console::error("rt-render: --camera: the direction has no length");
        return true;
    }
    const bool bBricks = options.parameters.uTexturedAttribute != NO_INDEX;
    if (bBricks && options.bStudio.value_or(false)) {
        Console::error("rt-render: --texattr is for --light lamps");
        return true;
    }
    if (!options.sBackground.empty()) {
        if (!options.bStudio.value_or(isModelName(options.sScene) && !bBricks)) {
            Console::error("rt-render: --background is for --light studio");
            return true;
        }
        if (readBackground(options.sBackground, options.studio)) {
            Console::error(
                "rt-render: --background: \"%s\" is neither transparent nor a colour such as white or "
                "#E0E4E8, nor two with a comma between them",
                options.sBackground.c_str());
            return true;
        }
        if (options.studio.bTransparent && options.layers.bPicture && !pictureFormat(options.sPicture)->bAlpha) {
            Console::error("rt-render: --background transparent needs a PNG file: \"%s\"", options.sPicture.c_str());
            return true;
        }
    }
    for (const GivenOption& given : vGiven) {
        if (isModelName(options.sScene) || strcmp(program.groupOf(given.uIndex), MODEL_OPTIONS) != 0) continue;
        Console::error("rt-render: %s is for model files: \"%s\"", program.vOptions[given.uIndex].szNames,
                       options.sScene.c_str());
        return true;
    }
    return false;
}

}  // namespace

bool parseOptions(int argc, char** argv, RenderOptions& options, int& iStatus) {
    const Program program = renderProgram();
    std::vector<GivenOption> vGiven;
    if (readCommandLine(program, argc, argv, vGiven, iStatus)) return true;
    storeRenderOptions(vGiven, options);
    if (!options.uJobs) options.uJobs = std::max(1u, std::thread::hardware_concurrency());
    iStatus = STATUS_USAGE;
    return checkOptions(program, vGiven, options);
}

}  // namespace rt
