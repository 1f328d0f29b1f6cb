// The image in memory and its BMP file.
#include "base/Bitmap.h"

#include <sys/stat.h>

#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/InputFile.h"
#include "base/InputReport.h"
#include "base/LargeBlock.h"
#include "base/NLogger.h"
#include "base/NRaiiFile.h"
#include "base/NewArray.h"
#include "base/OutputFile.h"
#include "base/Printable.h"

namespace Velk {

namespace {

constexpr uint8_t bmpMagic[2] = {'B', 'M'};

// The headers are written as they lie in memory: the supported machines and the file are little-endian.
struct BmpHeader {
    uint32_t uFileSize;
    uint32_t uReserved;
    uint32_t uPixelOffset;
};
static_assert(sizeof(BmpHeader) == 12, "written byte for byte");

struct BmpInfoHeader {
    uint32_t uSize;
    int32_t iWidth;
    int32_t iHeight;  // positive: the bottom row comes first
    uint16_t uPlanes;
    uint16_t uBitsPerPixel;
    uint32_t uCompression;
    uint32_t uImageSize;
    uint32_t uResolutionX;
    uint32_t uResolutionY;
    uint32_t uColoursUsed;
    uint32_t uColoursImportant;
};
static_assert(sizeof(BmpInfoHeader) == 40, "written byte for byte");

constexpr BmpHeader bmpHeader{0, 0, 0};
constexpr BmpInfoHeader bmpInfoHeader{40, 0, 0, 1, 24, 0, 0, 0, 0, 0, 0};
static_assert(NBitmap::HEADERS == sizeof(bmpMagic) + sizeof(BmpHeader) + sizeof(BmpInfoHeader));

// Zero bytes that make a row a multiple of four.
uint64_t rowPadding(uint64_t uRowBytes) {
    return (4 - uRowBytes % 4) % 4;
}

// True when an image of this size does not fit the 32-bit size and signed dimension fields of the file.
bool isTooLarge(uint64_t uWidth, uint64_t uHeight) {
    if (uWidth > INT32_MAX || uHeight > INT32_MAX) return true;
    const uint64_t uRow = uWidth * 3 + rowPadding(uWidth * 3);
    return uHeight != 0 && uRow > (UINT32_MAX - NBitmap::HEADERS) / uHeight;
}

// True when the file ends before its last pixel. Checked before memory is allocated: a header can promise anything.
bool isShort(FILE* pFile, const BmpHeader& header, const BmpInfoHeader& info) {
    struct stat status {};
    if (fstat(fileno(pFile), &status)) return true;
    const uint64_t uRow = static_cast<uint64_t>(info.iWidth) * 3, uPadding = rowPadding(uRow);
    const uint64_t uPixels = (uRow + uPadding) * static_cast<uint64_t>(info.iHeight) - uPadding;
    return header.uPixelOffset + uPixels > static_cast<uint64_t>(status.st_size);
}

}  // namespace

bool NBitmap::create(unsigned uNewWidth, unsigned uNewHeight) {
    assert(!pData);
    uWidth = uNewWidth;
    uHeight = uNewHeight;
    if (isTooLarge(uWidth, uHeight)) return true;
    const uint64_t uBytes = uint64_t{uWidth} * 3 * uHeight;
    pData = newArray<uint8_t>(uBytes);
    if (!pData) {
        memoryError(uBytes, "a picture of %u x %u pixels", uWidth, uHeight);
        return true;
    }
    preferLargePages(pData, static_cast<size_t>(uBytes));
    uSize = static_cast<uint32_t>(uBytes);
    return false;
}

void NBitmap::release() {
    delete[] pData;
    pData = nullptr;
    uSize = uWidth = uHeight = 0;
}

bool NBitmap::isRefused(const char* szFile) {
    if (!OutputFile::probe(szFile)) return false;
    const int iReason = errno;
    // In the words of saveToFile(), whose failure this is, only earlier.
    NLogger::LogReport(__FILE_NAME__, "saveToFile", __LINE__, "Failed to open file: %s", Printable(szFile).text());
    fileError(szFile, iReason);
    return true;
}

bool NBitmap::writePixels(FILE* pFile, const uint8_t* pPixels, uint32_t uColumns, uint32_t uRows) {
    const size_t uRowBytes = size_t{uColumns} * 3;
    const size_t uPadding = static_cast<size_t>(rowPadding(uRowBytes));
    BmpHeader header = bmpHeader;
    BmpInfoHeader info = bmpInfoHeader;
    info.iWidth = static_cast<int32_t>(uColumns);
    info.iHeight = static_cast<int32_t>(uRows);
    info.uImageSize = static_cast<uint32_t>((uRowBytes + uPadding) * uRows);
    header.uFileSize = HEADERS + info.uImageSize;
    header.uPixelOffset = HEADERS;
    if (!fwrite(bmpMagic, sizeof(bmpMagic), 1, pFile)) return true;
    if (!fwrite(&header, sizeof(header), 1, pFile)) return true;
    if (!fwrite(&info, sizeof(info), 1, pFile)) return true;
    constexpr uint8_t zeros[4] = {};
    for (uint32_t y = uRows; uRowBytes && y-- > 0;) {
        if (!fwrite(pPixels + uRowBytes * y, uRowBytes, 1, pFile)) return true;
        if (uPadding && !fwrite(zeros, uPadding, 1, pFile)) return true;
    }
    return false;
}

bool NBitmap::saveToFile(const char* szFile) const {
    struct stat status {};
    const bool bKept = !uSize && !stat(szFile, &status) && S_ISREG(status.st_mode);
    OutputFile file;
    if (file.open(szFile, OUTPUT_FILE_OR_PIPE)) {
        ReportErrorFormat("Failed to open file: %s", Printable(szFile).text());
        fileError(szFile, errno);
        return true;
    }
    if (bKept) {
        NLogger::LogMessage("No image was written: %s\n", Printable(szFile).text());
        inputWarning(szFile, 0, nullptr, "left as it was: a picture of %u x %u pixels replaces no file", uWidth,
                     uHeight);
        return false;
    }
    if (writePixels(file.stream(), pData, uWidth, uHeight) || file.commit()) {
        ReportError("Failed to write to file");
        NLogger::LogMessage("No image was written: %s\n", Printable(szFile).text());
        fileError(szFile, errno);
        return true;
    }
    return false;
}

bool NBitmap::loadFromFile(const char* szFile) {
    const NRaiiFile file(openInput(szFile));
    if (!file.get()) {
        ReportErrorFormat("Failed to open file: %s", Printable(szFile).text());
        fileError(szFile, errno);
        return true;
    }
    uint8_t magic[2];
    BmpHeader header;
    BmpInfoHeader info;
    if (!fread(magic, sizeof(magic), 1, file.get()) || !fread(&header, sizeof(header), 1, file.get()) ||
        !fread(&info, sizeof(info), 1, file.get())) {
        ReportError("Failed to read from file");
        inputError(szFile, 0, nullptr, "the file ends before its pixels");
        return true;
    }
    const bool bKind = info.uSize == 40 && info.uPlanes == 1 && info.uBitsPerPixel == 24 && info.uCompression == 0;
    if (!bKind || info.iWidth < 0 || info.iHeight <= 0 || header.uPixelOffset > INT32_MAX) {
        ReportError("Invalid bitmap");
        inputError(szFile, 0, nullptr, "not an uncompressed picture of 24 bits a pixel, bottom row first");
        return true;
    }
    if (isShort(file.get(), header, info)) {
        ReportError("Failed to read from file");
        inputError(szFile, 0, nullptr, "the file is too small for %d x %d pixels", info.iWidth, info.iHeight);
        return true;
    }
    if (create(static_cast<unsigned>(info.iWidth), static_cast<unsigned>(info.iHeight))) {
        release();
        return true;
    }
    const size_t uRowBytes = size_t{uWidth} * 3;
    const long lPadding = static_cast<long>(rowPadding(uRowBytes));
    bool bFailed = fseek(file.get(), static_cast<long>(header.uPixelOffset), SEEK_SET) != 0;
    for (uint32_t y = uHeight; uRowBytes && !bFailed && y-- > 0;) {
        bFailed = !fread(pData + uRowBytes * y, uRowBytes, 1, file.get()) || fseek(file.get(), lPadding, SEEK_CUR) != 0;
    }
    if (bFailed) {
        release();
        ReportError("Failed to read from file");
        fileError(szFile, errno);
    }
    return bFailed;
}

}  // namespace Velk
