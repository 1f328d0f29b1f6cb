#pragma once
// Turns a material of a model file into one of the materials file.

#include <string>
#include <vector>

#include "import/reader/Model.h"
#include "import/reader/ModelFiles.h"

struct aiMaterial;
struct aiScene;

namespace rt {

/// What a material becomes. bLinear says that the file's colours are light energies (glTF) and not what a screen shows.
/// A texture of files is replaced by its mean colour, or not at all when it cannot be read; a notice says which.
ModelMaterial readMaterial(const aiMaterial& material, const aiScene& scene, ModelFiles& files, bool bLinear,
                           std::vector<std::string>& vNotices);

/// A material's name or texture as a notice shows it: safe for a terminal, and cut before it hides the rest.
std::string shownName(const std::string& sName);

/// 0 to 255 as a screen shows it.
std::array<unsigned, 3> screenColour(double dRed, double dGreen, double dBlue, bool bLinear);

}  // namespace rt
