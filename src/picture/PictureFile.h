#pragma once

#include <cstdint>
#include <string>

namespace rt {

/// Pixels of a picture in memory of somebody else: 3 bytes each (blue, green, red), row after row without gaps.
struct PixelView {
    const uint8_t* pData;
    uint32_t uWidth;
    uint32_t uHeight;

    const uint8_t* row(uint32_t y) const { return pData + size_t{y} * uWidth * 3; }
};

/// A kind of picture file, known by its suffix.
struct PictureFormat {
    const char* szSuffix;   // with the dot, in small letters
    uint32_t uLargestSide;  // that the format can hold
    uint64_t uLargestFile;  // bytes of rows
    uint32_t uRowUnit;      // a row is padded to a multiple of these bytes
    /// Writes all of the file. True on failure, with errno set.
    bool (*pfnWrite)(FILE* pFile, const PixelView& picture);

    /// True when a picture of this size fits.
    bool holds(uint32_t uWidth, uint32_t uHeight) const;
};

/// The format of a file's suffix in any case of letters, null when it is none of ours.
const PictureFormat* pictureFormat(const std::string& sFile);

/// All suffixes, for people: ".png .bmp".
std::string pictureSuffixes();

/// The file name's part before the suffix, its directory included, and the suffix with its dot.
std::string stemOf(const std::string& sFile);
std::string suffixOf(const std::string& sFile);

/// Writes a picture, whole or not at all, in the format of its suffix, which must be one of ours. True on failure,
/// which is reported.
[[nodiscard]] bool writePicture(const std::string& sFile, const PixelView& picture);

// The writers that need a library.
bool writePng(FILE* pFile, const PixelView& picture);
bool writeJpeg(FILE* pFile, const PixelView& picture);

}  // namespace rt
