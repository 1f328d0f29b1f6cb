#include "scene/Camera.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/LineReader.h"
#include "base/NLogger.h"

using Velk::NMVector3f;

namespace {

enum Step : unsigned { STEP_NAME, STEP_EYE, STEP_SCREEN, STEP_CORNER, STEP_RESOLUTION = STEP_CORNER + 3, STEP_END };

// "%d" as far as it fits 32 bits; the ray tracer takes the value as unsigned.
uint32_t toPixels(int64_t i) {
    return static_cast<uint32_t>(std::clamp<int64_t>(i, INT32_MIN, INT32_MAX));
}

}  // namespace

// Returns the number of the source line whose check refused the text, 0 when it is fine.
unsigned Camera::parseLine(const char* szLine, unsigned uStep) {
    float f[3];
    int64_t i[2];
    char szWord[32];
    switch (uStep) {
        case STEP_NAME:
            if (sscanf(szLine, "%*s %31s", szWord) != 1 || !strstr(szLine, "Camera")) return __LINE__;
            Velk::copyText(szName, sizeof(szName), szWord);
            break;
        case STEP_EYE:
            if (Velk::readFloats(Velk::skipWord(szLine), f, 3) != 3 || !strstr(szLine, "viewpoint")) return __LINE__;
            v3Position = {f[0], f[1], f[2]};
            break;
        case STEP_SCREEN:
            if (!strstr(szLine, "screen")) return __LINE__;
            break;
        case STEP_RESOLUTION:
            if (Velk::readIntegers(Velk::skipWord(szLine), i, 2) != 2 || !strstr(szLine, "resolution")) return __LINE__;
            uWidth = toPixels(i[0]);
            uHeight = toPixels(i[1]);
            break;
        default:
            if (Velk::readFloats(szLine, f, 3) != 3) return __LINE__;
            v3Screen[uStep - STEP_CORNER] = {f[0], f[1], f[2]};
    }
    return 0;
}

bool Camera::loadCamera(const char* szFile) {
    Velk::LineReader reader(szFile);
    if (!reader.isOpen()) {
        ReportErrorFormat("Failed to open file: %s", szFile);
        reader.reportOpenFailure();
        return true;
    }
    for (unsigned uStep = STEP_NAME; uStep != STEP_END; ++uStep) {
        const char* szLine = reader.nextFilled();
        if (!szLine) break;
        const unsigned uCheck = parseLine(szLine, uStep);
        if (uCheck) {
            ReportErrorFormat("Error occured while reading line: %u, in Camera:%u\n", reader.lineNumber(), uCheck);
            return true;
        }
    }
    bLoaded = true;
    return false;
}

void Camera::applyDomainFactor(float fFactor) {
    v3Position = v3Position * fFactor;
    for (NMVector3f& v3Corner : v3Screen) v3Corner = v3Corner * fFactor;
}

void Camera::setCamera(const NMVector3f& v3NewPosition, const NMVector3f& v3Look) {
    const NMVector3f v3HalfRow = (v3Screen[1] - v3Screen[0]) * 0.5f;
    const NMVector3f v3HalfColumn = (v3Screen[2] - v3Screen[0]) * 0.5f;
    const NMVector3f v3Centre = v3Screen[0] + v3HalfRow + v3HalfColumn;
    const NMVector3f v3View = v3Centre - v3Position;
    const NMVector3f v3Up = cross(v3View, v3HalfRow);
    const NMVector3f v3NewRow = normalize(cross(v3Up, v3Look)) * length(v3HalfRow);
    const NMVector3f v3NewColumn = normalize(cross(v3NewRow, v3Look)) * length(v3HalfColumn);
    const NMVector3f v3NewCentre = v3NewPosition + v3Look * length(v3View);
    v3Screen[0] = v3NewCentre - v3NewColumn - v3NewRow;
    v3Screen[1] = v3NewCentre - v3NewColumn + v3NewRow;
    v3Screen[2] = v3NewCentre + v3NewColumn - v3NewRow;
    v3Position = v3NewPosition;
}
