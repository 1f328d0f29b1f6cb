// Reads the lights file.
#include "scene/Lights.h"

#include <algorithm>

#include "base/InputReport.h"
#include "base/LineReader.h"
#include "base/NLogger.h"
#include "base/NewArray.h"
#include "base/Printable.h"

namespace rt {

namespace {

// Reads the number of lights. Returns what is wrong with the line, or null when it is correct.
const char* readCount(Velk::LineReader& reader, const char* szLine, uint32_t& uLights) {
    int64_t iCount = 0;
    const char* szRest = nullptr;
    if (Velk::readIntegers(szLine, &iCount, 1, &szRest) != 1) return "the number of lights expected";
    if (iCount < 0) return "the number of lights is negative";
    if (iCount > INT32_MAX || reader.isAbsurdCount(iCount)) return "more lights than the file can hold";
    reader.warnOfRest(szRest);
    uLights = static_cast<uint32_t>(iCount);
    return nullptr;
}

}  // namespace

Velk::Refusal Lights::parse(Velk::LineReader& reader, const char* szFile) {
    uint32_t uDeclared = 0;
    const char* szLine = reader.nextFilled();
    if (szLine) {
        if (const char* szWrong = readCount(reader, szLine, uDeclared)) return {__LINE__, szWrong};
    }
    pLights = Velk::newArray<Light>(uDeclared);
    if (!pLights) {
        Velk::memoryError(uint64_t{uDeclared} * sizeof(Light), "the lights of %s", szFile);
        return {__LINE__, nullptr};
    }
    while ((szLine = reader.nextFilled()) != nullptr && uCount < uDeclared) {
        float f[7];
        if (reader.takeFloats(szLine, f, 7) != 7) return {__LINE__, "the seven numbers of a light expected"};
        pLights[uCount++] = {{f[0], f[1], f[2]}, normalize(Velk::NMVector3f{f[4], f[5], f[6]}), f[3]};
    }
    if (szLine) reader.reportWarning("more lines than the %u lights declared", uDeclared);
    if (uCount < uDeclared) Velk::inputWarning(szFile, 0, nullptr, "%u of %u lights found", uCount, uDeclared);
    if (!uCount) Velk::inputWarning(szFile, 0, nullptr, "no lights: every surface is black");
    return {};
}

bool Lights::loadLights(const char* szFile) {
    Velk::LineReader reader(szFile);
    if (!reader.isOpen()) {
        ReportErrorFormat("Failed to open file: %s", Velk::Printable(szFile).text());
        reader.reportOpenFailure();
        return true;
    }
    const Velk::Refusal refusal = parse(reader, szFile);
    if (refusal.szWhat) {
        ReportError("Invalid file");
        reader.reportError("%s", refusal.szWhat);
    }
    if (refusal) return true;
    bLoaded = true;
    return false;
}

bool Lights::add(const Light& light) {
    Light* pMore = Velk::newArray<Light>(uint64_t{uCount} + 1);
    if (!pMore) return true;
    std::copy_n(pLights, uCount, pMore);
    pMore[uCount++] = light;
    delete[] pLights;
    pLights = pMore;
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

}  // namespace rt
