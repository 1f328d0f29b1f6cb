#pragma once
// Turns a material of a model file into one of the materials file.

#include <string>
#include <vector>

#include "import/Model.h"

struct aiMaterial;
struct aiScene;

namespace Import {

/// What a material becomes. bLinear says that the file's colours are light energies (glTF) and not what a screen shows.
/// sFolder is where the file's textures lie. A texture is replaced by its mean colour, which a notice says.
ModelMaterial readMaterial(const aiMaterial& material, const aiScene& scene, const std::string& sFolder, bool bLinear,
                           std::vector<std::string>& vNotices);

/// 0 to 255 as a screen shows it.
std::array<unsigned, 3> screenColour(double dRed, double dGreen, double dBlue, bool bLinear);

}  // namespace Import
