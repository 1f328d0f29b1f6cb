#pragma once

#include <memory>

#include "base/Bitmap.h"
#include "base/Vectors.h"
#include "render/Frame.h"
#include "render/PreparedScene.h"
#include "render/TileRenderer.h"
#include "render/shading/RaytracerParameters.h"
#include "scene/Camera.h"
#include "scene/SceneDesc.h"

namespace rt {

/// The program's render: a scene with the description and camera that it came from, the settings, and the image. The
/// scene's members (scene, attributes, lights, queries) are those of PreparedScene.
///
///     RayTracer rayTracer;
///     rayTracer.parameters.bDirt = true;  // settings come before load()
///     if (rayTracer.load("Scenes/scene_descs/room.txt", false) || rayTracer.preprocessScene()) return;
///     if (rayTracer.run()) return;
///
/// Order of calls: load, preprocessScene, any number of run, calculatePack or traceRay, release. It has one renderer
/// and serves one thread; to render in several, give each a TileRenderer of its own for this scene and for frame().
class RayTracer : public PreparedScene {
 public:
    RayTracer();

    Velk::NBitmap image;
    SceneDesc sceneDesc;
    Camera camera;
    float fMaxDistance = 0.0f;  // longest ray
    bool bDescOnly = false;     // only description and camera were loaded
    Velk::NMVector3f v3Eye{};
    Velk::NMVector3f v3ImageOrigin{};  // the point of pixel (0, 0)
    Velk::NMVector3f v3ImageSpanX{};   // over all columns
    Velk::NMVector3f v3ImageSpanY{};   // over all rows
    RaytracerParameters parameters;

    /// Reads the scene that parameters.szDescFile names, or szSceneDescFile when it is not null; with bOnlyDesc only
    /// the description and the camera, for the image's size. A full load frees the previous scene. True on failure,
    /// which is logged; load again before anything else then.
    [[nodiscard]] bool load(const char* szSceneDescFile, bool bOnlyDesc);

    /// Sets the camera, which must not be scaled. The settings may replace its view and resolution. For a scene that
    /// did not come from load().
    void useCamera(const Camera& view);

    /// Prints the load summary, scales the scene into its domain and builds or reloads the kd-tree. Once after each
    /// full load. True when no scene is loaded or when out of memory, which is logged.
    [[nodiscard]] bool preprocessScene();

    /// Frees the image, the scene and the tree; does nothing when only the description was loaded.
    void release();

    /// Renders the image and writes it to parameters.szOutFile; a file that cannot be written is logged. True when the
    /// pack size is 0, the image is too large for a BMP file, or out of memory, which is logged; nothing is rendered
    /// then.
    [[nodiscard]] bool run();

    /// Renders the tile of uPackSize x uPackSize pixels whose first pixel is (x, y), clipped to the image, into a
    /// buffer of the caller: row by row without gaps, 3 bytes a pixel (blue, green, red). Nothing outside the image.
    void calculatePack(unsigned x, unsigned y, unsigned char* pBuffer);

    /// TileRenderer::traceRay with the longest ray of this view.
    Velk::NMVector3f traceRay(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Direction, unsigned uDepth,
                              float fRefractiveIndex);

    /// The picture that run() makes, for a TileRenderer.
    Frame frame() const;

    /// Colour and shading normal of a face with the brick texture at a hit. May change the attribute's fKts.
    Velk::NMVector3f procedeTexture(const FaceData* pFace, const RayTestOutput& hit, Velk::NMVector3f v3Point,
                                    Velk::NMVector3f* pNormal, AttributeInstance* pAttribute) const;

    /// The nearest face by a search over all faces, null when none is hit within fMaxDistance. This and the next are
    /// the reference for tests and benchmarks of the queries; rendering calls neither.
    const FaceData* dummyFindTriangle(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Direction,
                                      RayTestOutput* pOut) const;

    /// True when a face other than pExclude is hit within fMaxDist, by a search over all faces.
    bool dummyFindObstacle(const Velk::NMVector3f& v3Origin, const Velk::NMVector3f& v3Direction,
                           const FaceData* pExclude, float fMaxDist) const;

 private:
    void checkTextured() const;

    std::unique_ptr<TileRenderer> pRenderer;  // null when out of memory; preprocessScene() fails then
};

}  // namespace rt
