#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "scene/Scene.h"

using namespace rt;

/// The same numbers from the same seed with every compiler and library.
class Random {
 public:
    explicit Random(uint32_t uSeed) : engine(uSeed) {}
    uint32_t below(uint32_t uLimit) { return static_cast<uint32_t>(engine() % uLimit); }
    float between(float fLow, float fHigh) {
        return fLow + (fHigh - fLow) * (static_cast<float>(engine() >> 8) / 16777216.0f);
    }
    Velk::NMVector3f vector(float f) { return {between(-f, f), between(-f, f), between(-f, f)}; }
    Velk::NMVector3f inside(const Velk::BoxAABB& box) {
        return {between(box.v3Min.x, box.v3Max.x), between(box.v3Min.y, box.v3Max.y),
                between(box.v3Min.z, box.v3Max.z)};
    }

 private:
    std::mt19937 engine;
};

/// Triangles to be rendered or searched.
struct Mesh {
    struct Triangle {
        uint32_t a, b, c, uAttribute;
    };
    std::vector<Velk::NMVector3f> vVertices;
    std::vector<Triangle> vTriangles;

    void add(const Velk::NMVector3f& A, const Velk::NMVector3f& B, const Velk::NMVector3f& C, uint32_t uAttribute = 0);

    /// Two triangles with a common diagonal. The normal is along v3Edge2 x v3Edge1.
    void addQuad(const Velk::NMVector3f& v3Corner, const Velk::NMVector3f& v3Edge1, const Velk::NMVector3f& v3Edge2,
                 uint32_t uAttribute = 0);

    /// An octahedron, each face divided 4^uLevels times, with shared vertices.
    void addSphere(const Velk::NMVector3f& v3Centre, float fRadius, unsigned uLevels, uint32_t uAttribute = 0);

    /// The triangles' vertices, three after three.
    std::vector<uint32_t> indices() const;

    /// The geometry file.
    std::string text() const;
};

/// Triangles at random places.
Mesh makeSoup(Random& random, uint32_t uFaces, float fSize);

/// Long triangles of every order of width, some without any.
Mesh makeSlivers(Random& random, uint32_t uFaces);

/// Rectangles with whole coordinates along the axes: many touch, cross or cover each other.
Mesh makePlanes(Random& random, uint32_t uRectangles);

/// Meshes that are hard on a search: four of faces at random, four of faces along the axes, of which the last is too
/// large for its bounds to have a margin, and slivers, of which a ray test accepts points far from the face.
std::vector<Mesh> makeMeshes(Random& random);

/// Loads a mesh through the file mesh.brs and preprocesses it; without scaling, it only gets its bounds.
void loadMesh(Scene& scene, const Mesh& mesh, bool bScale = true);
