#pragma once
// A model between reading and writing: triangles, materials, and the camera and lights that its file gave.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/Vectors.h"
#include "import/colours/CornerColours.h"
#include "import/model/Vector3d.h"
#include "scene/SceneParts.h"

namespace rt {

/// A block of the materials file. dTransmission is the share of light that goes through; the file holds one minus it.
struct ModelMaterial {
    std::string sName;
    std::array<unsigned, 3> vColour{232, 210, 182};  // 0 to 255, as a screen shows them
    double dDiffuse = 0.8, dSpecular = 0.0, dReflection = 0.0, dTransmission = 0.0, dEta = 1.0;
    unsigned uExponent = 2;  // even: an odd power of a negative base would take light away
    bool bSmooth = false;
    ColourRule rule;  // the default one: all of it has vColour
    TextureMap map;   // where the rule's texture lies
};

struct ModelTriangle {
    uint32_t uVertices[3];  // counter-clockwise as seen from outside
    uint32_t uMaterial;
};

/// An eye in the scene's world. Half the picture's width and height, seen from distance 1; 0 when the file does not
/// say.
struct ModelCamera {
    Vector3d v3Eye, v3Forward, v3Up;
    double dHalfWidth = 0.0, dHalfHeight = 0.0;
    bool bDefault = false;  // an editor put it there, not a person
};

/// A lamp of the file. A directional light has no place; bDirectional says that v3Direction counts. The illuminance it
/// gives at distance d is dIntensity / (vFalloff[0] + vFalloff[1] d + vFalloff[2] d²), in a unit that only the file
/// knows.
struct ModelLight {
    bool bDirectional = false;
    Vector3d v3Position, v3Direction;
    double dIntensity = 0.0;
    std::array<double, 3> vFalloff{1, 0, 0};
};

/// Positions lie in the scene's world: x to the right, y up, z into the picture.
struct Model {
    std::vector<Velk::NMVector3f> vVertices;
    std::vector<ModelTriangle> vTriangles;
    std::vector<ModelMaterial> vMaterials;
    SurfaceColours colours;  // of the first triangles; the others have none. Rules are the materials'
    SceneParts parts;
    std::optional<ModelCamera> camera;
    std::vector<ModelLight> vLights;
    Box3d box;
    bool bGround = false;  // the last material is that of a ground that was put under it
};

/// A light as the lights file has it.
struct SceneLight {
    Vector3d v3Position;
    double dFlux = 0.0;
};

/// The three corners of the screen as the camera file wants them, and the eye.
struct SceneCamera {
    Vector3d v3Eye, v3Corners[3];
    uint32_t uWidth = 0, uHeight = 0;
};

}  // namespace rt
