// How materials gleam and shine.

#include "import/reader/GleamReader.h"

#include <assimp/GltfMaterial.h>
#include <assimp/ObjMaterial.h>
#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <iterator>

#include "import/reader/MaterialReader.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr double USUAL_ROUGHNESS = 0.4;  // of a metal whose file does not say

// True when the material has no such number.
bool number(const aiMaterial& material, const char* szKey, double& d) {
    ai_real f = 0;
    if (material.Get(szKey, 0, 0, f) != aiReturn_SUCCESS || !std::isfinite(f)) return true;
    d = static_cast<double>(f);
    return false;
}

aiColor3D colour(const aiMaterial& material, const char* szKey) {
    aiColor3D c(0, 0, 0);
    (void)material.Get(szKey, 0, 0, c);
    return c;
}

bool isSame(const TextureMap& a, const TextureMap& b) {
    return a.uSet == b.uSet && std::equal(std::begin(a.dRows[0]), std::end(a.dRows[0]), b.dRows[0]) &&
           std::equal(std::begin(a.dRows[1]), std::end(a.dRows[1]), b.dRows[1]);
}

// Reads the textures of one material.
class Maps {
 public:
    Maps(const aiMaterial& ofMaterial, TextureTable& table, bool bOfGltf, ModelMaterial& m, std::vector<std::string>& v)
        : material(ofMaterial), textures(table), bGltf(bOfGltf), result(m), vNotices(v) {}

    // The picture of a kind, null when there is none. uIndex is that of the pictures that are kept, if it lies where
    // the material's other textures lie.
    const TextureTable::Entry* find(aiTextureType eType, TextureTable::Use eUse, uint32_t& uIndex) {
        aiString path;
        unsigned uSet = 0;
        aiTextureMapMode modes[3] = {aiTextureMapMode_Wrap, aiTextureMapMode_Wrap, aiTextureMapMode_Wrap};
        if (material.GetTexture(eType, 0, &path, nullptr, &uSet, nullptr, nullptr, modes) != aiReturn_SUCCESS)
            return nullptr;
        const TextureTable::Entry& entry =
            textures.find(path.C_Str(), textureWrapOf(modes[0]), textureWrapOf(modes[1]), eUse);
        if (entry.szFault) {
            vNotices.push_back("material " + shownName(result.sName) + ": texture " + shownName(path.C_Str()) +
                               " cannot be read: " + entry.szFault);
            return nullptr;
        }
        const TextureMap map = textureMapOf(material, eType, uSet, bGltf);
        if (!result.rule.hasTextures()) result.map = map;
        if (isSame(map, result.map)) uIndex = entry.uIndex;
        return &entry;
    }

    std::string pathOf(aiTextureType eType) const {
        aiString path;
        return material.GetTexture(eType, 0, &path) == aiReturn_SUCCESS ? path.C_Str() : "";
    }

 private:
    const aiMaterial& material;
    TextureTable& textures;
    const bool bGltf;
    ModelMaterial& result;
    std::vector<std::string>& vNotices;
};

void readEmission(const aiMaterial& material, MaterialKind eKind, Maps& maps, ColourRule& rule) {
    const bool bGltf = eKind == MaterialKind::GLTF;
    aiColor3D c = colour(material, "$clr.emissive");
    // Some programs write the colour of the surface here, too.
    if (!bGltf && c == colour(material, "$clr.diffuse")) c = aiColor3D(0, 0, 0);
    double dStrength = 1.0;
    (void)number(material, "$mat.emissiveIntensity", dStrength);
    uint32_t uIndex = NO_INDEX;
    const bool bBlack = c.r <= 0 && c.g <= 0 && c.b <= 0;
    const TextureTable::Entry* pEntry =
        bGltf && bBlack ? nullptr : maps.find(aiTextureType_EMISSIVE, TextureTable::Use::COLOUR, uIndex);
    if (pEntry && bBlack) c = aiColor3D(1, 1, 1);  // nothing but the texture is given
    const auto light = [&](ai_real f, unsigned u) {
        const float fLight = isLinear(eKind) ? f : toLight(share(static_cast<double>(f)));
        const float fMean = pEntry && uIndex == NO_INDEX ? toLight(pEntry->mean[u]) : 1.0f;
        const float fAll = fLight * fMean * static_cast<float>(dStrength);
        return fAll > 0.0f ? std::min(fAll, ColourRule::MOST_EMISSION) : 0.0f;
    };
    rule.v3Emission = {light(c.r, 0), light(c.g, 1), light(c.b, 2)};
    rule.uEmission = uIndex;
}

// Holes whose picture is not that of the colours.
void readMask(MaterialKind eKind, Maps& maps, ColourRule& rule) {
    const std::string sMask = maps.pathOf(aiTextureType_OPACITY);
    if (eKind == MaterialKind::GLTF || sMask.empty() || sMask == maps.pathOf(aiTextureType_DIFFUSE)) return;
    const TextureTable::Use eUse = eKind == MaterialKind::OBJ ? TextureTable::Use::MASK : TextureTable::Use::ALPHA;
    uint32_t uIndex = NO_INDEX;
    const TextureTable::Entry* pEntry = maps.find(aiTextureType_OPACITY, eUse, uIndex);
    if (!pEntry || uIndex == NO_INDEX || !pEntry->bHoles) return;
    rule.uMask = uIndex;
    rule.fCutoff = 0.5f;
}

// Metals in files without a word for them: their makers write them as coloured mirrors. True when this is none.
bool findMirroringMetal(const aiMaterial& material, MaterialKind eKind, ColourRule& rule) {
    double dMetal = 0, dRough = USUAL_ROUGHNESS, dShininess = 0;
    if (eKind == MaterialKind::METAL_IN_MIRROR) {
        if (number(material, "$mat.reflectivity", dMetal)) return true;
        (void)number(material, "$mat.roughnessFactor", dRough);
    } else {
        int iModel = 0;
        (void)material.Get(AI_MATKEY_OBJ_ILLUM, iModel);
        const aiColor3D c = colour(material, "$clr.ambient"), gleam = colour(material, "$clr.specular");
        dMetal = static_cast<double>(c.r);
        // illum 3 with grey Ks mirrors, whose Ka is then how much of a metal it is.
        if (iModel != 3 || !(dMetal >= 0.5) || c.r != c.g || c.g != c.b || gleam.r != gleam.g || gleam.g != gleam.b)
            return true;
        (void)number(material, "$mat.shininess", dShininess);
        dRough = 1.0 - sqrt(share(dShininess / 1000.0));
    }
    rule.fMetal = static_cast<float>(share(dMetal));
    rule.fRough = static_cast<float>(share(dRough));
    return false;
}

// A highlight is coloured on metals alone, if it is no weaker copy of the surface's colour, which some programs write.
// True when this is none.
bool findColouredMetal(const aiMaterial& material, ColourRule& rule) {
    constexpr ai_real BRIGHT = 0.25f, COLOURED = 0.15f, ALIKE = 0.05f, METAL = 0.95f, PURE = 0.8f;
    const aiColor3D gleam = colour(material, "$clr.specular"), base = colour(material, "$clr.diffuse");
    const auto most = [](const aiColor3D& c) { return std::max({c.r, c.g, c.b}); };
    const auto least = [](const aiColor3D& c) { return std::min({c.r, c.g, c.b}); };
    double dShininess = 0;
    (void)number(material, "$mat.shininess", dShininess);
    const ai_real fGleam = most(gleam), fBase = most(base);
    if (!(dShininess >= 1.0 && fBase > 0 && fGleam >= BRIGHT && fGleam - least(gleam) >= COLOURED * fGleam))
        return true;
    const aiColor3D apart = gleam * (1 / fGleam) - base * (1 / fBase);
    if (most(apart) - least(apart) < ALIKE && fGleam < 1.02f * fBase) return true;
    aiColor3D c(std::max(gleam.r, base.r), std::max(gleam.g, base.g), std::max(gleam.b, base.b));
    c = (c * (PURE / most(c)) + aiColor3D(1 - PURE)) * METAL;  // such files have their metals dark and gaudy
    rule.fMetal = 1.0f;
    rule.fRough = static_cast<float>(sqrt(sqrt(2.0 / (dShininess + 2.0))));
    rule.v3Factor = {toLight(share(static_cast<double>(c.r))), toLight(share(static_cast<double>(c.g))),
                     toLight(share(static_cast<double>(c.b)))};
    return false;
}

// The old way of glTF: a metal is what mirrors much. Textures of it, colour and gloss in one, are not read.
void readGloss(const aiMaterial& material, double dGloss, const Maps& maps, ColourRule& rule) {
    constexpr double USUAL_GLOSS = 0.4, LEAST_METAL = 0.2, METAL = 0.5;
    const bool bTexture = !maps.pathOf(aiTextureType_SPECULAR).empty();
    const aiColor3D c = colour(material, "$clr.specular");
    const double dMost = static_cast<double>(std::max({c.r, c.g, c.b}));
    const float fMetal = bTexture ? 0.0f : static_cast<float>(share((dMost - LEAST_METAL) / (METAL - LEAST_METAL)));
    const auto light = [](ai_real f) { return static_cast<float>(share(static_cast<double>(f))); };
    rule.fMetal = fMetal;
    rule.fRough = static_cast<float>(1.0 - share(bTexture ? USUAL_GLOSS : dGloss));
    rule.v3Factor = rule.v3Factor * (1.0f - fMetal) + NMVector3f{light(c.r), light(c.g), light(c.b)} * fMetal;
}

void readMetal(const aiMaterial& material, MaterialKind eKind, Maps& maps, ColourRule& rule) {
    double dMetal = 0, dRough = 1, dGloss = 0;
    const bool bMetal = !number(material, "$mat.metallicFactor", dMetal),
               bRough = !number(material, "$mat.roughnessFactor", dRough);
    const bool bFbx = eKind == MaterialKind::PLAIN;  // whose readers make a roughness of the highlight
    if (eKind == MaterialKind::METAL_IN_MIRROR || !(bMetal || (bRough && !bFbx))) {
        rule.bPhysical = findMirroringMetal(material, eKind, rule) ? 0 : 1;
        if (!rule.bPhysical && eKind == MaterialKind::OBJ && rule.uTexture == NO_INDEX)
            rule.bPhysical = findColouredMetal(material, rule) ? 0 : 1;
        return;
    }
    rule.bPhysical = 1;
    rule.fMetal = static_cast<float>(share(dMetal));
    rule.fRough = static_cast<float>(share(dRough));
    if (!number(material, "$mat.glossinessFactor", dGloss)) return readGloss(material, dGloss, maps, rule);
    const auto mean = [](const TextureTable::Entry& entry, unsigned u) { return static_cast<float>(entry.mean[u]); };
    if (const auto* p = maps.find(aiTextureType_METALNESS, TextureTable::Use::NUMBERS, rule.uMetal)) {
        if (!bMetal) rule.fMetal = 1.0f;
        if (rule.uMetal == NO_INDEX) rule.fMetal *= mean(*p, 2);
    }
    if (const auto* p = maps.find(aiTextureType_DIFFUSE_ROUGHNESS, TextureTable::Use::NUMBERS, rule.uRough)) {
        if (!bRough) rule.fRough = 1.0f;
        if (rule.uRough == NO_INDEX) rule.fRough *= mean(*p, 1);
    }
}

// A row of a map after a map of u and v.
void chainRow(double (&dRow)[3], const double (&dU)[3], const double (&dV)[3]) {
    const double dOfU = dRow[0], dOfV = dRow[1];
    for (unsigned u = 0; u < 3; ++u) dRow[u] = dOfU * dU[u] + dOfV * dV[u] + (u == 2 ? dRow[2] : 0.0);
}

}  // namespace

TextureImage::Wrap textureWrapOf(int iMode) {
    return iMode == aiTextureMapMode_Clamp    ? TextureImage::CLAMP
           : iMode == aiTextureMapMode_Mirror ? TextureImage::MIRROR
                                              : TextureImage::REPEAT;
}

TextureMap textureMapOf(const aiMaterial& material, unsigned uType, unsigned uSet, bool bGltf) {
    TextureMap map;
    map.uSet = uSet;
    aiUVTransform t;
    if (material.Get(AI_MATKEY_UVTRANSFORM(uType, 0), t) != aiReturn_SUCCESS) return map;
    const double dX = static_cast<double>(t.mScaling.x), dY = static_cast<double>(t.mScaling.y),
                 dLeft = static_cast<double>(t.mTranslation.x), dUp = static_cast<double>(t.mTranslation.y);
    const double dCos = cos(static_cast<double>(t.mRotation)), dSin = sin(static_cast<double>(t.mRotation));
    if (!bGltf) {  // scaled, turned around the middle, moved
        const double dU[] = {dCos * dX, -dSin * dY, 0.5 - 0.5 * dCos + 0.5 * dSin + dLeft},
                     dV[] = {dSin * dX, dCos * dY, 0.5 - 0.5 * dSin - 0.5 * dCos + dUp};
        for (auto& dRow : map.dRows) chainRow(dRow, dU, dV);
        return map;
    }
    // What assimp 5.2 makes of the file's offset depends on the rest. The turn is clockwise there, and v from the top.
    const double dOffsetX = dLeft - 0.5 * dX * (1.0 - dCos - dSin),
                 dOffsetY = 1.0 - dY - dUp + 0.5 * dY * (dCos - dSin - 1.0);
    const double dU[] = {dCos * dX, dSin * dY, dOffsetX - dSin * dY},
                 dV[] = {dSin * dX, -dCos * dY, dOffsetY + dCos * dY};
    std::copy(dU, dU + 3, map.dRows[0]);
    std::copy(dV, dV + 3, map.dRows[1]);
    return map;
}

void readGleam(const aiMaterial& material, TextureTable& textures, MaterialKind eKind, ModelMaterial& result,
               std::vector<std::string>& vNotices) {
    ColourRule& rule = result.rule;
    Maps maps(material, textures, eKind == MaterialKind::GLTF, result, vNotices);
    // A rule that is needed holds the colour, too.
    const aiColor3D c = colour(material, "$clr.diffuse");
    const auto light = [eKind](ai_real f) {
        const double d = share(static_cast<double>(f));
        return isLinear(eKind) ? static_cast<float>(d) : toLight(d);
    };
    if (eKind != MaterialKind::GLTF && rule.uTexture == NO_INDEX) rule.v3Factor = {light(c.r), light(c.g), light(c.b)};
    readMask(eKind, maps, rule);
    readMetal(material, eKind, maps, rule);
    readEmission(material, eKind, maps, rule);
    if (!rule.isNeeded()) rule = ColourRule();
}

}  // namespace rt
