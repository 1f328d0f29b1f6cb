#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace Velk {

/// Image of uWidth x uHeight pixels of 3 bytes (blue, green, red), row after row without gaps, the top row first. A
/// colour value is 0x00RRGGBB.
class NBitmap {
 public:
    static constexpr uint32_t HEADERS = 54;  // bytes of a BMP file before its pixels

    uint8_t* pData = nullptr;  // owned; null when empty
    uint32_t uSize = 0;        // bytes: width * 3 * height
    uint32_t uWidth = 0;
    uint32_t uHeight = 0;

    NBitmap() = default;
    ~NBitmap() { release(); }
    NBitmap(const NBitmap&) = delete;
    NBitmap& operator=(const NBitmap&) = delete;

    /// Allocates the pixels, uninitialised. Requires an empty bitmap. True when the image is too large for a BMP file,
    /// or when out of memory, which alone is logged; pData is null then.
    [[nodiscard]] bool create(unsigned uNewWidth, unsigned uNewHeight);

    /// Frees the storage and sets all fields to zero.
    void release();

    /// Stores the low 24 bits of the colour. Requires x below uWidth, y below uHeight.
    void setPixel(unsigned x, unsigned y, unsigned uColour) {
        assert(x < uWidth && y < uHeight);
        uint8_t* pPixel = pData + 3 * (size_t{y} * uWidth + x);
        pPixel[0] = static_cast<uint8_t>(uColour);
        pPixel[1] = static_cast<uint8_t>(uColour >> 8);
        pPixel[2] = static_cast<uint8_t>(uColour >> 16);
    }

    /// Requires x below uWidth, y below uHeight.
    unsigned getPixel(unsigned x, unsigned y) const {
        assert(x < uWidth && y < uHeight);
        const uint8_t* pPixel = pData + 3 * (size_t{y} * uWidth + x);
        return pPixel[0] | unsigned{pPixel[1]} << 8 | unsigned{pPixel[2]} << 16;
    }

    /// True when saveToFile() could not write this file now, which is logged. Ask before rendering for hours.
    [[nodiscard]] static bool isRefused(const char* szFile);

    /// Writes pixels laid out as a bitmap's as an uncompressed 24-bit BMP file. The size must fit one. True on failure.
    [[nodiscard]] static bool writePixels(FILE* pFile, const uint8_t* pPixels, uint32_t uColumns, uint32_t uRows);

    /// Writes an uncompressed 24-bit BMP file, whole or not at all. True on failure, which is logged. An image without
    /// pixels replaces no regular file: that one is left as it was, which is logged, and is no failure.
    [[nodiscard]] bool saveToFile(const char* szFile) const;

    /// Reads an uncompressed 24-bit BMP file into an empty bitmap. True on failure, which is logged.
    [[nodiscard]] bool loadFromFile(const char* szFile);
};

}  // namespace Velk
