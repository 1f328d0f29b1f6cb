// Reads the materials that a model's meshes have.

#include "import/reader/MaterialTable.h"

#include <assimp/commonMetaData.h>
#include <assimp/scene.h>

#include <cstring>

#include "import/model/AssimpTypes.h"
#include "import/reader/MaterialReader.h"

namespace rt {

namespace {

constexpr uint32_t NOT_READ = 0xFFFFFFFFu;

// Black shows no shape. Mirrors, metals and glass live on what is around them.
void lighten(ModelMaterial& material, std::vector<std::string>& vNotices) {
    const auto& c = material.vColour;
    if (c[0] || c[1] || c[2] || material.dReflection > 0 || material.dTransmission > 0) return;
    const ColourRule& rule = material.rule;
    const bool bMetal = rule.fMetal > 0 && (rule.v3Factor.x > 0 || rule.v3Factor.y > 0 || rule.v3Factor.z > 0);
    if (rule.uTexture != NO_INDEX || rule.shines() || bMetal) return;
    material.vColour = {204, 204, 204};
    material.rule = ColourRule();
    vNotices.push_back("material " + shownName(material.sName) + " is black: light grey is taken");
}

// One program writes metals into COLLADA and FBX files as mirrors, and its colours as they are inside.
MaterialKind kindOf(const aiScene& scene, const std::string& sSuffix) {
    if (isGltf(sSuffix)) return MaterialKind::GLTF;
    if (sSuffix == "obj") return MaterialKind::OBJ;
    aiString maker;
    const bool bMaker = scene.mMetaData && scene.mMetaData->Get(AI_METADATA_SOURCE_GENERATOR, maker);
    return bMaker && !strncmp(maker.C_Str(), "Blender", 7) ? MaterialKind::METAL_IN_MIRROR : MaterialKind::PLAIN;
}

// Of a colour as a screen shows it.
Velk::NMVector3f lightOf(const std::array<unsigned, 3>& vColour) {
    const auto light = [](unsigned u) { return toLight(u / 255.0); };
    return {light(vColour[0]), light(vColour[1]), light(vColour[2])};
}

}  // namespace

MaterialTable::MaterialTable(const aiScene& s, const std::string& sSuffix, bool bKeepColours, ModelFiles& f, Model& m,
                             std::vector<std::string>& v)
    : scene(s),
      textures(s, f, bKeepColours ? &m.colours.vTextures : nullptr),
      model(m),
      vNotices(v),
      eKind(kindOf(s, sSuffix)),
      bColours(bKeepColours),
      vIndices(s.mNumMeshes, NOT_READ),
      vFileIndices(s.mNumMaterials, NOT_READ) {}

uint32_t MaterialTable::indexOf(const aiMesh& mesh, unsigned uMesh, const std::array<double, 3>* pMean,
                                unsigned uSets) {
    uint32_t& uIndex = vIndices[uMesh];
    if (uIndex != NOT_READ) return uIndex;
    uIndex = pMean ? withColours(mesh, *pMean) : fileIndex(mesh.mMaterialIndex);
    const ModelMaterial& material = model.vMaterials[uIndex];
    const bool bPlaced = material.map.uSet < 32 && uSets >> material.map.uSet & 1;
    if (material.rule.hasTextures() && !bPlaced) uIndex = withoutTexture(uIndex);
    return uIndex;
}

// A material of the same mean colour for a mesh that has no places in the texture.
uint32_t MaterialTable::withoutTexture(uint32_t uIndex) {
    ModelMaterial material = model.vMaterials[uIndex];
    ColourRule& rule = material.rule;
    if (rule.uMetal != NO_INDEX) rule.fMetal = 0;
    if (rule.uEmission != NO_INDEX) rule.v3Emission = {0, 0, 0};
    rule.dropTextures();
    rule.fCutoff = 0;
    if (!rule.bVertices) rule.v3Factor = lightOf(material.vColour);
    lighten(material, vNotices);
    model.vMaterials.push_back(material);
    return static_cast<uint32_t>(model.vMaterials.size() - 1);
}

uint32_t MaterialTable::withColours(const aiMesh& mesh, const std::array<double, 3>& vMean) {
    model.vMaterials.push_back(materialOf(mesh.mMaterialIndex));
    ModelMaterial& material = model.vMaterials.back();
    const auto vShown = screenColour(vMean[0], vMean[1], vMean[2], isLinear());
    for (unsigned u = 0; u < 3; ++u) {
        material.vColour[u] = eKind == MaterialKind::GLTF ? material.vColour[u] * vShown[u] / 255 : vShown[u];
    }
    material.rule.bVertices = bColours ? 1 : 0;
    if (eKind != MaterialKind::GLTF) material.rule.v3Factor = {1, 1, 1};
    lighten(material, vNotices);
    if (!bColours)
        vNotices.push_back("material " + shownName(material.sName) + " has a colour a vertex: their mean is taken");
    return static_cast<uint32_t>(model.vMaterials.size() - 1);
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
    return readMaterial(*scene.mMaterials[uMaterial], textures, eKind, vNotices);
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
