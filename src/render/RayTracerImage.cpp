#include <algorithm>
#include <cstdio>

#include "base/NLogger.h"
#include "render/RayTracer.h"

using Velk::NMVector3f;

namespace {

// 0 to 255, truncated; a component that is not a number becomes 255.
unsigned char toByte(float c) {
    const float fLimited = c < 255.0f ? c : 255.0f;
    return static_cast<unsigned char>(fLimited > 0.0f ? fLimited : 0.0f);
}

}  // namespace

bool RayTracer::run() {
    printf("width: %u, height: %u\n", parameters.uWidth, parameters.uHeight);
    image.release();
    if (image.create(parameters.uWidth, parameters.uHeight)) {
        ReportErrorFormat("Image too large: %u x %u pixels\n", parameters.uWidth, parameters.uHeight);
        return true;
    }
    // 64 bits: the step past the last band may not fit 32.
    const uint64_t uPack = parameters.uPackSize, uWidth = parameters.uWidth, uHeight = parameters.uHeight;
    const size_t uStride = size_t{parameters.uWidth} * 3;
    for (uint64_t yBand = 0; yBand < uHeight; yBand += uPack) {
        printf("%d\n", static_cast<int>(yBand));
        for (uint64_t xBand = 0; xBand < uWidth; xBand += uPack) {
            renderTile(static_cast<unsigned>(xBand), static_cast<unsigned>(yBand),
                       static_cast<unsigned>(std::min(uPack, uWidth - xBand)),
                       static_cast<unsigned>(std::min(uPack, uHeight - yBand)),
                       image.pData + yBand * uStride + xBand * 3, uStride);
        }
    }
    return image.saveToFile(parameters.szOutFile);
}

void RayTracer::calculatePack(unsigned x, unsigned y, unsigned char* pBuffer) {
    if (x >= parameters.uWidth || y >= parameters.uHeight) return;
    const unsigned uColumns = std::min(parameters.uPackSize, parameters.uWidth - x);
    const unsigned uRows = std::min(parameters.uPackSize, parameters.uHeight - y);
    renderTile(x, y, uColumns, uRows, pBuffer, size_t{uColumns} * 3);
}

// Renders uColumns x uRows pixels from (x, y) on into rows of uStride bytes.
void RayTracer::renderTile(unsigned x, unsigned y, unsigned uColumns, unsigned uRows, unsigned char* pFirst,
                           size_t uStride) {
    const float fWidth = static_cast<float>(parameters.uWidth), fHeight = static_cast<float>(parameters.uHeight);
    for (unsigned uRow = 0; uRow < uRows; ++uRow) {
        const float fy = static_cast<float>(y + uRow) / fHeight;
        unsigned char* pPixel = pFirst + uRow * uStride;
        for (unsigned uColumn = 0; uColumn < uColumns; ++uColumn, pPixel += 3) {
            const float fx = static_cast<float>(x + uColumn) / fWidth;
            const NMVector3f v3Target = v3ImageOrigin + v3ImageSpanX * fx + v3ImageSpanY * fy;
            const NMVector3f v3Colour = traceRay(v3Eye, normalize(v3Target - v3Eye), 0, 1.0f);
            pPixel[0] = toByte(v3Colour.z);
            pPixel[1] = toByte(v3Colour.y);
            pPixel[2] = toByte(v3Colour.x);
        }
    }
}
