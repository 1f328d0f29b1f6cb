#pragma once

#include <cstdint>

#include "scene/Lights.h"

namespace rt {

/// Reads lights in the older format, where fixtures place light definitions, and writes them in the current one. For
/// the converter: the renderer uses Lights only.
class OldLights {
 public:
    bool bLoaded = false;
    Light* pLights = nullptr;  // owned; the directions are as read, not unit vectors
    uint32_t uCount = 0;

    OldLights() = default;
    ~OldLights() { releaseLights(); }
    OldLights(const OldLights&) = delete;
    OldLights& operator=(const OldLights&) = delete;

    /// Reads a file in the older format: one light for each fixture, in file order. Numbers that a block does not give
    /// are 0. True on failure, which is logged with the line; there are no lights then.
    [[nodiscard]] bool loadLights(const char* szFile);

    void releaseLights();

    /// Writes the lights as Lights::loadLights reads them, the whole file or none. True on failure, which is logged.
    [[nodiscard]] bool saveLights(const char* szFile) const;
};

}  // namespace rt
