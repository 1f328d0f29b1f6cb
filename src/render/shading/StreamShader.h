#pragma once

#include <cassert>
#include <cstdint>

#include "accel/RayStream.h"
#include "base/Vectors.h"
#include "render/shading/ShadingContext.h"
#include "render/shading/Surface.h"
#include "scene/FaceData.h"

namespace rt {

struct Light;

/// Finds the colours that streams of rays see: traces all rays of one depth together, then all shadow rays to one
/// light, then all reflected and all refracted rays. The operations on each ray, and their order, are those of shading
/// it alone, so the colours are the same to the bit. Holds the scratch memory of all depths, about 800 kB; serves
/// one stream at a time.
class StreamShader {
 public:
    static constexpr unsigned MAX_RECURSION = 4;  // depth of the last rays, which do not reflect or refract

    explicit StreamShader(const ShadingContext& source) : context(source) {}

    /// The stream to fill with the rays of one depth before trace(). Every ray also needs its medium. Reflected and
    /// refracted rays have the maximum length of the ray that they come from.
    RayStream& rays(unsigned uDepth) {
        assert(uDepth <= MAX_RECURSION);
        return levels[uDepth].rays;
    }

    /// Refractive index of the medium that a ray travels in.
    void setMedium(unsigned uDepth, uint32_t uRay, float fIndex) { levels[uDepth].fMedium[uRay] = fIndex; }

    /// The colours seen along the rays of one depth, valid until the next call for that depth.
    const Velk::NMVector3f* trace(unsigned uDepth);

 private:
    // Only the counts are initialised, so depths that no ray reaches take no physical memory.
    struct Level {
        RayStream rays;
        float fMedium[RayStream::ROOM];
        Velk::NMVector3f v3Colours[RayStream::ROOM];
        uint32_t uParents[RayStream::ROOM];  // the surfaces of the depth above that the rays start from
        uint32_t uSurfaces;
        Surface surfaces[RayStream::ROOM];       // one for each ray that hit a face
        uint32_t uSurfaceRays[RayStream::ROOM];  // that ray
    };

    /// The surfaces and the incidence of one light on each, as a structure of arrays that the compiler can vectorise.
    struct Incidence {
        float P[3][RayStream::ROOM], N[3][RayStream::ROOM], D[3][RayStream::ROOM], fSide[RayStream::ROOM];
        float L[3][RayStream::ROOM], fDistance[RayStream::ROOM], fIrradiance[RayStream::ROOM];
        float fCosine[RayStream::ROOM], fHalfway[RayStream::ROOM];
    };

    void makeSurfaces(Level& level);
    void sumLights(Level& level);
    void findIncidence(const Light& light, uint32_t uSurfaces);
    void reflect(unsigned uDepth);
    void refract(unsigned uDepth);
    template <typename Mix>
    void traceSecondary(unsigned uDepth, const Mix& mix);

    const ShadingContext context;
    Level levels[MAX_RECURSION + 1];
    // These serve one depth after the other: none outlives the lights of its depth.
    uint32_t uFaces[RayStream::ROOM];
    RayTestOutput hits[RayStream::ROOM];
    float fSums[RayStream::ROOM];  // the sum of the lights that reach a surface
    RayStream shadows;
    Incidence incidence;
    uint32_t uShaded[RayStream::ROOM];  // the surface that each shadow ray starts from
    bool bBlocked[RayStream::ROOM];
};

}  // namespace rt
