#pragma once
// Puts an imported model on stage: a ground, a camera that frames it, lights that show it.

#include <string>
#include <vector>

#include "import/ModelImport.h"
#include "import/model/Model.h"

namespace rt {

constexpr const char* GROUND_NAME = "ground";

/// The camera: the options' where they name a place, the model's own where it has one that shows the model, otherwise
/// three-quarter from the front with the whole model inside. A notice tells of an own one that is not taken. Requires a
/// model with a box.
SceneCamera placeCamera(const Model& model, const ImportOptions& options, std::vector<std::string>& vNotices);

/// The lights: the model's own, scaled to a good exposure, with a weak one from the eye; otherwise a key, a fill and a
/// rim light that move with the camera. The positions are slightly uneven, because a light exactly level with many
/// vertices makes holes in shadows.
std::vector<SceneLight> placeLights(const Model& model, const SceneCamera& camera);

/// Adds a square under the model, with the last material of all, GROUND_NAME. Call it last: it is no part of what the
/// camera frames.
void addGround(Model& model);

/// Adds a closed room around the model, the eye and the lamps, with a chequered floor: a mirror shows what is around
/// it, and around a model alone is only darkness. As addGround() otherwise.
void addRoom(Model& model, const SceneCamera& camera);

/// Gives the whole model one material.
void replaceMaterials(Model& model, ImportOptions::Material eMaterial);

}  // namespace rt
