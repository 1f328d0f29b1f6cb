#pragma once
// Turns a material of a model file into one of the materials file.

#include <string>
#include <vector>

#include "import/model/Model.h"
#include "import/reader/GleamReader.h"
#include "import/reader/TextureTable.h"

struct aiMaterial;

namespace rt {

/// What a material becomes. The colours of glTF are light energies and not what a screen shows. texture of files gives
/// its mean colour, and its picture where the table keeps pictures. A notice tells of one that
/// cannot be read, or is not kept.
ModelMaterial readMaterial(const aiMaterial& material, TextureTable& textures, MaterialKind eKind,
                           std::vector<std::string>& vNotices);

/// A material's name or texture as a notice shows it: safe for a terminal, and cut before it hides the rest.
std::string shownName(const std::string& sName);

/// 0 to 255 as a screen shows it.
std::array<unsigned, 3> screenColour(double dRed, double dGreen, double dBlue, bool bLinear);

}  // namespace rt
