// Keeps meshes, and prepares the library's scenes when they are asked for.
#include "binding/RaycastingScene.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <new>
#include <stdexcept>

namespace python {

namespace {

constexpr std::chrono::milliseconds BETWEEN_LOOKS{50};  // whether it was stopped
constexpr size_t MOST_TRIANGLES = (size_t{1} << 28) - 1;
constexpr uint8_t BACKGROUND[3] = {1, 0, 1};  // the library's

// Waits for a mutex. It is not locked when it was stopped.
std::unique_lock<std::timed_mutex> lockUnless(const std::atomic<bool>& bStop, std::timed_mutex& mutex) {
    std::unique_lock<std::timed_mutex> lock(mutex, std::defer_lock);
    while (!bStop && !lock.try_lock_for(BETWEEN_LOOKS)) {
    }
    return lock;
}

// What a picture of no mesh is.
void fillBackground(const PictureOrder& order, uint8_t* pPixels) {
    const uint32_t uChannels = order.look.channels();
    for (uint32_t y = 0; y < order.rows(); ++y) {
        const float fDown =
            (static_cast<float>(order.view.window.y + y) + 0.5f) / static_cast<float>(order.view.uHeight);
        for (size_t u = 0; u < order.stride(); ++u) {
            const size_t c = u % uChannels;
            uint8_t uByte = c < 3 ? BACKGROUND[c] : uint8_t{0};
            if (order.look.bStudio) {
                const raytracer::Studio& studio = order.look.studio;
                const float f = c < 3 ? studio.top[c] * (1 - fDown) + studio.bottom[c] * fDown : 0.0f;
                uByte = uChannels == 4 ? uint8_t{0} : static_cast<uint8_t>(lroundf(f));
            }
            pPixels[y * order.stride() + u] = uByte;
        }
    }
}

// To where the corners run counter-clockwise.
void putNormal(const float* pVertices, const uint32_t* pCorners, float* pNormal) {
    const float *pA = pVertices + size_t{3} * pCorners[0], *pB = pVertices + size_t{3} * pCorners[1],
                *pC = pVertices + size_t{3} * pCorners[2];
    double ab[3], ac[3], n[3];
    for (unsigned a = 0; a < 3; ++a) {
        ab[a] = static_cast<double>(pB[a]) - pA[a];
        ac[a] = static_cast<double>(pC[a]) - pA[a];
    }
    for (unsigned a = 0; a < 3; ++a) n[a] = ab[(a + 1) % 3] * ac[(a + 2) % 3] - ab[(a + 2) % 3] * ac[(a + 1) % 3];
    const double dLength = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    for (unsigned a = 0; a < 3; ++a) pNormal[a] = dLength > 0.0 ? static_cast<float>(n[a] / dLength) : 0.0f;
}

}  // namespace

uint32_t PreparedMeshes::geometryOf(uint32_t uTriangle, uint32_t uGuess) const {
    if (vFirst[uGuess] <= uTriangle && uTriangle < vFirst[uGuess + 1]) return uGuess;
    return static_cast<uint32_t>(std::upper_bound(vFirst.begin(), vFirst.end(), uTriangle) - vFirst.begin() - 1);
}

uint32_t RaycastingScene::add(const float* pVertices, size_t uVertices, const int64_t* pTriangles, size_t uTriangles,
                              const std::string& sName) {
    const std::lock_guard<std::timed_mutex> lock(meshes);
    const size_t uBase = vVertices.size() / 3;
    if (vFirst.back() + uTriangles > MOST_TRIANGLES || uBase + uVertices > UINT32_MAX / 3)
        throw std::length_error("a scene has at most 268435455 triangles and 1431655765 vertices");
    vNames.push_back(sName);
    vFirst.push_back(vFirst.back() + static_cast<uint32_t>(uTriangles));
    vVertices.insert(vVertices.end(), pVertices, pVertices + uVertices * 3);
    for (size_t u = 0; u < uTriangles * 3; ++u)
        vTriangles.push_back(static_cast<uint32_t>(uBase + static_cast<size_t>(pTriangles[u])));
    pPrepared.reset();
    return static_cast<uint32_t>(vFirst.size() - 2);
}

std::shared_ptr<const PreparedMeshes> RaycastingScene::ready() {
    const std::unique_lock<std::timed_mutex> lock(meshes, std::try_to_lock);
    return lock ? pPrepared : nullptr;
}

std::shared_ptr<const PreparedMeshes> RaycastingScene::prepared(const std::atomic<bool>& bStop) {
    const std::unique_lock<std::timed_mutex> lock = lockUnless(bStop, meshes);
    if (!lock || pPrepared) return lock ? pPrepared : nullptr;
    const auto pNew = std::make_shared<PreparedMeshes>();
    pNew->vFirst = vFirst;
    pNew->vNormals.resize(vTriangles.size());
    for (size_t u = 0; u < vTriangles.size() && !bStop; u += 3)
        putNormal(vVertices.data(), &vTriangles[u], &pNew->vNormals[u]);
    if (bStop) return nullptr;
    const raytracer::Mesh mesh{vVertices.data(), static_cast<uint32_t>(vVertices.size() / 3), vTriangles.data(),
                               vFirst.back()};
    if (vFirst.back() &&
        (pNew->scene.setMesh(mesh, &bStop) || pNew->scene.prepare(raytracer::Use::RAYS, eRays, uBuilders, &bStop))) {
        if (bStop) return nullptr;
        throw std::bad_alloc();
    }
    pPrepared = pNew;
    return pPrepared;
}

// A material a mesh. Requires the lock.
void RaycastingScene::fill(raytracer::Scene& scene, const std::vector<float>& vColors, bool bSmooth) const {
    std::vector<uint32_t> vMaterials;
    for (uint32_t uMesh = 0; uMesh + 1 < vFirst.size(); ++uMesh) vMaterials.resize(vFirst[uMesh + 1], uMesh);
    const raytracer::Mesh mesh{vVertices.data(), static_cast<uint32_t>(vVertices.size() / 3), vTriangles.data(),
                               vFirst.back(), vMaterials.data()};
    bool bFailed = scene.setMesh(mesh);
    for (size_t u = 0; u + 1 < vFirst.size(); ++u) {
        bFailed = bFailed || scene.addPart(vFirst[u], vNames[u].c_str());
        raytracer::Material material;
        material.bSmooth = bSmooth;
        if (!vColors.empty()) std::copy_n(&vColors[3 * u], 3, material.color);
        bFailed = bFailed || scene.addMaterial(material);
    }
    if (bFailed || scene.setSky(vSky.data(), uSkyWidth, uSkyHeight, fSkyTurn)) throw std::bad_alloc();
}

void RaycastingScene::setSky(const float* pLight, uint32_t uWidth, uint32_t uHeight, float fTurn) {
    raytracer::Scene trial;
    lastReport();
    if (trial.setSky(pLight, uWidth, uHeight, fTurn)) throw std::invalid_argument(lastReport());
    const std::lock_guard<std::timed_mutex> lock(meshes);
    vSky.assign(pLight, pLight + size_t{3} * uWidth * uHeight);
    uSkyWidth = uWidth, uSkyHeight = uHeight, fSkyTurn = fTurn;
    uPictureMeshes = 0;
}

// False when there is nothing to be seen, or when it was stopped.
bool RaycastingScene::makePictures(const PictureOrder& order, const std::atomic<bool>& bStop) {
    const std::unique_lock<std::timed_mutex> lock = lockUnless(bStop, meshes);
    if (!lock || !vFirst.back()) return false;
    if (uPictureMeshes == vFirst.size() && vPictureColors == order.vColors && bPictureSmooth == order.bSmooth)
        return true;
    uPictureMeshes = 0;
    vPictureColors = order.vColors;
    bPictureSmooth = order.bSmooth;
    pictureScene = raytracer::Scene();
    fill(pictureScene, order.vColors, order.bSmooth);
    if (pictureScene.prepare(raytracer::Use::PICTURES, eRays, uBuilders, &bStop)) {
        if (bStop) return false;
        throw std::bad_alloc();
    }
    uPictureMeshes = vFirst.size();
    return true;
}

std::vector<uint8_t> RaycastingScene::pack(const std::vector<float>& vColors, bool bSmooth) {
    const std::lock_guard<std::timed_mutex> lock(meshes);
    std::vector<uint8_t> vBytes;
    if (!vFirst.back()) return vBytes;
    raytracer::Scene scene;
    fill(scene, vColors, bSmooth);
    if (scene.pack(vBytes)) throw std::bad_alloc();
    return vBytes;
}

bool RaycastingScene::findLayers(const PictureOrder& picture, const LayerOrder& order, unsigned uThreads,
                                 const std::atomic<bool>& bStop) {
    const std::unique_lock<std::timed_mutex> lock = lockUnless(bStop, pictures);
    if (!lock || !makePictures(picture, bStop)) return bStop;
    if (raytracer::renderLayers(pictureScene, order.view, order.layers, uThreads, &bStop) && !bStop)
        throw std::bad_alloc();
    return true;
}

bool RaycastingScene::render(const PictureOrder& order, unsigned uThreads, uint8_t* pPixels,
                             const std::atomic<bool>& bStop) {
    const std::unique_lock<std::timed_mutex> lock = lockUnless(bStop, pictures);
    if (!lock || !makePictures(order, bStop)) {
        fillBackground(order, pPixels);
        return bStop;
    }
    if (pictureScene.setLights(order.vLights.data(), static_cast<uint32_t>(order.vLights.size())))
        throw std::bad_alloc();
    const bool bFailed = order.render(pictureScene, uThreads, pPixels, bStop);
    if (bFailed && !bStop) throw std::bad_alloc();
    return bFailed;
}

std::vector<std::string> RaycastingScene::geometryNames() {
    const std::lock_guard<std::timed_mutex> lock(meshes);
    return vNames;
}

uint32_t RaycastingScene::geometryCount() {
    const std::lock_guard<std::timed_mutex> lock(meshes);
    return static_cast<uint32_t>(vFirst.size() - 1);
}

}  // namespace python
