// Renders blocks: what the eye sees, which lights get through, what neighbours share, edges.
#include "render/studio/StudioRenderer.h"

#include <algorithm>
#include <cmath>

#include "render/studio/Optics.h"
#include "render/studio/Tone.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr unsigned BLOCK_EDGE = 96;
constexpr uint64_t ALL_PHASES = ~uint64_t{0};
constexpr uint64_t MOST_PHASES = 0xFFFF;  // that one sample asks: a quarter of the sky, all of the lamps
constexpr unsigned ENOUGH_PHASES = 20;    // shared ones; with fewer, a sample asks for itself
constexpr float SHARING = 0.8f;           // cosine between normals of samples that share light
constexpr float FULL_DIFFUSE = 1.25f;     // the importer's usual 0.8 is all of a colour
constexpr unsigned MOST_HOLES = 32;       // one behind the other
constexpr float LEAST_ROUGHNESS = 0.02f;  // smoother mirrors look like this one
constexpr float MATTE_FROM = 0.7f;        // roughness
constexpr float SKY_REACH = 3500.0f;      // what is further away takes no light of the sky
constexpr float KEY_REACH = 40000.0f;

// The width of a pixel in the middle of the picture, at distance 1.
float angleOf(const Frame& frame) {
    const NMVector3f v3Middle = frame.v3ImageOrigin + frame.v3ImageSpanX * 0.5f + frame.v3ImageSpanY * 0.5f;
    return length(frame.v3ImageSpanX) / (static_cast<float>(frame.uWidth) * length(v3Middle - frame.v3Eye));
}

// The height of an invisible ground in a sky's light, which has one of its own; far below where there is none.
float floorOf(const Scene& mesh, const StudioSettings& settings) {
    for (uint32_t u = 0; settings.pSky && settings.uGround != NO_INDEX && u < mesh.vFaces.uCount; ++u) {
        if (mesh.vFaces[u].uAttribute == settings.uGround) return mesh.vFaces[u].pA->v3Position.y;
    }
    return -HUGE_VALF;
}

unsigned countBits(uint64_t u) {
    return static_cast<unsigned>(__builtin_popcountll(u));
}

}  // namespace

StudioRenderer::StudioRenderer(const PreparedScene& prepared, const SurfaceTextures& ofItsMesh,
                               const Frame& pictureFrame, const StudioSettings& wanted)
    : scene(prepared),
      textures(ofItsMesh),
      frame(pictureFrame),
      fPixelAngle(angleOf(pictureFrame)),
      lights(pictureFrame, wanted.pSky),
      settings(wanted),
      fFloor(floorOf(prepared.scene, wanted)) {
    for (const AttributeInstance& attribute : scene.attributes.vAttributes) {
        vAlbedos.push_back(lightOf(attribute.v3Color) * std::min(1.0f, attribute.fKd * FULL_DIFFUSE));
    }
}

void StudioRenderer::render(const Tile& tile, uint8_t* pFirst, size_t uStride) {
    const TileGrid blocks{tile.uColumns, tile.uRows, BLOCK_EDGE};
    for (uint64_t u = 0; u < blocks.count(); ++u) {
        Tile block = blocks.tile(u);
        uint8_t* pBlock = pFirst + block.y * uStride + size_t{block.x} * (settings.bTransparent ? 4 : 3);
        block.x += tile.x;
        block.y += tile.y;
        renderBlock(block, pBlock, uStride);
    }
}

// Aims a ray at a point of the picture, in pixels.
void StudioRenderer::aim(float x, float y, Sample& sample) const {
    const Frame::Ray ray = frame.rayThrough(x, y);
    sample.v3Eye = ray.v3From;
    sample.v3Dir = normalize(ray.v3Dir);
    sample.fRow = y / static_cast<float>(frame.uHeight);
}

void StudioRenderer::renderBlock(const Tile& block, uint8_t* pFirst, size_t uStride) {
    uColumns = block.uColumns + BEFORE + BEHIND;
    uRows = block.uRows + BEFORE + BEHIND;
    vGrid.resize(size_t{uColumns} * uRows);
    iFirstX = static_cast<int>(block.x) - BEFORE;
    iFirstY = static_cast<int>(block.y) - BEFORE;
    for (unsigned y = 0; y < uRows; ++y) {
        for (unsigned x = 0; x < uColumns; ++x) {
            aim(static_cast<float>(iFirstX + static_cast<int>(x)) + 0.5f,
                static_cast<float>(iFirstY + static_cast<int>(y)) + 0.5f, vGrid[y * uColumns + x]);
        }
    }
    trace(vGrid);
    // Each pixel asks the lights of its own group.
    vMissing.resize(vGrid.size());
    for (unsigned y = 0; y < uRows; ++y) {
        for (unsigned x = 0; x < uColumns; ++x) {
            vMissing[y * uColumns + x] = uint64_t{1}
                                         << phaseOf(iFirstX + static_cast<int>(x), iFirstY + static_cast<int>(y));
        }
    }
    vGridLights.assign(vGrid.size(), {});
    askLights(vGrid, vMissing, vGridLights);

    vInner.clear();
    vInnerLights.assign(size_t{block.uColumns} * block.uRows, {});
    vMissing.clear();
    for (unsigned y = 0; y < block.uRows; ++y) {
        for (unsigned x = 0; x < block.uColumns; ++x) {
            vInner.push_back(vGrid[(y + BEFORE) * uColumns + x + BEFORE]);
            const uint64_t uShared = share(vInner.back(), static_cast<int>(x) + BEFORE, static_cast<int>(y) + BEFORE,
                                           vInnerLights[vInner.size() - 1]);
            vMissing.push_back(countBits(uShared) < ENOUGH_PHASES ? MOST_PHASES & ~uShared : 0);
        }
    }
    askLights(vInner, vMissing, vInnerLights);
    shadeAll(vInner, vInnerLights, vInnerColours);
    if (settings.bSmoothEdges) smooth(block);
    for (unsigned y = 0; y < block.uRows; ++y) {
        uint8_t* p = pFirst + y * uStride;
        for (unsigned x = 0; x < block.uColumns; ++x) {
            const Colour& colour = vInnerColours[y * block.uColumns + x];
            const float fScale = colour.fAlpha > 0.0f ? 1.0f / colour.fAlpha : 0.0f;
            *p++ = byteOf(colour.v3.z * fScale);
            *p++ = byteOf(colour.v3.y * fScale);
            *p++ = byteOf(colour.v3.x * fScale);
            if (settings.bTransparent) *p++ = byteOf(colour.fAlpha * 255.0f);
        }
    }
}

bool StudioRenderer::isAlike(const Sample& sample, const Sample& other, float fCosine) {
    if (!(dot(sample.v3Normal, other.v3Normal) > fCosine)) return false;
    const NMVector3f v3Apart = other.v3At - sample.v3At;
    return fabsf(dot(v3Apart, sample.v3Normal)) <= 0.35f * length(v3Apart) + OFFSET;
}

// Finds what all samples see.
void StudioRenderer::trace(std::vector<Sample>& vSamples) {
    for (size_t uFirst = 0; uFirst < vSamples.size(); uFirst += RayStream::CAPACITY) {
        const size_t uEnd = std::min(vSamples.size(), uFirst + RayStream::CAPACITY);
        rays.uCount = 0;
        for (size_t u = uFirst; u < uEnd; ++u) rays.add(vSamples[u].v3Eye, vSamples[u].v3Dir, frame.fMaxDistance);
        findFaces();
        for (size_t u = uFirst; u < uEnd; ++u) {
            const RayTestOutput& hit = hits[u - uFirst];
            const float fPixel = frame.bParallel ? length(frame.v3ImageSpanX) / static_cast<float>(frame.uWidth)
                                                 : length(hit.v3Hit - frame.v3Eye) * fPixelAngle;
            complete(vSamples[u], uFaces[u - uFirst], hit, fPixel);
        }
    }
}

// Finds what all rays of the stream meet behind holes.
void StudioRenderer::findFaces() {
    scene.queries.findNearestFaces(rays, uFaces, hits);
    if (textures.hasHoles()) lookThroughHoles();
}

// Finds which rays of the stream are blocked by more than holes.
void StudioRenderer::findBlocked() {
    if (!textures.hasHoles()) {
        scene.queries.findObstacles(rays, bBlocked);
        return;
    }
    findFaces();
    for (uint32_t u = 0; u < rays.uCount; ++u) bBlocked[u] = uFaces[u] != NO_INDEX;
}

void StudioRenderer::lookThroughHoles() {
    if (!pBehind) pBehind = std::make_unique<Behind>();
    uint32_t* const pOf = pBehind->uOf;
    const auto isHole = [this](uint32_t uFace, const RayTestOutput& hit) {
        if (uFace == NO_INDEX || !textures.has(scene.scene.vFaces[uFace].uAttribute)) return false;
        return textures.at(uFace, hit, 0.0f).bHole;
    };
    for (unsigned uLayer = 0; uLayer < MOST_HOLES; ++uLayer) {
        RayStream& rest = pBehind->rays;
        rest.uCount = 0;
        for (uint32_t u = 0; u < rays.uCount; ++u) {
            if (!isHole(uFaces[u], hits[u])) continue;
            pOf[rest.uCount] = u;
            const float fLeft = rays.fMaxDist[u] - length(hits[u].v3Hit - rays.origin(u)) - OFFSET;
            rest.add(hits[u].v3Hit + rays.dir(u) * OFFSET, rays.dir(u), fLeft);
        }
        if (!rest.uCount) return;
        scene.queries.findNearestFaces(rest, pBehind->uFaces, pBehind->hits);
        for (uint32_t u = 0; u < rest.uCount; ++u) {
            uFaces[pOf[u]] = pBehind->uFaces[u];
            hits[pOf[u]] = pBehind->hits[u];
        }
    }
}

// Point, normals, colour and the place from where the lights are asked. fPixel is the width of a pixel there.
void StudioRenderer::complete(Sample& sample, uint32_t uFace, const RayTestOutput& hit, float fPixel) const {
    sample.uFace = uFace;
    if (uFace == NO_INDEX) return;
    const FaceData& face = scene.scene.vFaces[uFace];
    sample.v3Albedo = vAlbedos[face.uAttribute];
    if (textures.has(face.uAttribute)) {
        const float fCosine = std::max(0.05f, fabsf(dot(face.v3Normal, sample.v3Dir)));
        const float fDiffuse = std::min(1.0f, scene.attributes.vAttributes[face.uAttribute].fKd * FULL_DIFFUSE);
        const SurfaceTextures::Colour colour = textures.at(uFace, hit, fPixel / sqrtf(fCosine));
        // Glass is the material's.
        sample.bPhysical =
            textures.isPhysical(face.uAttribute) && !(scene.attributes.vAttributes[face.uAttribute].fKf > 0.0f);
        sample.v3Albedo = sample.bPhysical ? colour.v3Albedo : colour.v3Albedo * fDiffuse;
        sample.v3Emission = colour.v3Emission;
        sample.fRough = std::max(LEAST_ROUGHNESS, colour.fRough);
        // A metal that is all rough is matte; files that say nothing have such.
        sample.fMetal = colour.fMetal * (1.0f - smoothStep(MATTE_FROM, 1.0f, sample.fRough));
    } else {
        sample.v3Emission = {0, 0, 0};
        sample.bPhysical = false;
    }
    const float fSide = dot(face.v3Normal, sample.v3Dir) > 0.0f ? -1.0f : 1.0f;
    const NMVector3f v3Flat = face.v3Normal * fSide;
    sample.v3At = hit.v3Hit;
    sample.v3Normal = v3Flat;
    NMVector3f v3From = hit.v3Hit;
    if (face.isSound() && scene.attributes.vAttributes[face.uAttribute].uFlags & AF_SMOOTH) {
        const float fWeights[3] = {hit.fU, hit.fV, 1.0f - hit.fU - hit.fV};
        const SceneVertex* const corners[3] = {face.pA, face.pB, face.pC};
        NMVector3f v3Sum{}, v3Lift{};
        for (unsigned c = 0; c < 3; ++c) {
            const NMVector3f v3Corner = corners[c]->v3Normal * fSide;
            v3Sum = v3Sum + v3Corner * fWeights[c];
            // Onto the plane that touches the rounded surface at the corner, if that is outside (Hanika 2021).
            const float fDepth = dot(hit.v3Hit - corners[c]->v3Position, v3Corner);
            v3Lift = v3Lift + v3Corner * (fDepth < 0.0f ? -fDepth * fWeights[c] : 0.0f);
        }
        if (dot(v3Sum, v3Sum) > 0.0f) {
            sample.v3Normal = normalize(v3Sum);
            v3From = v3From + v3Lift;
            // One that looks away from the eye is bent until it does not.
            const float fAway = dot(sample.v3Normal, sample.v3Dir);
            if (fAway > 0.0f) sample.v3Normal = normalize(sample.v3Normal - sample.v3Dir * (1.01f * fAway));
        }
    }
    sample.v3From = v3From + v3Flat * OFFSET;
}

// Adds to each sample's light what the groups of its mask say. Rays of one direction go together.
void StudioRenderer::askLights(const std::vector<Sample>& vSamples, const std::vector<uint64_t>& vPhases,
                               std::vector<Light>& vLights) {
    const auto flush = [&](StudioLights::Kind eKind, float fShare) {
        findBlocked();
        for (uint32_t u = 0; u < rays.uCount; ++u) {
            Light& light = vLights[uAsking[u]];
            const float fWeight = dot(vSamples[uAsking[u]].v3Normal, rays.dir(u)) * fShare;
            light.fAll[eKind] += fWeight;
            if (!bBlocked[u]) light.fOpen[eKind] += fWeight;
        }
        rays.uCount = 0;
    };
    rays.uCount = 0;
    for (std::vector<uint32_t>& vAsked : vOfPhase) vAsked.clear();
    for (uint32_t u = 0; u < vSamples.size(); ++u) {
        if (vSamples[u].uFace == NO_INDEX) continue;
        for (uint64_t uRest = vPhases[u]; uRest; uRest &= uRest - 1) vOfPhase[__builtin_ctzll(uRest)].push_back(u);
    }
    for (unsigned uPhase = 0; uPhase < StudioLights::PHASES; ++uPhase) {
        for (unsigned i = 0; i < StudioLights::PER_PHASE_FLAT; ++i) {
            const StudioLights::Direction& direction = lights.direction(uPhase, i);
            if (i >= StudioLights::PER_PHASE && settings.uGround == NO_INDEX) break;
            if (!(direction.fShare > 0.0f)) continue;
            for (const uint32_t u : vOfPhase[uPhase]) {
                const Sample& sample = vSamples[u];
                if (!(dot(sample.v3Normal, direction.v3) > 0.0f)) continue;
                if (i >= StudioLights::PER_PHASE && !isGround(sample)) continue;
                uAsking[rays.uCount] = u;
                rays.add(sample.v3From, direction.v3, reachOf(sample, direction));
                if (rays.uCount == RayStream::CAPACITY) flush(direction.eKind, direction.fShare);
            }
            flush(direction.eKind, direction.fShare);
        }
    }
}

// How far away is what takes a direction's light.
float StudioRenderer::reachOf(const Sample& sample, const StudioLights::Direction& direction) const {
    if (!settings.pSky) return direction.eKind == StudioLights::SKY ? SKY_REACH : KEY_REACH;
    if (!(direction.v3.y < 0.0f) || !(fFloor > -HUGE_VALF)) return KEY_REACH;
    return std::clamp((fFloor + OFFSET - sample.v3From.y) / direction.v3.y, OFFSET, KEY_REACH);
}

// Sums the light of the pixels around a place of the grid that are on the sample's surface. Returns the groups they
// asked.
uint64_t StudioRenderer::share(const Sample& sample, int iColumn, int iRow, Light& light) const {
    if (sample.uFace == NO_INDEX) return ALL_PHASES;
    // Lamps repeat in each 4 x 4 pixels. Between the four pixels that ask the same of them it changes evenly, or the
    // edge of each direction's shadow would be a stair.
    static constexpr float NEAR[BEFORE + BEHIND + 1] = {0.0f, 0.25f, 0.5f, 0.75f, 1.0f, 0.75f, 0.5f, 0.25f};
    uint64_t uShared = 0;
    for (int y = iRow - BEFORE; y <= iRow + BEHIND; ++y) {
        for (int x = iColumn - BEFORE; x <= iColumn + BEHIND; ++x) {
            const size_t u = static_cast<size_t>(y) * uColumns + static_cast<size_t>(x);
            const Sample& other = vGrid[u];
            if (other.uFace == NO_INDEX || !isAlike(sample, other, SHARING)) continue;
            const Light& found = vGridLights[u];
            const float fNear = NEAR[y - iRow + BEFORE] * NEAR[x - iColumn + BEFORE];
            for (unsigned k = 0; k < StudioLights::SKY; ++k) {
                light.fOpen[k] += found.fOpen[k] * fNear;
                light.fAll[k] += found.fAll[k] * fNear;
            }
            light.fOpen[StudioLights::SKY] += found.fOpen[StudioLights::SKY];
            light.fAll[StudioLights::SKY] += found.fAll[StudioLights::SKY];
            uShared |= uint64_t{1} << phaseOf(iFirstX + x, iFirstY + y);
        }
    }
    return uShared;
}

}  // namespace rt
