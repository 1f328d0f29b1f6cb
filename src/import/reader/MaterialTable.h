#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "import/model/Model.h"
#include "import/reader/GleamReader.h"
#include "import/reader/TextureTable.h"

struct aiMesh;
struct aiScene;

namespace rt {

/// The model's materials: one for each of the file that a mesh has, and copies with the mean of a mesh's colours.
class MaterialTable {
 public:
    /// All must outlive the table. sSuffix is that of the file, without its dot.
    /// bKeepColours: materials have rules, and the model gets the textures.
    MaterialTable(const aiScene& s, const std::string& sSuffix, bool bKeepColours, ModelFiles& f, Model& m,
                  std::vector<std::string>& v);

    /// The index of mesh number uMesh's material; it is read at its first use. pMean is the mean colour of the mesh's
    /// vertices, as the file has it, null when there is none; uSets has a bit for each set of texture coordinates.
    uint32_t indexOf(const aiMesh& mesh, unsigned uMesh, const std::array<double, 3>* pMean, unsigned uSets);

    /// Of an index that this table gave.
    const ModelMaterial& at(uint32_t uIndex) const { return model.vMaterials[uIndex]; }

    /// Whether colours are light energies.
    bool isLinear() const { return rt::isLinear(eKind); }

    /// The mean of a mesh's own colours. False when it has none.
    static bool meanOf(const aiMesh& mesh, std::array<double, 3>& vMean);

 private:
    ModelMaterial materialOf(unsigned uMaterial);
    uint32_t fileIndex(unsigned uMaterial);
    uint32_t withoutTexture(uint32_t uIndex);
    uint32_t withColours(const aiMesh& mesh, const std::array<double, 3>& vMean);

    const aiScene& scene;
    TextureTable textures;
    Model& model;
    std::vector<std::string>& vNotices;
    const MaterialKind eKind;
    const bool bColours;
    std::vector<uint32_t> vIndices;      // by mesh
    std::vector<uint32_t> vFileIndices;  // by material of the file
};

}  // namespace rt
