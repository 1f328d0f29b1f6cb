#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "import/reader/Model.h"
#include "import/reader/ModelFiles.h"

struct aiMesh;
struct aiScene;

namespace rt {

/// The model's materials: one for each of the file that a mesh has, and copies with the mean of a mesh's colours.
class MaterialTable {
 public:
    /// All must outlive the table. bGltf says that colours are light energies.
    MaterialTable(const aiScene& s, bool bGltf, ModelFiles& f, Model& m, std::vector<std::string>& v);

    /// The index of mesh number uMesh's material; it is read at its first use. pMean is the mean colour of the mesh's
    /// vertices, as the file has it, null when there is none.
    uint32_t indexOf(const aiMesh& mesh, unsigned uMesh, const std::array<double, 3>* pMean);

    /// The mean of a mesh's own colours. False when it has none.
    static bool meanOf(const aiMesh& mesh, std::array<double, 3>& vMean);

 private:
    ModelMaterial materialOf(unsigned uMaterial);
    uint32_t fileIndex(unsigned uMaterial);

    const aiScene& scene;
    ModelFiles& files;
    Model& model;
    std::vector<std::string>& vNotices;
    bool bLinear;
    std::vector<uint32_t> vIndices;      // by mesh
    std::vector<uint32_t> vFileIndices;  // by material of the file
};

}  // namespace rt
