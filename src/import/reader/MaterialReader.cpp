// Turns a material of a model file into one of the materials file.

#include "import/reader/MaterialReader.h"

#include <assimp/ObjMaterial.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <new>

#include "base/Printable.h"
#include "import/reader/TextureColour.h"

namespace rt {

namespace {

constexpr size_t LONGEST_SHOWN = 200;  // bytes of a name in a notice

// Screens show the square root of light, roughly; the renderer's curve counts on colours as screens show them.
double toScreen(double d) {
    return d <= 0.0031308 ? 12.92 * d : 1.055 * pow(d, 1.0 / 2.4) - 0.055;
}

double luminance(const aiColor3D& c) {
    return 0.3 * static_cast<double>(c.r) + 0.6 * static_cast<double>(c.g) + 0.1 * static_cast<double>(c.b);
}

double share(double d) {
    return std::isfinite(d) ? std::clamp(d, 0.0, 1.0) : 0.0;
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

// Of a texture inside the model's file.
std::optional<MeanColour> embeddedColour(const aiTexture& texture) {
    if (texture.mHeight == 0)
        return meanColourOf(reinterpret_cast<const unsigned char*>(texture.pcData), texture.mWidth);
    MeanColour sum{0, 0, 0};
    const size_t uTexels = size_t{texture.mWidth} * texture.mHeight;
    if (uTexels == 0) return std::nullopt;
    for (size_t u = 0; u < uTexels; ++u) {
        sum[0] += texture.pcData[u].r, sum[1] += texture.pcData[u].g, sum[2] += texture.pcData[u].b;
    }
    for (double& d : sum) d /= 255.0 * static_cast<double>(uTexels);
    return sum;
}

// Of a file. When there is none, szReason says why.
std::optional<MeanColour> fileColour(std::string sPath, ModelFiles& files, const char*& szReason) {
    const std::string sFolder = files.folder() + "/";
    std::replace(sPath.begin(), sPath.end(), '\\', '/');
    std::string sFile = sPath[0] == '/' ? sPath : sFolder + sPath;
    szReason = files.refusalOf(sFile);
    if (szReason) {  // paths of the maker's machine
        sFile = sFolder + sPath.substr(sPath.rfind('/') + 1);
        if (files.refusalOf(sFile)) return std::nullopt;
    }
    szReason = "it is no PNG or JPEG file, or a broken one";
    return meanColourOf(sFile);
}

std::optional<MeanColour> textureColour(const aiString& path, const aiScene& scene, ModelFiles& files,
                                        const char*& szReason) {
    szReason = "it is no PNG or JPEG file, or a broken one";
    try {
        const aiTexture* p = scene.GetEmbeddedTexture(path.C_Str());
        return p ? embeddedColour(*p) : fileColour(path.C_Str(), files, szReason);
    } catch (const std::bad_alloc&) {  // the sizes in a small file promise a large picture
        szReason = "it takes more memory than there is";
        return std::nullopt;
    }
}

// Replaces a texture by its mean colour; c is the factor that the file multiplies it with.
void takeTexture(const aiMaterial& material, const aiScene& scene, ModelFiles& files, bool bLinear,
                 ModelMaterial& result, const aiColor3D& c, std::vector<std::string>& vNotices) {
    for (const aiTextureType eType : {aiTextureType_BASE_COLOR, aiTextureType_DIFFUSE}) {
        aiString path;
        if (material.GetTexture(eType, 0, &path) != aiReturn_SUCCESS) continue;
        const std::string sText = "material " + shownName(result.sName) + ": texture " + shownName(path.C_Str());
        const char* szReason = nullptr;
        const std::optional<MeanColour> mean = textureColour(path, scene, files, szReason);
        if (!mean) {
            vNotices.push_back(sText + " cannot be read, its colour is the material's: " + szReason);
            return;
        }
        // Files without a colour beside the texture mean white, and readers put grey or black there.
        const bool bFactor = bLinear && luminance(c) > 0;
        const auto factor = [&](ai_real f) { return bFactor ? toScreen(share(static_cast<double>(f))) : 1.0; };
        result.vColour =
            screenColour((*mean)[0] * factor(c.r), (*mean)[1] * factor(c.g), (*mean)[2] * factor(c.b), false);
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
void takeTransport(const aiMaterial& material, ModelMaterial& result) {
    int iModel = 0;
    aiColor3D c(0, 0, 0);
    (void)colour(material, AI_MATKEY_COLOR_SPECULAR, c);
    (void)material.Get(AI_MATKEY_OBJ_ILLUM, iModel);
    const bool bMirror = iModel == 3 || iModel == 5, bGlass = iModel == 4 || iModel == 6 || iModel == 7 || iModel == 9;
    const double dReflectivity = share(number(material, AI_MATKEY_REFLECTIVITY, 0.0));
    if (dReflectivity > 0 && dReflectivity < 1) result.dReflection = std::max(result.dReflection, dReflectivity);
    if (bMirror) result.dReflection = std::max(result.dReflection, 0.9 * share(luminance(c)));

    const double dOpacity = share(number(material, AI_MATKEY_OPACITY, 1.0));
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

ModelMaterial readMaterial(const aiMaterial& material, const aiScene& scene, ModelFiles& files, bool bLinear,
                           std::vector<std::string>& vNotices) {
    ModelMaterial result;
    result.sName = material.GetName().C_Str();
    if (!bLinear && (result.sName.empty() || result.sName == AI_DEFAULT_MATERIAL_NAME)) {
        result.sName = "default";  // assimp's own, for files without materials
        result.dSpecular = 0.2;    // a highlight shows the shape
        result.uExponent = 30;
        return result;
    }
    aiColor3D c(0.8f, 0.8f, 0.8f), emitted(0, 0, 0);
    if (!(bLinear && colour(material, AI_MATKEY_BASE_COLOR, c))) (void)colour(material, AI_MATKEY_COLOR_DIFFUSE, c);
    (void)colour(material, AI_MATKEY_COLOR_EMISSIVE, emitted);
    // What shines by itself is at least shown in its own colour.
    if (luminance(c) <= 0 && luminance(emitted) > 0) c = emitted;
    result.vColour =
        screenColour(static_cast<double>(c.r), static_cast<double>(c.g), static_cast<double>(c.b), bLinear);
    takeTexture(material, scene, files, bLinear, result, c, vNotices);
    if (bLinear)
        takeMetal(material, result);
    else
        takeHighlight(material, result);
    takeTransport(material, result);
    return result;
}

}  // namespace rt
