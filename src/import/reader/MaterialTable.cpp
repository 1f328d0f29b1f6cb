// Reads the materials that a model's meshes have.

#include "import/reader/MaterialTable.h"

#include <assimp/scene.h>

#include "import/reader/MaterialReader.h"

namespace rt {

namespace {

constexpr uint32_t NOT_READ = 0xFFFFFFFFu;

// Black shows no shape. Mirrors and glass live on what is around them.
void lighten(ModelMaterial& material, std::vector<std::string>& vNotices) {
    const auto& c = material.vColour;
    if (c[0] || c[1] || c[2] || material.dReflection > 0 || material.dTransmission > 0) return;
    material.vColour = {204, 204, 204};
    vNotices.push_back("material " + shownName(material.sName) + " is black: light grey is taken");
}

}  // namespace

MaterialTable::MaterialTable(const aiScene& s, bool bGltf, ModelFiles& f, Model& m, std::vector<std::string>& v)
    : scene(s),
      files(f),
      model(m),
      vNotices(v),
      bLinear(bGltf),
      vIndices(s.mNumMeshes, NOT_READ),
      vFileIndices(s.mNumMaterials, NOT_READ) {}

uint32_t MaterialTable::indexOf(const aiMesh& mesh, unsigned uMesh, const std::array<double, 3>* pMean) {
    uint32_t& uIndex = vIndices[uMesh];
    if (uIndex != NOT_READ) return uIndex;
    if (!pMean) return uIndex = fileIndex(mesh.mMaterialIndex);
    model.vMaterials.push_back(materialOf(mesh.mMaterialIndex));
    ModelMaterial& material = model.vMaterials.back();
    const auto vMean = screenColour((*pMean)[0], (*pMean)[1], (*pMean)[2], bLinear);
    for (unsigned u = 0; u < 3; ++u) {
        material.vColour[u] = bLinear ? material.vColour[u] * vMean[u] / 255 : vMean[u];
    }
    lighten(material, vNotices);
    vNotices.push_back("material " + shownName(material.sName) + " has a colour a vertex: their mean is taken");
    return uIndex = static_cast<uint32_t>(model.vMaterials.size() - 1);
}

bool MaterialTable::meanOf(const aiMesh& mesh, std::array<double, 3>& vMean) {
    if (!mesh.mColors[0] || mesh.mNumVertices == 0) return false;
    vMean = {0, 0, 0};
    for (unsigned u = 0; u < mesh.mNumVertices; ++u) {
        const aiColor4D& c = mesh.mColors[0][u];
        vMean[0] += static_cast<double>(c.r), vMean[1] += static_cast<double>(c.g),
            vMean[2] += static_cast<double>(c.b);
    }
    for (double& d : vMean) d /= mesh.mNumVertices;
    return true;
}

ModelMaterial MaterialTable::materialOf(unsigned uMaterial) {
    if (uMaterial >= scene.mNumMaterials) return ModelMaterial();
    return readMaterial(*scene.mMaterials[uMaterial], scene, files, bLinear, vNotices);
}

uint32_t MaterialTable::fileIndex(unsigned uMaterial) {
    uint32_t uUnknown = NOT_READ;
    uint32_t& uIndex = uMaterial < vFileIndices.size() ? vFileIndices[uMaterial] : uUnknown;
    if (uIndex == NOT_READ) {
        uIndex = static_cast<uint32_t>(model.vMaterials.size());
        model.vMaterials.push_back(materialOf(uMaterial));
        lighten(model.vMaterials.back(), vNotices);
    }
    return uIndex;
}

}  // namespace rt
