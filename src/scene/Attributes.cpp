// The attribute file: blocks of keywords and values, read by a table.
#include "scene/Attributes.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "base/InputReport.h"
#include "base/LineReader.h"
#include "base/NLogger.h"
#include "base/Printable.h"

namespace rt {

namespace {

enum ValueKind { VALUE_FLOAT, VALUE_COMPLEMENT, VALUE_INTEGER, VALUE_COLOUR, VALUE_SWITCH, VALUE_IGNORED, VALUE_END };

struct Property {
    const char* szKeyword;
    ValueKind kind;
    size_t uOffset;       // of the field in AttributeInstance
    uint32_t uFlag;       // of a switch
    const char* szValue;  // turns the switch on
};

constexpr Property number(const char* szKeyword, size_t uOffset) {
    return {szKeyword, VALUE_FLOAT, uOffset, 0, ""};
}
constexpr Property flag(const char* szKeyword, uint32_t uFlag, const char* szValue) {
    return {szKeyword, VALUE_SWITCH, 0, uFlag, szValue};
}

// The first keyword of this list that occurs in a line decides what the line sets, so the order matters.
constexpr Property g_properties[] = {
    number("kd", offsetof(AttributeInstance, fKd)),
    number("ks", offsetof(AttributeInstance, fKs)),
    number("kts", offsetof(AttributeInstance, fKts)),
    number("ktd", offsetof(AttributeInstance, fKtd)),
    number("ka", offsetof(AttributeInstance, fKa)),
    {"kf", VALUE_COMPLEMENT, offsetof(AttributeInstance, fKf), 0, ""},
    {"gs", VALUE_INTEGER, offsetof(AttributeInstance, iGs), 0, ""},
    {"gm", VALUE_INTEGER, offsetof(AttributeInstance, iGm), 0, ""},
    number("SelfLuminance", offsetof(AttributeInstance, fSelfLuminance)),
    flag("SelfLumDirection", AF_SELF_LUM_POS, "Pos"),
    number("Ft", offsetof(AttributeInstance, fFt)),
    flag("OneSheet", AF_ONE_SHEET, "on"),
    number("eta", offsetof(AttributeInstance, fEta)),
    {"highlight", VALUE_IGNORED, 0, 0, ""},
    {"color", VALUE_COLOUR, offsetof(AttributeInstance, v3Color), 0, ""},
    flag("reflection", AF_REFLECTION, "on"),
    flag("indirect", AF_INDIRECT, "on"),
    flag("mirror", AF_MIRROR, "on"),
    flag("shadowcast", AF_SHADOW_CAST, "on"),
    flag("shadowfall", AF_SHADOW_FALL, "on"),
    flag("shading", AF_SMOOTH, "smooth"),
    {"enddef", VALUE_END, 0, 0, ""},
};

int32_t toInt(int64_t i) {
    return static_cast<int32_t>(std::clamp<int64_t>(i, INT32_MIN, INT32_MAX));
}

template <typename T>
void store(AttributeInstance& working, size_t uOffset, T value) {
    memcpy(reinterpret_cast<char*>(&working) + uOffset, &value, sizeof(value));
}

// Reads the whole numbers after the keyword. False when there are fewer than uCount.
bool takeIntegers(Velk::LineReader& reader, const char* szLine, int64_t* pValues, unsigned uCount) {
    const char* szRest = nullptr;
    if (Velk::readIntegers(Velk::skipWord(szLine), pValues, uCount, &szRest) != uCount) return false;
    reader.warnOfRest(szRest);
    return true;
}

// Stores the value of one property line.
Velk::Refusal parseProperty(Velk::LineReader& reader, const Property& property, const char* szLine,
                            AttributeInstance& working) {
    float f = 0.0f;
    int64_t i[3];
    switch (property.kind) {
        case VALUE_FLOAT:
        case VALUE_COMPLEMENT:
            if (reader.takeFloats(Velk::skipWord(szLine), &f, 1) != 1) return {__LINE__, "a number expected"};
            store(working, property.uOffset, property.kind == VALUE_FLOAT ? f : 1.0f - f);
            break;
        case VALUE_INTEGER:
            if (!takeIntegers(reader, szLine, i, 1)) return {__LINE__, "a whole number expected"};
            store(working, property.uOffset, toInt(i[0]));
            break;
        case VALUE_COLOUR: {
            if (!takeIntegers(reader, szLine, i, 3)) return {__LINE__, "three whole numbers expected"};
            if (std::min({i[0], i[1], i[2]}) < 0 || std::max({i[0], i[1], i[2]}) > 255) {
                reader.reportWarning("a colour outside 0 to 255");
            }
            const auto fraction = [](int64_t iPart) {
                return static_cast<float>(static_cast<uint32_t>(toInt(iPart))) / 255.0f;
            };
            store(working, property.uOffset, Velk::NMVector3f{fraction(i[0]), fraction(i[1]), fraction(i[2])});
            break;
        }
        case VALUE_SWITCH:
            if (strstr(strstr(szLine, property.szKeyword) + strlen(property.szKeyword), property.szValue)) {
                working.uFlags |= property.uFlag;
            }
            break;
        case VALUE_IGNORED:
        case VALUE_END:
            break;
    }
    return {};
}

// The property that a line sets, null for none. A keyword counts anywhere in the line, even inside another word. The
// latter is probably a mistake, so it is warned of.
const Property* findProperty(Velk::LineReader& reader, const char* szLine) {
    for (const Property& property : g_properties) {
        const char* szFound = strstr(szLine, property.szKeyword);
        if (!szFound) continue;
        const char* szWord = Velk::skipBlanks(szLine);
        const size_t uLength = static_cast<size_t>(Velk::skipWord(szWord) - szWord);
        if (szFound != szWord || strlen(property.szKeyword) != uLength) {
            reader.reportWarning("read as \"%s\"", property.szKeyword);
        }
        return &property;
    }
    reader.reportWarning("unknown keyword, the line is ignored");
    return nullptr;
}

// Starts a record from the line that names it.
Velk::Refusal parseHeader(const char* szLine, AttributeInstance& working) {
    working = AttributeInstance{};
    if (sscanf(szLine, "%*s %39s", working.szName) != 1 || !strstr(szLine, "Attr")) {
        return {__LINE__, "\"Attr\" and a name expected"};
    }
    return {};
}

}  // namespace

Velk::Refusal Attributes::takeLine(Velk::LineReader& reader, const char* szLine, AttributeInstance& working,
                                   bool& bInside) {
    if (!bInside) {
        bInside = true;
        return parseHeader(szLine, working);
    }
    const Property* pProperty = findProperty(reader, szLine);
    if (!pProperty) return {};
    if (pProperty->kind == VALUE_END) {
        bInside = false;
        // Out of memory: the material is dropped silently. RayTracer::load refuses a scene whose faces refer to it.
        static_cast<void>(vAttributes.PushBack(working));
    }
    return parseProperty(reader, *pProperty, szLine, working);
}

bool Attributes::loadAttributes(const char* szFile) {
    static_cast<void>(vAttributes.create(4, 4));  // on failure the first PushBack tries again
    Velk::LineReader reader(szFile);
    if (!reader.isOpen()) {
        ReportErrorFormat("Failed to open file: %s", Velk::Printable(szFile).text());
        reader.reportOpenFailure();
        return true;
    }
    AttributeInstance working{};
    bool bInside = false;
    while (const char* szLine = reader.nextFilled()) {
        if (const Velk::Refusal refusal = takeLine(reader, szLine, working, bInside)) {
            ReportErrorFormat("Error occured while reading line: %u, in Attributes:%u\n", reader.lineNumber(),
                              refusal.uSourceLine);
            reader.reportError("%s", refusal.szWhat);
            return true;
        }
    }
    if (bInside) {
        Velk::inputWarning(szFile, 0, nullptr, "the material \"%s\" has no \"enddef\" and is dropped", working.szName);
    }
    bLoaded = true;
    return false;
}

void Attributes::releaseAttributes() {
    vAttributes.Release();
    bLoaded = false;
}

}  // namespace rt
