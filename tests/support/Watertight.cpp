// Meshes and rays that are hard on watertight queries, and the search over all faces that judges them.
#include "support/Watertight.h"

#include <algorithm>
#include <cmath>

using namespace rt;

bool buildBoxes(WatertightQueries& queries, const Mesh& mesh, unsigned uThreads) {
    const std::vector<uint32_t> vIndices = mesh.indices();
    return queries.build(&mesh.vVertices.data()->x, static_cast<uint32_t>(mesh.vVertices.size()), vIndices.data(),
                         static_cast<uint32_t>(mesh.vTriangles.size()), uThreads);
}

Mesh makeClosed(Random& random, uint32_t uKind) {
    Mesh mesh;
    if (uKind % 4 == 3) {
        mesh.addSphere({}, random.between(1.0f, 9.0f), 2);
    } else {
        // Few places, so that corners coincide and lie in lines; long and thin; almost flat; or anywhere.
        const uint32_t uVertices = 4 + random.below(12), uBodies = 1 + random.below(12);
        for (uint32_t u = 0; u < uVertices; ++u) {
            const auto place = [&] {
                return uKind % 4 ? random.between(-4, 4) : static_cast<float>(random.below(5)) - 2.0f;
            };
            const float z = place();
            const float fThin = uKind % 8 == 1 ? 1e-5f : 1.0f, x = place() * fThin;
            mesh.vVertices.push_back({x, place(), uKind % 4 == 2 ? 1.0f + z * 1e-7f : z});
        }
        for (uint32_t u = 0; u < uBodies; ++u) {
            uint32_t i[4];
            for (uint32_t& uCorner : i) uCorner = random.below(uVertices);
            const Mesh::Triangle sides[] = {
                {i[0], i[1], i[2], 0}, {i[1], i[0], i[3], 0}, {i[2], i[3], i[0], 0}, {i[3], i[2], i[1], 0}};
            mesh.vTriangles.insert(mesh.vTriangles.end(), std::begin(sides), std::end(sides));
        }
    }
    const float scales[] = {1.0f, 1.0f, 1e17f, 1e-18f, 1e-41f, 1e4f};
    const float fScale = scales[uKind / 4 % 6];
    for (Velk::NMVector3f& v3 : mesh.vVertices) v3 = v3 * fScale;
    return mesh;
}

WatertightRay aimed(Random& random, const Mesh& mesh) {
    const auto vertex = [&] { return mesh.vVertices[random.below(static_cast<uint32_t>(mesh.vVertices.size()))]; };
    const Mesh::Triangle& face = mesh.vTriangles[random.below(static_cast<uint32_t>(mesh.vTriangles.size()))];
    const Velk::NMVector3f A = mesh.vVertices[face.a], B = mesh.vVertices[face.b], C = mesh.vVertices[face.c];
    float fSize = 0.0f;
    for (const Velk::NMVector3f& v3 : mesh.vVertices) {
        fSize = std::max({fSize, std::fabs(v3.x), std::fabs(v3.y), std::fabs(v3.z)});
    }
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

WatertightFace cornersOf(const Mesh& mesh, uint32_t uFace) {
    WatertightFace face;
    const Mesh::Triangle& t = mesh.vTriangles[uFace];
    const float* corners[] = {&mesh.vVertices[t.a].x, &mesh.vVertices[t.b].x, &mesh.vVertices[t.c].x};
    for (unsigned i = 0; i < 9; ++i) face.fAt[i / 3][i % 3] = corners[i % 3][i / 3];
    face.uFace = uFace;
    return face;
}

std::vector<WatertightHit> meetAll(const Mesh& mesh, const WatertightRay& ray) {
    std::vector<WatertightHit> vHits;
    ShearedRay sheared;
    if (sheared.prepare(ray)) return vHits;
    for (uint32_t u = 0; u < mesh.vTriangles.size(); ++u) {
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
