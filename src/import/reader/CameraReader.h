#pragma once
// Takes a model file's own camera and lamps into the scene's world.

#include <string>

#include "import/model/Model.h"

struct aiScene;

namespace rt {

/// Fills model.camera with the first camera, if the file has one that can be used. world maps the file's coordinates to
/// the scene's.
void readCamera(const aiScene& scene, const std::string& sFile, const Map3d& world, Model& model);

/// Fills model.vLights with the lamps that shine, but for the one of every new file of Blender. dScale is the world's.
void readLights(const aiScene& scene, const Map3d& world, double dScale, Model& model);

}  // namespace rt
