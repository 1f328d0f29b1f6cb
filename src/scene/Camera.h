#pragma once

#include <cstdint>

#include "base/LineReader.h"
#include "base/Vectors.h"

namespace rt {

/// The viewer: an eye point, a rectangular screen in space and the image's resolution. Pixel (x, y) of a W x H image
/// looks through corner 0 + (corner 1 - corner 0) * x / W + (corner 2 - corner 0) * y / H.
class Camera {
 public:
    bool bLoaded = false;
    char szName[32] = "";
    Velk::NMVector3f v3Position{};
    Velk::NMVector3f v3Screen[3]{};
    uint32_t uWidth = 0;   // pixels
    uint32_t uHeight = 0;  // pixels

    /// Reads a camera file. One that ends early is accepted with a warning; missing values stay unchanged. True on
    /// failure, which is logged with the line.
    [[nodiscard]] bool loadCamera(const char* szFile);

    void releaseCamera() { bLoaded = false; }

    /// Scales eye and screen.
    void applyDomainFactor(float fFactor);

    /// Moves the eye and turns the screen to a new look direction, which is not normalised: its length scales the
    /// distance of the screen. Requires a loaded camera.
    void setCamera(const Velk::NMVector3f& v3NewPosition, const Velk::NMVector3f& v3Look);

 private:
    Velk::Refusal parseLine(Velk::LineReader& reader, const char* szLine, unsigned uStep);
};

}  // namespace rt
