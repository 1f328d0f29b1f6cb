#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "rt-render/cameras/Pinhole.h"

namespace rt {

/// A camera of a transforms.json file. Its numbers of pixels are for a picture of uWidth x uHeight, or for any when
/// these are 0.
struct FileCamera {
    std::string sName;     // of its picture, without directory and suffix; empty if there is none
    double dPose[3][4]{};  // camera to world, right-handed, y up, the camera looks along -z
    uint32_t uWidth = 0, uHeight = 0;
    std::optional<double> fx, fy, cx, cy;    // pixels
    std::optional<double> dAngleX, dAngleY;  // of the whole picture, in radians
    bool bParallel = false;
};

/// Reads a file of cameras. True on failure, which is reported: nothing of what it holds is trusted.
[[nodiscard]] bool readCameras(const std::string& sFile, std::vector<FileCamera>& vCameras);

/// A camera for a picture of uWidth x uHeight pixels, to which its numbers are scaled. bMirrored: the scene's world is
/// left-handed, and its z the negative of the file's.
Pinhole pinholeOf(const FileCamera& file, uint32_t uWidth, uint32_t uHeight, bool bMirrored);

/// A camera and the name of its picture's file.
struct NamedCamera {
    Pinhole camera;
    std::string sPicture;
};

/// Writes a file of cameras. Pictures are named relative to it. True on failure, which is reported.
[[nodiscard]] bool writeCameras(const std::string& sFile, const std::vector<NamedCamera>& vCameras, bool bMirrored);

}  // namespace rt
