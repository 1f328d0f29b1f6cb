// The life of a render: loading, preprocessing, release.
#include "render/RayTracer.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "base/InputReport.h"
#include "base/LargeBlock.h"
#include "base/LineReader.h"
#include "base/NLogger.h"
#include "render/StreamShader.h"

RayTracer::RayTracer() : pShader(new (std::nothrow) StreamShader({scene, attributes, lights, queries, parameters})) {}

RayTracer::~RayTracer() = default;

bool RayTracer::load(const char* szSceneDescFile, bool bOnlyDesc) {
    if (Velk::reserveStack()) return true;
    if (szSceneDescFile) {
        constexpr size_t uSize = sizeof(parameters.szDescFile);
        if (strnlen(szSceneDescFile, uSize) == uSize || strnlen(parameters.szDescFile, uSize) == uSize) {
            ReportError("Invalid string: 'szSceneDescFile' or 'parameters.szDescFile'");
            Velk::inputError("scene", 0, nullptr, "a path of at most %zu bytes expected", uSize - 1);
            return true;
        }
        Velk::copyText(parameters.szDescFile, uSize, szSceneDescFile);
    }
    if (sceneDesc.loadDescription(parameters.szDescFile)) return true;
    if (!bOnlyDesc) {
        queries.release();
        scene.releaseScene();
        attributes.releaseAttributes();
        lights.releaseLights();
        if (scene.loadScene(sceneDesc.szSceneFile)) return true;
        if (attributes.loadAttributes(sceneDesc.szAttributesFile)) return true;
        if (checkAttributes()) return true;
        if (lights.loadLights(sceneDesc.szLightsFile)) return true;
    }
    camera = Camera{};  // a short camera file must not keep values of the scene before, which were scaled
    if (camera.loadCamera(sceneDesc.szCameraFile)) return true;
    if (parameters.bCustomCamera) camera.setCamera(parameters.v3CameraPosition, parameters.v3CameraLook);
    if (!parameters.bCustomResolution) {
        parameters.uWidth = camera.uWidth;
        parameters.uHeight = camera.uHeight;
    }
    if (!parameters.uWidth || !parameters.uHeight) {
        Velk::inputWarning(sceneDesc.szCameraFile, 0, nullptr, "a picture of %u x %u pixels shows nothing",
                           parameters.uWidth, parameters.uHeight);
    }
    bDescOnly = bOnlyDesc;
    return false;
}

// True when a face refers to a material that does not exist.
bool RayTracer::checkAttributes() const {
    const uint32_t uTextured = parameters.uTexturedAttribute, uAttributes = attributes.vAttributes.uSize;
    if (uTextured != NO_INDEX && uTextured >= uAttributes) {
        Velk::inputWarning(sceneDesc.szAttributesFile, 0, nullptr, "no material %u to be textured, there are %u",
                           uTextured, uAttributes);
    }
    for (uint32_t u = 0; u < scene.vFaces.uCount; ++u) {
        const uint32_t uAttribute = scene.vFaces[u].uAttribute;
        if (uAttribute < uAttributes) continue;
        if (uAttribute == NO_INDEX) {
            ReportErrorFormat("Invalid scene: face %u has no attribute index\n", u);
            Velk::inputError(sceneDesc.szSceneFile, 0, nullptr, "no material index for triangle %u", u);
        } else {
            ReportErrorFormat("Invalid scene: face %u has attribute index %u, there are %u attributes\n", u, uAttribute,
                              uAttributes);
            Velk::inputError(sceneDesc.szSceneFile, 0, nullptr, "triangle %u wants material %u, there are %u in %s", u,
                             uAttribute, uAttributes, sceneDesc.szAttributesFile);
        }
        return true;
    }
    return false;
}

bool RayTracer::preprocessScene() {
    const auto printLoaded = [](const char* szWhat, bool bLoaded) {
        printf("%s loaded...%s\n", szWhat, bLoaded ? "OK" : "");
    };
    printLoaded("Scene", scene.bLoaded);
    printLoaded("Camera", camera.bLoaded);
    printLoaded("Attributes", attributes.bLoaded);
    printLoaded("Lights", lights.bLoaded);
    if (!scene.bLoaded) {
        ReportError("Invalid scene: none was loaded");
        return true;
    }
    if (!pShader) {
        Velk::memoryError(sizeof(StreamShader), "shading");
        return true;
    }
    scene.preprocessScene();
    camera.applyDomainFactor(scene.fDomainFactor);
    lights.applyDomainFactor(scene.fDomainFactor);
    const Velk::NMVector3f& v3From = camera.v3Position;
    const float fFarthestOrigin = std::max({0.0f, fabsf(v3From.x), fabsf(v3From.y), fabsf(v3From.z)});
    if (queries.build(scene, parameters.bResetCache, fFarthestOrigin)) return true;
    fMaxDistance = length(camera.v3Position - scene.v3Center) + scene.fDiagonal;
    v3Eye = camera.v3Position;
    v3ImageOrigin = camera.v3Screen[0];
    v3ImageSpanX = camera.v3Screen[1] - camera.v3Screen[0];
    v3ImageSpanY = camera.v3Screen[2] - camera.v3Screen[0];
    return false;
}

void RayTracer::release() {
    if (bDescOnly) return;
    image.release();
    scene.releaseScene();
    attributes.releaseAttributes();
    lights.releaseLights();
    queries.release();
}
