#pragma once

#include <string>
#include <vector>

#include "scene/SceneDesc.h"

namespace rt {

/// Path, hash and size of a scene's five files, a line each. Comparing those of two machines tells whether they render
/// the same scene, which the protocol cannot. Only regular files are read; of any other file the line has the reason.
std::vector<std::string> describeSceneFiles(const char* szDescription, const SceneDesc& desc);

/// Logs them, each after "Scene file ", and returns them.
std::vector<std::string> logSceneFiles(const char* szDescription, const SceneDesc& desc);

}  // namespace rt
