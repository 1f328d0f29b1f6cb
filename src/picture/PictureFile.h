#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace rt {

/// Pixels of a picture in memory of somebody else: 3 bytes each (blue, green, red) or 4 (with alpha), row after row
/// without gaps.
struct PixelView {
    const uint8_t* pData;
    uint32_t uWidth;
    uint32_t uHeight;
    unsigned uChannels = 3;

    const uint8_t* row(uint32_t y) const { return pData + size_t{y} * uWidth * uChannels; }
};

/// A kind of picture file, known by its suffix.
struct PictureFormat {
    const char* szSuffix;   // with the dot, in small letters
    uint32_t uLargestSide;  // that the format can hold
    uint64_t uLargestFile;  // bytes of rows
    uint32_t uRowUnit;      // a row is padded to a multiple of these bytes
    bool bAlpha;            // it has pixels of 4 bytes, too
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

/// Pixels of a picture that was read: 4 bytes each (red, green, blue, alpha), row after row without gaps.
struct DecodedPicture {
    std::vector<uint8_t> vPixels;
    uint32_t uWidth = 0;
    uint32_t uHeight = 0;

    /// Makes room. True for no pixels, or more than a texture has.
    [[nodiscard]] bool create(uint32_t uNewWidth, uint32_t uNewHeight);
};

/// Reads a PNG or JPEG file in memory. The sides may come out up to uShrink (1, 2, 4 or 8) times smaller, which is
/// quicker. True when the bytes are no such picture, or a broken one; the pixels are undefined then.
[[nodiscard]] bool decodePicture(const uint8_t* pBytes, size_t uBytes, unsigned uShrink, DecodedPicture& picture);

// What needs a library.
bool writePng(FILE* pFile, const PixelView& picture);
bool writeJpeg(FILE* pFile, const PixelView& picture);
bool decodePng(const uint8_t* pBytes, size_t uBytes, unsigned uShrink, DecodedPicture& picture);
bool decodeJpeg(const uint8_t* pBytes, size_t uBytes, unsigned uShrink, DecodedPicture& picture);

}  // namespace rt
