#pragma once

#include <cstdint>

#include "base/LineReader.h"
#include "base/NArrays.h"
#include "base/Vectors.h"

namespace rt {

/// Bits of AttributeInstance::uFlags. Shading looks at AF_SMOOTH only.
enum AttributeFlag : uint32_t {
    AF_SELF_LUM_POS = 0x01,
    AF_ONE_SHEET = 0x02,
    AF_REFLECTION = 0x04,
    AF_INDIRECT = 0x08,
    AF_MIRROR = 0x10,
    AF_SHADOW_CAST = 0x20,
    AF_SHADOW_FALL = 0x40,
    AF_SMOOTH = 0x80,
};

/// One material. Properties that its block in the file does not set are 0.
struct AttributeInstance {
    char szName[40];
    float fKd;   // diffuse
    float fKs;   // specular
    float fKts;  // reflection weight
    float fKtd;
    float fKa;
    float fKf;    // refraction weight: one minus the number in the file
    int32_t iGs;  // specular exponent, used as unsigned
    int32_t iGm;
    float fSelfLuminance;
    float fFt;
    float fEta;  // refractive index
    Velk::NMVector3f v3Color;
    uint32_t uFlags;
};
static_assert(sizeof(AttributeInstance) == 100, "the material record");

/// The scene's materials; a face's attribute index selects one.
class Attributes {
 public:
    bool bLoaded = false;
    Velk::NDataVector<AttributeInstance> vAttributes;

    Attributes() = default;
    ~Attributes() { releaseAttributes(); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    /// Reads an attribute file. Requires that none is loaded. True on failure, which is logged with the line; the
    /// materials before it stay. A material for which there is no memory is dropped silently.
    [[nodiscard]] bool loadAttributes(const char* szFile);

    void releaseAttributes();

 private:
    Velk::Refusal takeLine(Velk::LineReader& reader, const char* szLine, AttributeInstance& working, bool& bInside);
};

}  // namespace rt
