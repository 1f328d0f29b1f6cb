// Loads and preprocesses a scene, renders the whole picture, and releases everything.
#include "render/RayTracer.h"

#include <cstring>
#include <new>

#include "base/InputReport.h"
#include "base/LargeBlock.h"
#include "base/LineReader.h"
#include "base/NLogger.h"
#include "base/Progress.h"

namespace rt {

RayTracer::RayTracer() : pRenderer(new (std::nothrow) TileRenderer(*this, parameters)) {}

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
    if (!bOnlyDesc && read(sceneDesc)) return true;
    if (!bOnlyDesc) checkTextured();
    Camera read;  // a short camera file must not keep the previous scene's scaled values
    if (read.loadCamera(sceneDesc.szCameraFile)) return true;
    useCamera(read);
    if (!parameters.uWidth || !parameters.uHeight) {
        Velk::inputWarning(sceneDesc.szCameraFile, 0, nullptr, "a picture of %u x %u pixels shows nothing",
                           parameters.uWidth, parameters.uHeight);
    }
    bDescOnly = bOnlyDesc;
    return false;
}

void RayTracer::useCamera(const Camera& view) {
    camera = view;
    if (parameters.bCustomCamera) camera.setCamera(parameters.v3CameraPosition, parameters.v3CameraLook);
    if (!parameters.bCustomResolution) {
        parameters.uWidth = camera.uWidth;
        parameters.uHeight = camera.uHeight;
    }
    bDescOnly = false;
}

void RayTracer::checkTextured() const {
    const uint32_t uTextured = parameters.uTexturedAttribute, uAttributes = attributes.vAttributes.uSize;
    if (uTextured == NO_INDEX || uTextured < uAttributes) return;
    Velk::inputWarning(sceneDesc.szAttributesFile, 0, nullptr, "no material %u to be textured, there are %u", uTextured,
                       uAttributes);
}

bool RayTracer::preprocessScene() {
    const auto printLoaded = [](const char* szWhat, bool bLoaded) {
        Velk::printProgress("%s loaded...%s\n", szWhat, bLoaded ? "OK" : "");
    };
    printLoaded("Scene", scene.bLoaded);
    printLoaded("Camera", camera.bLoaded);
    printLoaded("Attributes", attributes.bLoaded);
    printLoaded("Lights", lights.bLoaded);
    if (!scene.bLoaded) {
        ReportError("Invalid scene: none was loaded");
        return true;
    }
    if (!pRenderer) {
        Velk::memoryError(sizeof(TileRenderer), "shading");
        return true;
    }
    if (prepare(camera.v3Position, parameters.bResetCache)) return true;
    camera.applyDomainFactor(scene.fDomainFactor);
    const Frame view = frameOf(camera, scene, parameters.uWidth, parameters.uHeight);
    fMaxDistance = view.fMaxDistance;
    v3Eye = view.v3Eye;
    v3ImageOrigin = view.v3ImageOrigin;
    v3ImageSpanX = view.v3ImageSpanX;
    v3ImageSpanY = view.v3ImageSpanY;
    return false;
}

Frame RayTracer::frame() const {
    return {v3Eye, v3ImageOrigin, v3ImageSpanX, v3ImageSpanY, fMaxDistance, parameters.uWidth, parameters.uHeight};
}

void RayTracer::release() {
    if (bDescOnly) return;
    image.release();
    PreparedScene::release();
}

bool RayTracer::run() {
    if (!parameters.uPackSize) {
        ReportError("Invalid pack size: 0");
        return true;
    }
    Velk::printProgress("width: %u, height: %u\n", parameters.uWidth, parameters.uHeight);
    image.release();
    if (image.create(parameters.uWidth, parameters.uHeight)) {
        ReportErrorFormat("Image too large: %u x %u pixels\n", parameters.uWidth, parameters.uHeight);
        return true;
    }
    const Frame view = frame();
    const TileGrid tiles = view.tiles(parameters.uPackSize);
    const size_t uStride = size_t{view.uWidth} * 3;
    for (uint64_t u = 0; u < tiles.count(); ++u) {
        const Tile tile = tiles.tile(u);
        if (!tile.x) Velk::printProgress("%d\n", static_cast<int>(tile.y));
        pRenderer->render(view, tile, image.pData + tile.y * uStride + size_t{tile.x} * 3, uStride);
    }
    static_cast<void>(image.saveToFile(parameters.szOutFile));  // reports its own failures
    return false;
}

void RayTracer::calculatePack(unsigned x, unsigned y, unsigned char* pBuffer) {
    const Frame view = frame();
    const Tile tile = view.tiles(parameters.uPackSize).tileAt(x, y);
    if (!tile.uColumns || !tile.uRows) return;
    pRenderer->render(view, tile, pBuffer, size_t{tile.uColumns} * 3);
}

Velk::NMVector3f RayTracer::traceRay(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Direction,
                                     unsigned uDepth, float fRefractiveIndex) {
    return pRenderer->traceRay(v3Origin, v3Direction, fMaxDistance, uDepth, fRefractiveIndex);
}

}  // namespace rt
