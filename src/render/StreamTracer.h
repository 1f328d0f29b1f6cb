#pragma once

#include <cstdint>
#include <memory>

#include "accel/RayStream.h"
#include "base/Vectors.h"
#include "scene/FaceData.h"

class RayTracer;

/// Shades streams of rays: all rays of one depth are traced together, then all shadow rays to one light, then all
/// reflected and all refracted rays. For each ray it does what shading one ray alone does, with the same operations in
/// the same order. Holds the scratch memory of all depths, about a megabyte; serves one stream at a time.
class StreamTracer {
 public:
    explicit StreamTracer(const RayTracer& source);

    /// The stream to fill with the rays of one depth before trace(). Every ray also needs its medium.
    RayStream& rays(unsigned uDepth) { return pLevels[uDepth].rays; }

    /// Refractive index of the medium that a ray travels in.
    void setMedium(unsigned uDepth, uint32_t uRay, float fIndex) { pLevels[uDepth].fMedium[uRay] = fIndex; }

    /// The colours seen along the rays of one depth, valid until the next call for that depth.
    const Velk::NMVector3f* trace(unsigned uDepth);

 private:
    /// What shading needs to know of the point that a ray hit.
    struct Surface {
        uint32_t uRay;
        Velk::NMVector3f P, N, S;  // point, normal, colour
        float fSide;               // 1 when the front was hit, -1 otherwise
        float fKd, fKs, fExponent, fKts, fKf, fEta;
        float fSum;  // of the lights
    };

    struct Level {
        RayStream rays;
        float fMedium[RayStream::ROOM];
        uint32_t uFaces[RayStream::ROOM];
        RayTestOutput hits[RayStream::ROOM];
        Velk::NMVector3f v3Colours[RayStream::ROOM];
        uint32_t uParents[RayStream::ROOM];  // the surfaces of the level above that the rays start from
        Surface surfaces[RayStream::ROOM];
        uint32_t uSurfaces;
    };

    /// The surfaces' points and normals and the way from each to a light, component by component, so that the compiler
    /// makes vectors of them.
    struct Incidence {
        float P[3][RayStream::ROOM], N[3][RayStream::ROOM], fSide[RayStream::ROOM];
        float L[3][RayStream::ROOM], fDistance[RayStream::ROOM], fCosine[RayStream::ROOM];
    };

    Surface makeSurface(const Level& level, uint32_t uRay) const;
    void sumLights(Level& level);
    void findIncidence(const Velk::NMVector3f& v3Light, uint32_t uSurfaces);
    void reflect(unsigned uDepth);
    void refract(unsigned uDepth);
    template <typename Mix>
    void follow(unsigned uDepth, const Mix& mix);

    const RayTracer& tracer;
    std::unique_ptr<Level[]> pLevels;  // not initialised: what no ray reaches takes no memory
    RayStream shadows;
    Incidence incidence;
    uint32_t uShaded[RayStream::ROOM];  // the surface that each shadow ray starts from
    bool bBlocked[RayStream::ROOM];
};
