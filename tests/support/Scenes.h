#pragma once

#include <string>

#include "render/RayTracer.h"
#include "support/Meshes.h"

using namespace rt;

/// The text of a scene's files.
struct SceneText {
    std::string sGeometry, sCamera, sAttributes, sLights;

    /// Writes Scenes/scene_descs/NAME.txt and Scenes/NAME/NAME.{brs,cam,atr,lgt}.
    void write(const std::string& sName) const;
};

/// A mesh seen from the front, lit by two lights, with four materials: 0 matte, 1 matte and smooth (meant for bricks),
/// 2 mirror, 3 smooth glass.
SceneText makeScene(const Mesh& mesh, unsigned uWidth, unsigned uHeight);

/// A wall, a floor, a mirror, a smooth ball and one of glass.
Mesh makeShowcase();

/// Renders a scene of this description, at this size, with the camera file's view and with --camera naming the same eye
/// and direction. Returns how many pixels differ.
unsigned differingWithOwnCamera(const std::string& sDescription, unsigned uWidth, unsigned uHeight);

/// Renders the whole image by packs.
std::string renderPacks(RayTracer& rayTracer, unsigned uPackSize);
