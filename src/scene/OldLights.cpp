#include "scene/OldLights.h"

#include <cctype>
#include <cstring>
#include <new>

#include "base/LineReader.h"
#include "base/NDataVector.h"
#include "base/NLogger.h"
#include "base/OutputFile.h"
#include "base/TextWriter.h"

using Velk::NLogger;
using Velk::NMVector3f;

namespace {

constexpr uint32_t FIRST_RECORDS = 4;
constexpr uint32_t NO_DEFINITION = 0xFFFFFFFFu;

struct LightDefinition {
    char szName[40];
    float fTotalFlux;
    NMVector3f v3Intensity;
};
static_assert(sizeof(LightDefinition) == 56, "name, flux and vector");

struct LightFixture {
    char szName[40];
    uint32_t uDefinition;  // index, NO_DEFINITION until the block names one
    NMVector3f v3Position;
};
static_assert(sizeof(LightFixture) == 56, "name, index and vector");

bool contains(const char* szLine, const char* szWord) {
    return strstr(szLine, szWord) != nullptr;
}

// Copies the second word of a line. True when there is none or it does not fit.
bool readSecondWord(const char* szLine, char (&szWord)[40]) {
    const char* sz = Velk::skipWord(szLine);
    while (isspace(static_cast<unsigned char>(*sz))) ++sz;
    const size_t uLength = static_cast<size_t>(Velk::skipWord(sz) - sz);
    if (!uLength || uLength >= sizeof(szWord)) return true;
    memcpy(szWord, sz, uLength);
    szWord[uLength] = '\0';
    return false;
}

bool readVector(const char* szLine, NMVector3f& v3) {
    float f[3];
    if (Velk::readFloats(Velk::skipWord(szLine), f, 3) != 3) return true;
    v3 = {f[0], f[1], f[2]};
    return false;
}

// Doubles the storage when it is full. A record for which there is no memory is dropped.
template <typename Record>
void append(Velk::NDataVector<Record>& records, const Record& record) {
    if (records.uSize == records.uCapacity) records.uGrowBy = records.uCapacity ? records.uCapacity : FIRST_RECORDS;
    static_cast<void>(records.PushBack(record));
}

// Takes the lines of a file, block by block. The take functions return true when the line is not what the format asks
// for.
class OldLightsParser {
 public:
    ~OldLightsParser() {
        definitions.Release();
        fixtures.Release();
    }

    bool takeLine(const char* szLine) {
        switch (block) {
            case DEFINITION:
                return takeDefinition(szLine);
            case FIXTURE:
                return takeFixture(szLine);
            default:
                return takeHeader(szLine);
        }
    }

    Velk::NDataVector<LightDefinition> definitions;
    Velk::NDataVector<LightFixture> fixtures;

 private:
    enum Block { OUTSIDE, DEFINITION, FIXTURE };

    bool takeHeader(const char* szLine) {
        if (contains(szLine, "Light")) {
            block = DEFINITION;
            definition = {};
            return readSecondWord(szLine, definition.szName);
        }
        if (!contains(szLine, "Fixture")) return false;
        block = FIXTURE;
        fixture = {};
        fixture.uDefinition = NO_DEFINITION;
        return readSecondWord(szLine, fixture.szName);
    }

    bool takeDefinition(const char* szLine) {
        if (contains(szLine, "enddef")) {
            append(definitions, definition);
            block = OUTSIDE;
            return false;
        }
        if (contains(szLine, "type")) return false;
        if (contains(szLine, "TotalFlux")) {
            return Velk::readFloats(Velk::skipWord(szLine), &definition.fTotalFlux, 1) != 1;
        }
        return contains(szLine, "intensity") && readVector(szLine, definition.v3Intensity);
    }

    bool takeFixture(const char* szLine) {
        if (contains(szLine, "enddef")) {
            if (fixture.uDefinition == NO_DEFINITION) return true;
            append(fixtures, fixture);
            block = OUTSIDE;
            return false;
        }
        if (contains(szLine, "GeLight")) return false;
        if (contains(szLine, "Light")) return takeReference(szLine);
        return contains(szLine, "Position") && readVector(szLine, fixture.v3Position);
    }

    bool takeReference(const char* szLine) {
        char szWord[40];
        if (readSecondWord(szLine, szWord)) return true;
        for (uint32_t u = 0; u < definitions.uSize; ++u) {
            if (!contains(definitions[u].szName, szWord)) continue;
            fixture.uDefinition = u;
            return false;
        }
        return true;
    }

    Block block = OUTSIDE;
    LightDefinition definition{};  // of the current block
    LightFixture fixture{};
};

}  // namespace

bool OldLights::loadLights(const char* szFile) {
    releaseLights();
    Velk::LineReader reader(szFile);
    if (!reader.isOpen()) {
        ReportErrorFormat("Failed to open file: %s", szFile);
        reader.reportOpenFailure();
        return true;
    }
    OldLightsParser parser;
    while (const char* szLine = reader.nextFilled()) {
        if (!parser.takeLine(szLine)) continue;
        ReportError("Invalid file");
        NLogger::LogMessage("%s, file line: %u\n", szFile, reader.lineNumber());
        return true;
    }
    pLights = new (std::nothrow) Light[parser.fixtures.uSize];
    if (!pLights) {
        ReportError("Not enough memory for the lights");
        return true;
    }
    for (const LightFixture& fixture : parser.fixtures) {
        const LightDefinition& definition = parser.definitions[fixture.uDefinition];
        pLights[uCount++] = {fixture.v3Position, definition.v3Intensity, definition.fTotalFlux};
    }
    bLoaded = true;
    return false;
}

void OldLights::releaseLights() {
    delete[] pLights;
    pLights = nullptr;
    uCount = 0;
    bLoaded = false;
}

bool OldLights::saveLights(const char* szFile) const {
    Velk::OutputFile file;
    if (file.open(szFile)) {
        ReportErrorFormat("Failed to open file: %s", szFile);
        return true;
    }
    {
        Velk::TextWriter writer(file.stream());
        writer.number(uCount).text("\n");
        for (uint32_t u = 0; u < uCount; ++u) {
            const Light& light = pLights[u];
            const NMVector3f &P = light.v3Position, &D = light.v3Direction;
            for (const float f : {P.x, P.y, P.z, light.fFlux, D.x, D.y}) writer.number(f).text(" ");
            writer.number(D.z).text("\n");
        }
    }
    if (!file.commit()) return false;
    ReportErrorFormat("Failed to write to file: %s\n", szFile);
    return true;
}
