// Turns a material of a model file into one of the materials file.

#include "import/reader/MaterialReader.h"

#include <assimp/GltfMaterial.h>
#include <assimp/ObjMaterial.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>

#include "base/Printable.h"

namespace rt {

namespace {

constexpr size_t LONGEST_SHOWN = 200;  // bytes of a name in a notice

double luminance(const aiColor3D& c) {
    return 0.3 * static_cast<double>(c.r) + 0.6 * static_cast<double>(c.g) + 0.1 * static_cast<double>(c.b);
}

// A number of the material, or the default.
double number(const aiMaterial& material, const char* szKey, unsigned uType, unsigned uIndex, double dDefault) {
    ai_real f = 0;
    if (material.Get(szKey, uType, uIndex, f) != aiReturn_SUCCESS || !std::isfinite(f)) return dDefault;
    return static_cast<double>(f);
}

bool colour(const aiMaterial& material, const char* szKey, unsigned uType, unsigned uIndex, aiColor3D& c) {
    return material.Get(szKey, uType, uIndex, c) == aiReturn_SUCCESS;
}

// An even exponent near the wanted one.
unsigned exponentOf(double d) {
    return 2 * static_cast<unsigned>(std::lround(std::clamp(d, 2.0, 1000.0) / 2.0));
}

// Below which alpha a texture with holes has one.
float cutoffOf(const aiMaterial& material, bool bGltf, bool bHoles) {
    if (!bGltf) return bHoles ? 0.5f : 0.0f;
    aiString mode;
    (void)material.Get(AI_MATKEY_GLTF_ALPHAMODE, mode);
    if (mode == aiString("BLEND")) return 0.5f;
    const double dCutoff = number(material, AI_MATKEY_GLTF_ALPHACUTOFF, 0.5);
    return mode == aiString("MASK") ? static_cast<float>(share(dCutoff)) : 0.0f;
}

// Takes a texture and its mean colour; c is the factor that the file multiplies it with.
void takeTexture(const aiMaterial& material, TextureTable& textures, bool bGltf, ModelMaterial& result,
                 const aiColor3D& c, std::vector<std::string>& vNotices) {
    for (const aiTextureType eType : {aiTextureType_BASE_COLOR, aiTextureType_DIFFUSE}) {
        aiString path;
        unsigned uSet = 0;
        aiTextureMapMode modes[3] = {aiTextureMapMode_Wrap, aiTextureMapMode_Wrap, aiTextureMapMode_Wrap};
        if (material.GetTexture(eType, 0, &path, nullptr, &uSet, nullptr, nullptr, modes) != aiReturn_SUCCESS) continue;
        const std::string sText = "material " + shownName(result.sName) + ": texture " + shownName(path.C_Str());
        const TextureTable::Entry& entry =
            textures.find(path.C_Str(), textureWrapOf(modes[0]), textureWrapOf(modes[1]), TextureTable::Use::COLOUR);
        if (entry.szFault) {
            vNotices.push_back(sText + " cannot be read, its colour is the material's: " + entry.szFault);
            return;
        }
        // Files without a colour beside the texture mean white, and readers put grey or black there.
        const bool bFactor = bGltf && luminance(c) > 0;
        const auto factor = [&](ai_real f) { return bFactor ? toScreen(share(static_cast<double>(f))) : 1.0; };
        result.vColour =
            screenColour(entry.mean[0] * factor(c.r), entry.mean[1] * factor(c.g), entry.mean[2] * factor(c.b), false);
        result.rule.uTexture = entry.uIndex;
        result.rule.fCutoff = cutoffOf(material, bGltf, entry.bHoles);
        result.map = textureMapOf(material, eType, uSet, bGltf);
        if (entry.bLeftOut)
            vNotices.push_back(sText + " becomes its mean colour, since all textures take too much memory");
        else if (entry.uIndex == NO_INDEX)
            vNotices.push_back(sText + " becomes its mean colour");
        return;
    }
}

// Metal and roughness, as glTF has them. A metal keeps some of its own colour: around most models is only darkness to
// be mirrored.
void takeMetal(const aiMaterial& material, ModelMaterial& result) {
    const double dRough = share(number(material, AI_MATKEY_ROUGHNESS_FACTOR, 1.0));
    const double dMetal = share(number(material, AI_MATKEY_METALLIC_FACTOR, 0.0));
    const double dGloss = (1.0 - dRough) * (1.0 - dRough);
    result.dSpecular = (0.4 + 0.6 * dMetal) * dGloss;
    const double dAlpha = std::max(dRough * dRough, 0.03);
    result.uExponent = exponentOf(2.0 / (dAlpha * dAlpha) - 2.0);
    result.dReflection = 0.4 * dMetal * dGloss;
}

// Highlights as OBJ, COLLADA and FBX have them.
void takeHighlight(const aiMaterial& material, ModelMaterial& result) {
    aiColor3D c(0, 0, 0);
    (void)colour(material, AI_MATKEY_COLOR_SPECULAR, c);
    const double dShininess = number(material, AI_MATKEY_SHININESS, 0.0);
    if (!(dShininess >= 1.0)) return;
    // A wide highlight is a second diffuse light and would burn out.
    const double dStrength = number(material, AI_MATKEY_SHININESS_STRENGTH, 1.0);
    result.uExponent = exponentOf(dShininess);
    result.dSpecular = 0.6 * share(luminance(c)) * share(dStrength) * std::min(1.0, dShininess / 20.0);
}

// Mirrors and glass: what the file says outright, and OBJ's models of illumination.
void takeTransport(const aiMaterial& material, bool bGltf, ModelMaterial& result, std::vector<std::string>& vNotices) {
    int iModel = 0;
    aiColor3D c(0, 0, 0);
    (void)colour(material, AI_MATKEY_COLOR_SPECULAR, c);
    (void)material.Get(AI_MATKEY_OBJ_ILLUM, iModel);
    const bool bMirror = iModel == 3 || iModel == 5, bGlass = iModel == 4 || iModel == 6 || iModel == 7 || iModel == 9;
    const double dReflectivity = share(number(material, AI_MATKEY_REFLECTIVITY, 0.0));
    if (dReflectivity > 0 && dReflectivity < 1) result.dReflection = std::max(result.dReflection, dReflectivity);
    if (bMirror) result.dReflection = std::max(result.dReflection, 0.9 * share(luminance(c)));

    double dOpacity = share(number(material, AI_MATKEY_OPACITY, 1.0));
    if (dOpacity == 0.0 && !bGlass && !bGltf) {  // some programs write transparency where others want its opposite
        dOpacity = 1.0;
        vNotices.push_back("material " + shownName(result.sName) + " could not be seen: it is taken as opaque");
    }
    const double dIndex = number(material, AI_MATKEY_REFRACTI, 1.0);
    result.dTransmission = std::max(1.0 - dOpacity, share(number(material, AI_MATKEY_TRANSMISSION_FACTOR, 0.0)));
    if (bGlass && result.dTransmission == 0.0) result.dTransmission = 0.9;
    if (result.dTransmission == 0.0) return;
    result.dEta = dIndex > 1.0 && dIndex < 4.0 ? dIndex : bGlass ? 1.5 : 1.0;
    result.dDiffuse *= 1.0 - 0.9 * result.dTransmission;
    if (result.dEta > 1.0) result.dReflection = std::max(result.dReflection, 0.08);
}

}  // namespace

std::array<unsigned, 3> screenColour(double dRed, double dGreen, double dBlue, bool bLinear) {
    const auto component = [bLinear](double d) {
        const double dShown = bLinear ? toScreen(share(d)) : share(d);
        return static_cast<unsigned>(std::lround(255.0 * dShown));
    };
    return {component(dRed), component(dGreen), component(dBlue)};
}

std::string shownName(const std::string& sName) {
    return Velk::Printable(sName.data(), sName.size(), LONGEST_SHOWN).text();
}

ModelMaterial readMaterial(const aiMaterial& material, TextureTable& textures, MaterialKind eKind,
                           std::vector<std::string>& vNotices) {
    const bool bLinear = isLinear(eKind), bGltf = eKind == MaterialKind::GLTF;
    ModelMaterial result;
    result.sName = material.GetName().C_Str();
    if (!bGltf && (result.sName.empty() || result.sName == AI_DEFAULT_MATERIAL_NAME)) {
        result.sName = "default";  // assimp's own, for files without materials
        result.dSpecular = 0.2;    // a highlight shows the shape
        result.uExponent = 30;
        takeTexture(material, textures, false, result, {1, 1, 1}, vNotices);
        return result;
    }
    aiColor3D c(0.8f, 0.8f, 0.8f), emitted(0, 0, 0);
    ai_real fGloss = 0;  // the old way of glTF, beside which base colour is white
    const bool bOld = bGltf && material.Get(AI_MATKEY_GLOSSINESS_FACTOR, fGloss) == aiReturn_SUCCESS;
    if (!(bGltf && !bOld && colour(material, AI_MATKEY_BASE_COLOR, c)))
        (void)colour(material, AI_MATKEY_COLOR_DIFFUSE, c);
    (void)colour(material, AI_MATKEY_COLOR_EMISSIVE, emitted);
    if (bGltf && luminance(c) + luminance(emitted) > 0) {  // black stands beside textures of version 1
        const auto light = [](ai_real f) { return static_cast<float>(share(static_cast<double>(f))); };
        result.rule.v3Factor = {light(c.r), light(c.g), light(c.b)};
    }
    // What shines by itself is at least shown in its own colour.
    if (luminance(c) <= 0 && luminance(emitted) > 0) c = emitted;
    result.vColour =
        screenColour(static_cast<double>(c.r), static_cast<double>(c.g), static_cast<double>(c.b), bLinear);
    takeTexture(material, textures, bGltf, result, c, vNotices);
    if (bGltf)
        takeMetal(material, result);
    else
        takeHighlight(material, result);
    takeTransport(material, bGltf, result, vNotices);
    if (textures.keepsPictures()) readGleam(material, textures, eKind, result, vNotices);
    return result;
}

}  // namespace rt
