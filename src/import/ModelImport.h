#pragma once
// Turns a model file of any format that assimp reads into a complete scene of this program.

#include <string>
#include <vector>

#include "import/reader/ImportOptions.h"
#include "render/StagedScene.h"

namespace rt {

/// Imports the model file sModel as the scene sName: sScenesRoot/scene_descs/NAME.txt and
/// sScenesRoot/NAME/NAME.{brs,cam,atr,lgt}. The description holds paths that begin with sScenesRoot (or sWrittenRoot),
/// so an absolute root makes a scene that loads from everywhere.
///
/// True on failure, with one line in sMessage and nothing left behind; sMessage says what was imported otherwise.
/// On success, vNotices gets one line for each thing that the scene cannot show as the model has it. The file is read
/// in a child process, so that one that crashes its reader is a failure like any other; when this process dies, that
/// one removes what it has begun and ends. All texts are safe for a terminal. Requires a process of one thread.
[[nodiscard]] bool importModel(const std::string& sModel, const std::string& sScenesRoot, const std::string& sName,
                               const ImportOptions& options, std::string& sMessage, std::vector<std::string>& vNotices);

/// Imports the model file sModel into memory: no file is written. Otherwise as above.
[[nodiscard]] bool importModel(const std::string& sModel, const ImportOptions& options, StagedScene& scene,
                               std::string& sMessage, std::vector<std::string>& vNotices);

/// Ends the import that runs, if any, and returns when it has left nothing behind, or is complete. importModel() must
/// not go on after that. For a signal handler.
void stopImport();

/// The name that a scene gets when the user gives none: the file's, with every character but letters, digits, '.', '_'
/// and '-' turned into '_'.
std::string sceneNameOf(const std::string& sModel);

}  // namespace rt
