// The picture formats, and the two that need no library.
#include "picture/PictureFile.h"

#include <strings.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include "base/Bitmap.h"
#include "base/InputReport.h"
#include "base/OutputFile.h"

namespace rt {

namespace {

constexpr size_t MOST_PIXELS = size_t{1} << 28;  // of a picture that is read

bool writeBmp(FILE* pFile, const PixelView& picture) {
    return Velk::NBitmap::writePixels(pFile, picture.pData, picture.uWidth, picture.uHeight);
}

bool writePpm(FILE* pFile, const PixelView& picture) {
    if (fprintf(pFile, "P6\n%u %u\n255\n", picture.uWidth, picture.uHeight) < 0) return true;
    std::vector<uint8_t> vRow(size_t{picture.uWidth} * 3);
    for (uint32_t y = 0; y < picture.uHeight; ++y) {
        const uint8_t* p = picture.row(y);
        for (size_t u = 0; u < vRow.size(); u += 3) {
            vRow[u] = p[u + 2];
            vRow[u + 1] = p[u + 1];
            vRow[u + 2] = p[u];
        }
        if (fwrite(vRow.data(), vRow.size(), 1, pFile) != 1) return true;
    }
    return false;
}

constexpr PictureFormat FORMATS[] = {
    {".png", INT32_MAX, UINT64_MAX, 1, true, writePng},
    {".bmp", INT32_MAX, UINT32_MAX - Velk::NBitmap::HEADERS, 4, false, writeBmp},
    {".ppm", INT32_MAX, UINT64_MAX, 1, false, writePpm},
#ifdef RT_JPEG
    {".jpg", 65500, UINT64_MAX, 1, false, writeJpeg},
    {".jpeg", 65500, UINT64_MAX, 1, false, writeJpeg},
#endif
};

}  // namespace

std::string suffixOf(const std::string& sFile) {
    const size_t uDot = sFile.rfind('.'), uSlash = sFile.rfind('/');
    return uDot == std::string::npos || (uSlash != std::string::npos && uDot < uSlash) ? "" : sFile.substr(uDot);
}

std::string stemOf(const std::string& sFile) {
    return sFile.substr(0, sFile.size() - suffixOf(sFile).size());
}

bool PictureFormat::holds(uint32_t uWidth, uint32_t uHeight) const {
    if (!uWidth || !uHeight || uWidth > uLargestSide || uHeight > uLargestSide) return false;
    const uint64_t uRow = (uint64_t{uWidth} * 3 + uRowUnit - 1) / uRowUnit * uRowUnit;
    return uHeight <= uLargestFile / uRow;
}

const PictureFormat* pictureFormat(const std::string& sFile) {
    const std::string sSuffix = suffixOf(sFile);
    for (const PictureFormat& format : FORMATS) {
        if (!strcasecmp(format.szSuffix, sSuffix.c_str())) return &format;
    }
    return nullptr;
}

std::string pictureSuffixes() {
    std::string sAll;
    for (const PictureFormat& format : FORMATS) sAll += (sAll.empty() ? "" : " ") + std::string(format.szSuffix);
    return sAll;
}

bool writePicture(const std::string& sFile, const PixelView& picture) {
    Velk::OutputFile file;
    errno = 0;
    if (!file.open(sFile.c_str()) && !pictureFormat(sFile)->pfnWrite(file.stream(), picture) && !file.commit())
        return false;
    const int iReason = errno;
    Velk::inputError(sFile.c_str(), 0, nullptr, "cannot be written: %s",
                     iReason ? strerror(iReason) : "the disk or the library failed");
    return true;
}

bool DecodedPicture::create(uint32_t uNewWidth, uint32_t uNewHeight) {
    uWidth = uNewWidth;
    uHeight = uNewHeight;
    if (!uWidth || uHeight > MOST_PIXELS / uWidth) return true;
    vPixels.resize(size_t{uWidth} * uHeight * 4);
    return vPixels.empty();
}

bool decodePicture(const uint8_t* pBytes, size_t uBytes, unsigned uShrink, DecodedPicture& picture) {
    if (uBytes > 4 && pBytes[0] == 0x89 && pBytes[1] == 'P') return decodePng(pBytes, uBytes, uShrink, picture);
#ifdef RT_JPEG
    if (uBytes > 4 && pBytes[0] == 0xFF && pBytes[1] == 0xD8) return decodeJpeg(pBytes, uBytes, uShrink, picture);
#endif
    return true;
}

}  // namespace rt
