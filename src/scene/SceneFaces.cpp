// Computes face records from the vertices, and tests a ray against a face.
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <initializer_list>
#include <limits>
#include <mutex>

#include "base/simd/Float4.h"
#include "scene/OnThreads.h"
#include "scene/Scene.h"

namespace rt {

using Velk::NM_EPSILON_F;
using Velk::NMVector3f;

namespace {

constexpr uint32_t FACE_BLOCK = 1024;  // faces that a thread takes at a time

Float4 four(float a, float b, float c, float d) {
    return Float4(Float4::Vector{a, b, c, d});
}

// acos() in double precision, because acosf() differs in the last bit between C libraries.
float angleOf(float fCosine) {
    const float fClamped = fCosine < -1.0f ? -1.0f : fCosine > 1.0f ? 1.0f : fCosine;  // rounding may exceed the range
    return static_cast<float>(acos(static_cast<double>(fClamped)));
}

uint8_t largestAxis(const NMVector3f& n) {
    const float fX = fabsf(n.x), fY = fabsf(n.y), fZ = fabsf(n.z);
    if (fX > fY) return fX > fZ ? 0 : 2;
    return fY > fZ ? 1 : 2;
}

struct AngleNormals {
    NMVector3f v3A, v3B, v3C;
};

// Computes the face's derived values, and its angle-weighted normal for each vertex.
void deriveFace(FaceData& face, AngleNormals& normals) {
    const NMVector3f A = face.pA->v3Position, B = face.pB->v3Position, C = face.pC->v3Position;
    const NMVector3f N = cross(B - C, A - C);
    const float L = length(N), fAB = length(B - A), fBC = length(C - B), fCA = length(A - C);
    // Divisions take most of the time, so they are done in SIMD lanes.
    const Float4 products = four(dot(B - A, C - A), dot(A - B, C - B), dot(A - C, B - C), 0.0f);
    const Float4 cosines = products / four(fAB * fCA, fAB * fBC, fCA * fBC, 1.0f);
    const auto byLength = [&](float f) {
        const Float4 v = four(N.x, N.y, N.z, 0.0f) * f / L;
        return NMVector3f{v[0], v[1], v[2]};
    };
    normals.v3A = byLength(angleOf(cosines[0]));
    normals.v3B = byLength(angleOf(cosines[1]));
    normals.v3C = byLength(angleOf(cosines[2]));
    const NMVector3f n = byLength(1.0f);
    face.v3Normal = n;
    face.uAxis = largestAxis(n);

    const unsigned k = face.uAxis, ku = g_modulo[k + 1], kv = g_modulo[k + 2];
    const NMVector3f e1 = A - C, e2 = B - C;
    const float fDelta = e1[ku] * e2[kv] - e2[ku] * e1[kv];
    const float fInverse = 1.0f / fDelta;
    face.fMuV = e1[ku] * fInverse;
    face.fMuU = e1[kv] * -fInverse;
    face.fLambdaV = e2[ku] * -fInverse;
    face.fLambdaU = e2[kv] * fInverse;

    const float fInverseNormal = 1.0f / n[k];
    face.fNu = n[ku] * fInverseNormal;
    face.fNv = n[kv] * fInverseNormal;
    face.fNd = dot(n, C) * fInverseNormal;

    face.v3Max = maximum(maximum(A, B), C);
    face.v3Min = minimum(minimum(A, B), C);
    face.v3TexV = k != 1 ? NMVector3f{0, 1, 0} : n.y > 0 ? NMVector3f{0, 0, -1} : NMVector3f{0, 0, 1};
    face.v3TexU = cross(n, face.v3TexV);
    const NMVector3f v3Extent = face.v3Max - face.v3Min;
    face.fTexUSize = dot(face.v3TexU, v3Extent);
    face.fTexVSize = dot(face.v3TexV, v3Extent);
}

bool isSound(const FaceData& face, const AngleNormals& normals) {
    for (const float f : {face.fLambdaU, face.fLambdaV, face.fMuU, face.fMuV, face.fNu, face.fNv, face.fNd,
                          face.fTexUSize, face.fTexVSize}) {
        if (!std::isfinite(f)) return false;
    }
    return isFinite(face.v3Normal) && isFinite(normals.v3A) && isFinite(normals.v3B) && isFinite(normals.v3C);
}

// Keeps the bounds and makes every ray test fail: t becomes NaN.
void makeUnsound(FaceData& face) {
    face.v3Normal = face.v3TexU = face.v3TexV = NMVector3f{};
    face.uAxis = 0;
    face.fLambdaU = face.fLambdaV = face.fMuU = face.fMuV = face.fNu = face.fNv = 0.0f;
    face.fTexUSize = face.fTexVSize = 0.0f;
    face.fNd = std::numeric_limits<float>::quiet_NaN();
}

// Completes face number u of a scene.
void completeFace(Scene& scene, uint32_t u, AngleNormals& normals) {
    constexpr uint32_t PREFETCH_AHEAD = 8;  // a face's vertices may be anywhere in memory
    const FaceData& ahead = scene.vFaces[std::min(u + PREFETCH_AHEAD, scene.vFaces.uCount - 1)];
    for (const SceneVertex* p : {ahead.pA, ahead.pB, ahead.pC}) __builtin_prefetch(p);
    FaceData& face = scene.vFaces[u];
    deriveFace(face, normals);
    if (!isSound(face, normals)) makeUnsound(face);
}

// Adds the shares of a sound face to the normals of its vertices.
void addNormals(Scene& scene, uint32_t u, const AngleNormals& normals) {
    const FaceData& face = scene.vFaces[u];
    if (!face.isSound()) return;
    const auto add = [&scene](const SceneVertex* pVertex, const NMVector3f& v3Share) {
        NMVector3f& v3Sum = scene.pVertices[pVertex - scene.pVertices].v3Normal;
        v3Sum = v3Sum + v3Share;
    };
    add(face.pA, normals.v3A);
    add(face.pB, normals.v3B);
    add(face.pC, normals.v3C);
}

// Completes all faces with several threads. Sums depend on their order, so all of them keep that of the faces.
void completeFaces(Scene& scene, unsigned uThreads, StopFlag pStop) {
    const uint32_t uFaces = scene.vFaces.uCount, uBlocks = uFaces / FACE_BLOCK + 1;
    std::atomic<uint32_t> uNext{0};
    std::mutex mutex;
    std::condition_variable changed;
    uint32_t uAdded = 0;  // blocks
    onThreads(std::min(uThreads, uBlocks), [&](unsigned) {
        AngleNormals normals[FACE_BLOCK];
        for (uint32_t uBlock; !isStopped(pStop) && (uBlock = uNext++) < uBlocks;) {
            const uint32_t uBegin = uBlock * FACE_BLOCK, uEnd = std::min(uBegin + FACE_BLOCK, uFaces);
            for (uint32_t u = uBegin; u < uEnd; ++u) completeFace(scene, u, normals[u - uBegin]);
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return uAdded == uBlock; });
            lock.unlock();
            for (uint32_t u = uBegin; u < uEnd; ++u) addNormals(scene, u, normals[u - uBegin]);
            lock.lock();
            ++uAdded;
            changed.notify_all();
        }
    });
}

}  // namespace

void Scene::precalculateFaces(unsigned uThreads, StopFlag pStop) {
    if (uThreads > 1) {
        completeFaces(*this, uThreads, pStop);
    } else {
        for (uint32_t u = 0; u < vFaces.uCount; ++u) {
            if (u % FACE_BLOCK == 0 && isStopped(pStop)) return;
            AngleNormals normals;
            completeFace(*this, u, normals);
            addNormals(*this, u, normals);
        }
    }
    for (uint32_t u = 0; u < uVertexCount; ++u) {
        NMVector3f& v3Normal = pVertices[u].v3Normal;
        const float fLength = length(v3Normal);
        // Zero instead of NaN, when no sound face uses the vertex or the normals cancel.
        v3Normal = fLength > 0.0f ? v3Normal / fLength : NMVector3f{};
    }
}

void Scene::completeNormals() {
    using Triple = std::array<double, 3>;
    const auto edge = [](const SceneVertex* pFrom, const SceneVertex* pTo) {
        Triple e{};
        for (unsigned a = 0; a < 3; ++a) e[a] = static_cast<double>(pTo->v3Position[a]) - pFrom->v3Position[a];
        return e;
    };
    const auto crossed = [](const Triple& e, const Triple& f) {
        return Triple{e[1] * f[2] - e[2] * f[1], e[2] * f[0] - e[0] * f[2], e[0] * f[1] - e[1] * f[0]};
    };
    const auto lengthOf = [](const Triple& e) { return sqrt(e[0] * e[0] + e[1] * e[1] + e[2] * e[2]); };
    for (FaceData& face : vFaces) {
        if (face.isSound()) continue;
        const Triple e1 = edge(face.pC, face.pA), e2 = edge(face.pC, face.pB);
        Triple n = crossed(e2, e1);
        if (!(lengthOf(n) > 0.0)) {  // a line: anything across it
            const Triple& e = lengthOf(e1) > lengthOf(e2) ? e1 : e2;
            const bool bUpright = fabs(e[1]) > fabs(e[0]);
            n = crossed(e, bUpright ? Triple{1, 0, 0} : Triple{0, 1, 0});
        }
        const double dLength = lengthOf(n);
        if (!(dLength > 0.0 && std::isfinite(dLength))) n = {0, 0, 1};
        const double d = 1.0 / lengthOf(n);
        face.v3Normal = {static_cast<float>(n[0] * d), static_cast<float>(n[1] * d), static_cast<float>(n[2] * d)};
    }
}

// Every comparison is written so that NaN is rejected.
bool Scene::testTriangle(const FaceData* pFace, const NMVector3f& v3Origin, const NMVector3f& v3Dir, float fMaxT,
                         RayTestOutput* pOut) const {
    const FaceData& face = *pFace;
    const unsigned k = face.uAxis, ku = g_modulo[k + 1], kv = g_modulo[k + 2];
    const float fDenominator = v3Dir[k] + face.fNu * v3Dir[ku] + face.fNv * v3Dir[kv];
    if (-NM_EPSILON_F < fDenominator && fDenominator < NM_EPSILON_F) return false;
    pOut->bFrontFace = face.v3Normal[k] * fDenominator < 0.0f;
    const float t = (face.fNd - v3Origin[k] - face.fNu * v3Origin[ku] - face.fNv * v3Origin[kv]) / fDenominator;
    pOut->fT = t;
    if (!(t >= 0.0f && t <= fMaxT)) return false;
    pOut->v3Hit = v3Origin + v3Dir * t;
    const float hu = pOut->v3Hit[ku] - face.pC->v3Position[ku];
    const float hv = pOut->v3Hit[kv] - face.pC->v3Position[kv];
    const float fLambda = face.fLambdaU * hu + face.fLambdaV * hv;
    pOut->fU = fLambda;
    if (!(fLambda >= 0.0f)) return false;
    const float fMu = face.fMuU * hu + face.fMuV * hv;
    pOut->fV = fMu;
    return fMu >= 0.0f && fLambda + fMu <= 1.0f;
}

bool Scene::testTriangle(unsigned uFace, const NMVector3f& v3Origin, const NMVector3f& v3Dir,
                         RayTestOutput* pOut) const {
    return testTriangle(&vFaces[uFace], v3Origin, v3Dir, std::numeric_limits<float>::infinity(), pOut);
}

bool Scene::rayTriangleTestFast(const FaceData* pFace, const NMVector3f& v3Origin, const NMVector3f& v3Dir, float fMaxT,
                                RayTestOutput* pOut) const {
    const NMVector3f A = pFace->pA->v3Position;
    const NMVector3f E1 = pFace->pB->v3Position - A, E2 = pFace->pC->v3Position - A;
    const NMVector3f P = cross(v3Dir, E2);
    const float fDeterminant = dot(E1, P);
    if (-NM_EPSILON_F < fDeterminant && fDeterminant < NM_EPSILON_F) return false;
    const float fInverse = 1.0f / fDeterminant;
    pOut->bFrontFace = fDeterminant > 0.0f;
    const NMVector3f T = v3Origin - A;
    const float u = dot(T, P) * fInverse;
    pOut->fU = u;
    if (!(u >= 0.0f && u <= 1.0f)) return false;
    const NMVector3f Q = cross(T, E1);
    const float v = dot(v3Dir, Q) * fInverse;
    pOut->fV = v;
    if (!(v >= 0.0f && u + v <= 1.0f)) return false;
    const float t = dot(E2, Q) * fInverse;
    pOut->fT = t;
    if (!(t <= fMaxT)) return false;
    pOut->v3Hit = v3Origin + v3Dir * t;
    return true;
}

bool Scene::rayTriangleTestFast(unsigned uFace, const NMVector3f& v3Origin, const NMVector3f& v3Dir, float fMaxT,
                                RayTestOutput* pOut) const {
    return rayTriangleTestFast(&vFaces[uFace], v3Origin, v3Dir, fMaxT, pOut);
}

}  // namespace rt
