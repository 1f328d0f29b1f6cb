// The camera file, and the view that the command line gives.
#include "scene/Camera.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "base/InputReport.h"
#include "base/LineReader.h"
#include "base/NLogger.h"
#include "base/Printable.h"

namespace rt {

using Velk::NMVector3f;

namespace {

enum Step : unsigned { STEP_NAME, STEP_EYE, STEP_SCREEN, STEP_CORNER, STEP_RESOLUTION = STEP_CORNER + 3, STEP_END };

// Clamps to 32 bits, signed as by "%d"; the ray tracer uses the value as unsigned.
uint32_t toPixels(int64_t i) {
    return static_cast<uint32_t>(std::clamp<int64_t>(i, INT32_MIN, INT32_MAX));
}

}  // namespace

Velk::Refusal Camera::parseLine(Velk::LineReader& reader, const char* szLine, unsigned uStep) {
    float f[3];
    int64_t i[2];
    char szWord[32];
    const char* szRest = nullptr;
    switch (uStep) {
        case STEP_NAME:
            if (sscanf(szLine, "%*s %31s", szWord) != 1 || !strstr(szLine, "Camera")) {
                return {__LINE__, "\"Camera\" and a name expected"};
            }
            Velk::copyText(szName, sizeof(szName), szWord);
            break;
        case STEP_EYE:
            if (!strstr(szLine, "viewpoint")) return {__LINE__, "\"viewpoint\" and three numbers expected"};
            if (reader.takeFloats(Velk::skipWord(szLine), f, 3) != 3) {
                return {__LINE__, "three numbers expected after \"viewpoint\""};
            }
            v3Position = {f[0], f[1], f[2]};
            break;
        case STEP_SCREEN:
            if (!strstr(szLine, "screen")) return {__LINE__, "\"screen\" expected"};
            break;
        case STEP_RESOLUTION:
            if (!strstr(szLine, "resolution")) return {__LINE__, "\"resolution\", width and height expected"};
            if (Velk::readIntegers(Velk::skipWord(szLine), i, 2, &szRest) != 2) {
                return {__LINE__, "two whole numbers expected after \"resolution\""};
            }
            reader.warnOfRest(szRest);
            uWidth = toPixels(i[0]);
            uHeight = toPixels(i[1]);
            break;
        default:
            if (reader.takeFloats(szLine, f, 3) != 3)
                return {__LINE__, "the three numbers of a screen corner expected"};
            v3Screen[uStep - STEP_CORNER] = {f[0], f[1], f[2]};
    }
    return {};
}

bool Camera::loadCamera(const char* szFile) {
    Velk::LineReader reader(szFile);
    if (!reader.isOpen()) {
        ReportErrorFormat("Failed to open file: %s", Velk::Printable(szFile).text());
        reader.reportOpenFailure();
        return true;
    }
    for (unsigned uStep = STEP_NAME; uStep != STEP_END; ++uStep) {
        const char* szLine = reader.nextFilled();
        if (!szLine) {
            Velk::inputWarning(szFile, 0, nullptr, "the file ends before the camera's resolution");
            break;
        }
        if (const Velk::Refusal refusal = parseLine(reader, szLine, uStep)) {
            ReportErrorFormat("Error occured while reading line: %u, in Camera:%u\n", reader.lineNumber(),
                              refusal.uSourceLine);
            reader.reportError("%s", refusal.szWhat);
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

}  // namespace rt
