#pragma once

#include <cstdint>
#include <vector>

#include "base/Vectors.h"

namespace rt {

/// The light of a picture that goes all around: the first row is above, the middle column lies ahead (along z), the
/// right one of it to the right (along x). It stands still in the scene's world. Its one or two brightest places become
/// lamps, the rest is the sky that fills what they leave dark. The light is scaled so that white paper, however it is
/// turned, stays below a screen's white. Constant, so that threads share it.
class SkyMap {
 public:
    static constexpr unsigned LAMPS = 2;
    static constexpr unsigned LAMP_DIRECTIONS = 32;   // of each
    static constexpr unsigned FEW = 256, MANY = 768;  // directions of the sky

    /// A bright place.
    struct Lamp {
        Velk::NMVector3f v3To{0, 1, 0};          // its middle, unit
        Velk::NMVector3f v3Irradiance{0, 0, 0};  // of a surface that faces it; black when there is no such lamp
        float fEdge = 0.99f;                     // cosine of half the angle that it fills
        Velk::NMVector3f v3Directions[LAMP_DIRECTIONS] = {};
    };

    struct Direction {
        Velk::NMVector3f v3;
        float fShare;  // the light that it stands for, 1 for most
    };

    /// From red, green and blue of uWidth x uHeight pixels as light, finite and not negative, turned to the right by
    /// fTurn degrees.
    SkyMap(const float* pLight, uint32_t uWidth, uint32_t uHeight, float fTurn);

    /// True when there is no light at all.
    bool isDark() const { return !(fScale > 0.0f); }

    const Lamp& lamp(unsigned u) const { return lamps[u]; }

    /// One of uCount directions of the sky, FEW or MANY, which are closer together where it is bright.
    const Direction& direction(unsigned u, unsigned uCount) const { return uCount == FEW ? vFew[u] : vMany[u]; }

    /// The light that an open surface gets of the sky without lamps.
    Velk::NMVector3f irradiance(const Velk::NMVector3f& v3Normal) const;

    /// What is seen in a direction, lamps included.
    Velk::NMVector3f radiance(const Velk::NMVector3f& v3Dir) const;

    /// What a rough mirror gathers of the sky without lamps around a direction; roughness from 0 to 1.
    Velk::NMVector3f gleam(const Velk::NMVector3f& v3Dir, float fRough) const;

 private:
    /// Pixels all around.
    struct Grid {
        uint32_t uWidth = 0, uHeight = 0;
        std::vector<Velk::NMVector3f> vLight;

        Velk::NMVector3f at(float fAcross, float fDown) const;
        Grid reduced(uint32_t uMostWide, uint32_t uMostHigh) const;
    };

    Velk::NMVector3f directionOf(double dAcross, double dDown) const;
    Velk::NMVector3f directionOf(const Grid& grid, uint32_t x, uint32_t y) const;
    Velk::NMVector2f placeOf(const Velk::NMVector3f& v3Dir) const;
    std::vector<float> anglesOf(const Grid& grid) const;
    float thresholdOf(const Grid& sky) const;
    void takeLamp(Lamp& lamp, Grid& sky, float fThreshold) const;
    std::vector<Direction> spread(const Grid& sky, unsigned uCount) const;
    void findIrradiance(const Grid& sky);
    Grid blurred(const Grid& sky, uint32_t uWidth, uint32_t uHeight, float fRough) const;
    float brightestPaper() const;

    static constexpr unsigned LEVELS = 4;

    float fTurned;  // in columns of the whole picture, 0 to 1
    float fScale = 0.0f;
    Grid whole;
    Lamp lamps[LAMPS];
    Grid levels[LEVELS];  // of the sky, each blurred more
    Velk::NMVector3f v3Waves[9] = {};
    std::vector<Direction> vFew, vMany;
};

}  // namespace rt
