// Layers on their way to files.
#include "rt-render/output/LayerFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/OutputFile.h"
#include "picture/PictureFile.h"

namespace rt {

using nlohmann::ordered_json;

uint64_t LayerFiles::bytesFor(const LayerWishes& wanted) {
    constexpr uint64_t COMPONENTS[LayerWishes::KINDS] = {2, 3, 3, 3, 1, 1, 1, 1};
    uint64_t uSum = 0;
    for (unsigned u = 0; u < LayerWishes::KINDS; ++u) {
        if (wanted.has(static_cast<LayerWishes::Kind>(u))) uSum += COMPONENTS[u] * 4;
    }
    return uSum;
}

std::string LayerFiles::nameOf(const LayerWishes& wanted, const std::string& sPicture, const std::string& sLayer) {
    return stemOf(sPicture) + (wanted.bNpy ? "-" + sLayer + ".npy" : ".exr");
}

float* LayerFiles::addFloats(const char* szName, std::vector<std::string> vChannels) {
    Layer layer;
    layer.sName = szName;
    layer.vChannels = std::move(vChannels);
    layer.vFloats.resize(size_t{uWidth} * uHeight * layer.components());
    vLayers.push_back(std::move(layer));
    return vLayers.back().vFloats.data();
}

uint32_t* LayerFiles::addIntegers(const char* szName) {
    Layer layer;
    layer.sName = szName;
    layer.vChannels = {szName};
    layer.bIntegers = true;
    layer.vIntegers.resize(size_t{uWidth} * uHeight);
    vLayers.push_back(std::move(layer));
    return vLayers.back().vIntegers.data();
}

bool LayerFiles::create(const LayerWishes& wanted, uint32_t uPictureWidth, uint32_t uPictureHeight) {
    wishes = wanted;
    uWidth = uPictureWidth;
    uHeight = uPictureHeight;
    vLayers.clear();
    to = {};
    try {
        if (wanted.has(LayerWishes::DEPTH)) {
            to.pDepth = addFloats("depth-view", {"Z"});
            to.pDistance = addFloats("depth-ray", {"depth.ray"});
        }
        if (wanted.has(LayerWishes::NORMAL)) to.pNormal = addFloats("normal", {"N.X", "N.Y", "N.Z"});
        if (wanted.has(LayerWishes::POSITION)) to.pPosition = addFloats("position", {"P.X", "P.Y", "P.Z"});
        if (wanted.has(LayerWishes::ALBEDO)) to.pAlbedo = addFloats("albedo", {"albedo.R", "albedo.G", "albedo.B"});
        if (wanted.has(LayerWishes::MESH)) to.pMesh = addIntegers("mesh");
        if (wanted.has(LayerWishes::MATERIAL)) to.pMaterial = addIntegers("material");
        if (wanted.has(LayerWishes::FACE)) to.pFace = addIntegers("face");
        if (wanted.has(LayerWishes::MASK)) to.pMask = addFloats("mask", {"mask"});
    } catch (const std::bad_alloc&) {
        return true;
    }
    return false;
}

bool LayerFiles::write(const std::string& sPicture) const {
    if (!wishes.bNpy) return writeExr(nameOf(wishes, sPicture, ""), uWidth, uHeight, vLayers);
    return std::any_of(vLayers.begin(), vLayers.end(), [&](const Layer& layer) {
        return writeNpy(nameOf(wishes, sPicture, layer.sName), uWidth, uHeight, layer);
    });
}

bool writeParts(const std::string& sPicture, const PreparedScene& scene, const std::string& sScene) {
    const uint32_t uFaces = scene.scene.vFaces.uCount;
    const std::vector<uint32_t> vCounts = scene.parts.counts(uFaces);
    std::vector<std::vector<uint32_t>> vMaterials(vCounts.size());  // of each part, in their order
    for (uint32_t u = 0; u < uFaces; ++u) {
        std::vector<uint32_t>& v = vMaterials[scene.parts.partOf(u)];
        const uint32_t uMaterial = scene.scene.vFaces[u].uAttribute;
        if (v.empty() || v.back() != uMaterial) v.push_back(uMaterial);
    }
    ordered_json all = ordered_json::array();
    for (size_t u = 0; u < vCounts.size(); ++u) {
        const bool bKnown = u < scene.parts.vParts.size();
        const ScenePart part = bKnown ? scene.parts.vParts[u] : ScenePart{sScene, sScene};
        std::sort(vMaterials[u].begin(), vMaterials[u].end());
        vMaterials[u].erase(std::unique(vMaterials[u].begin(), vMaterials[u].end()), vMaterials[u].end());
        ordered_json materials = ordered_json::array();
        for (const uint32_t uMaterial : vMaterials[u])
            materials.push_back(scene.attributes.vAttributes[uMaterial].szName);
        all.push_back({{"id", u},
                       {"name", part.sName},
                       {"path", part.sPath},
                       {"triangles", vCounts[u]},
                       {"materials", materials}});
    }
    const std::string sFile = stemOf(sPicture) + ".parts.json";
    const std::string sText = all.dump(1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
    Velk::OutputFile file;
    errno = 0;
    const bool bFailed =
        file.open(sFile.c_str()) || fwrite(sText.data(), sText.size(), 1, file.stream()) != 1 || file.commit();
    return bFailed && reportUnwritten(sFile, errno);
}

}  // namespace rt
