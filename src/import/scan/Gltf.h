#pragma once

#include <functional>
#include <string>

#include "import/scan/ModelText.h"

namespace rt {

/// Reads a file that the model names into the text. True when it cannot be read.
using ReadBeside = std::function<bool(const std::string& sName, std::string& sText)>;

/// Makes places and normals of a glTF file that are whole numbers (KHR_mesh_quantization) single-precision ones, which
/// is all that assimp 5.2 reads. Works for ".glb" as well. True with the reason in sReason when the file
/// needs an extension that nobody here knows.
[[nodiscard]] bool rewriteGltf(const std::string& sFile, const ReadBeside& readBeside, ModelText& text,
                               std::string& sReason);

}  // namespace rt
