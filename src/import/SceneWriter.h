#pragma once
// Writes an imported scene's five files, all of them or none.

#include <string>
#include <vector>

#include "import/model/Model.h"

namespace rt {

struct ScenePaths {
    std::string sRoot;     // directory of the scenes
    std::string sWritten;  // the same directory as the description names it
    std::string sName;
};

/// True, with a line in sMessage, when there is a scene of this name already or its name or paths are not fit for a
/// description.
[[nodiscard]] bool checkTarget(const ScenePaths& paths, bool bForce, std::string& sMessage);

/// Writes the files; numbers read back to the same floats. True on failure, with a line in sMessage; what was there
/// before is then still there, and directories made for it are gone. A signal waits while the files get their names.
[[nodiscard]] bool writeScene(const ScenePaths& paths, const Model& model, const SceneCamera& camera,
                              const std::vector<SceneLight>& vLights, std::string& sMessage);

/// Removes what writeScene() has begun, for a process that is about to end. May be called from a signal handler.
void removeUnfinishedScene();

}  // namespace rt
