// What colour the eye sees: light on surfaces, mirrors and glass, edges.
#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <utility>

#include "render/studio/Optics.h"
#include "render/studio/StudioRenderer.h"
#include "render/studio/Tone.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr unsigned ACROSS = 3;         // rays along each side of a pixel with an edge
constexpr unsigned MOST_BOUNCES = 8;   // of a path
constexpr float LEAST_WEIGHT = 0.01f;  // of a path that is worth following
constexpr float SEEN_FROM = 0.25f;     // of the longest ray: how far away mirrored textures count as
constexpr float GLOSS = 0.6f;          // of a highlight, beside the light's own
constexpr unsigned FEW_PHASES = 6;     // that a sample on an edge asks when it finds none to share
constexpr uint64_t SOME_PHASES = 0xF0F;

}  // namespace

StudioRenderer::Colour StudioRenderer::background(const Sample& sample) const {
    if (settings.bTransparent) return {{}, 0.0f};
    if (settings.bSkyBehind) return {screenOf(lights.radiance(sample.v3Dir)), 1.0f};
    return {settings.v3Top * (1.0f - sample.fRow) + settings.v3Bottom * sample.fRow, 1.0f};
}

bool StudioRenderer::isGround(const Sample& sample) const {
    return sample.uFace != NO_INDEX && scene.scene.vFaces[sample.uFace].uAttribute == settings.uGround;
}

// The share of its light that an invisible ground keeps.
float StudioRenderer::shadowOn(const Sample& sample, const Light& light) const {
    float fWeights[StudioLights::KINDS] = {0.45f, 0.0f, 0.55f};
    for (unsigned k = 0; settings.pSky && k < StudioLights::KINDS; ++k) {
        fWeights[k] = luminance(lights.irradiance(static_cast<StudioLights::Kind>(k), sample.v3Normal));
    }
    float fShare = 0.0f, fWhole = 0.0f;
    for (unsigned k = 0; k < StudioLights::KINDS; ++k) {
        if (!(light.fAll[k] > 0.0f)) continue;
        fShare += fWeights[k] * light.fOpen[k] / light.fAll[k];
        fWhole += fWeights[k];
    }
    // From below, where the key light does not come, the ground is whole.
    return fWhole > 0.0f && sample.v3Dir.y < 0.0f ? fShare / fWhole : 1.0f;
}

// The light that a surface gives back to the eye, without what it mirrors and lets through.
NMVector3f StudioRenderer::surfaceLight(const Sample& sample, const Light& light) const {
    if (sample.bPhysical) return gleamingLight(sample, light);
    const uint32_t uMaterial = scene.scene.vFaces[sample.uFace].uAttribute;
    const AttributeInstance& material = scene.attributes.vAttributes[uMaterial];
    const NMVector3f& v3Albedo = sample.v3Albedo;
    float fOpen[StudioLights::KINDS];
    for (unsigned k = 0; k < StudioLights::KINDS; ++k) {
        fOpen[k] = light.fAll[k] > 0.0f ? light.fOpen[k] / light.fAll[k] : 0.0f;
    }
    NMVector3f v3Sky = lights.irradiance(StudioLights::SKY, sample.v3Normal), v3Sum{};
    for (unsigned a = 0; a < 3; ++a) v3Sky[a] *= openness(fOpen[StudioLights::SKY], v3Albedo[a]);
    for (const auto& [eKind, v3To] :
         {std::pair(StudioLights::KEY, lights.toKey()), std::pair(StudioLights::RIM, lights.toRim())}) {
        const NMVector3f v3Light = lights.irradiance(eKind, sample.v3Normal) * fOpen[eKind];
        v3Sky = v3Sky + v3Light;
        if (!(material.fKs > 0.0f) || !(fOpen[eKind] > 0.0f)) continue;
        const float fHalfway = dot(sample.v3Normal, normalize(v3To - sample.v3Dir));
        if (!(fHalfway > 0.0f) || !(dot(sample.v3Normal, v3To) > 0.0f)) continue;
        const float fGloss = GLOSS * material.fKs * power(fHalfway, static_cast<uint32_t>(material.iGs));
        v3Sum = v3Sum + lights.irradiance(eKind, v3To) * (fGloss * fOpen[eKind]);
    }
    return v3Sum + multiply(v3Albedo, v3Sky) + sample.v3Emission;
}

// Adds the paths that a surface sends on: what it mirrors and what it lets through.
void StudioRenderer::goOn(const Sample& sample, const Path& path) {
    const NMVector3f v3Back = sample.v3Normal * OFFSET;
    if (sample.bPhysical) {
        const NMVector3f v3Weight = multiply(path.v3Weight, tracedShare(sample));
        if (strongest(v3Weight) > LEAST_WEIGHT) {
            vNextPaths.push_back({path.uPixel, sample.v3At + v3Back, reflected(sample.v3Dir, sample.v3Normal), v3Weight,
                                  path.bInside, sample.fRough});
        }
        return;
    }
    const AttributeInstance& material = scene.attributes.vAttributes[scene.scene.vFaces[sample.uFace].uAttribute];
    float fMirror = material.fKts, fGlass = material.fKf;
    if (!(fMirror > 0.0f) && !(fGlass > 0.0f)) return;
    const float fCosine = -dot(sample.v3Normal, sample.v3Dir);
    if (fGlass > 0.0f) {
        const float fRatio = path.bInside ? material.fEta : 1.0f / material.fEta;
        const float fSquare = 1.0f - fRatio * fRatio * (1.0f - fCosine * fCosine);
        float fPolished = 1.0f;  // total reflection
        if (fSquare > 0.0f && material.fEta > 0.0f) {
            const float f0 = (material.fEta - 1.0f) / (material.fEta + 1.0f), fBase = f0 * f0;
            const float fGrazing = 1.0f - (path.bInside ? sqrtf(fSquare) : fCosine);
            fPolished = fBase + (1.0f - fBase) * power(fGrazing, 5);
            const NMVector3f v3Dir =
                normalize(sample.v3Dir * fRatio + sample.v3Normal * (fRatio * fCosine - sqrtf(fSquare)));
            const NMVector3f v3Weight = path.v3Weight * (fGlass * (1.0f - fPolished));
            if (strongest(v3Weight) > LEAST_WEIGHT) {
                vNextPaths.push_back({path.uPixel, sample.v3At - v3Back, v3Dir, v3Weight, !path.bInside, 0.0f});
            }
        }
        fMirror = std::min(1.0f, fMirror + fGlass * fPolished);
    }
    const NMVector3f v3Weight = path.v3Weight * fMirror;
    if (strongest(v3Weight) > LEAST_WEIGHT) {
        vNextPaths.push_back({path.uPixel, sample.v3At + v3Back, reflected(sample.v3Dir, sample.v3Normal), v3Weight,
                              path.bInside, 0.0f});
    }
}

// Colours of all samples.
void StudioRenderer::shadeAll(const std::vector<Sample>& vSamples, const std::vector<Light>& vLights,
                              std::vector<Colour>& vColours) {
    vReceived.assign(vSamples.size(), {});
    vNextPaths.clear();
    for (uint32_t u = 0; u < vSamples.size(); ++u) {
        const Sample& sample = vSamples[u];
        if (sample.uFace == NO_INDEX || isGround(sample)) continue;
        vReceived[u] = surfaceLight(sample, vLights[u]);
        goOn(sample, {u, {}, {}, {1, 1, 1}, false, 0.0f});
    }
    follow();
    vColours.resize(vSamples.size());
    for (size_t u = 0; u < vSamples.size(); ++u) {
        const Sample& sample = vSamples[u];
        vColours[u] = {screenOf(vReceived[u]), 1.0f};
        if (sample.uFace != NO_INDEX && !isGround(sample)) continue;
        // The ground's shadow is black in front of the background.
        const float fShare = sample.uFace == NO_INDEX ? 1.0f : shadowOn(sample, vLights[u]);
        const Colour behind = background(sample);
        vColours[u] = {behind.v3 * fShare, 1.0f - fShare * (1.0f - behind.fAlpha)};
    }
}

// Follows what mirrors and glass show, bounce by bounce. What is seen in them asks the middle of the key light alone.
void StudioRenderer::follow() {
    std::vector<Sample> vSeen;
    std::vector<uint32_t> vOf;
    for (unsigned uBounce = 0; uBounce < MOST_BOUNCES && !vNextPaths.empty(); ++uBounce) {
        vPaths.swap(vNextPaths);
        vNextPaths.clear();
        for (size_t uFirst = 0; uFirst < vPaths.size(); uFirst += RayStream::CAPACITY) {
            const size_t uEnd = std::min(vPaths.size(), uFirst + RayStream::CAPACITY);
            rays.uCount = 0;
            for (size_t u = uFirst; u < uEnd; ++u) rays.add(vPaths[u].v3From, vPaths[u].v3Dir, frame.fMaxDistance);
            findFaces();
            vSeen.clear();
            vOf.clear();
            rays.uCount = 0;
            for (size_t u = uFirst; u < uEnd; ++u) {
                const Path& path = vPaths[u];
                Sample sample{};
                sample.v3Dir = path.v3Dir;
                complete(sample, uFaces[u - uFirst], hits[u - uFirst], frame.fMaxDistance * fPixelAngle * SEEN_FROM);
                if (sample.uFace == NO_INDEX || isGround(sample)) {
                    NMVector3f& v3 = vReceived[path.uPixel];
                    v3 = v3 + multiply(path.v3Weight, seenAround(path));
                    continue;
                }
                vSeen.push_back(sample);
                vOf.push_back(static_cast<uint32_t>(u));
                rays.add(sample.v3From, lights.toKey(), frame.fMaxDistance);
            }
            findBlocked();
            for (size_t u = 0; u < vSeen.size(); ++u) {
                const Path& path = vPaths[vOf[u]];
                const Light light{{bBlocked[u] ? 0.0f : 1.0f, 0.5f, 0.75f}, {1.0f, 1.0f, 1.0f}};
                NMVector3f& v3 = vReceived[path.uPixel];
                v3 = v3 + multiply(path.v3Weight, surfaceLight(vSeen[u], light));
                goOn(vSeen[u], path);
            }
        }
    }
}

// Whether a pixel of the grid shows more than one surface. What mirrors show is full of edges.
bool StudioRenderer::isEdge(unsigned uColumn, unsigned uRow) const {
    const size_t uAt = size_t{uRow} * uColumns + uColumn;
    const Sample& sample = vGrid[uAt];
    const auto materialOf = [this](const Sample& of) { return scene.scene.vFaces[of.uFace].uAttribute; };
    if (sample.uFace != NO_INDEX) {
        const AttributeInstance& material = scene.attributes.vAttributes[materialOf(sample)];
        if (sample.bPhysical ? strongest(tracedShare(sample)) > 0.15f : material.fKts > 0.15f || material.fKf > 0.15f)
            return true;
    }
    for (const size_t u : {uAt - 1, uAt + 1, uAt - uColumns, uAt + uColumns}) {
        const Sample& other = vGrid[u];
        if (other.uFace == sample.uFace) continue;
        if (other.uFace == NO_INDEX || sample.uFace == NO_INDEX || materialOf(other) != materialOf(sample) ||
            !isAlike(sample, other, 0.95f)) {
            return true;
        }
    }
    return false;
}

// Gives pixels with edges the mean of ACROSS x ACROSS rays, of which they have the middle one.
void StudioRenderer::smooth(const Tile& block) {
    std::vector<uint32_t> vEdges;
    vFine.clear();
    vFineLights.clear();
    vMissing.clear();
    for (unsigned y = 0; y < block.uRows; ++y) {
        for (unsigned x = 0; x < block.uColumns; ++x) {
            if (!isEdge(x + BEFORE, y + BEFORE)) continue;
            vEdges.push_back(y * block.uColumns + x);
            for (unsigned u = 0; u < ACROSS * ACROSS; ++u) {
                if (u == ACROSS * ACROSS / 2) continue;
                const unsigned uRight = u % ACROSS, uDown = u / ACROSS;
                const float fX = (static_cast<float>(uRight) + 0.5f) / static_cast<float>(ACROSS);
                const float fY = (static_cast<float>(uDown) + 0.5f) / static_cast<float>(ACROSS);
                vFine.emplace_back();
                aim(static_cast<float>(block.x + x) + fX, static_cast<float>(block.y + y) + fY, vFine.back());
            }
        }
    }
    trace(vFine);
    constexpr size_t FINE = ACROSS * ACROSS - 1;
    vFineLights.assign(vFine.size(), {});
    for (size_t u = 0; u < vFine.size(); ++u) {
        const uint32_t uPixel = vEdges[u / FINE];
        const int iColumn = static_cast<int>(uPixel % block.uColumns), iRow = static_cast<int>(uPixel / block.uColumns);
        const uint64_t uShared = share(vFine[u], iColumn + BEFORE, iRow + BEFORE, vFineLights[u]);
        const bool bFew = static_cast<unsigned>(__builtin_popcountll(uShared)) < FEW_PHASES;
        vMissing.push_back(bFew ? SOME_PHASES & ~uShared : 0);
    }
    askLights(vFine, vMissing, vFineLights);
    shadeAll(vFine, vFineLights, vFineColours);
    for (size_t u = 0; u < vEdges.size(); ++u) {
        Colour& colour = vInnerColours[vEdges[u]];
        for (size_t i = 0; i < FINE; ++i) {
            colour.v3 = colour.v3 + vFineColours[u * FINE + i].v3;
            colour.fAlpha += vFineColours[u * FINE + i].fAlpha;
        }
        colour.v3 = colour.v3 / static_cast<float>(FINE + 1);
        colour.fAlpha /= static_cast<float>(FINE + 1);
    }
}

}  // namespace rt
