// The public scene: loading or filling, preparing, ray queries.
#include "raytracer/Scene.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <new>
#include <string>
#include <type_traits>

#include "api/Inside.h"
#include "base/InputReport.h"
#include "base/NewArray.h"
#include "render/StagedScene.h"
#include "scene/SceneDesc.h"

using Velk::NMVector3f;
using namespace rt;

namespace raytracer {

namespace {

AttributeInstance attributeOf(const Material& material) {
    AttributeInstance attribute{};
    attribute.fKd = material.fDiffuse;
    attribute.fKs = material.fSpecular;
    attribute.iGs = static_cast<int32_t>(material.uExponent);
    attribute.fKts = material.fMirror;
    attribute.fKf = material.fGlass;
    attribute.fEta = material.fRefractiveIndex;
    attribute.v3Color = vectorOf(material.color);
    if (material.bSmooth) attribute.uFlags = AF_SMOOTH;
    return attribute;
}

// Splits rays into streams and calls visit(stream, index of its first ray) for each. fFactor scales the caller's units
// to the scene's. Visits nothing when out of memory.
template <typename Visit>
void forEachStream(const Ray* pRays, size_t uRays, float fFactor, const Visit& visit) {
    const std::unique_ptr<RayStream> pStream(new (std::nothrow) RayStream);
    if (!pStream) {
        Velk::memoryError(sizeof(RayStream), "rays");
        return;
    }
    for (size_t uFirst = 0; uFirst < uRays; uFirst += RayStream::CAPACITY) {
        pStream->uCount = 0;
        const size_t uEnd = std::min(uRays, uFirst + RayStream::CAPACITY);
        for (size_t u = uFirst; u < uEnd; ++u) {
            // Streams begin at their origins.
            const NMVector3f v3Dir = vectorOf(pRays[u].direction);
            const float fMin = pRays[u].fMinT;
            const NMVector3f v3From = vectorOf(pRays[u].origin) + (fMin > 0 ? v3Dir * fMin : NMVector3f{});
            pStream->add(v3From * fFactor, v3Dir, (pRays[u].fMaxT - fMin) * fFactor);
        }
        visit(*pStream, uFirst);
    }
}

// Calls visit(rays, number of rays, index of the first) for each piece of an array.
template <typename Visit>
void forEachPiece(const Ray* pRays, size_t uRays, float fFactor, const Visit& visit) {
    WatertightRay piece[64];
    for (size_t uFirst = 0; uFirst < uRays; uFirst += std::size(piece)) {
        const size_t uCount = std::min(std::size(piece), uRays - uFirst);
        for (size_t u = 0; u < uCount; ++u) {
            const Ray& ray = pRays[uFirst + u];
            piece[u] = {{}, {}, ray.fMinT * fFactor, ray.fMaxT * fFactor};
            for (unsigned a = 0; a < 3; ++a) {
                piece[u].fOrigin[a] = ray.origin[a] * fFactor;
                piece[u].fDir[a] = ray.direction[a];
            }
        }
        visit(piece, uCount, uFirst);
    }
}

// The walk of single rays knows where a ray begins; streams are better for rays that begin at their origins.
bool allBeginAtOrigin(const Ray* pRays, size_t uRays) {
    return std::all_of(pRays, pRays + uRays, [](const Ray& ray) { return ray.fMinT == 0.0f; });
}

Hit hitOf(const WatertightHit& hit, float fFactor) {
    if (hit.uFace == WatertightHit::NO_FACE) return {std::numeric_limits<float>::infinity(), NO_TRIANGLE, 0, 0};
    return {hit.fT / fFactor, hit.uFace, hit.fV, 1.0f - hit.fU - hit.fV};
}

}  // namespace

// The queries that only watertight rays have; null, with a report, when there are none.
const WatertightQueries* Scene::Data::watertightFor(const char* szWhat) const {
    const WatertightQueries* p = bPrepared ? scene.queries.watertightQueries() : nullptr;
    if (!p) Velk::inputError("scene", 0, nullptr, "%s: it is not prepared for watertight rays", szWhat);
    return p;
}

bool Scene::Data::makeSky() {
    const SkyPicture& sky = scene.sky;
    pSky.reset();
    if (sky.vLight.empty()) return scene.sky = {}, false;
    if (!sky.isWrong()) pSky = std::make_unique<const SkyMap>(sky.vLight.data(), sky.uWidth, sky.uHeight, sky.fTurn);
    if (pSky && !pSky->isDark()) return false;
    pSky.reset();
    scene.sky = {};
    Velk::inputError("sky", 0, nullptr, "is dark, or has numbers that are no light");
    return true;
}

Scene::Scene() : pData(std::make_unique<Data>()) {}
Scene::~Scene() = default;
Scene::Scene(Scene&& other) noexcept = default;
Scene& Scene::operator=(Scene&& other) noexcept = default;

bool Scene::load(const char* szDescription) {
    SceneDesc desc;
    pData = std::make_unique<Data>();
    return desc.loadDescription(szDescription) || pData->scene.read(desc) ||
           pData->camera.loadCamera(desc.szCameraFile);
}

bool Scene::loadPacked(const void* pBytes, size_t uBytes) {
    try {
        pData = std::make_unique<Data>();
        StagedScene staged;
        std::string sReason;
        if (staged.unpack(pBytes, uBytes, sReason)) {
            Velk::inputError("packed scene", 0, nullptr, "%s", sReason.c_str());
            return true;
        }
        pData->camera = staged.camera;
        pData->uGround = staged.uGround;
        return staged.handOver(pData->scene) || pData->makeSky();
    } catch (const std::bad_alloc&) {
        Velk::memoryError(uBytes, "a packed scene");
        return true;
    }
}

bool Scene::pack(std::vector<uint8_t>& vBytes) const {
    vBytes.clear();
    if (pData->bPrepared || !pData->scene.scene.bLoaded) {
        Velk::inputError("scene", 0, nullptr, pData->bPrepared ? "is prepared already" : "has no mesh");
        return true;
    }
    try {
        StagedScene staged;
        staged.takeFrom(pData->scene, pData->camera);
        staged.uGround = pData->uGround;
        return staged.pack([&vBytes](const void* p, size_t uBytes) {
            const auto* pFirst = static_cast<const uint8_t*>(p);
            vBytes.insert(vBytes.end(), pFirst, pFirst + uBytes);
            return false;
        });
    } catch (const std::bad_alloc&) {
        Velk::memoryError(vBytes.size(), "a packed scene");
        return true;
    }
}

bool Scene::setMesh(const Mesh& mesh, const std::atomic<bool>* pStop) {
    pData->bPrepared = false;
    pData->uGround = NO_INDEX;
    pData->scene.colours = SurfaceColours();
    pData->scene.parts = SceneParts();
    pData->scene.queries.release();
    pData->scene.scene.releaseScene();
    return pData->scene.scene.setMesh(
        {mesh.pPositions, mesh.uVertices, mesh.pTriangles, mesh.uTriangles, mesh.pMaterials}, pStop);
}

bool Scene::addPart(uint32_t uFirst, const char* szName) {
    SceneParts& parts = pData->scene.parts;
    if (uFirst < (parts.vRuns.empty() ? 0 : parts.vRuns.back().uFirst) || uFirst > triangleCount() ||
        (parts.vRuns.empty() && uFirst)) {
        Velk::inputError("mesh", 0, nullptr, "no part begins with triangle %u", uFirst);
        return true;
    }
    try {
        // First, so that no run is of a part for which there was no memory.
        parts.vParts.push_back(ScenePart::below("", szName));
        parts.startRun(uFirst, static_cast<uint32_t>(parts.vParts.size() - 1));
        return false;
    } catch (const std::bad_alloc&) {
        Velk::memoryError(sizeof(ScenePart), "a part");
        return true;
    }
}

bool Scene::addMaterial(const Material& material) {
    auto& vAttributes = pData->scene.attributes.vAttributes;
    if (!vAttributes.uGrowBy) vAttributes.uGrowBy = 4;
    return vAttributes.PushBack(attributeOf(material));
}

bool Scene::addLight(const Light& light) {
    return pData->scene.lights.add({vectorOf(light.position), {0, -1, 0}, light.fFlux});
}

bool Scene::setLights(const Light* pLights, uint32_t uLights) {
    pData->scene.lights.releaseLights();
    if (std::any_of(pLights, pLights + uLights, [this](const Light& light) { return addLight(light); })) return true;
    if (pData->bPrepared) pData->scene.lights.applyDomainFactor(pData->scene.scene.fDomainFactor);
    return false;
}

bool Scene::setSky(const float* pLight, uint32_t uWidth, uint32_t uHeight, float fTurn) {
    const uint64_t uPixels = uint64_t{uWidth} * uHeight;
    try {
        if (uPixels > PTRDIFF_MAX / (3 * sizeof(float))) throw std::bad_alloc();
        pData->scene.sky = {uWidth, uHeight, fTurn, {pLight, pLight + 3 * uPixels}};
        return pData->makeSky();
    } catch (const std::bad_alloc&) {
        pData->scene.sky = {};
        pData->pSky.reset();
        Velk::memoryError(static_cast<size_t>(uPixels) * 3 * sizeof(float), "a sky");
        return true;
    }
}

std::vector<Light> Scene::lights() const {
    const float fFactor = pData->bPrepared ? pData->scene.scene.fDomainFactor : 1.0f;
    const rt::Lights& lights = pData->scene.lights;
    std::vector<Light> vLights;
    for (const rt::Light* p = lights.pLights; p != lights.pLights + lights.uCount; ++p) {
        const NMVector3f v3 = p->v3Position / fFactor;
        vLights.push_back({{v3.x, v3.y, v3.z}, p->fFlux});
    }
    return vLights;
}

bool Scene::prepare(Use use, Rays rays, unsigned uThreads, const std::atomic<bool>* pStop) {
    PreparedScene& scene = pData->scene;
    if (pData->bPrepared || !scene.scene.bLoaded) {
        Velk::inputError("scene", 0, nullptr, pData->bPrepared ? "is prepared already" : "has no mesh");
        return true;
    }
    if (!scene.attributes.vAttributes.uSize && addMaterial({})) return true;
    for (const FaceData& face : scene.scene.vFaces) {
        if (face.uAttribute < scene.attributes.vAttributes.uSize) continue;
        Velk::inputError("mesh", 0, nullptr, "triangle %u wants material %u, there are %u",
                         static_cast<uint32_t>(&face - scene.scene.vFaces.begin()), face.uAttribute,
                         scene.attributes.vAttributes.uSize);
        return true;
    }
    scene.queries.kdTree.sCacheFile.clear();
    scene.queries.eKind = rays == Rays::TREE ? RayKind::TREE : RayKind::WATERTIGHT;
    scene.queries.uThreads = uThreads;
    scene.queries.bScattered = use == Use::RAYS;  // those of pictures are neighbours
    scene.queries.pStop = pStop;
    pData->bPictures = use == Use::PICTURES;
    const Scaling scaling = pData->bPictures ? Scaling::DOMAIN : Scaling::NONE;
    const bool bFailed = scene.prepare(pData->camera.v3Position, false, scaling);
    scene.queries.pStop = scene.queries.kdTree.pStop = nullptr;  // the caller's
    if (bFailed) return true;
    try {
        pData->pTextures.reset();
        if (pData->bPictures) pData->pTextures = std::make_unique<const SurfaceTextures>(scene.scene, scene.colours);
    } catch (const std::bad_alloc&) {
        Velk::memoryError(sizeof(SurfaceTextures), "textures");
        return true;
    }
    pData->bPrepared = true;
    return false;
}

uint32_t Scene::triangleCount() const {
    return pData->scene.scene.vFaces.uCount;
}

uint32_t Scene::vertexCount() const {
    return pData->scene.scene.uVertexCount;
}

std::vector<Part> Scene::parts() const {
    const SceneParts& parts = pData->scene.parts;
    const std::vector<uint32_t> vCounts = parts.counts(triangleCount());
    std::vector<Part> vParts;
    for (const ScenePart& part : parts.vParts) vParts.push_back({part.sName, part.sPath, vCounts[vParts.size()]});
    if (vParts.empty()) vParts.push_back({"", "", vCounts[0]});
    return vParts;
}

void Scene::copyMesh(float* pPositions, uint32_t* pTriangles, uint32_t* pParts) const {
    const PreparedScene& scene = pData->scene;
    const float fFactor = pData->bPrepared ? scene.scene.fDomainFactor : 1.0f;
    for (uint32_t u = 0; u < scene.scene.uVertexCount; ++u) {
        for (unsigned a = 0; a < 3; ++a) *pPositions++ = scene.scene.pVertices[u].v3Position[a] / fFactor;
    }
    for (uint32_t u = 0; u < scene.scene.vFaces.uCount; ++u) {
        const FaceData& face = scene.scene.vFaces[u];
        for (const SceneVertex* pCorner : {face.pA, face.pB, face.pC})
            *pTriangles++ = static_cast<uint32_t>(pCorner - scene.scene.pVertices);
        pParts[u] = scene.parts.partOf(u);
    }
}

void Scene::findNearest(const Ray* pRays, size_t uRays, Hit* pHits) const {
    std::fill_n(pHits, uRays, Hit{std::numeric_limits<float>::infinity(), NO_TRIANGLE, 0, 0});
    if (!pData->bPrepared) return;
    const float fFactor = pData->scene.scene.fDomainFactor;
    const WatertightQueries* pWatertight = pData->scene.queries.watertightQueries();
    if (pWatertight && !allBeginAtOrigin(pRays, uRays)) {
        forEachPiece(pRays, uRays, fFactor, [&](const WatertightRay* pPiece, size_t uCount, size_t uFirst) {
            WatertightHit hits[64];
            pWatertight->nearest(pPiece, uCount, hits);
            std::transform(hits, hits + uCount, pHits + uFirst, [=](const auto& hit) { return hitOf(hit, fFactor); });
        });
        return;
    }
    uint32_t uFaces[RayStream::CAPACITY];
    RayTestOutput hits[RayStream::CAPACITY];
    forEachStream(pRays, uRays, fFactor, [&](const RayStream& stream, size_t uFirst) {
        pData->scene.queries.findNearestFaces(stream, uFaces, hits);
        for (uint32_t u = 0; u < stream.uCount; ++u) {
            if (uFaces[u] == NO_INDEX) continue;
            const float fT = hits[u].fT / fFactor + pRays[uFirst + u].fMinT;
            pHits[uFirst + u] = {fT, uFaces[u], hits[u].fV, 1.0f - hits[u].fU - hits[u].fV};
        }
    });
}

void Scene::findBlocked(const Ray* pRays, size_t uRays, bool* pBlocked) const {
    std::fill_n(pBlocked, uRays, false);
    if (!pData->bPrepared) return;
    const float fFactor = pData->scene.scene.fDomainFactor;
    const WatertightQueries* pWatertight = pData->scene.queries.watertightQueries();
    if (pWatertight && !allBeginAtOrigin(pRays, uRays)) {
        forEachPiece(pRays, uRays, fFactor, [&](const WatertightRay* pPiece, size_t uCount, size_t uFirst) {
            pWatertight->any(pPiece, uCount, pBlocked + uFirst);
        });
        return;
    }
    forEachStream(pRays, uRays, fFactor, [&](const RayStream& stream, size_t uFirst) {
        pData->scene.queries.findObstacles(stream, pBlocked + uFirst);
    });
}

bool Scene::countHits(const Ray* pRays, size_t uRays, uint32_t* pCounts) const {
    std::fill_n(pCounts, uRays, 0u);
    const WatertightQueries* pQueries = pData->watertightFor("counting");
    if (!pQueries) return true;
    forEachPiece(pRays, uRays, pData->scene.scene.fDomainFactor, [&](const auto* pPiece, size_t uCount, size_t uFirst) {
        for (size_t u = 0; u < uCount; ++u) pCounts[uFirst + u] = static_cast<uint32_t>(pQueries->count(pPiece[u]));
    });
    return false;
}

bool Scene::findAll(const Ray* pRays, size_t uRays, std::vector<Hit>& vHits, size_t* pFirst) const {
    vHits.clear();
    std::fill_n(pFirst, uRays + 1, size_t{0});
    const WatertightQueries* pQueries = pData->watertightFor("all hits");
    if (!pQueries) return true;
    const float fFactor = pData->scene.scene.fDomainFactor;
    std::vector<WatertightHit> vFound;
    forEachPiece(pRays, uRays, fFactor, [&](const auto* pPiece, size_t uCount, size_t uFirst) {
        for (size_t u = 0; u < uCount; ++u) {
            pQueries->all(pPiece[u], vFound);
            for (const WatertightHit& hit : vFound) vHits.push_back(hitOf(hit, fFactor));
            pFirst[uFirst + u + 1] = vHits.size();
        }
    });
    return false;
}

bool Scene::findClosest(const float* pPoints, size_t uPoints, Closest* pClosest) const {
    std::fill_n(pClosest, uPoints, Closest{{0, 0, 0}, std::numeric_limits<float>::infinity(), NO_TRIANGLE, 0, 0});
    const WatertightQueries* pQueries = pData->watertightFor("closest points");
    if (!pQueries) return true;
    const float fFactor = pData->scene.scene.fDomainFactor;
    for (size_t u = 0; u < uPoints; ++u) {
        const float* p = pPoints + 3 * u;
        const float scaled[3] = {p[0] * fFactor, p[1] * fFactor, p[2] * fFactor};
        const WatertightClosest found = pQueries->closestPoint(scaled);
        if (std::isinf(found.dDistance)) continue;
        Closest& closest = pClosest[u];
        for (unsigned a = 0; a < 3; ++a) closest.point[a] = found.fPoint[a] / fFactor;
        closest.fDistance = static_cast<float>(found.dDistance / fFactor);
        closest.uTriangle = found.uFace;
        closest.fU = found.fV;
        closest.fV = 1.0f - found.fU - found.fV;
    }
    return false;
}

}  // namespace raytracer
