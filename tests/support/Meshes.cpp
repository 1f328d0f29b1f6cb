// Meshes for tests, from simple to hostile.
#include "support/Meshes.h"

// Arguments and operands are evaluated in any order, so no expression here draws two random numbers outside braces.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>

#include "support/Files.h"

using namespace rt;

using Velk::NMVector3f;

void Mesh::add(const NMVector3f& A, const NMVector3f& B, const NMVector3f& C, uint32_t uAttribute) {
    const uint32_t u = static_cast<uint32_t>(vVertices.size());
    vVertices.insert(vVertices.end(), {A, B, C});
    vTriangles.push_back({u, u + 1, u + 2, uAttribute});
}

void Mesh::addQuad(const NMVector3f& v3Corner, const NMVector3f& v3Edge1, const NMVector3f& v3Edge2,
                   uint32_t uAttribute) {
    const uint32_t u = static_cast<uint32_t>(vVertices.size());
    vVertices.insert(vVertices.end(), {v3Corner, v3Corner + v3Edge1, v3Corner + v3Edge1 + v3Edge2, v3Corner + v3Edge2});
    vTriangles.push_back({u, u + 1, u + 2, uAttribute});
    vTriangles.push_back({u, u + 2, u + 3, uAttribute});
}

// Square roots are exact everywhere, sines are not.
void Mesh::addSphere(const NMVector3f& v3Centre, float fRadius, unsigned uLevels, uint32_t uAttribute) {
    const uint32_t uFirst = static_cast<uint32_t>(vVertices.size());
    std::vector<NMVector3f> vUnit = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {-1, 0, 0}, {0, -1, 0}, {0, 0, -1}};
    std::vector<Triangle> vFaces = {{0, 1, 2, 0}, {1, 3, 2, 0}, {3, 4, 2, 0}, {4, 0, 2, 0},
                                    {1, 0, 5, 0}, {3, 1, 5, 0}, {4, 3, 5, 0}, {0, 4, 5, 0}};
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> middles;
    const auto middle = [&](uint32_t u, uint32_t v) {
        const auto [place, bNew] = middles.try_emplace(std::minmax(u, v), static_cast<uint32_t>(vUnit.size()));
        if (bNew) vUnit.push_back(normalize(vUnit[u] + vUnit[v]));
        return place->second;
    };
    for (unsigned uLevel = 0; uLevel < uLevels; ++uLevel) {
        std::vector<Triangle> vFiner;
        for (const Triangle& t : vFaces) {
            const uint32_t ab = middle(t.a, t.b), bc = middle(t.b, t.c), ca = middle(t.c, t.a);
            vFiner.insert(vFiner.end(), {{t.a, ab, ca, 0}, {ab, t.b, bc, 0}, {ca, bc, t.c, 0}, {ab, bc, ca, 0}});
        }
        vFaces = vFiner;
    }
    for (const NMVector3f& v3 : vUnit) vVertices.push_back(v3Centre + v3 * fRadius);
    for (const Triangle& t : vFaces) vTriangles.push_back({uFirst + t.a, uFirst + t.b, uFirst + t.c, uAttribute});
}

std::vector<uint32_t> Mesh::indices() const {
    std::vector<uint32_t> vIndices;
    for (const Triangle& t : vTriangles) vIndices.insert(vIndices.end(), {t.a, t.b, t.c});
    return vIndices;
}

std::string Mesh::text() const {
    std::ostringstream s;
    s.precision(9);
    s << "vertices " << vVertices.size() << "\n";
    for (const NMVector3f& v : vVertices) s << v.x << " " << v.y << " " << v.z << "\n";
    s << "\ntriangles " << vTriangles.size() << "\n";
    for (const Triangle& t : vTriangles) s << t.a << " " << t.b << " " << t.c << "\n";
    s << "\n";
    for (size_t u = 0; u < vTriangles.size(); ++u) s << vTriangles[u].uAttribute << (u % 10 == 9 ? "\n" : " ");
    return s.str();
}

Mesh makeSoup(Random& random, uint32_t uFaces, float fSize) {
    Mesh mesh;
    for (uint32_t u = 0; u < uFaces; ++u) {
        const NMVector3f v3 = random.vector(10.0f);
        const float fFace = fSize * random.between(0.05f, 1.0f);
        const NMVector3f A = v3 + random.vector(fFace), B = v3 + random.vector(fFace), C = v3 + random.vector(fFace);
        mesh.add(A, B, C, random.below(4));
    }
    return mesh;
}

Mesh makeSlivers(Random& random, uint32_t uFaces) {
    Mesh mesh;
    for (uint32_t u = 0; u < uFaces; ++u) {
        const NMVector3f A = random.vector(10.0f), v3Edge = random.vector(15.0f);
        float fWidth = u % 8 ? 1.0f : 0.0f;
        for (uint32_t v = 1; v < u % 8; ++v) fWidth /= 10.0f;
        const NMVector3f v3Aside = random.vector(fWidth);
        mesh.add(A, A + v3Edge, A + v3Edge * random.between(0.0f, 1.0f) + v3Aside);
    }
    return mesh;
}

Mesh makePlanes(Random& random, uint32_t uRectangles) {
    Mesh mesh;
    const auto whole = [&](uint32_t uLimit) { return static_cast<float>(random.below(uLimit)); };
    for (uint32_t u = 0; u < uRectangles; ++u) {
        const unsigned uAxis = random.below(3);
        NMVector3f v3Edge1{}, v3Edge2{};
        v3Edge1[(uAxis + 1) % 3] = 1.0f + whole(4);
        v3Edge2[(uAxis + 2) % 3] = 1.0f + whole(4);
        const NMVector3f v3Corner{whole(10), whole(10), whole(10)};
        mesh.addQuad(v3Corner, v3Edge1, v3Edge2, random.below(4));
    }
    return mesh;
}

std::vector<Mesh> makeMeshes(Random& random) {
    Mesh twins = makeSoup(random, 300, 3.0f), ball, lattice, flat, huge = makePlanes(random, 120);
    const Mesh few = makeSoup(random, 1 + random.below(3), 20.0f);
    for (uint32_t u = 0; u < 300; ++u) twins.vTriangles.push_back({3 * u + 2, 3 * u + 1, 3 * u, 0});  // turned over
    ball.addSphere({1, 2, 3}, 4.0f, 3);
    ball.addQuad({-10, -2, -10}, {20, 0, 0}, {0, 0, 20});
    for (uint32_t u = 0; u < 250; ++u) {  // every face between two voxels of a grid
        NMVector3f v3Corner{}, v3Edge[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
        for (unsigned a = 0; a < 3; ++a) v3Corner[a] = static_cast<float>(random.below(7));
        const unsigned uAxis = random.below(3);
        lattice.addQuad(v3Corner, v3Edge[(uAxis + 1) % 3], v3Edge[(uAxis + 2) % 3]);
    }
    for (uint32_t u = 0; u < 100; ++u) {
        const NMVector3f v3Corner{random.between(0, 90), 0, random.between(0, 90)};
        flat.addQuad(v3Corner, {3, 0, 0}, {0, random.between(0, 0.1f), 3});
    }
    for (NMVector3f& v3 : huge.vVertices) v3 = v3 * 1e8f;
    return {makeSoup(random, 500, 4.0f), ball, twins, few, makePlanes(random, 150), lattice, flat, huge,
            makeSlivers(random, 200)};
}

void loadMesh(Scene& scene, const Mesh& mesh, bool bScale) {
    writeFile("mesh.brs", mesh.text());
    if (scene.loadScene("mesh.brs")) {  // callers count on vertices, so nothing that follows would make sense
        fputs("mesh.brs cannot be loaded\n", stderr);
        abort();
    }
    scene.findMinMax();
    if (bScale) scene.preprocessScene();
}
