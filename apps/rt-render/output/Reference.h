#pragma once

#include <string>

#include "picture/PictureFile.h"

namespace rt {

/// The picture of an earlier run, which new ones are compared with.
class Reference {
 public:
    /// Reads a PNG, JPEG or BMP file; an empty name is no reference. True when it cannot be read, which is reported.
    [[nodiscard]] bool load(const std::string& sName);

    /// True when there is a reference and a picture, written as sPicture, is not of its size or has a channel in some
    /// pixel that is more than uTolerance away. That is reported, and NAME.diff.png beside the picture shows where: the
    /// picture darkened, and these pixels in red. One of an earlier run is removed.
    [[nodiscard]] bool differs(const PixelView& picture, const std::string& sPicture, unsigned uTolerance) const;

 private:
    std::string sFile;
    DecodedPicture pixels;
};

}  // namespace rt
