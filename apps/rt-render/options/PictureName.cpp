// What the name of a picture means.
#include "rt-render/options/PictureName.h"

#include <filesystem>
#include <string>

#include "picture/LayerFile.h"
#include "picture/PictureFile.h"
#include "shared/Console.h"

namespace rt {

namespace {

bool isDirectory(const std::string& sPath) {
    std::error_code error;
    return std::filesystem::is_directory(sPath, error);
}

// Always true.
bool refuse(const char* szReason, const std::string& sPicture) {
    Console::error("rt-render: --out: %s: \"%s\"", szReason, sPicture.c_str());
    return true;
}

bool isSeveral(const RenderOptions& options) {
    return (options.uOrbit || options.cameras.isMany()) && !options.cameras.bSheet;
}

bool checkStandardOutput(RenderOptions& options) {
    options.eOutput = RenderOptions::STANDARD_OUTPUT;
    if (isSeveral(options)) return refuse("one picture alone goes to standard output", options.sPicture);
    if (options.bJson || options.bResume || options.layers.uKinds) {
        return refuse("standard output is for the picture, without --json, --resume and --layers", options.sPicture);
    }
    options.sPicture = "stdout.png";
    return false;
}

bool checkFilm(RenderOptions& options) {
    options.eOutput = RenderOptions::FILM;
    if (!isSeveral(options))
        return refuse("a film needs --orbit, --views, --hemisphere or --cameras", options.sPicture);
    if (options.bResume) return refuse("--resume is not for films", options.sPicture);
    return false;
}

// True when the name ends as those of layers do, which then are all that is wanted.
bool takeLayers(RenderOptions& options) {
    const std::string sSuffix = suffixOf(options.sPicture);
    if (!options.layers.uKinds || (sSuffix != ".exr" && sSuffix != ".npy")) return false;
    options.layers.bNpy = sSuffix == ".npy";
    options.layers.bPicture = false;
    return true;
}

}  // namespace

bool completePicture(RenderOptions& options) {
    std::string& s = options.sPicture;
    const bool bFolder = !s.empty() && s.back() == '/';
    const bool bFrames = (options.uOrbit || options.cameras.uHemisphere) && !options.cameras.bSheet;
    const std::string sName = (bFrames ? "frame" : std::filesystem::path(options.sScene).stem().string()) + ".png";
    if ((options.uOrbit || options.cameras.isMany()) && isDirectory(s)) s += (bFolder ? "" : "/") + sName;
    if (s.empty()) s = sName;
    if (s == "-") return checkStandardOutput(options);
    const bool bLayers = takeLayers(options);
    if (options.layers.uKinds && !options.layers.bNpy && !hasExr()) {
        Console::error("rt-render: OpenEXR files cannot be written: rt-render was built without libopenexr-dev");
        return true;
    }
    if (bLayers || pictureFormat(s)) return false;
    for (const char* sz : {".mp4", ".gif", ".webp"}) {
        if (suffixOf(s) == sz) return checkFilm(options);
    }
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

}  // namespace rt
