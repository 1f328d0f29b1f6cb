#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace rt {

/// A picture of amounts of light: 3 floats a pixel (red, green, blue), row after row without gaps, none negative, none
/// larger than MOST.
struct LightPicture {
    static constexpr float MOST = 1e7f;
    static constexpr uint64_t MOST_PIXELS = uint64_t{1} << 26;

    uint32_t uWidth = 0;
    uint32_t uHeight = 0;
    std::vector<float> vPixels;
};

/// Reads a Radiance or OpenEXR file, known by its first bytes. True with the reason in words when it is none of them,
/// broken, too large, or cannot be read; the picture is undefined then.
[[nodiscard]] bool readLight(const std::string& sFile, LightPicture& picture, std::string& sReason);

// The formats, of whole files in memory.
bool decodeHdr(const uint8_t* pBytes, size_t uBytes, LightPicture& picture, std::string& sReason);
bool decodeExr(const uint8_t* pBytes, size_t uBytes, LightPicture& picture, std::string& sReason);

}  // namespace rt
