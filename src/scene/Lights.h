#pragma once

#include <cstdint>

#include "base/LineReader.h"
#include "base/Vectors.h"

namespace rt {

/// One point light.
struct Light {
    Velk::NMVector3f v3Position;
    Velk::NMVector3f v3Direction;  // unit vector; shading does not use it
    float fFlux;
};
static_assert(sizeof(Light) == 28, "two vectors and the flux");

/// The scene's point lights.
class Lights {
 public:
    bool bLoaded = false;
    Light* pLights = nullptr;  // owned
    uint32_t uCount = 0;

    Lights() = default;
    ~Lights() { releaseLights(); }
    Lights(const Lights&) = delete;
    Lights& operator=(const Lights&) = delete;

    /// Reads a lights file. Requires that none are loaded. Warns when there are fewer lights than declared, and when
    /// there are more, which are ignored. True on failure, which is logged with the line; the lights before it stay.
    [[nodiscard]] bool loadLights(const char* szFile);

    /// Adds one light. True without memory; nothing has changed then.
    [[nodiscard]] bool add(const Light& light);

    void releaseLights();

    /// Scales the positions.
    void applyDomainFactor(float fFactor);

 private:
    Velk::Refusal parse(Velk::LineReader& reader, const char* szFile);
};

}  // namespace rt
