#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Vectors.h"
#include "scene/FaceData.h"

namespace rt {

/// The render settings. The server sends this record to its clients byte for byte, so the layout is fixed.
struct RaytracerParameters {
    char szDescFile[256] = "";               // path of the scene description
    char szOutFile[256] = "out_tex.bmp";     // image to write
    uint32_t uPackSize = 32;                 // edge of the square tiles in pixels
    uint32_t uTexturedAttribute = NO_INDEX;  // material whose faces get the brick texture
    float fAngleCoeff = 0.125f;              // brick texture, lengths in domain units
    float fBrickWidth = 600.0f;
    float fBrickHeight = 125.0f;
    float fMortarWidth = 20.0f;
    bool bDirt = false;
    bool bCustomCamera = false;      // the two vectors below replace the camera file's view
    bool bCustomResolution = false;  // the size below replaces the camera file's
    bool bResetCache = false;
    Velk::NMVector3f v3CameraPosition{};
    Velk::NMVector3f v3CameraLook{};
    uint32_t uWidth = 0;  // of the image, in pixels
    uint32_t uHeight = 0;
};
static_assert(sizeof(RaytracerParameters) == 572, "travels as raw bytes");
static_assert(offsetof(RaytracerParameters, szOutFile) == 256);
static_assert(offsetof(RaytracerParameters, uPackSize) == 512);
static_assert(offsetof(RaytracerParameters, uTexturedAttribute) == 516);
static_assert(offsetof(RaytracerParameters, fAngleCoeff) == 520);
static_assert(offsetof(RaytracerParameters, fBrickWidth) == 524);
static_assert(offsetof(RaytracerParameters, fBrickHeight) == 528);
static_assert(offsetof(RaytracerParameters, fMortarWidth) == 532);
static_assert(offsetof(RaytracerParameters, bDirt) == 536);
static_assert(offsetof(RaytracerParameters, bCustomCamera) == 537);
static_assert(offsetof(RaytracerParameters, bCustomResolution) == 538);
static_assert(offsetof(RaytracerParameters, bResetCache) == 539);
static_assert(offsetof(RaytracerParameters, v3CameraPosition) == 540);
static_assert(offsetof(RaytracerParameters, v3CameraLook) == 552);
static_assert(offsetof(RaytracerParameters, uWidth) == 564);
static_assert(offsetof(RaytracerParameters, uHeight) == 568);

}  // namespace rt
