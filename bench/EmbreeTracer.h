#pragma once

#include <embree3/rtcore.h>

#include <cstddef>
#include <vector>

#include "RayFrame.h"

using namespace rt;

namespace rt {
class Scene;
}

/// The scene in Embree, at its fastest settings for such a mesh that still answer exactly: default build quality, not
/// the compact flag, the robust one only where it is asked for, one thread, no callbacks.
class EmbreeScene {
 public:
    EmbreeScene() = default;
    ~EmbreeScene() { release(); }
    EmbreeScene(const EmbreeScene&) = delete;
    EmbreeScene& operator=(const EmbreeScene&) = delete;

    /// Hands over a preprocessed scene, whose vertices are used in place; what was there before is released. szIsa
    /// names the instruction set, null for Embree's own choice. With bRobust no ray slips through a shared edge. True
    /// on failure.
    [[nodiscard]] bool create(const rt::Scene& source, const char* szIsa, bool bRobust = false);

    /// Builds its tree. True on failure.
    [[nodiscard]] bool commit();

    RTCScene get() const { return scene; }

 private:
    void release();

    RTCDevice device = nullptr;
    RTCScene scene = nullptr;
    RTCGeometry geometry = nullptr;
};

/// One call a ray.
class EmbreeSingle {
 public:
    explicit EmbreeSingle(const EmbreeScene& source) : scene(source.get()) {}

    void prepareNearest(const std::vector<Ray>& vRays);
    void prepareObstacles(const std::vector<Ray>& vRays);
    void findNearest();
    void findObstacles();
    float distance(size_t i) const;
    bool isBlocked(size_t i) const { return vShadow[i].tfar < 0.0f; }

 private:
    RTCScene scene;
    std::vector<RTCRayHit> vNearest;
    std::vector<RTCRay> vShadow;
};

/// One call for eight rays of neighbouring pixels, marked as coherent.
class EmbreePackets {
 public:
    static constexpr size_t WIDTH = 8;

    explicit EmbreePackets(const EmbreeScene& source) : scene(source.get()) {}

    void prepareNearest(const std::vector<Ray>& vRays);
    void prepareObstacles(const std::vector<Ray>& vRays);
    void findNearest();
    void findObstacles();
    float distance(size_t i) const;
    bool isBlocked(size_t i) const { return vShadow[i / WIDTH].tfar[i % WIDTH] < 0.0f; }

 private:
    size_t countPackets(size_t uRays);

    template <typename Packet>
    const int* lanes(const Packet& packet, const std::vector<Packet>& vPackets) const {
        return &packet == &vPackets.back() ? iLast : iFull;
    }

    RTCScene scene;
    alignas(32) int iFull[WIDTH] = {};  // -1 for a lane in use
    alignas(32) int iLast[WIDTH] = {};
    std::vector<RTCRayHit8> vNearest;
    std::vector<RTCRay8> vShadow;
};
