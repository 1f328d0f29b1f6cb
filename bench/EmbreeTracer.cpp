// Embree's scene and its queries, one ray or eight at a time.
#include "EmbreeTracer.h"

#include <cstdio>

#include "scene/Scene.h"

using namespace rt;

namespace {

constexpr unsigned ANY = 0xFFFFFFFFu;  // ray mask

void fill(RTCRay& to, const Ray& from) {
    to = {from.v3Origin.x,
          from.v3Origin.y,
          from.v3Origin.z,
          0.0f,
          from.v3Dir.x,
          from.v3Dir.y,
          from.v3Dir.z,
          0.0f,
          from.fMaxDist,
          ANY,
          0,
          0};
}

void fill(RTCRay8& to, size_t uLane, const Ray& from) {
    to.org_x[uLane] = from.v3Origin.x;
    to.org_y[uLane] = from.v3Origin.y;
    to.org_z[uLane] = from.v3Origin.z;
    to.tnear[uLane] = 0.0f;
    to.dir_x[uLane] = from.v3Dir.x;
    to.dir_y[uLane] = from.v3Dir.y;
    to.dir_z[uLane] = from.v3Dir.z;
    to.time[uLane] = 0.0f;
    to.tfar[uLane] = from.fMaxDist;
    to.mask[uLane] = ANY;
    to.id[uLane] = 0;
    to.flags[uLane] = 0;
}

RTCIntersectContext makeContext(RTCIntersectContextFlags flags) {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    context.flags = flags;
    return context;
}

}  // namespace

void EmbreeScene::release() {
    if (geometry) rtcReleaseGeometry(geometry);
    if (scene) rtcReleaseScene(scene);
    if (device) rtcReleaseDevice(device);
    geometry = nullptr;
    scene = nullptr;
    device = nullptr;
}

bool EmbreeScene::create(const Scene& source, const char* szIsa, bool bRobust) {
    release();
    char szConfig[64];
    snprintf(szConfig, sizeof(szConfig), "threads=1%s%s", szIsa ? ",isa=" : "", szIsa ? szIsa : "");
    device = rtcNewDevice(szConfig);
    if (!device) return true;
    scene = rtcNewScene(device);
    if (bRobust) rtcSetSceneFlags(scene, RTC_SCENE_FLAG_ROBUST);
    geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
    rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, source.pVertices, 0,
                               sizeof(SceneVertex), source.uVertexCount);
    auto* pIndex = static_cast<uint32_t*>(rtcSetNewGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3,
                                                                  3 * sizeof(uint32_t), source.vFaces.uCount));
    if (!pIndex) return true;
    for (const FaceData& face : source.vFaces) {
        for (const SceneVertex* p : {face.pA, face.pB, face.pC}) {
            *pIndex++ = static_cast<uint32_t>(p - source.pVertices);
        }
    }
    return false;
}

bool EmbreeScene::commit() {
    rtcCommitGeometry(geometry);
    rtcAttachGeometry(scene, geometry);
    rtcCommitScene(scene);
    return rtcGetDeviceError(device) != RTC_ERROR_NONE;
}

void EmbreeSingle::prepareNearest(const std::vector<Ray>& vRays) {
    vNearest.resize(vRays.size());
    for (size_t i = 0; i < vRays.size(); ++i) {
        fill(vNearest[i].ray, vRays[i]);
        vNearest[i].hit.geomID = vNearest[i].hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    }
}

void EmbreeSingle::prepareObstacles(const std::vector<Ray>& vRays) {
    vShadow.resize(vRays.size());
    for (size_t i = 0; i < vRays.size(); ++i) fill(vShadow[i], vRays[i]);
}

void EmbreeSingle::findNearest() {
    RTCIntersectContext context = makeContext(RTC_INTERSECT_CONTEXT_FLAG_NONE);
    for (RTCRayHit& ray : vNearest) rtcIntersect1(scene, &context, &ray);
}

void EmbreeSingle::findObstacles() {
    RTCIntersectContext context = makeContext(RTC_INTERSECT_CONTEXT_FLAG_NONE);
    for (RTCRay& ray : vShadow) rtcOccluded1(scene, &context, &ray);
}

float EmbreeSingle::distance(size_t i) const {
    return vNearest[i].hit.geomID == RTC_INVALID_GEOMETRY_ID ? FrameAnswers::MISS : vNearest[i].ray.tfar;
}

// The last packet may be short of rays.
size_t EmbreePackets::countPackets(size_t uRays) {
    const size_t uPackets = (uRays + WIDTH - 1) / WIDTH;
    for (size_t i = 0; i < WIDTH; ++i) {
        iFull[i] = -1;
        iLast[i] = (uPackets - 1) * WIDTH + i < uRays ? -1 : 0;
    }
    return uPackets;
}

void EmbreePackets::prepareNearest(const std::vector<Ray>& vRays) {
    vNearest.resize(countPackets(vRays.size()));
    for (size_t i = 0; i < vRays.size(); ++i) {
        RTCRayHit8& packet = vNearest[i / WIDTH];
        fill(packet.ray, i % WIDTH, vRays[i]);
        packet.hit.geomID[i % WIDTH] = packet.hit.instID[0][i % WIDTH] = RTC_INVALID_GEOMETRY_ID;
    }
}

void EmbreePackets::prepareObstacles(const std::vector<Ray>& vRays) {
    vShadow.resize(countPackets(vRays.size()));
    for (size_t i = 0; i < vRays.size(); ++i) fill(vShadow[i / WIDTH], i % WIDTH, vRays[i]);
}

void EmbreePackets::findNearest() {
    RTCIntersectContext context = makeContext(RTC_INTERSECT_CONTEXT_FLAG_COHERENT);
    for (RTCRayHit8& packet : vNearest) rtcIntersect8(lanes(packet, vNearest), scene, &context, &packet);
}

void EmbreePackets::findObstacles() {
    RTCIntersectContext context = makeContext(RTC_INTERSECT_CONTEXT_FLAG_COHERENT);
    for (RTCRay8& packet : vShadow) rtcOccluded8(lanes(packet, vShadow), scene, &context, &packet);
}

float EmbreePackets::distance(size_t i) const {
    const RTCRayHit8& packet = vNearest[i / WIDTH];
    return packet.hit.geomID[i % WIDTH] == RTC_INVALID_GEOMETRY_ID ? FrameAnswers::MISS : packet.ray.tfar[i % WIDTH];
}
