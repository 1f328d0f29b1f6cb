#pragma once

struct FaceData;
class Scene;

/// For each face the box of all points at which the face test can accept a ray, rounding included. A ray that misses
/// the box is one that the test itself would reject.
class FaceBounds {
 public:
    explicit FaceBounds(const Scene& scene);

    /// The boxes hold for rays whose origin, and whose end where that may lie outside the scene, has no larger
    /// coordinate than this, and whose direction's largest component is in the range below.
    float originLimit() const { return fOriginLimit; }
    static constexpr float DIR_MIN = 1e-6f;
    static constexpr float DIR_MAX = 1e6f;

    /// The largest coordinate of the scene's box.
    float reach() const { return fReach; }

    /// Writes the box of a sound face, three coordinates each. True when it is much larger than the face, as that of a
    /// needle may be.
    bool bound(const FaceData& face, float* pMin, float* pMax) const;

 private:
    float fReach = 0.0f;
    float fOriginLimit = 0.0f;
};
