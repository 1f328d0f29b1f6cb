// The light that a file gives.
#include "rt-render/SkyFile.h"

#include <string>
#include <utility>

#include "picture/LightFile.h"
#include "shared/Console.h"

namespace rt {

bool readSky(const RenderOptions& options, SkyPicture& sky, std::unique_ptr<SkyMap>& pMap) {
    if (options.sSky.empty()) return false;
    LightPicture picture;
    std::string sReason;
    if (readLight(options.sSky, picture, sReason)) {
        Console::error("rt-render: --sky: cannot read %s: %s", options.sSky.c_str(), sReason.c_str());
        return true;
    }
    sky = {picture.uWidth, picture.uHeight, options.fSkyTurn, std::move(picture.vPixels)};
    pMap = std::make_unique<SkyMap>(sky.vLight.data(), sky.uWidth, sky.uHeight, sky.fTurn);
    if (pMap->isDark()) {
        Console::error("rt-render: --sky: %s is all black", options.sSky.c_str());
        return true;
    }
    if (sky.uWidth != 2 * sky.uHeight) {
        Console::warning("%s: %u x %u pixels; a picture all around is twice as wide as high", options.sSky.c_str(),
                         sky.uWidth, sky.uHeight);
    }
    return false;
}

}  // namespace rt
