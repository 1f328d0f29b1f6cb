// Compares pictures with a reference, and draws where they differ.
#include "rt-render/output/Reference.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"
#include "shared/Console.h"

namespace rt {

namespace {

std::vector<uint8_t> readAll(FILE* pFile) {
    std::vector<uint8_t> vBytes;
    uint8_t buffer[64 * 1024];
    for (size_t u; (u = fread(buffer, 1, sizeof(buffer), pFile)) != 0;) vBytes.insert(vBytes.end(), buffer, buffer + u);
    return vBytes;
}

uint32_t numberAt(const std::vector<uint8_t>& v, size_t u) {
    return v[u] | uint32_t{v[u + 1]} << 8 | uint32_t{v[u + 2]} << 16 | uint32_t{v[u + 3]} << 24;
}

// The BMP files of RayTracer and rt-render: 24 bits a pixel, the last row first. True for any other.
bool decodeBmp(const std::vector<uint8_t>& v, DecodedPicture& picture) {
    constexpr size_t HEADERS = 54, KIND = 28;
    if (v.size() < HEADERS || v[0] != 'B' || v[1] != 'M' || numberAt(v, 10) != HEADERS) return true;
    if (numberAt(v, KIND) != 24 || picture.create(numberAt(v, 18), numberAt(v, 22))) return true;
    const size_t uRow = (size_t{picture.uWidth} * 3 + 3) / 4 * 4;
    if (v.size() < HEADERS + uRow * picture.uHeight) return true;
    uint8_t* pOut = picture.vPixels.data();
    for (size_t y = picture.uHeight; y-- > 0;) {
        const uint8_t* p = v.data() + HEADERS + y * uRow;
        for (uint32_t x = 0; x < picture.uWidth; ++x, p += 3, pOut += 4) {
            pOut[0] = p[2];
            pOut[1] = p[1];
            pOut[2] = p[0];
            pOut[3] = 255;
        }
    }
    return false;
}

// How far the channel that differs most is away. Ours are blue, green, red and perhaps alpha.
unsigned distance(const uint8_t* pOurs, unsigned uChannels, const uint8_t* pTheirs) {
    int iMost = 0;
    for (unsigned u = 0; u < 3; ++u) iMost = std::max(iMost, abs(pOurs[2 - u] - pTheirs[u]));
    return static_cast<unsigned>(uChannels == 4 ? std::max(iMost, abs(pOurs[3] - pTheirs[3])) : iMost);
}

}  // namespace

bool Reference::load(const std::string& sName) {
    sFile = sName;
    if (sFile.empty()) return false;
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    if (!file.get()) {
        Console::error("%s: the reference cannot be opened", sFile.c_str());
        return true;
    }
    const std::vector<uint8_t> vBytes = readAll(file.get());
    if (!decodePicture(vBytes.data(), vBytes.size(), 1, pixels) || !decodeBmp(vBytes, pixels)) return false;
    Console::error("%s: the reference is no PNG, JPEG or BMP file that can be read", sFile.c_str());
    return true;
}

bool Reference::differs(const PixelView& picture, const std::string& sPicture, unsigned uTolerance) const {
    if (sFile.empty()) return false;
    const std::string sDifference = stemOf(sPicture) + ".diff.png";
    remove(sDifference.c_str());
    if (picture.uWidth != pixels.uWidth || picture.uHeight != pixels.uHeight) {
        Console::error("%s: %u x %u pixels, but the reference %s has %u x %u", sPicture.c_str(), picture.uWidth,
                       picture.uHeight, sFile.c_str(), pixels.uWidth, pixels.uHeight);
        return true;
    }
    const size_t uPixels = size_t{picture.uWidth} * picture.uHeight;
    std::vector<uint8_t> vShown(uPixels * 3);
    size_t uCount = 0;
    unsigned uLargest = 0;
    for (size_t u = 0; u < uPixels; ++u) {
        const uint8_t* pOurs = picture.pData + u * picture.uChannels;
        const unsigned uAway = distance(pOurs, picture.uChannels, pixels.vPixels.data() + u * 4);
        const bool bDiffers = uAway > uTolerance;
        uCount += bDiffers;
        uLargest = std::max(uLargest, uAway);
        for (unsigned c = 0; c < 3; ++c) {
            vShown[u * 3 + c] = bDiffers ? (c == 2 ? 255 : 0) : static_cast<uint8_t>(pOurs[c] / 4);
        }
    }
    if (!uCount) {
        Console::note("%s: as %s, the largest difference is %u", sPicture.c_str(), sFile.c_str(), uLargest);
        return false;
    }
    Console::error("%s: %zu of %zu pixels differ from %s, the largest difference is %u; see %s", sPicture.c_str(),
                   uCount, uPixels, sFile.c_str(), uLargest, sDifference.c_str());
    // A difference that cannot be drawn is reported and remains one.
    return writePicture(sDifference, {vShown.data(), picture.uWidth, picture.uHeight}) || true;
}

}  // namespace rt
