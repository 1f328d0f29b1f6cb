// Reads lights files of the older format: definitions, and fixtures that place them.
#include "scene/OldLights.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "base/InputReport.h"
#include "base/LineReader.h"
#include "base/NArrays.h"
#include "base/NLogger.h"
#include "base/NewArray.h"
#include "base/OutputFile.h"
#include "base/Printable.h"
#include "base/TextWriter.h"

namespace rt {

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
    const char* sz = Velk::skipBlanks(Velk::skipWord(szLine));
    const size_t uLength = static_cast<size_t>(Velk::skipWord(sz) - sz);
    if (!uLength || uLength >= sizeof(szWord)) return true;
    memcpy(szWord, sz, uLength);
    szWord[uLength] = '\0';
    return false;
}

bool readVector(Velk::LineReader& reader, const char* szLine, NMVector3f& v3) {
    float f[3];
    if (reader.takeFloats(Velk::skipWord(szLine), f, 3) != 3) return true;
    v3 = {f[0], f[1], f[2]};
    return false;
}

// Doubles the storage when it is full. A record is dropped when memory runs out, which is logged.
template <typename Record>
void append(Velk::NDataVector<Record>& records, const Record& record) {
    if (records.uSize == records.uCapacity) records.uGrowBy = records.uCapacity ? records.uCapacity : FIRST_RECORDS;
    if (!records.PushBack(record)) return;
    Velk::memoryError((uint64_t{records.uSize} + records.uGrowBy) * sizeof(Record), "\"%s\"", record.szName);
}

// Parses a file line by line. Each take function returns what is wrong with the line, or null when it is correct.
class OldLightsParser {
 public:
    explicit OldLightsParser(Velk::LineReader& source) : reader(source) {}

    const char* takeLine(const char* szLine) {
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

    const char* takeHeader(const char* szLine) {
        if (contains(szLine, "Light")) {
            block = DEFINITION;
            definition = {};
            return readSecondWord(szLine, definition.szName) ? NAME_EXPECTED : nullptr;
        }
        if (!contains(szLine, "Fixture")) return nullptr;
        block = FIXTURE;
        fixture = {};
        fixture.uDefinition = NO_DEFINITION;
        return readSecondWord(szLine, fixture.szName) ? NAME_EXPECTED : nullptr;
    }

    const char* takeDefinition(const char* szLine) {
        if (contains(szLine, "enddef")) {
            append(definitions, definition);
            block = OUTSIDE;
            return nullptr;
        }
        if (contains(szLine, "type")) return nullptr;
        if (contains(szLine, "TotalFlux")) {
            const unsigned uRead = reader.takeFloats(Velk::skipWord(szLine), &definition.fTotalFlux, 1);
            return uRead ? nullptr : "a number expected after \"TotalFlux\"";
        }
        const bool bWrong = contains(szLine, "intensity") && readVector(reader, szLine, definition.v3Intensity);
        return bWrong ? "three numbers expected after \"intensity\"" : nullptr;
    }

    const char* takeFixture(const char* szLine) {
        if (contains(szLine, "enddef")) {
            if (fixture.uDefinition == NO_DEFINITION) return "a fixture without a \"Light\"";
            append(fixtures, fixture);
            block = OUTSIDE;
            return nullptr;
        }
        if (contains(szLine, "GeLight")) return nullptr;
        if (contains(szLine, "Light")) return takeReference(szLine);
        const bool bWrong = contains(szLine, "Position") && readVector(reader, szLine, fixture.v3Position);
        return bWrong ? "three numbers expected after \"Position\"" : nullptr;
    }

    const char* takeReference(const char* szLine) {
        char szWord[40];
        if (readSecondWord(szLine, szWord)) return NAME_EXPECTED;
        for (uint32_t u = 0; u < definitions.uSize; ++u) {
            if (!contains(definitions[u].szName, szWord)) continue;
            fixture.uDefinition = u;
            return nullptr;
        }
        return "no light of this name was defined before";
    }

    static constexpr const char* NAME_EXPECTED = "a name of at most 39 characters expected";

    Velk::LineReader& reader;
    Block block = OUTSIDE;
    LightDefinition definition{};  // of the current block
    LightFixture fixture{};
};

}  // namespace

bool OldLights::loadLights(const char* szFile) {
    releaseLights();
    Velk::LineReader reader(szFile);
    if (!reader.isOpen()) {
        ReportErrorFormat("Failed to open file: %s", Velk::Printable(szFile).text());
        reader.reportOpenFailure();
        return true;
    }
    OldLightsParser parser(reader);
    while (const char* szLine = reader.nextFilled()) {
        const char* szWrong = parser.takeLine(szLine);
        if (!szWrong) continue;
        ReportError("Invalid file");
        reader.reportError("%s", szWrong);
        return true;
    }
    if (!parser.fixtures.uSize) Velk::inputWarning(szFile, 0, nullptr, "no fixtures, so no lights");
    pLights = Velk::newArray<Light>(parser.fixtures.uSize);
    if (!pLights) {
        Velk::memoryError(parser.fixtures.uSize * uint64_t{sizeof(Light)}, "the lights of %s", szFile);
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
        ReportErrorFormat("Failed to open file: %s", Velk::Printable(szFile).text());
        Velk::fileError(szFile, errno);
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
    ReportErrorFormat("Failed to write to file: %s\n", Velk::Printable(szFile).text());
    Velk::fileError(szFile, errno);
    return true;
}

}  // namespace rt
