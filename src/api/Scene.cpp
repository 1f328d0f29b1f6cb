// The public scene: loading or filling, preparing, ray queries.
#include "raytracer/Scene.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <type_traits>

#include "api/Inside.h"
#include "base/InputReport.h"
#include "base/NewArray.h"
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
            pStream->add(vectorOf(pRays[u].origin) * fFactor, vectorOf(pRays[u].direction), pRays[u].fMaxT * fFactor);
        }
        visit(*pStream, uFirst);
    }
}

}  // namespace

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

bool Scene::setMesh(const Mesh& mesh) {
    pData->bPrepared = false;
    pData->scene.queries.release();
    pData->scene.scene.releaseScene();
    return pData->scene.scene.setMesh(
        {mesh.pPositions, mesh.uVertices, mesh.pTriangles, mesh.uTriangles, mesh.pMaterials});
}

bool Scene::addMaterial(const Material& material) {
    auto& vAttributes = pData->scene.attributes.vAttributes;
    if (!vAttributes.uGrowBy) vAttributes.uGrowBy = 4;
    return vAttributes.PushBack(attributeOf(material));
}

bool Scene::addLight(const Light& light) {
    return pData->scene.lights.add({vectorOf(light.position), {0, -1, 0}, light.fFlux});
}

bool Scene::prepare(Use use, Rays rays, unsigned uThreads) {
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
    pData->bPictures = use == Use::PICTURES;
    const Scaling scaling = pData->bPictures ? Scaling::DOMAIN : Scaling::NONE;
    if (scene.prepare(pData->camera.v3Position, false, scaling)) return true;
    pData->bPrepared = true;
    return false;
}

uint32_t Scene::triangleCount() const {
    return pData->scene.scene.vFaces.uCount;
}

void Scene::findNearest(const Ray* pRays, size_t uRays, Hit* pHits) const {
    std::fill_n(pHits, uRays, Hit{std::numeric_limits<float>::infinity(), NO_TRIANGLE, 0, 0});
    if (!pData->bPrepared) return;
    const float fFactor = pData->scene.scene.fDomainFactor;
    uint32_t uFaces[RayStream::CAPACITY];
    RayTestOutput hits[RayStream::CAPACITY];
    forEachStream(pRays, uRays, fFactor, [&](const RayStream& stream, size_t uFirst) {
        pData->scene.queries.findNearestFaces(stream, uFaces, hits);
        for (uint32_t u = 0; u < stream.uCount; ++u) {
            if (uFaces[u] == NO_INDEX) continue;
            pHits[uFirst + u] = {hits[u].fT / fFactor, uFaces[u], hits[u].fV, 1.0f - hits[u].fU - hits[u].fV};
        }
    });
}

void Scene::findBlocked(const Ray* pRays, size_t uRays, bool* pBlocked) const {
    std::fill_n(pBlocked, uRays, false);
    if (!pData->bPrepared) return;
    forEachStream(pRays, uRays, pData->scene.scene.fDomainFactor, [&](const RayStream& stream, size_t uFirst) {
        pData->scene.queries.findObstacles(stream, pBlocked + uFirst);
    });
}

}  // namespace raytracer
