#pragma once

namespace rt {

struct FaceData;
class Scene;

/// For each face the box of all points at which the face test can accept a ray, rounding included. The test would
/// reject every ray that misses the box.
class FaceBounds {
 public:
    /// fFarthestOrigin is the largest coordinate of the origins that most rays will have, 0 when it is not known.
    FaceBounds(const Scene& scene, float fFarthestOrigin);

    /// The boxes are valid for rays whose origin has no larger coordinate than this, and whose direction's largest
    /// component is in the range below. A smaller limit makes the boxes tighter. Negative (valid for no ray) when the
    /// scene's coordinates are so large that arithmetic may overflow.
    float originLimit() const { return fOriginLimit; }
    static constexpr float DIR_MIN = 1e-6f;
    static constexpr float DIR_MAX = 1e6f;

    /// The largest coordinate of the scene's box.
    float reach() const { return fReach; }

    /// Writes the box of a sound face, three coordinates each. True for a needle, whose box may be much larger than the
    /// face, and is valid only for rays that also end within the limit.
    bool bound(const FaceData& face, float* pMin, float* pMax) const;

 private:
    float fReach = 0.0f;
    float fOriginLimit = -1.0f;
};

}  // namespace rt
