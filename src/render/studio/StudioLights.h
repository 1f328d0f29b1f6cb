#pragma once

#include "base/Vectors.h"
#include "render/Frame.h"
#include "render/studio/SkyMap.h"

namespace rt {

/// The light of a studio that turns with the camera: a large soft key light from above the photographer's left
/// shoulder, a rim light from behind, and a bright sky all around that fills what they leave dark. All of them are
/// infinitely far away, and each is a fixed set of directions. A picture of a sky may take the place of all: its
/// brightest places are then the lamps. A pixel asks one of PHASES groups, which spreads over
/// all of the sky and some of the lamps; neighbouring pixels ask different groups and share the answers.
class StudioLights {
 public:
    static constexpr unsigned PHASES = 64;
    static constexpr unsigned LAMP_PHASES = 16;  // phases that agree modulo this ask the same of the lamps
    enum Kind { KEY, RIM, SKY, KINDS };

    /// Where a light's ray goes.
    struct Direction {
        Velk::NMVector3f v3;
        Kind eKind;
        float fShare = 1.0f;  // how much more light comes from there than from others of the kind
    };
    static constexpr unsigned PER_PHASE = 7;        // 2 of the key light, 1 of the rim light, 4 of the sky
    static constexpr unsigned PER_PHASE_FLAT = 19;  // and 12 of the sky, for a large plane: there a few would show

    /// The studio of a picture. pSkyMap: null, or the light that takes its place, which must outlive it.
    StudioLights(const Frame& frame, const SkyMap* pSkyMap);

    const Direction& direction(unsigned uPhase, unsigned u) const { return directions[uPhase][u]; }

    /// The light that an open surface with a unit normal gets of a kind.
    Velk::NMVector3f irradiance(Kind eKind, const Velk::NMVector3f& v3Normal) const;

    /// What a mirror sees of the studio in a direction.
    Velk::NMVector3f radiance(const Velk::NMVector3f& v3Dir) const;

    /// What a rough mirror gathers of a kind around a direction, as if all of it were open: 0 is a mirror, 1 nearly
    /// matte.
    Velk::NMVector3f gleam(Kind eKind, const Velk::NMVector3f& v3Dir, float fRough) const;

    const Velk::NMVector3f& toKey() const { return v3Key; }
    const Velk::NMVector3f& toRim() const { return v3Rim; }

 private:
    Velk::NMVector3f v3Key, v3Rim;  // their middles
    const SkyMap* const pSky;
    Direction directions[PHASES][PER_PHASE_FLAT];
};

/// The group of a pixel: each square of 8 x 8 has all of them, each of 4 x 4 all that lamps know.
unsigned phaseOf(int32_t x, int32_t y);

}  // namespace rt
