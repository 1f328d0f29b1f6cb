#pragma once
// Reads a model file through assimp into the scene's world.

#include <string>
#include <vector>

#include "import/Model.h"

namespace Import {

/// Reads the file: triangles of all its meshes in their places, materials, the first camera, the lights. cUp is the
/// axis of the file that points up, 0 for the format's own convention. True on failure (an unreadable file, no triangle
/// with an area, numbers that are not finite), with one line in sMessage.
[[nodiscard]] bool readModel(const std::string& sFile, char cUp, bool bProgress, Model& model, std::string& sMessage,
                             std::vector<std::string>& vNotices);

}  // namespace Import
