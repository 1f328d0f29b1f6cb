#include "scene/Lights.h"

#include <new>

#include "base/LineReader.h"
#include "base/NLogger.h"

using Velk::NLogger;

bool Lights::loadLights(const char* szFile) {
    Velk::LineReader reader(szFile);
    if (!reader.isOpen()) {
        ReportErrorFormat("Failed to open file: %s", szFile);
        reader.reportOpenFailure();
        return true;
    }
    const auto reportLine = [&] { NLogger::LogMessage("%s, file line: %u\n", szFile, reader.lineNumber()); };
    int64_t iCount = 0;
    const char* szLine = reader.nextFilled();
    if (szLine) {
        const bool bNumber = Velk::readIntegers(szLine, &iCount, 1) == 1;
        const bool bSane = bNumber && iCount >= 0 && iCount <= INT32_MAX && !reader.isAbsurdCount(iCount);
        pLights = bSane ? new (std::nothrow) Light[static_cast<size_t>(iCount)] : nullptr;
        if (!pLights) {
            ReportError("Invalid file");
            reportLine();
            return true;
        }
    }
    while (uCount < iCount && (szLine = reader.nextFilled()) != nullptr) {
        float f[7];
        if (Velk::readFloats(szLine, f, 7) != 7) {
            ReportError("Invalid file");
            reportLine();
            return true;
        }
        pLights[uCount++] = {{f[0], f[1], f[2]}, normalize(Velk::NMVector3f{f[4], f[5], f[6]}), f[3]};
    }
    if (uCount < iCount) {
        NLogger::LogMessage("Warning: %s: %u of %u lights found\n", szFile, uCount, static_cast<unsigned>(iCount));
    }
    bLoaded = true;
    return false;
}

void Lights::releaseLights() {
    delete[] pLights;
    pLights = nullptr;
    uCount = 0;
    bLoaded = false;
}

void Lights::applyDomainFactor(float fFactor) {
    for (uint32_t u = 0; u < uCount; ++u) pLights[u].v3Position = pLights[u].v3Position * fFactor;
}
