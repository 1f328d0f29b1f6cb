#pragma once
// What the corners of a model's triangles have beside their positions.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "scene/SurfaceColours.h"

namespace rt {

/// Where a file's texture coordinates lie in the picture.
struct TextureMap {
    unsigned uSet = 0;  // of the mesh's coordinates
    double dRows[2][3] = {{1, 0, 0},
                          {0, -1, 1}};  // from the left and from the top, of u, v and 1; v is from the bottom

    /// From 0 to 1 in the picture; 0 for numbers that are not finite.
    Velk::NMVector2f place(double u, double v) const;
};

/// Collects them for triangles in the order of their numbers. Those that are left out are at 0 and white.
class CornerColours {
 public:
    void addPlaces(size_t uTriangle, const Velk::NMVector2f (&v2Corners)[3]);
    void addColours(size_t uTriangle, const uint32_t (&uCorners)[3]);

    /// Puts them into vPlaces and vCorners, which stay empty where nothing was added, and is empty then.
    void finish(size_t uTriangles, SurfaceColours& colours);

 private:
    std::vector<Velk::NMVector2f> vPlaces;
    std::vector<uint32_t> vCorners;
};

/// Numbers from 0 to 1 as a corner has them. bLinear: they are light, not what a screen shows.
uint32_t cornerColour(double dRed, double dGreen, double dBlue, double dAlpha, bool bLinear);

/// From 0 to 1, a number that is not finite is 0.
double share(double d);

/// What a screen shows of a share of light.
double toScreen(double d);

/// The light that a screen shows as a number from 0 to 1.
float toLight(double dShown);

}  // namespace rt
