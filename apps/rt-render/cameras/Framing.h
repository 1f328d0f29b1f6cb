#pragma once

#include <cstdint>

#include "render/Frame.h"
#include "scene/Scene.h"

namespace rt {

/// Places cameras so that they see the whole of a prepared scene, upright, with the size and the angle of a first view.
class Framing {
 public:
    /// uGround: a material whose faces may end outside the picture, NO_INDEX for none.
    Framing(const Scene& scene, uint32_t uGround, const Frame& firstView);

    /// Seen from an eye that far round to the right of the scene's front, which looks along z, and that high above the
    /// horizon, in degrees; the scene fills the picture.
    Frame around(double dTurn, double dElevation) const;

    /// The same from a fixed distance.
    Frame onSphere(double dTurn, double dElevation) const;

    /// Seen the way that the first view looks.
    Frame asFirst() const;

    /// The first view with parallel rays, which shows the plane through a point as large as it was.
    Frame asFirstThrough(const Velk::NMVector3f& v3Point) const;

 private:
    struct Axes {
        Velk::NMVector3f v3Right, v3Down, v3Forward;  // unit
    };

    Axes looking(double dTurn, double dElevation) const;
    template <typename Visit>
    void forEachCorner(const Visit& visit) const;
    Frame fitted(const Axes& axes) const;
    Frame fittedParallel(const Axes& axes) const;
    Frame make(const Axes& axes, const Velk::NMVector3f& v3Eye, float fDistance, float fHalfWidth) const;

    const Scene& scene;
    const uint32_t uLeftOut;
    const Frame first;
    float fHalfWidth, fHalfHeight;  // of the picture at distance 1
    Velk::NMVector3f v3Middle;      // of the faces that count
    float fRadius = 0.0f;           // around it
    Velk::NMVector3f v3Up;          // unit, along an axis of the world if the first view's horizon is level
    float fHand;                    // 1 when right, up and forward are a left hand's, -1 for the other
};

}  // namespace rt
