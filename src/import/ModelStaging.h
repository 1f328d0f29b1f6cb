#pragma once
// From a model with its camera and lights to the scene that is rendered.

#include <string>
#include <vector>

#include "import/model/Model.h"
#include "render/StagedScene.h"

namespace rt {

/// The model as a scene, in the very numbers that a scene's files would give. Moves the model's colours and parts out.
StagedScene stageModel(Model& model, const SceneCamera& sceneCamera, const std::vector<SceneLight>& vSceneLights);

/// A material's name as a scene's file has it: one word of printable characters.
std::string materialWord(const std::string& sName);

}  // namespace rt
