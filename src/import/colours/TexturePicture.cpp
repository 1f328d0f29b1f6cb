// The pictures that models have as textures.

#include "import/colours/TexturePicture.h"

#include <algorithm>
#include <cstdio>
#include <utility>
#include <vector>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"

namespace rt {

namespace {

constexpr size_t MOST_BYTES = size_t{1} << 28;  // of a file that is looked at
constexpr unsigned SHRINK = 8;                  // an eighth of the size has the same mean

// Each texel is the mean of uColumns by uRows of the picture's; fewer at the right and below.
void average(const DecodedPicture& picture, uint32_t uColumns, uint32_t uRows, TextureImage& image) {
    image.uWidth = (picture.uWidth + uColumns - 1) / uColumns;
    image.uHeight = (picture.uHeight + uRows - 1) / uRows;
    image.vTexels.resize(size_t{4} * image.uWidth * image.uHeight);
    for (uint32_t y = 0; y < image.uHeight; ++y) {
        const uint32_t uTop = y * uRows, uBottom = std::min(picture.uHeight, uTop + uRows);
        for (uint32_t x = 0; x < image.uWidth; ++x) {
            const uint32_t uLeft = x * uColumns, uRight = std::min(picture.uWidth, uLeft + uColumns);
            uint64_t sums[4] = {};
            for (uint32_t uRow = uTop; uRow < uBottom; ++uRow) {
                const uint8_t* p = &picture.vPixels[4 * (size_t{uRow} * picture.uWidth + uLeft)];
                for (uint32_t u = 0; u < 4 * (uRight - uLeft); ++u) sums[u % 4] += p[u];
            }
            const uint64_t uCount = uint64_t{uRight - uLeft} * (uBottom - uTop);
            uint8_t* p = &image.vTexels[4 * (size_t{y} * image.uWidth + x)];
            for (unsigned u = 0; u < 4; ++u) p[u] = static_cast<uint8_t>((sums[u] + uCount / 2) / uCount);
        }
    }
}

}  // namespace

bool TexturePicture::findMean(const DecodedPicture& picture) {
    double dRed = 0, dGreen = 0, dBlue = 0, dWeight = 0;
    for (size_t u = 0; u < picture.vPixels.size(); u += 4) {
        const uint8_t* p = &picture.vPixels[u];
        const double dAlpha = p[3] / 255.0;
        dRed += p[0] * dAlpha, dGreen += p[1] * dAlpha, dBlue += p[2] * dAlpha, dWeight += dAlpha;
    }
    if (dWeight <= 0) return true;
    const double d = 1.0 / (255.0 * dWeight);
    mean = {dRed * d, dGreen * d, dBlue * d};
    return false;
}

void TexturePicture::findImage(DecodedPicture& picture) {
    const auto joined = [](uint32_t uSide) { return (uSide + LARGEST_SIDE - 1) / LARGEST_SIDE; };
    if (joined(picture.uWidth) > 1 || joined(picture.uHeight) > 1) {
        average(picture, joined(picture.uWidth), joined(picture.uHeight), image);
    } else {
        image.uWidth = picture.uWidth;
        image.uHeight = picture.uHeight;
        image.vTexels = std::move(picture.vPixels);
    }
    for (size_t u = 3; u < image.vTexels.size() && !bHoles; u += 4) bHoles = image.vTexels[u] < 128;
}

bool TexturePicture::take(DecodedPicture& picture, bool bWhole) {
    if (findMean(picture)) return true;
    if (bWhole) findImage(picture);
    return false;
}

bool TexturePicture::decode(const uint8_t* pBytes, size_t uBytes, bool bWhole) {
    DecodedPicture picture;
    if (decodePicture(pBytes, uBytes, SHRINK, picture) || findMean(picture)) return true;
    if (!bWhole) return false;
    if (pBytes[0] == 0xFF) {  // the other format does not shrink
        unsigned uShrink = SHRINK;
        const uint32_t uLonger = std::max(picture.uWidth, picture.uHeight);
        while (uShrink > 1 && uLonger <= LARGEST_SIDE / SHRINK * (uShrink / 2)) uShrink /= 2;
        if (decodePicture(pBytes, uBytes, uShrink, picture)) return true;
    }
    findImage(picture);
    return false;
}

void TexturePicture::makeMask() {
    std::vector<uint8_t>& v = image.vTexels;
    bool bAlpha = false;
    for (size_t u = 3; u < v.size() && !bAlpha; u += 4) bAlpha = v[u] < 255;
    for (size_t u = 0; u < v.size() && !bAlpha; u += 4) {
        v[u + 3] = static_cast<uint8_t>((v[u] + v[u + 1] + v[u + 2]) / 3);
        bHoles = bHoles || v[u + 3] < 128;
    }
}

bool TexturePicture::read(const std::string& sFile, bool bWhole) {
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    if (!file.get()) return true;
    std::vector<unsigned char> vBytes;
    unsigned char buffer[16384];
    for (size_t u; vBytes.size() < MOST_BYTES && (u = fread(buffer, 1, sizeof(buffer), file.get())) > 0;)
        vBytes.insert(vBytes.end(), buffer, buffer + u);
    return decode(vBytes.data(), vBytes.size(), bWhole);
}

}  // namespace rt
