#pragma once

#include <cassert>
#include <cstdint>

#include "accel/RayStream.h"
#include "base/Vectors.h"
#include "render/ShadingContext.h"
#include "render/Surface.h"
#include "scene/FaceData.h"

struct Light;

/// Finds the colours that streams of rays see: all rays of one depth are traced together, then all shadow rays to one
/// light, then all reflected and all refracted rays. For each ray it does what shading one ray alone does, with the
/// same operations in the same order. Holds the scratch memory of all depths, about a megabyte; serves one stream at a
/// time.
class StreamShader {
 public:
    static constexpr unsigned MAX_RECURSION = 4;  // deepest ray that still reflects and refracts is one less

    explicit StreamShader(const ShadingContext& source) : context(source) {}

    /// The stream to fill with the rays of one depth before trace(). Every ray also needs its medium. The rays that a
    /// ray sends on are as long as itself.
    RayStream& rays(unsigned uDepth) {
        assert(uDepth <= MAX_RECURSION);
        return levels[uDepth].rays;
    }

    /// Refractive index of the medium that a ray travels in.
    void setMedium(unsigned uDepth, uint32_t uRay, float fIndex) { levels[uDepth].fMedium[uRay] = fIndex; }

    /// The colours seen along the rays of one depth, valid until the next call for that depth.
    const Velk::NMVector3f* trace(unsigned uDepth);

 private:
    // Nothing is initialised but the counts of rays: levels that no ray reaches take no memory.
    struct Level {
        RayStream rays;
        float fMedium[RayStream::ROOM];
        uint32_t uFaces[RayStream::ROOM];
        RayTestOutput hits[RayStream::ROOM];
        Velk::NMVector3f v3Colours[RayStream::ROOM];
        uint32_t uParents[RayStream::ROOM];  // the surfaces of the level above that the rays start from
        uint32_t uSurfaces;
        Surface surfaces[RayStream::ROOM];       // of the rays that hit a face
        uint32_t uSurfaceRays[RayStream::ROOM];  // and the ray of each
        float fSums[RayStream::ROOM];            // and the sum of the lights that reach it
    };

    /// The surfaces and what one light means to each, component by component, so that the compiler makes vectors of
    /// them.
    struct Incidence {
        float P[3][RayStream::ROOM], N[3][RayStream::ROOM], D[3][RayStream::ROOM], fSide[RayStream::ROOM];
        float L[3][RayStream::ROOM], fDistance[RayStream::ROOM], fIrradiance[RayStream::ROOM];
        float fCosine[RayStream::ROOM], fHalfway[RayStream::ROOM];
    };

    void makeSurfaces(Level& level) const;
    void sumLights(Level& level);
    void findIncidence(const Light& light, uint32_t uSurfaces);
    void reflect(unsigned uDepth);
    void refract(unsigned uDepth);
    template <typename Mix>
    void follow(unsigned uDepth, const Mix& mix);

    const ShadingContext context;
    Level levels[MAX_RECURSION + 1];
    RayStream shadows;
    Incidence incidence;
    uint32_t uShaded[RayStream::ROOM];  // the surface that each shadow ray starts from
    bool bBlocked[RayStream::ROOM];
};
