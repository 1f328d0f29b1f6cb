#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// A scene: meshes in, rays and pictures out.
///
///     raytracer::Scene scene;
///     if (scene.setMesh({pPositions, uVertices, pTriangles, uTriangles})) return 1;  // true is failure
///     if (scene.prepare(raytracer::Use::RAYS)) return 1;
///     const raytracer::Ray ray{{0, 0, -5}, {0, 0, 1}};
///     raytracer::Hit hit;
///     scene.findNearest(&ray, 1, &hit);
///
/// Nothing is printed; Messages.h says how to hear what went wrong.
namespace raytracer {

/// A mesh in the caller's memory, which is copied. Each triangle has three indices of vertices.
struct Mesh {
    const float* pPositions;  // x, y, z of each vertex
    uint32_t uVertices;
    const uint32_t* pTriangles;
    uint32_t uTriangles;
    const uint32_t* pMaterials = nullptr;  // one index a triangle; null: material 0 for all
};

/// What a surface does with light. Shares are from 0 to 1.
struct Material {
    float color[3] = {0.8f, 0.8f, 0.8f};  // red, green, blue
    float fDiffuse = 0.8f;
    float fSpecular = 0.0f;
    uint32_t uExponent = 20;  // the larger, the smaller the highlight
    float fMirror = 0.0f;     // share of what the mirror shows
    float fGlass = 0.0f;      // share of what is behind
    float fRefractiveIndex = 1.5f;
    bool bSmooth = false;  // shaded by the vertices' mean normals
};

/// A part of a mesh, such as a node of a model's file.
struct Part {
    std::string sName;
    std::string sPath;  // names on the way to it from above, with slashes between
    uint32_t uTriangles;
};

/// A point light: flux 1 at distance 1, in the mesh's units, gives a surface the brightness 1.
struct Light {
    float position[3];
    float fFlux;
};

/// Directions need not have length 1: t counts in lengths of the direction, from fMinT up to fMaxT, both included.
struct Ray {
    float origin[3];
    float direction[3];
    float fMaxT = 1e30f;
    float fMinT = 0.0f;  // not below 0
};

constexpr uint32_t NO_TRIANGLE = 0xFFFFFFFFu;

/// Where a ray met the mesh. The hit point is origin + direction * fT, and the sum of the triangle's corners by the
/// weights 1 - fU - fV, fU and fV.
struct Hit {
    float fT;            // infinite for a miss
    uint32_t uTriangle;  // NO_TRIANGLE for a miss
    float fU;
    float fV;
};

/// The point of a mesh that is closest to another one: the sum of the triangle's corners by the weights 1 - fU - fV, fU
/// and fV.
struct Closest {
    float point[3];
    float fDistance;     // infinite when there is no triangle
    uint32_t uTriangle;  // of equally close ones the lowest
    float fU;
    float fV;
};

/// What a scene is prepared for. The numbers of the mesh stay the caller's in both cases.
enum class Use {
    RAYS,     // rays alone: nothing is scaled inside
    PICTURES  // shading as well: inside, the longest side becomes 10000 units long
};

/// Who says what a ray meets.
enum class Rays {
    WATERTIGHT,  // each triangle for itself: the nearest hit, of equal ones the lowest triangle. No ray gets through
                 // the edges of a closed mesh, and building is quick
    TREE         // the kd-tree of the RayTracer program: the same hits, and of a scene's files the same picture
};

/// Is filled, prepared once, and constant from then on: all const operations may run in any number of threads at once.
class Scene {
 public:
    struct Data;  // not for users

    Scene();
    ~Scene();
    Scene(Scene&& other) noexcept;
    Scene& operator=(Scene&& other) noexcept;

    /// Reads mesh, materials, lights and camera of a scene description, NAME.txt, whose paths are relative to the
    /// working directory. True on failure.
    [[nodiscard]] bool load(const char* szDescription);

    /// Takes a scene from the bytes that rt-import --pack wrote, or pack(), in place of what there was. They may be
    /// anything. True when they are no such scene, or another version's, which the report names, or without memory.
    [[nodiscard]] bool loadPacked(const void* pBytes, size_t uBytes);

    /// The scene as such bytes, the same ones for the same scene, before prepare(). True when it is prepared already,
    /// has no mesh, or without memory.
    [[nodiscard]] bool pack(std::vector<uint8_t>& vBytes) const;

    /// Copies a mesh in place of what there was. True when there is no vertex, an index or coordinate is no good, when
    /// *pStop became true, or without memory.
    [[nodiscard]] bool setMesh(const Mesh& mesh, const std::atomic<bool>* pStop = nullptr);

    /// Begins a part of the mesh with triangle uFirst, in the order of the triangles: the first begins with 0. Parts
    /// are numbered from 0; a mesh without any is one. setMesh() forgets them. True when out of order, or without
    /// memory.
    [[nodiscard]] bool addPart(uint32_t uFirst, const char* szName);

    /// Adds one; the first has number 0. A scene without materials gets one when it is prepared. True without memory.
    [[nodiscard]] bool addMaterial(const Material& material);
    [[nodiscard]] bool addLight(const Light& light);

    /// Puts lights in the place of those that there are; also after prepare(), as long as nobody renders. True without
    /// memory.
    [[nodiscard]] bool setLights(const Light* pLights, uint32_t uLights);

    /// The light of studios, in place of their own: red, green and blue of uWidth x uHeight pixels all around, row
    /// after row from above, the middle column along z, the right one of it along x, turned to the right by fTurn
    /// degrees; 0 x 0 pixels for none. Also after prepare(), as long as nobody renders. True when all is dark, a number
    /// is negative or not finite, or without memory.
    [[nodiscard]] bool setSky(const float* pLight, uint32_t uWidth, uint32_t uHeight, float fTurn = 0.0f);

    /// The lights that there are; to the last bit before prepare().
    std::vector<Light> lights() const;

    /// Builds what rays need with uThreads threads, once after everything was added. No answer
    /// depends on their number. True when a triangle's material is not there, there is no mesh, without memory, or when
    /// *pStop became true before the end; the scene is of no use then.
    [[nodiscard]] bool prepare(Use use, Rays rays = Rays::WATERTIGHT, unsigned uThreads = 1,
                               const std::atomic<bool>* pStop = nullptr);

    uint32_t triangleCount() const;
    uint32_t vertexCount() const;

    /// The parts of the mesh; of a packed model those of its file. One without a name when there are none.
    std::vector<Part> parts() const;

    /// Copies the mesh: x, y and z of each vertex, three indices a triangle, and the part of each triangle. To the last
    /// bit before prepare().
    void copyMesh(float* pPositions, uint32_t* pTriangles, uint32_t* pParts) const;

    /// The nearest hit of each ray. Without prepare() all miss.
    void findNearest(const Ray* pRays, size_t uRays, Hit* pHits) const;

    /// Whether anything is hit within each ray's length.
    void findBlocked(const Ray* pRays, size_t uRays, bool* pBlocked) const;

    /// What follows needs watertight rays. All are true, and find nothing, when the scene was not prepared for them.

    /// How many triangles each ray meets. From a point inside a closed mesh the number is odd in every direction.
    [[nodiscard]] bool countHits(const Ray* pRays, size_t uRays, uint32_t* pCounts) const;

    /// All hits of each ray, the nearest first, of equal ones the lowest triangle. vHits gets those of one ray after
    /// the other, pFirst[u] the index of ray u's first, pFirst[uRays] the number of all: room for uRays + 1.
    [[nodiscard]] bool findAll(const Ray* pRays, size_t uRays, std::vector<Hit>& vHits, size_t* pFirst) const;

    /// The closest point of the mesh to each point. pPoints has x, y, z of each.
    [[nodiscard]] bool findClosest(const float* pPoints, size_t uPoints, Closest* pClosest) const;

 private:
    friend class Inside;
    std::unique_ptr<Data> pData;
};

}  // namespace raytracer
