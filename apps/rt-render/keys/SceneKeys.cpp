// What tells scenes apart: names of cached trees, and of pictures that can be gone on with.
#include "rt-render/keys/SceneKeys.h"

#include <initializer_list>

#include "base/Version.h"
#include "shared/parts/ContentHash.h"

namespace rt {

using Velk::NMVector3f;

namespace {

void addVector(ContentHash& hash, const NMVector3f& v) {
    const float f[3] = {v.x, v.y, v.z};
    hash.add(f, sizeof(f));
}

void addMaterial(ContentHash& hash, const AttributeInstance& material) {
    for (const float f : {material.fKd, material.fKs, material.fKts, material.fKf, material.fEta}) hash.addValue(f);
    hash.addValue(material.iGs);
    hash.addValue(material.uFlags);
    addVector(hash, material.v3Color);
}

void addColours(ContentHash& hash, const SurfaceColours& colours) {
    hash.add(colours.vPlaces.data(), colours.vPlaces.size() * sizeof(Velk::NMVector2f));
    hash.add(colours.vCorners.data(), colours.vCorners.size() * sizeof(uint32_t));
    for (const ColourRule& rule : colours.vRules) {
        for (const uint32_t u :
             {rule.uTexture, rule.bVertices, rule.uMask, rule.bPhysical, rule.uMetal, rule.uRough, rule.uEmission}) {
            hash.addValue(u);
        }
        for (const float f : {rule.fCutoff, rule.fMetal, rule.fRough}) hash.addValue(f);
        addVector(hash, rule.v3Factor);
        addVector(hash, rule.v3Emission);
    }
    for (const TextureImage& image : colours.vTextures) {
        for (const uint32_t u :
             {image.uWidth, image.uHeight, uint32_t{image.wraps[0]}, uint32_t{image.wraps[1]}, image.bNumbers}) {
            hash.addValue(u);
        }
        hash.add(image.vTexels.data(), image.vTexels.size());
    }
}

}  // namespace

std::string geometryKey(const Scene& scene) {
    ContentHash hash;
    hash.add(std::string(Velk::VERSION) + " exact");  // trees of builds that rounded the planes are not to be found
    for (uint32_t u = 0; u < scene.uVertexCount; ++u) addVector(hash, scene.pVertices[u].v3Position);
    for (uint32_t u = 0; u < scene.vFaces.uCount; ++u) {
        const FaceData& face = scene.vFaces[u];
        const uint32_t uCorners[3] = {static_cast<uint32_t>(face.pA - scene.pVertices),
                                      static_cast<uint32_t>(face.pB - scene.pVertices),
                                      static_cast<uint32_t>(face.pC - scene.pVertices)};
        hash.add(uCorners, sizeof(uCorners));
    }
    return hash.text();
}

std::string sceneKey(const RayTracer& rayTracer, const std::string& sGeometryKey) {
    ContentHash hash;
    hash.add(sGeometryKey);
    for (uint32_t u = 0; u < rayTracer.scene.vFaces.uCount; ++u) hash.addValue(rayTracer.scene.vFaces[u].uAttribute);
    for (const AttributeInstance& material : rayTracer.attributes.vAttributes) addMaterial(hash, material);
    addColours(hash, rayTracer.colours);
    for (uint32_t u = 0; u < rayTracer.lights.uCount; ++u) {
        addVector(hash, rayTracer.lights.pLights[u].v3Position);
        hash.addValue(rayTracer.lights.pLights[u].fFlux);
    }
    for (const NMVector3f& v :
         {rayTracer.v3Eye, rayTracer.v3ImageOrigin, rayTracer.v3ImageSpanX, rayTracer.v3ImageSpanY}) {
        addVector(hash, v);
    }
    const RaytracerParameters& p = rayTracer.parameters;
    for (const float f : {p.fAngleCoeff, p.fBrickWidth, p.fBrickHeight, p.fMortarWidth}) hash.addValue(f);
    hash.addValue(p.uTexturedAttribute);
    hash.addValue(p.bDirt);
    return hash.text();
}

}  // namespace rt
