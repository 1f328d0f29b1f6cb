#pragma once

#include <optional>

#include "base/Vectors.h"
#include "render/RayTracer.h"

namespace rt {

/// How the user wants to look at a scene, in the scene's own units. What is not set stays as the camera file has it.
struct View {
    std::optional<Velk::NMVector3f> v3From;  // eye
    std::optional<Velk::NMVector3f> v3At;  // point in the picture's middle; the scene's middle when only v3From is set
    std::optional<float> fFov;             // degrees from the left edge to the right one; pixels become square then

    bool isSet() const { return v3From || v3At || fFov; }

    /// Applies it to a loaded scene that is not yet preprocessed. The horizon stays level if it was. True when there is
    /// no such view: eye and point are one.
    [[nodiscard]] bool apply(RayTracer& rayTracer) const;
};

/// True for a camera without a direction, or with one beyond single precision.
bool looksNowhere(const Camera& camera);

/// Where a picture with these rows and columns is up. When its rows are level in the world, that is the world's own
/// axis, so that no other view of the scene has a slanting horizon.
Velk::NMVector3f uprightOf(const Velk::NMVector3f& v3Row, const Velk::NMVector3f& v3Column);

/// Middle of the bounds of a loaded scene's vertices.
Velk::NMVector3f middleOf(const Scene& scene);

/// Views around the middle of a preprocessed scene, evenly spaced on a circle about the upright axis, the scene's own
/// view first.
class Orbit {
 public:
    Orbit(const Scene& scene, const Frame& firstView);

    /// View uFrame of uFrames, counted from 0.
    Frame look(unsigned uFrame, unsigned uFrames) const;

 private:
    const Frame first;
    const Velk::NMVector3f v3Middle, v3Axis;
};

}  // namespace rt
