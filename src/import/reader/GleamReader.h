#pragma once
// How a material of a model file gleams and shines, where it says more than the materials file can hold.

#include <string>
#include <vector>

#include "import/model/Model.h"
#include "import/reader/TextureTable.h"

struct aiMaterial;

namespace rt {

/// What the numbers of a file's materials mean. METAL_IN_MIRROR: a metal is a material that mirrors.
enum class MaterialKind { PLAIN, OBJ, GLTF, METAL_IN_MIRROR };

/// Whether its colours are light energies, not what a screen shows.
constexpr bool isLinear(MaterialKind eKind) {
    return eKind == MaterialKind::GLTF || eKind == MaterialKind::METAL_IN_MIRROR;
}

/// Completes the rule of a material that is read but for this: metal and roughness, light of its own, and the mask
/// of its holes. Textures that lie elsewhere than those before them count as their mean, masks not at all. A notice
/// tells of those that cannot be read.
void readGleam(const aiMaterial& material, TextureTable& textures, MaterialKind eKind, ModelMaterial& result,
               std::vector<std::string>& vNotices);

/// What assimp tells of how a texture repeats, and where it lies.
TextureImage::Wrap textureWrapOf(int iMode);
TextureMap textureMapOf(const aiMaterial& material, unsigned uType, unsigned uSet, bool bGltf);

}  // namespace rt
