// The light that a file gives.
#include "rt-render/SkyFile.h"

#include <string>

#include "picture/LightFile.h"
#include "shared/Console.h"

namespace rt {

bool readSky(const RenderOptions& options, std::unique_ptr<SkyMap>& pSky) {
    if (options.sSky.empty()) return false;
    LightPicture picture;
    std::string sReason;
    if (readLight(options.sSky, picture, sReason)) {
        Console::error("rt-render: --sky: cannot read %s: %s", options.sSky.c_str(), sReason.c_str());
        return true;
    }
    pSky = std::make_unique<SkyMap>(picture.vPixels.data(), picture.uWidth, picture.uHeight, options.fSkyTurn);
    if (pSky->isDark()) {
        Console::error("rt-render: --sky: %s is all black", options.sSky.c_str());
        return true;
    }
    if (picture.uWidth != 2 * picture.uHeight) {
        Console::warning("%s: %u x %u pixels; a picture all around is twice as wide as high", options.sSky.c_str(),
                         picture.uWidth, picture.uHeight);
    }
    return false;
}

}  // namespace rt
