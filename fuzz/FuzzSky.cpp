// Reads a file of light and lights a scene with it.

#include "FuzzSupport.h"
#include "picture/LightFile.h"
#include "render/studio/SkyMap.h"

using Velk::NMVector3f;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    LightPicture picture;
    std::string sReason;
    if (decodeHdr(pBytes, uBytes, picture, sReason) || picture.vPixels.size() > 30000) return 0;
    require(picture.vPixels.size() == size_t{3} * picture.uWidth * picture.uHeight, "all pixels");
    const SkyMap sky(picture.vPixels.data(), picture.uWidth, picture.uHeight, uBytes % 2 ? 0.0f : 123.0f);
    if (sky.isDark()) return 0;
    for (unsigned u = 0; u < SkyMap::FEW; u += 17) {
        const NMVector3f& v3Dir = sky.direction(u, SkyMap::FEW).v3;
        require(isFinite(v3Dir) && fabsf(length(v3Dir) - 1.0f) < 1e-3f, "directions");
        require(isFinite(sky.irradiance(v3Dir)) && isFinite(sky.radiance(v3Dir)) && isFinite(sky.gleam(v3Dir, 0.5f)),
                "light that is a number");
    }
    return 0;
}
