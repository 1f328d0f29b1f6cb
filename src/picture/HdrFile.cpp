// Pictures of light: Radiance's format, and files of any format that holds such.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"
#include "picture/LightFile.h"

namespace rt {

namespace {

constexpr size_t MOST_BYTES = size_t{1} << 30;  // of a file
constexpr size_t LONGEST_LINE = 1000;           // of its head
const char* const CUT_OFF = "its data are shorter than its head says";

// Reads one byte after the other.
class Bytes {
 public:
    Bytes(const uint8_t* pFirst, size_t uBytes) : p(pFirst), pEnd(pFirst + uBytes) {}

    size_t left() const { return static_cast<size_t>(pEnd - p); }
    const uint8_t* at() const { return p; }
    uint8_t next() { return *p++; }
    void skip(size_t u) { p += u; }

    // A line without its end. True when there is none.
    bool line(std::string& s) {
        const auto* pLine = p;
        const void* pStop = memchr(p, '\n', std::min(left(), LONGEST_LINE));
        if (!pStop) return true;
        p = static_cast<const uint8_t*>(pStop) + 1;
        s.assign(reinterpret_cast<const char*>(pLine), static_cast<size_t>(p - pLine - 1));
        if (!s.empty() && s.back() == '\r') s.pop_back();
        return false;
    }

 private:
    const uint8_t *p, *pEnd;
};

// One channel of a row in runs. True when they do not fit.
bool readRuns(Bytes& bytes, uint8_t* pOut, uint32_t uWidth) {
    for (uint32_t x = 0; x < uWidth;) {
        if (bytes.left() < 2) return true;
        const uint8_t uCode = bytes.next();
        const bool bRun = uCode > 128;
        const uint32_t uCount = bRun ? uCode - 128u : uCode;
        if (!uCount || uCount > uWidth - x || bytes.left() < (bRun ? 1 : uCount)) return true;
        for (uint32_t u = 0; u < uCount; ++u) pOut[4 * (x + u)] = bytes.at()[bRun ? 0 : u];
        bytes.skip(bRun ? 1 : uCount);
        x += uCount;
    }
    return false;
}

// A row of whole pixels. One of 1, 1, 1, n stands for n more of the last one, times 256 for each such before it.
bool readPixels(Bytes& bytes, uint8_t* pOut, uint32_t uWidth) {
    unsigned uShift = 0;
    for (uint32_t x = 0; x < uWidth;) {
        if (bytes.left() < 4) return true;
        const uint8_t* p = bytes.at();
        bytes.skip(4);
        if (p[0] != 1 || p[1] != 1 || p[2] != 1) {
            memcpy(pOut + 4 * x++, p, 4);
            uShift = 0;
            continue;
        }
        const uint64_t uCount = uint64_t{p[3]} << uShift;
        if (!x || uCount > uWidth - x) return true;
        for (uint64_t u = 0; u < uCount; ++u, ++x) memcpy(pOut + 4 * x, pOut + 4 * (x - 1), 4);
        uShift = std::min(uShift + 8, 24u);
    }
    return false;
}

bool readRow(Bytes& bytes, uint8_t* pOut, uint32_t uWidth) {
    const uint8_t* p = bytes.at();
    const bool bRuns = bytes.left() >= 4 && p[0] == 2 && p[1] == 2 && (p[2] * 256u + p[3]) == uWidth && uWidth >= 8;
    if (!bRuns) return readPixels(bytes, pOut, uWidth);
    bytes.skip(4);
    for (unsigned c = 0; c < 4; ++c) {
        if (readRuns(bytes, pOut + c, uWidth)) return true;
    }
    return false;
}

// True with the reason when the head is not one of ours.
bool readHead(Bytes& bytes, LightPicture& picture, std::string& sReason) {
    std::string sLine;
    sReason = "its head is broken";
    do {
        if (bytes.line(sLine)) return true;
        if (sLine.rfind("FORMAT=", 0) == 0 && sLine != "FORMAT=32-bit_rle_rgbe")
            return sReason = "its colours are not red, green and blue", true;
    } while (!sLine.empty());
    unsigned uRows = 0, uColumns = 0;
    int iEnd = 0;
    if (bytes.line(sLine)) return true;
    if (sscanf(sLine.c_str(), "-Y %9u +X %9u%n", &uRows, &uColumns, &iEnd) != 2 ||
        static_cast<size_t>(iEnd) != sLine.size()) {
        return sReason = "its rows do not lie as usual (-Y rows +X columns)", true;
    }
    if (!uRows || !uColumns) return sReason = "it has no pixels", true;
    if (uint64_t{uRows} * uColumns > LightPicture::MOST_PIXELS) return sReason = "it has too many pixels", true;
    picture.uWidth = uColumns;
    picture.uHeight = uRows;
    return false;
}

}  // namespace

bool decodeHdr(const uint8_t* pBytes, size_t uBytes, LightPicture& picture, std::string& sReason) {
    Bytes bytes(pBytes, uBytes);
    picture.vPixels.clear();
    if (readHead(bytes, picture, sReason)) return true;
    std::vector<uint8_t> vRow(size_t{4} * picture.uWidth);
    for (uint32_t y = 0; y < picture.uHeight; ++y) {  // grows with what is there, whatever the head says
        if (readRow(bytes, vRow.data(), picture.uWidth)) return sReason = CUT_OFF, true;
        for (const uint8_t* p = vRow.data(); p != vRow.data() + vRow.size(); p += 4) {
            const float fUnit = ldexpf(1.0f, p[3] - 136);
            for (unsigned c = 0; c < 3; ++c) {
                picture.vPixels.push_back(p[3] ? std::min(static_cast<float>(p[c]) * fUnit, LightPicture::MOST) : 0.0f);
            }
        }
    }
    return false;
}

bool readLight(const std::string& sFile, LightPicture& picture, std::string& sReason) {
    errno = 0;
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    if (!file.get()) return sReason = errno ? strerror(errno) : "it is no regular file", true;
    std::vector<uint8_t> vBytes;
    uint8_t buffer[65536];
    for (size_t u; (u = fread(buffer, 1, sizeof(buffer), file.get())) > 0;) {
        vBytes.insert(vBytes.end(), buffer, buffer + u);
        if (vBytes.size() > MOST_BYTES) return sReason = "it is too large", true;
    }
    if (ferror(file.get())) return sReason = strerror(errno), true;
    const auto begins = [&](const char* sz) {
        return vBytes.size() >= strlen(sz) && !memcmp(vBytes.data(), sz, strlen(sz));
    };
    if (begins("#?")) return decodeHdr(vBytes.data(), vBytes.size(), picture, sReason);
    if (begins("\x76\x2f\x31\x01")) return decodeExr(vBytes.data(), vBytes.size(), picture, sReason);
    return sReason = "it is neither a Radiance (.hdr) nor an OpenEXR (.exr) file", true;
}

#ifndef RT_EXR
bool decodeExr(const uint8_t*, size_t, LightPicture&, std::string& sReason) {
    return sReason = "this build reads no OpenEXR files: it needs libopenexr-dev", true;
}
#endif

}  // namespace rt
