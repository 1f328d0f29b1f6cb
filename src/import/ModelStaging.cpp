// The way of a model from the process that reads it to the one that renders it.
#include "import/ModelStaging.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/Printable.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr size_t LONGEST_NAME = sizeof(AttributeInstance::szName) - 1;

NMVector3f vectorOf(const Vector3d& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

AttributeInstance attributeOf(const ModelMaterial& material) {
    AttributeInstance attribute{};
    const std::string sWord = materialWord(material.sName);
    sWord.copy(attribute.szName, LONGEST_NAME);
    attribute.fKd = static_cast<float>(material.dDiffuse);
    attribute.fKs = static_cast<float>(material.dSpecular);
    attribute.iGs = static_cast<int32_t>(material.uExponent);
    attribute.fKts = static_cast<float>(material.dReflection);
    attribute.fKf = 1.0f - static_cast<float>(1.0 - material.dTransmission);  // as from the file's number
    attribute.fEta = static_cast<float>(material.dEta);
    const auto fraction = [](unsigned u) { return static_cast<float>(u) / 255.0f; };
    attribute.v3Color = {fraction(material.vColour[0]), fraction(material.vColour[1]), fraction(material.vColour[2])};
    if (material.bSmooth) attribute.uFlags = AF_SMOOTH;
    return attribute;
}

// A ground or room that was added has the one colour of its material, as has a material that no triangle needs.
void takeColours(Model& model, StagedScene& scene) {
    SurfaceColours& own = model.colours;
    const size_t uCorners = scene.vTriangles.size();
    bool bNeeded = false;
    for (const ModelMaterial& material : model.vMaterials) {
        ColourRule rule = material.rule;
        if (own.vPlaces.empty()) rule.dropTextures();
        if (own.vCorners.empty()) rule.bVertices = 0;
        if (!rule.isNeeded()) rule = ColourRule();
        bNeeded = bNeeded || rule.isNeeded();
        own.vRules.push_back(rule);
    }
    if (!bNeeded) return;
    if (!own.vPlaces.empty()) own.vPlaces.resize(uCorners, {0, 0});
    if (!own.vCorners.empty()) own.vCorners.resize(uCorners, UINT32_MAX);
    if (own.vPlaces.empty()) own.vTextures.clear();
    scene.colours = std::exchange(own, {});
}

}  // namespace

StagedScene stageModel(Model& model, const SceneCamera& sceneCamera, const std::vector<SceneLight>& vSceneLights) {
    StagedScene scene;
    scene.vVertices = model.vVertices;
    scene.vTriangles.reserve(model.vTriangles.size() * 3);
    scene.vMaterials.reserve(model.vTriangles.size());
    for (const ModelTriangle& triangle : model.vTriangles) {
        scene.vTriangles.insert(scene.vTriangles.end(), triangle.uVertices, triangle.uVertices + 3);
        scene.vMaterials.push_back(triangle.uMaterial);
    }
    for (const ModelMaterial& material : model.vMaterials) scene.vAttributes.push_back(attributeOf(material));
    takeColours(model, scene);
    scene.parts = std::exchange(model.parts, {});
    for (const SceneLight& light : vSceneLights) {
        scene.vLights.push_back({vectorOf(light.v3Position), {0, -1, 0}, static_cast<float>(light.dFlux)});
    }
    if (model.bGround) scene.uGround = static_cast<uint32_t>(model.vMaterials.size() - 1);
    Camera& camera = scene.camera;
    camera.bLoaded = true;
    strcpy(camera.szName, "imported");
    camera.v3Position = vectorOf(sceneCamera.v3Eye);
    for (unsigned u = 0; u < 3; ++u) camera.v3Screen[u] = vectorOf(sceneCamera.v3Corners[u]);
    camera.uWidth = sceneCamera.uWidth;
    camera.uHeight = sceneCamera.uHeight;
    return scene;
}

std::string materialWord(const std::string& sName) {
    size_t uLength = std::min(sName.size(), LONGEST_NAME);
    while (uLength > 0 && uLength < sName.size() && (sName[uLength] & 0xC0) == 0x80) --uLength;  // no half characters
    std::string sWord = sName.substr(0, uLength);
    for (char& c : sWord) {
        if (static_cast<unsigned char>(c) <= ' ' || c == 127) c = '_';
    }
    if (sWord != Velk::Printable(sWord.c_str()).text()) {
        for (char& c : sWord) {
            if (c & 0x80) c = '_';
        }
    }
    return sWord.empty() ? "unnamed" : sWord;
}

}  // namespace rt
