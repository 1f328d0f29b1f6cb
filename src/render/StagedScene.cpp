// Scenes as bytes: from the reader of models to the renderer, and to other machines.
#include "render/StagedScene.h"

#include <sys/mman.h>
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
#include "base/Version.h"
#include "render/PreparedScene.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr uint32_t MOST_TEXELS = 1u << 28;  // of a texture
constexpr size_t MOST_EMPTY = 1u << 16;     // parts without a face
constexpr size_t LONGEST_NAME = sizeof(AttributeInstance::szName) - 1;
constexpr char MAGIC[16] = "RayTracer scene";

// What the bytes begin with; the arrays follow in the order of their counts. Filled up with zeros.
struct Head {
    char szMagic[16];
    char szVersion[16];
    uint64_t uVertices, uIndices, uMaterials, uAttributes, uLights;
    uint64_t uPlaces, uCorners, uRules, uRuns, uPartBytes, uTextures, uSkyNumbers;
    char szCamera[sizeof(Camera::szName)];
    float fEye[3], fScreen[3][3];
    uint32_t uWidth, uHeight, uGround, uSkyWidth, uSkyHeight;
    float fSkyTurn;
};
static_assert(sizeof(Head) == 232, "the same on all machines");
static_assert(sizeof(Velk::VERSION) <= sizeof(Head::szVersion));

// What each texture's texels begin with.
struct TextureHead {
    uint32_t uWidth, uHeight, uWraps[2], bNumbers;
};

bool isShare(float f) {
    return f >= 0.0f && f <= 1.0f;
}

bool isEmission(float f) {
    return f >= 0.0f && f <= ColourRule::MOST_EMISSION;
}

// Whether a rule has what it asks for.
bool isRuleWrong(const ColourRule& rule, const SurfaceColours& colours) {
    for (const uint32_t u : {rule.uTexture, rule.uMask, rule.uMetal, rule.uRough, rule.uEmission}) {
        if (u != NO_INDEX && (u >= colours.vTextures.size() || colours.vPlaces.empty())) return true;
    }
    if (rule.bVertices > 1 || (rule.bVertices && colours.vCorners.empty()) || rule.bPhysical > 1) return true;
    const NMVector3f &f = rule.v3Factor, &e = rule.v3Emission;
    return !(isShare(f.x) && isShare(f.y) && isShare(f.z) && isShare(rule.fCutoff) && isShare(rule.fMetal) &&
             isShare(rule.fRough) && isEmission(e.x) && isEmission(e.y) && isEmission(e.z));
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

// Name and path of each part, each with a zero behind it.
std::vector<char> textOf(const SceneParts& parts) {
    std::vector<char> v;
    for (const ScenePart& part : parts.vParts) {
        for (const std::string* p : {&part.sName, &part.sPath})
            v.insert(v.end(), p->c_str(), p->c_str() + strlen(p->c_str()) + 1);
    }
    return v;
}

// True when the text does not end with a path, or has many more parts than there are runs of them.
bool readParts(const std::vector<char>& vText, SceneParts& parts) {
    const char* p = vText.data();
    const char* const pEnd = p + vText.size();
    if (p != pEnd && pEnd[-1]) return true;
    parts.vParts.clear();
    while (p != pEnd) {
        if (parts.vParts.size() == parts.vRuns.size() + MOST_EMPTY) return true;
        ScenePart part;
        part.sName = p;
        p += part.sName.size() + 1;
        if (p == pEnd) return true;
        part.sPath = p;
        p += part.sPath.size() + 1;
        parts.vParts.push_back(std::move(part));
    }
    return false;
}

// Reads on through bytes that may be anything.
class Reader {
 public:
    Reader(const void* pBytes, size_t uBytes) : p(static_cast<const char*>(pBytes)), uLeft(uBytes) {}

    bool take(void* pTo, uint64_t uBytes) {
        if (uBytes > uLeft) return true;
        if (uBytes) memcpy(pTo, p, static_cast<size_t>(uBytes));
        p += uBytes;
        uLeft -= static_cast<size_t>(uBytes);
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
            head.uWraps[0] > TextureImage::MIRROR || head.uWraps[1] > TextureImage::MIRROR || head.bNumbers > 1) {
            return true;
        }
        image.uWidth = head.uWidth;
        image.uHeight = head.uHeight;
        for (unsigned u = 0; u < 2; ++u) image.wraps[u] = static_cast<TextureImage::Wrap>(head.uWraps[u]);
        image.bNumbers = head.bNumbers;
        return takeArray(image.vTexels, uint64_t{4} * head.uWidth * head.uHeight);
    }

    bool isAtEnd() const { return !uLeft; }

 private:
    const char* p;
    size_t uLeft;
};

Head headOf(const StagedScene& scene) {
    const SurfaceColours& colours = scene.colours;
    Head head{};
    memcpy(head.szMagic, MAGIC, sizeof(MAGIC));
    memcpy(head.szVersion, Velk::VERSION, sizeof(Velk::VERSION));
    head.uVertices = scene.vVertices.size(), head.uIndices = scene.vTriangles.size();
    head.uMaterials = scene.vMaterials.size(), head.uAttributes = scene.vAttributes.size();
    head.uLights = scene.vLights.size(), head.uPlaces = colours.vPlaces.size();
    head.uCorners = colours.vCorners.size(), head.uRules = colours.vRules.size();
    head.uRuns = scene.parts.vRuns.size(), head.uTextures = colours.vTextures.size();
    memcpy(head.szCamera, scene.camera.szName, strnlen(scene.camera.szName, sizeof(head.szCamera) - 1));
    memcpy(head.fEye, &scene.camera.v3Position, sizeof(head.fEye));
    memcpy(head.fScreen, scene.camera.v3Screen, sizeof(head.fScreen));
    head.uWidth = scene.camera.uWidth, head.uHeight = scene.camera.uHeight;
    head.uGround = scene.uGround;
    head.uSkyNumbers = scene.sky.vLight.size();
    head.uSkyWidth = scene.sky.uWidth, head.uSkyHeight = scene.sky.uHeight, head.fSkyTurn = scene.sky.fTurn;
    return head;
}

void takeHead(Head& head, StagedScene& scene) {
    head.szCamera[sizeof(head.szCamera) - 1] = '\0';
    Camera& camera = scene.camera;
    camera.bLoaded = true;
    memcpy(camera.szName, head.szCamera, sizeof(head.szCamera));
    const auto vectorOf = [](const float(&f)[3]) { return NMVector3f{f[0], f[1], f[2]}; };
    camera.v3Position = vectorOf(head.fEye);
    for (unsigned u = 0; u < 3; ++u) camera.v3Screen[u] = vectorOf(head.fScreen[u]);
    camera.uWidth = head.uWidth, camera.uHeight = head.uHeight;
    scene.uGround = head.uGround;
    scene.sky.uWidth = head.uSkyWidth, scene.sky.uHeight = head.uSkyHeight, scene.sky.fTurn = head.fSkyTurn;
}

}  // namespace

bool StagedScene::pack(const Write& write) const {
    const auto writeArray = [&write](const auto& v) {
        static_assert(std::is_trivially_copyable_v<std::remove_reference_t<decltype(v[0])>>);
        return !v.empty() && write(v.data(), v.size() * sizeof(v[0]));
    };
    const std::vector<char> vParts = textOf(parts);
    Head head = headOf(*this);
    head.uPartBytes = vParts.size();
    if (write(&head, sizeof(head)) || writeArray(vVertices) || writeArray(vTriangles) || writeArray(vMaterials) ||
        writeArray(vAttributes) || writeArray(vLights) || writeArray(colours.vPlaces) || writeArray(colours.vCorners) ||
        writeArray(colours.vRules) || writeArray(parts.vRuns) || writeArray(vParts) || writeArray(sky.vLight)) {
        return true;
    }
    return std::any_of(colours.vTextures.begin(), colours.vTextures.end(), [&](const TextureImage& image) {
        const TextureHead texture{image.uWidth, image.uHeight, {image.wraps[0], image.wraps[1]}, image.bNumbers};
        return write(&texture, sizeof(texture)) || writeArray(image.vTexels);
    });
}

bool StagedScene::unpack(const void* p, size_t uBytes, std::string& sReason) {
    Reader reader(p, uBytes);
    Head head{};
    sReason = "is no packed scene";
    if (reader.take(&head, sizeof(head)) || memcmp(head.szMagic, MAGIC, sizeof(MAGIC)) != 0) return true;
    char szVersion[sizeof(head.szVersion)] = "";
    memcpy(szVersion, Velk::VERSION, sizeof(Velk::VERSION));
    if (memcmp(head.szVersion, szVersion, sizeof(szVersion)) != 0) {
        head.szVersion[sizeof(head.szVersion) - 1] = '\0';
        sReason = std::string("is of version ") + Velk::Printable(head.szVersion).text() + ", this is " + Velk::VERSION;
        return true;
    }
    sReason = "is damaged";
    std::vector<char> vParts;
    if (reader.takeArray(vVertices, head.uVertices) || reader.takeArray(vTriangles, head.uIndices) ||
        reader.takeArray(vMaterials, head.uMaterials) || reader.takeArray(vAttributes, head.uAttributes) ||
        reader.takeArray(vLights, head.uLights) || reader.takeArray(colours.vPlaces, head.uPlaces) ||
        reader.takeArray(colours.vCorners, head.uCorners) || reader.takeArray(colours.vRules, head.uRules) ||
        reader.takeArray(parts.vRuns, head.uRuns) || reader.takeArray(vParts, head.uPartBytes) ||
        reader.takeArray(sky.vLight, head.uSkyNumbers)) {
        return true;
    }
    colours.vTextures.clear();
    for (uint64_t u = 0; u < head.uTextures; ++u) {
        if (reader.takeTexture(colours.vTextures.emplace_back())) return true;
    }
    if (!reader.isAtEnd()) return true;
    takeHead(head, *this);
    for (AttributeInstance& attribute : vAttributes) attribute.szName[LONGEST_NAME] = '\0';
    const uint64_t uFaces = vMaterials.size();
    return vTriangles.size() != 3 * uFaces || uFaces > UINT32_MAX || vVertices.size() > UINT32_MAX ||
           (uGround != NO_INDEX && uGround >= vAttributes.size()) || readParts(vParts, parts) ||
           parts.areWrong(uFaces) || sky.isWrong() || areColoursWrong(colours, vMaterials.size(), vAttributes.size());
}

bool StagedScene::send(int iFile) const {
    return pack([iFile](const void* p, size_t uBytes) {
        for (size_t u = 0; u < uBytes;) {
            const ssize_t i = ::write(iFile, static_cast<const char*>(p) + u, uBytes - u);
            if (i < 0 && errno == EINTR) continue;
            if (i <= 0) return true;
            u += static_cast<size_t>(i);
        }
        return false;
    });
}

bool StagedScene::receive(int iFile) {
    struct stat status {};
    if (fstat(iFile, &status) != 0 || status.st_size <= 0) return true;
    const auto uBytes = static_cast<size_t>(status.st_size);
    void* p = mmap(nullptr, uBytes, PROT_READ, MAP_PRIVATE, iFile, 0);
    if (p == MAP_FAILED) return true;
    std::string sReason;
    const bool bFailed = unpack(p, uBytes, sReason);
    munmap(p, uBytes);
    return bFailed;
}

void StagedScene::takeFrom(const PreparedScene& scene, const Camera& view) {
    *this = StagedScene();
    vVertices.reserve(scene.scene.uVertexCount);
    for (uint32_t u = 0; u < scene.scene.uVertexCount; ++u) vVertices.push_back(scene.scene.pVertices[u].v3Position);
    vTriangles.reserve(size_t{3} * scene.scene.vFaces.uCount);
    vMaterials.reserve(scene.scene.vFaces.uCount);
    for (const FaceData& face : scene.scene.vFaces) {
        for (const SceneVertex* pCorner : {face.pA, face.pB, face.pC}) {
            vTriangles.push_back(static_cast<uint32_t>(pCorner - scene.scene.pVertices));
        }
        vMaterials.push_back(face.uAttribute);
    }
    vAttributes.assign(scene.attributes.vAttributes.begin(), scene.attributes.vAttributes.end());
    vLights.assign(scene.lights.pLights, scene.lights.pLights + scene.lights.uCount);
    colours = scene.colours;
    parts = scene.parts;
    sky = scene.sky;
    camera = view;
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
    scene.parts = parts;
    scene.sky = sky;
    scene.attributes.bLoaded = scene.lights.bLoaded = !bFailed;
    return bFailed;
}

}  // namespace rt
