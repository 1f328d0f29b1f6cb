#pragma once

namespace rt {

struct FaceData;
class Scene;

/// For each face the box of all points at which the face test can accept a ray, rounding included. A ray that misses
/// the box is one that the test itself would reject.
class FaceBounds {
 public:
    /// fFarthestOrigin is the largest coordinate of the origins that most rays will have, 0 when it is not known.
    FaceBounds(const Scene& scene, float fFarthestOrigin);

    /// The boxes hold for rays whose origin has no larger coordinate than this, and whose direction's largest component
    /// is in the range below. The nearer it is, the tighter are the boxes. Negative, so for no rays, in a scene of
    /// coordinates so large that sums and products of them may overflow.
    float originLimit() const { return fOriginLimit; }
    static constexpr float DIR_MIN = 1e-6f;
    static constexpr float DIR_MAX = 1e6f;

    /// The largest coordinate of the scene's box.
    float reach() const { return fReach; }

    /// Writes the box of a sound face, three coordinates each. True for a needle, whose box may be much larger than the
    /// face and only holds for rays that end within the limit, too.
    bool bound(const FaceData& face, float* pMin, float* pMax) const;

 private:
    float fReach = 0.0f;
    float fOriginLimit = -1.0f;
};

}  // namespace rt
