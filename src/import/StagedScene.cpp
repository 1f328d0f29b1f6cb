// The way of a model from the process that reads it to the one that renders it.
#include "import/StagedScene.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>

#include "base/InputReport.h"
#include "base/Printable.h"
#include "render/PreparedScene.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr uint32_t MOST_TEXELS = 1u << 28;  // of a texture
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

// What the file begins with; the arrays follow in this order.
struct Counts {
    uint64_t uVertices, uIndices, uMaterials, uAttributes, uLights;
    uint64_t uPlaces, uCorners, uRules, uTextures;
};

// What each texture's texels begin with.
struct TextureHead {
    uint32_t uWidth, uHeight, uWraps[2];
};

bool isShare(float f) {
    return f >= 0.0f && f <= 1.0f;
}

// Whether a rule has what it asks for.
bool isRuleWrong(const ColourRule& rule, const SurfaceColours& colours) {
    const bool bTexture = rule.uTexture != NO_INDEX;
    if (bTexture && (rule.uTexture >= colours.vTextures.size() || colours.vPlaces.empty())) return true;
    if (rule.bVertices > 1 || (rule.bVertices && colours.vCorners.empty())) return true;
    const NMVector3f& f = rule.v3Factor;
    return !(isShare(f.x) && isShare(f.y) && isShare(f.z) && isShare(rule.fCutoff));
}

bool areColoursWrong(const SurfaceColours& colours, size_t uFaces, size_t uMaterials) {
    const auto isPlaced = [](const Velk::NMVector2f& v) { return std::isfinite(v.x) && std::isfinite(v.y); };
    const auto fits = [](size_t uCount, size_t uWhole) { return uCount == 0 || uCount == uWhole; };
    return !fits(colours.vPlaces.size(), 3 * uFaces) || !fits(colours.vCorners.size(), 3 * uFaces) ||
           !fits(colours.vRules.size(), uMaterials) ||
           !std::all_of(colours.vPlaces.begin(), colours.vPlaces.end(), isPlaced) ||
           std::any_of(colours.vRules.begin(), colours.vRules.end(),
                       [&colours](const ColourRule& rule) { return isRuleWrong(rule, colours); });
}

bool writeAll(int iFile, const void* p, size_t uBytes) {
    for (size_t u = 0; u < uBytes;) {
        const ssize_t i = write(iFile, static_cast<const char*>(p) + u, uBytes - u);
        if (i < 0 && errno == EINTR) continue;
        if (i <= 0) return true;
        u += static_cast<size_t>(i);
    }
    return false;
}

template <typename T>
bool writeArray(int iFile, const std::vector<T>& v) {
    static_assert(std::is_trivially_copyable_v<T>);
    return writeAll(iFile, v.data(), v.size() * sizeof(T));
}

// Reads on at an offset that it advances.
class Reader {
 public:
    explicit Reader(int iInput) : iFile(iInput) {
        struct stat status {};
        if (fstat(iFile, &status) == 0) uLeft = static_cast<uint64_t>(status.st_size);
    }

    bool take(void* p, uint64_t uBytes) {
        if (uBytes > uLeft) return true;
        uLeft -= uBytes;
        for (uint64_t u = 0; u < uBytes;) {
            const ssize_t i = pread(iFile, static_cast<char*>(p) + u, uBytes - u, iOffset);
            if (i < 0 && errno == EINTR) continue;
            if (i <= 0) return true;
            u += static_cast<uint64_t>(i);
            iOffset += i;
        }
        return false;
    }

    template <typename T>
    bool takeArray(std::vector<T>& v, uint64_t uCount) {
        if (uCount > uLeft / sizeof(T)) return true;
        v.resize(static_cast<size_t>(uCount));
        return take(v.data(), uCount * sizeof(T));
    }

    // True for a picture without pixels as well.
    bool takeTexture(TextureImage& image) {
        TextureHead head{};
        if (take(&head, sizeof(head)) || !head.uWidth || !head.uHeight || head.uWidth > MOST_TEXELS / head.uHeight ||
            head.uWraps[0] > TextureImage::MIRROR || head.uWraps[1] > TextureImage::MIRROR) {
            return true;
        }
        image.uWidth = head.uWidth;
        image.uHeight = head.uHeight;
        for (unsigned u = 0; u < 2; ++u) image.wraps[u] = static_cast<TextureImage::Wrap>(head.uWraps[u]);
        return takeArray(image.vTexels, uint64_t{4} * head.uWidth * head.uHeight);
    }

    bool isAtEnd() const { return !uLeft; }

 private:
    const int iFile;
    uint64_t uLeft = 0;
    off_t iOffset = 0;
};

}  // namespace

StagedScene::StagedScene(Model& model, const SceneCamera& sceneCamera, const std::vector<SceneLight>& vSceneLights)
    : vVertices(model.vVertices) {
    vTriangles.reserve(model.vTriangles.size() * 3);
    vMaterials.reserve(model.vTriangles.size());
    for (const ModelTriangle& triangle : model.vTriangles) {
        vTriangles.insert(vTriangles.end(), triangle.uVertices, triangle.uVertices + 3);
        vMaterials.push_back(triangle.uMaterial);
    }
    for (const ModelMaterial& material : model.vMaterials) vAttributes.push_back(attributeOf(material));
    takeColours(model);
    for (const SceneLight& light : vSceneLights) {
        vLights.push_back({vectorOf(light.v3Position), {0, -1, 0}, static_cast<float>(light.dFlux)});
    }
    camera.bLoaded = true;
    strcpy(camera.szName, "imported");
    camera.v3Position = vectorOf(sceneCamera.v3Eye);
    for (unsigned u = 0; u < 3; ++u) camera.v3Screen[u] = vectorOf(sceneCamera.v3Corners[u]);
    camera.uWidth = sceneCamera.uWidth;
    camera.uHeight = sceneCamera.uHeight;
}

// A ground or room that was added has the one colour of its material, as has a material that no triangle needs.
void StagedScene::takeColours(Model& model) {
    SurfaceColours& own = model.colours;
    bool bNeeded = false;
    for (const ModelMaterial& material : model.vMaterials) {
        ColourRule rule = material.rule;
        if (own.vPlaces.empty()) rule.uTexture = NO_INDEX;
        if (own.vCorners.empty()) rule.bVertices = 0;
        if (rule.uTexture == NO_INDEX && !rule.bVertices) rule = ColourRule();
        bNeeded = bNeeded || rule.uTexture != NO_INDEX || rule.bVertices;
        own.vRules.push_back(rule);
    }
    if (!bNeeded) return;
    if (!own.vPlaces.empty()) own.vPlaces.resize(vTriangles.size(), {0, 0});
    if (!own.vCorners.empty()) own.vCorners.resize(vTriangles.size(), UINT32_MAX);
    if (own.vPlaces.empty()) own.vTextures.clear();
    colours = std::exchange(own, {});
}

bool StagedScene::sendColours(int iFile) const {
    bool bFailed =
        writeArray(iFile, colours.vPlaces) || writeArray(iFile, colours.vCorners) || writeArray(iFile, colours.vRules);
    for (const TextureImage& image : colours.vTextures) {
        const TextureHead head{image.uWidth, image.uHeight, {image.wraps[0], image.wraps[1]}};
        bFailed = bFailed || writeAll(iFile, &head, sizeof(head)) || writeArray(iFile, image.vTexels);
    }
    return bFailed;
}

bool StagedScene::send(int iFile) const {
    static_assert(std::is_trivially_copyable_v<Camera>);
    const Counts counts{vVertices.size(),        vTriangles.size(),     vMaterials.size(),
                        vAttributes.size(),      vLights.size(),        colours.vPlaces.size(),
                        colours.vCorners.size(), colours.vRules.size(), colours.vTextures.size()};
    return writeAll(iFile, &counts, sizeof(counts)) || writeAll(iFile, &camera, sizeof(camera)) ||
           writeArray(iFile, vVertices) || writeArray(iFile, vTriangles) || writeArray(iFile, vMaterials) ||
           writeArray(iFile, vAttributes) || writeArray(iFile, vLights) || sendColours(iFile);
}

bool StagedScene::receive(int iFile) {
    Reader reader(iFile);
    Counts counts{};
    if (reader.take(&counts, sizeof(counts)) || reader.take(static_cast<void*>(&camera), sizeof(camera)) ||
        reader.takeArray(vVertices, counts.uVertices) || reader.takeArray(vTriangles, counts.uIndices) ||
        reader.takeArray(vMaterials, counts.uMaterials) || reader.takeArray(vAttributes, counts.uAttributes) ||
        reader.takeArray(vLights, counts.uLights) || reader.takeArray(colours.vPlaces, counts.uPlaces) ||
        reader.takeArray(colours.vCorners, counts.uCorners) || reader.takeArray(colours.vRules, counts.uRules)) {
        return true;
    }
    colours.vTextures.clear();
    for (uint64_t u = 0; u < counts.uTextures; ++u) {
        if (reader.takeTexture(colours.vTextures.emplace_back())) return true;
    }
    if (!reader.isAtEnd()) return true;
    camera.szName[sizeof(camera.szName) - 1] = '\0';
    for (AttributeInstance& attribute : vAttributes) attribute.szName[LONGEST_NAME] = '\0';
    const uint64_t uFaces = vMaterials.size();
    return vTriangles.size() != 3 * uFaces || uFaces > UINT32_MAX || vVertices.size() > UINT32_MAX ||
           areColoursWrong(colours, vMaterials.size(), vAttributes.size());
}

bool StagedScene::handOver(PreparedScene& scene) const {
    scene.release();
    static_assert(sizeof(NMVector3f) == 3 * sizeof(float));
    const MeshArrays mesh{vVertices.empty() ? nullptr : &vVertices[0].x, static_cast<uint32_t>(vVertices.size()),
                          vTriangles.data(), static_cast<uint32_t>(vMaterials.size()), vMaterials.data()};
    const bool bKnown =
        std::all_of(vMaterials.begin(), vMaterials.end(), [this](uint32_t u) { return u < vAttributes.size(); });
    if (!bKnown) {
        Velk::inputError("model", 0, nullptr, "a triangle has a material that is not there");
        return true;
    }
    if (scene.scene.setMesh(mesh)) return true;
    auto& vScene = scene.attributes.vAttributes;
    bool bFailed = vScene.create(static_cast<uint32_t>(std::max<size_t>(vAttributes.size(), 1)), 4);
    for (const AttributeInstance& attribute : vAttributes) bFailed = bFailed || vScene.PushBack(attribute);
    for (const Light& light : vLights) bFailed = bFailed || scene.lights.add(light);
    if (bFailed) Velk::memoryError(vAttributes.size() * sizeof(AttributeInstance), "the materials of a model");
    scene.colours = colours;
    scene.attributes.bLoaded = scene.lights.bLoaded = !bFailed;
    return bFailed;
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
