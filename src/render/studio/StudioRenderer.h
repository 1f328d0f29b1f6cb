#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "accel/RayStream.h"
#include "render/Frame.h"
#include "render/PreparedScene.h"
#include "render/studio/StudioLights.h"
#include "render/studio/SurfaceTextures.h"

namespace rt {

/// What a studio's picture can be asked for.
struct StudioSettings {
    Velk::NMVector3f v3Top{232, 234, 238};     // the background, as a screen shows it, at the first row
    Velk::NMVector3f v3Bottom{192, 197, 205};  // and at the last
    uint32_t uGround = NO_INDEX;               // a material that is invisible, but for the shadows on it
    bool bTransparent = false;                 // no background: pixels have alpha, a fourth byte
    const SkyMap* pSky = nullptr;              // light in place of the studio's, which must outlive its use
    bool bSkyBehind = false;                   // and it is the background
    bool bSmoothEdges = true;                  // nine rays for pixels in which the eye sees an edge
};

/// Renders tiles of pictures of a prepared scene in the light of a studio, in place of the scene's lights. What a pixel
/// gets depends on its place in the picture, not on the tile. Holds the scratch memory of one thread; each thread that
/// renders has its own.
class StudioRenderer {
 public:
    /// Keeps references to the scene and the textures of its mesh, which must not change while tiles are rendered. The
    /// frame is that of the picture.
    StudioRenderer(const PreparedScene& prepared, const SurfaceTextures& ofItsMesh, const Frame& pictureFrame,
                   const StudioSettings& wanted);

    /// Renders a tile, 3 bytes a pixel (blue, green, red) or, when transparent, 4 (with alpha), into memory of the
    /// caller: the first pixel at pFirst, each row uStride bytes after the one before. Requires a tile inside the
    /// frame.
    void render(const Tile& tile, uint8_t* pFirst, size_t uStride);

 private:
    static constexpr int BEFORE = 4, BEHIND = 3;  // pixels around one that it shares the sky with: 8 x 8 with it
    static constexpr float OFFSET = 0.1f;         // of rays that leave a surface, in 1/10000 of the scene

    // What a ray of the eye sees.
    struct Sample {
        Velk::NMVector3f v3Eye;     // where the ray starts
        Velk::NMVector3f v3Dir;     // its direction, unit
        Velk::NMVector3f v3At;      // the point
        Velk::NMVector3f v3From;    // where rays to the lights begin
        Velk::NMVector3f v3Normal;  // for shading, towards the eye
        Velk::NMVector3f v3Albedo;
        Velk::NMVector3f v3Emission;  // light of its own
        float fMetal, fRough;         // of a physical one
        bool bPhysical;
        uint32_t uFace;  // NO_INDEX: the background
        float fRow;      // place in the picture, 0 to 1, of the background
    };

    // Shares of the lights that get through, before they are divided.
    struct Light {
        float fOpen[StudioLights::KINDS];
        float fAll[StudioLights::KINDS];
    };

    // As a screen shows it, 0 to 255, times alpha.
    struct Colour {
        Velk::NMVector3f v3;
        float fAlpha;
    };

    // Light on its way to a pixel, against the direction of travel.
    struct Path {
        uint32_t uPixel;
        Velk::NMVector3f v3From, v3Dir, v3Weight;
        bool bInside;  // of glass
        float fRough;  // of the mirror that it left
    };

    // Whether two points lie on the same smooth piece of surface.
    static bool isAlike(const Sample& sample, const Sample& other, float fCosine);
    void renderBlock(const Tile& block, uint8_t* pFirst, size_t uStride);
    void aim(float x, float y, Sample& sample) const;
    void trace(std::vector<Sample>& vSamples);
    void complete(Sample& sample, uint32_t uFace, const RayTestOutput& hit, float fPixel) const;
    void findFaces();
    void findBlocked();
    void lookThroughHoles();
    void askLights(const std::vector<Sample>& vSamples, const std::vector<uint64_t>& vPhases,
                   std::vector<Light>& vLights);
    uint64_t share(const Sample& sample, int iColumn, int iRow, Light& light) const;
    void smooth(const Tile& block);
    bool isEdge(unsigned uColumn, unsigned uRow) const;
    void shadeAll(const std::vector<Sample>& vSamples, const std::vector<Light>& vLights,
                  std::vector<Colour>& vColours);
    Colour background(const Sample& sample) const;
    float shadowOn(const Sample& sample, const Light& light) const;
    bool isGround(const Sample& sample) const;
    float reachOf(const Sample& sample, const StudioLights::Direction& direction) const;
    Velk::NMVector3f surfaceLight(const Sample& sample, const Light& light) const;
    Velk::NMVector3f gleamingLight(const Sample& sample, const Light& light) const;
    Velk::NMVector3f tracedShare(const Sample& sample) const;
    Velk::NMVector3f seenAround(const Path& path) const;
    void goOn(const Sample& sample, const Path& path);
    void follow();

    const PreparedScene& scene;
    const SurfaceTextures& textures;
    const Frame frame;
    const float fPixelAngle;  // width of a pixel at distance 1
    const StudioLights lights;
    const StudioSettings settings;
    const float fFloor;                      // height of a ground that lets the sky's light through from below
    std::vector<Velk::NMVector3f> vAlbedos;  // of the materials, as light

    // Of a block: its pixels and those around it that they share light with.
    unsigned uColumns = 0, uRows = 0;  // of the grid
    int iFirstX = 0, iFirstY = 0;      // its first pixel
    std::vector<Sample> vGrid, vInner, vFine;
    std::vector<Light> vGridLights, vInnerLights, vFineLights;
    std::vector<Colour> vInnerColours, vFineColours;
    std::vector<Velk::NMVector3f> vReceived;  // light of the samples that are shaded
    std::vector<uint64_t> vMissing;
    std::vector<uint32_t> vOfPhase[StudioLights::PHASES];  // samples that ask it
    std::vector<Path> vPaths, vNextPaths;
    RayStream rays;
    uint32_t uFaces[RayStream::CAPACITY];
    RayTestOutput hits[RayStream::CAPACITY];
    bool bBlocked[RayStream::CAPACITY];
    uint32_t uAsking[RayStream::CAPACITY];

    // Rays that go on behind holes, for models that have some.
    struct Behind {
        RayStream rays;
        uint32_t uFaces[RayStream::CAPACITY];
        RayTestOutput hits[RayStream::CAPACITY];
        uint32_t uOf[RayStream::CAPACITY];  // the ray that goes on
    };
    std::unique_ptr<Behind> pBehind;
};

}  // namespace rt
