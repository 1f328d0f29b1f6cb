#pragma once
// One model part of a 3MF file.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace rt {

/// Red, green, blue and opacity from 0 to 255, and the name of the material, if it has one.
struct Paint {
    std::array<double, 4> vColour{255, 255, 255, 255};
    std::string sName;
};

struct PaintGroup {
    std::vector<Paint> vPaints;
    std::string sTexture;  // path in the file; the first two numbers of a colour are a place in it then, from 0 to 1
};

/// A row a vector: x, y, z become x' = x m[0] + y m[3] + z m[6] + m[9] and so on.
using PartMatrix = std::array<double, 12>;

/// An object, of another part if sPath is not empty, in a place.
struct PartInstance {
    uint32_t uObject = 0;
    std::string sPath;
    PartMatrix matrix{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
};

constexpr uint32_t NO_PAINT = 0xFFFFFFFFu;

struct PartTriangle {
    uint32_t uVertices[3];
    uint32_t uGroup = NO_PAINT, uPaints[3] = {NO_PAINT, NO_PAINT, NO_PAINT};
};

struct PartObject {
    std::vector<std::array<double, 3>> vVertices;
    std::vector<PartTriangle> vTriangles;
    std::vector<PartInstance> vComponents;
    uint32_t uGroup = NO_PAINT, uPaint = NO_PAINT;  // of triangles that have none
    std::string sName;
    bool bOpen = false;  // it is being placed: no component of its own may hold it
};

struct ThreeMfPart {
    std::map<uint32_t, PaintGroup> groups;
    std::map<uint32_t, PartObject> objects;
    std::vector<PartInstance> vItems;

    /// Takes what is understood; indices are not checked.
    void read(const std::string& sXml);
};

}  // namespace rt
