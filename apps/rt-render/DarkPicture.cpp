// Finds out what makes a picture black.
#include "rt-render/DarkPicture.h"

#include <algorithm>
#include <memory>
#include <set>
#include <vector>

#include "shared/NearNames.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr unsigned RAYS_ALONG = 64;       // each side of the picture
constexpr float DARKEST = 1.5f / 255.0f;  // component of a colour that can become more than black
constexpr size_t MOST_NAMES = 5;          // of materials in the message

// Indices of the materials that the eye sees.
std::set<uint32_t> seenMaterials(const RayTracer& rayTracer, const Frame& frame) {
    std::set<uint32_t> materials;
    const auto pRays = std::make_unique<RayStream>();
    uint32_t uFaces[RAYS_ALONG];
    RayTestOutput hits[RAYS_ALONG];
    for (unsigned uRow = 0; uRow < RAYS_ALONG; ++uRow) {
        const float fDown = (static_cast<float>(uRow) + 0.5f) / RAYS_ALONG;
        pRays->uCount = 0;
        for (unsigned uColumn = 0; uColumn < RAYS_ALONG; ++uColumn) {
            const float fAcross = (static_cast<float>(uColumn) + 0.5f) / RAYS_ALONG;
            const Frame::Ray ray =
                frame.rayTo(frame.v3ImageOrigin + frame.v3ImageSpanX * fAcross + frame.v3ImageSpanY * fDown);
            pRays->add(ray.v3From, normalize(ray.v3Dir), frame.fMaxDistance);
        }
        rayTracer.queries.findNearestFaces(*pRays, uFaces, hits);
        for (const uint32_t uFace : uFaces) {
            if (uFace != NO_INDEX) materials.insert(rayTracer.scene.vFaces[uFace].uAttribute);
        }
    }
    return materials;
}

bool isDark(const NMVector3f& v3Colour) {
    return std::max({v3Colour.x, v3Colour.y, v3Colour.z}) < DARKEST;
}

}  // namespace

std::string causeOfDarkness(const RayTracer& rayTracer, const Frame& frame) {
    const std::set<uint32_t> seen = seenMaterials(rayTracer, frame);
    std::vector<std::string> vColourless, vDull;
    size_t uClear = 0;
    for (const uint32_t u : seen) {
        if (u == rayTracer.parameters.uTexturedAttribute) continue;  // bricks have colours of their own
        const AttributeInstance& material = rayTracer.attributes.vAttributes[u];
        const std::string sName = "\"" + std::string(material.szName) + "\"";
        const bool bDiffuse = material.fKd > 0.0f || material.fKs > 0.0f,
                   bClear = material.fKts > 0.0f || material.fKf > 0.0f;
        if (isDark(material.v3Color)) {
            vColourless.push_back(sName);
        } else if (!bDiffuse && !bClear) {
            vDull.push_back(sName);
        } else if (!bDiffuse) {
            ++uClear;
        }
    }
    const Lights& lights = rayTracer.lights;
    const bool bLight = std::any_of(lights.pLights, lights.pLights + lights.uCount,
                                    [](const Light& light) { return light.fFlux > 0.0f; });
    if (!seen.empty() && vColourless.size() + vDull.size() == seen.size()) {
        vColourless.insert(vColourless.end(), vDull.begin(), vDull.end());
        const bool bOne = vColourless.size() == 1;
        return (bOne ? "the material " : "the materials ") + listOf(vColourless, MOST_NAMES) +
               ", all that the camera sees, " + (bOne ? "is black" : "are black") +
               (vDull.empty()                 ? " (color)"
                : vDull.size() == seen.size() ? " (kd and ks are 0)"
                                              : "");
    }
    if (!bLight) return "there is no light";
    if (uClear && uClear == seen.size()) return "what the camera sees mirrors or lets through nothing but darkness";
    return "no light reaches what the camera sees";
}

}  // namespace rt
