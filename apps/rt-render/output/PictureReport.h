#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "base/Vectors.h"

namespace rt {

/// Seconds that the parts of a run took.
struct RunTimes {
    double dReading = 0, dPreparing = 0, dRendering = 0, dWriting = 0;
};

/// What programs want to know of a picture.
struct PictureReport {
    std::string sScene, sPicture;
    uint32_t uWidth = 0, uHeight = 0;
    uint32_t uFaces = 0;
    Velk::BoxAABB box{};    // of the scene, in its own units
    double dCovered = 0.0;  // share of the pixels that show something
    bool bBlank = false;    // nothing but background, or black
    RunTimes times;
};

/// Writes a picture's line of JSON. vWarnings: what was said of it.
void writeReport(FILE* pOutput, const PictureReport& report, const std::vector<std::string>& vWarnings);

/// Writes the line of a scene that no picture was made of. sReason: what was said.
void writeFailure(FILE* pOutput, const std::string& sScene, const std::string& sReason);

}  // namespace rt
