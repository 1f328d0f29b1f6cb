#pragma once
// Reads a model file through assimp into the scene's world.

#include <string>
#include <vector>

#include "import/model/Model.h"
#include "import/reader/ImportOptions.h"

namespace rt {

/// Reads the file and those that it names: triangles of all its meshes in their places, materials, the first camera,
/// the lights. Of the options count cUp, bAllowOutside, bOwnAxes, bColours and bProgress. True on failure (an
/// unreadable file, no triangle with an area, numbers that are not finite), with one line in sMessage.
[[nodiscard]] bool readModel(const std::string& sFile, const ImportOptions& options, Model& model,
                             std::string& sMessage, std::vector<std::string>& vNotices);

/// Words for what a format's reader, or an exception, says about a file.
std::string readerReason(const std::string& sFile, const std::string& sSaid);

}  // namespace rt
