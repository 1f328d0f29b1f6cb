// Loads a scene, checks it and prepares it for ray queries.
#include "render/PreparedScene.h"

#include <algorithm>
#include <cmath>

#include "base/InputReport.h"
#include "base/NLogger.h"
#include "scene/SceneDesc.h"

namespace rt {

bool PreparedScene::read(const SceneDesc& desc) {
    release();
    return scene.loadScene(desc.szSceneFile, queries.uThreads) || attributes.loadAttributes(desc.szAttributesFile) ||
           checkAttributes(desc) || lights.loadLights(desc.szLightsFile);
}

// True when a face refers to a material that does not exist.
bool PreparedScene::checkAttributes(const SceneDesc& desc) const {
    const uint32_t uAttributes = attributes.vAttributes.uSize;
    const auto isWrong = [uAttributes](const FaceData& face) { return face.uAttribute >= uAttributes; };
    const FaceData* pWrong = std::find_if(scene.vFaces.begin(), scene.vFaces.end(), isWrong);
    if (pWrong == scene.vFaces.end()) return false;
    const uint32_t uFace = static_cast<uint32_t>(pWrong - scene.vFaces.begin()), uAttribute = pWrong->uAttribute;
    if (uAttribute == NO_INDEX) {
        ReportErrorFormat("Invalid scene: face %u has no attribute index\n", uFace);
        Velk::inputError(desc.szSceneFile, 0, nullptr, "no material index for triangle %u", uFace);
    } else {
        ReportErrorFormat("Invalid scene: face %u has attribute index %u, there are %u attributes\n", uFace, uAttribute,
                          uAttributes);
        Velk::inputError(desc.szSceneFile, 0, nullptr, "triangle %u wants material %u, there are %u in %s", uFace,
                         uAttribute, uAttributes, desc.szAttributesFile);
    }
    return true;
}

bool PreparedScene::prepare(const Velk::NMVector3f& v3Eye, bool bResetCache, Scaling scaling) {
    scene.preprocessScene(scaling, queries.uThreads, queries.pStop);
    if (isStopped(queries.pStop)) return true;
    if (queries.eKind == RayKind::WATERTIGHT) scene.completeNormals();
    lights.applyDomainFactor(scene.fDomainFactor);
    const Velk::NMVector3f v3From = v3Eye * scene.fDomainFactor;
    return queries.build(scene, bResetCache, std::max({0.0f, fabsf(v3From.x), fabsf(v3From.y), fabsf(v3From.z)}));
}

void PreparedScene::release() {
    queries.release();
    scene.releaseScene();
    attributes.releaseAttributes();
    lights.releaseLights();
    colours = {};
    parts = {};
    sky = {};
}

}  // namespace rt
