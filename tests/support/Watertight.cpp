// Meshes and rays that are hard on watertight queries, and the search over all faces that judges them.
#include "support/Watertight.h"

#include <algorithm>
#include <cmath>

using namespace rt;

uint32_t Triangles::addVertex(float x, float y, float z) {
    vPositions.insert(vPositions.end(), {x, y, z});
    return vertices() - 1;
}

void Triangles::addSphere(float fRadius, unsigned uLevels) {
    Mesh mesh;
    mesh.addSphere({0, 0, 0}, fRadius, uLevels);
    const uint32_t uFirst = vertices();
    for (const Velk::NMVector3f& v3 : mesh.vVertices) addVertex(v3.x, v3.y, v3.z);
    for (const Mesh::Triangle& face : mesh.vTriangles) addFace(uFirst + face.a, uFirst + face.b, uFirst + face.c);
}

Triangles makeClosed(Random& random, uint32_t uKind) {
    Triangles mesh;
    if (uKind % 4 == 3) {
        mesh.addSphere(random.between(1.0f, 9.0f), 2);
    } else {
        // Few places, so that corners coincide and lie in lines; long and thin; almost flat; or anywhere.
        const uint32_t uVertices = 4 + random.below(12), uBodies = 1 + random.below(12);
        for (uint32_t u = 0; u < uVertices; ++u) {
            const auto place = [&] {
                return uKind % 4 ? random.between(-4, 4) : static_cast<float>(random.below(5)) - 2.0f;
            };
            const float z = place();
            const float fThin = uKind % 8 == 1 ? 1e-5f : 1.0f, x = place() * fThin;
            mesh.addVertex(x, place(), uKind % 4 == 2 ? 1.0f + z * 1e-7f : z);
        }
        for (uint32_t u = 0; u < uBodies; ++u) {
            uint32_t i[4];
            for (uint32_t& uCorner : i) uCorner = random.below(uVertices);
            mesh.addFace(i[0], i[1], i[2]);
            mesh.addFace(i[1], i[0], i[3]);
            mesh.addFace(i[2], i[3], i[0]);
            mesh.addFace(i[3], i[2], i[1]);
        }
    }
    const float scales[] = {1.0f, 1.0f, 1e17f, 1e-18f, 1e-41f, 1e4f};
    const float fScale = scales[uKind / 4 % 6];
    for (float& f : mesh.vPositions) f *= fScale;
    return mesh;
}

WatertightRay aimed(Random& random, const Triangles& mesh) {
    const auto vertex = [&] { return mesh.vertex(random.below(mesh.vertices())); };
    const uint32_t* pFace = mesh.vIndices.data() + size_t{3} * random.below(mesh.faces());
    const float *A = mesh.vertex(pFace[0]), *B = mesh.vertex(pFace[1]), *C = mesh.vertex(pFace[2]);
    float fSize = 0.0f;
    for (const float f : mesh.vPositions) fSize = std::max(fSize, std::fabs(f));
    const uint32_t uTarget = random.below(6), uFrom = random.below(8), uAxis = random.below(3);
    WatertightRay ray{};
    for (unsigned a = 0; a < 3; ++a) {
        float fTo = uTarget == 0 ? A[a] : uTarget == 1 ? A[a] * 0.5f + B[a] * 0.5f : (A[a] + B[a] + C[a]) / 3;
        if (uTarget == 3) fTo = random.between(-fSize, fSize);
        float fFrom = random.between(-fSize, fSize) * (uFrom & 1 ? 1.0f : 10.0f);
        if (uFrom < 3) fFrom = std::round(fFrom / fSize * 4) * (fSize / 4);
        if (uFrom == 3 && a == uAxis) fFrom = fTo;  // in a plane across an axis
        if (uFrom == 4 && a != uAxis) fFrom = fTo;  // along an axis
        if (uFrom == 5) fFrom = vertex()[a];
        ray.fOrigin[a] = fFrom;
        ray.fDir[a] = fTo - fFrom;
        if (random.below(4) == 0 && ray.fOrigin[a] == 0.0f) ray.fOrigin[a] = -0.0f;
        if (random.below(4) == 0 && ray.fDir[a] == 0.0f) ray.fDir[a] = -0.0f;
    }
    ray.fFar = random.below(3) ? HUGE_VALF : random.between(0.0f, 2.0f);
    if (random.below(8) == 0) ray.fNear = random.between(-1.0f, 1.0f);
    if (random.below(16) == 0) {  // a direction of another size
        const float f = std::ldexp(1.0f, static_cast<int>(random.below(140)) - 80);
        for (float& fDir : ray.fDir) fDir *= f;
    }
    return ray;
}

WatertightFace cornersOf(const Triangles& mesh, uint32_t uFace) {
    WatertightFace face;
    for (unsigned i = 0; i < 9; ++i)
        face.fAt[i / 3][i % 3] = mesh.vertex(mesh.vIndices[size_t{3} * uFace + i % 3])[i / 3];
    face.uFace = uFace;
    return face;
}

std::vector<WatertightHit> meetAll(const Triangles& mesh, const WatertightRay& ray) {
    std::vector<WatertightHit> vHits;
    ShearedRay sheared;
    if (sheared.prepare(ray)) return vHits;
    for (uint32_t u = 0; u < mesh.faces(); ++u) {
        const WatertightFace face = cornersOf(mesh, u);
        bool bSound = true;
        for (unsigned i = 0; i < 9; ++i) bSound &= std::fabs(face.fAt[i / 3][i % 3]) <= 0x1p60f;
        WatertightHit hit;
        if (!bSound || !meetsFace(sheared, face, hit)) continue;
        hit.uFace = u;
        vHits.push_back(hit);
    }
    std::sort(vHits.begin(), vHits.end(),
              [](const WatertightHit& l, const WatertightHit& r) { return isNearer(l.fT, l.uFace, r.fT, r.uFace); });
    for (WatertightHit& hit : vHits) hit.fT = static_cast<float>(hit.fT * sheared.dScale);
    return vHits;
}
