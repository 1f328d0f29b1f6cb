#pragma once

#include "accel/queries/RayQueries.h"
#include "base/Vectors.h"
#include "scene/Attributes.h"
#include "scene/Lights.h"
#include "scene/Scene.h"
#include "scene/SceneParts.h"
#include "scene/SkyPicture.h"
#include "scene/SurfaceColours.h"

namespace rt {

class SceneDesc;

/// A scene that is ready for rays: the mesh with its kd-tree and BVH, materials and lights. It is filled, prepared
/// once, and then not changed any more. From then on all const operations of it and its members are thread-safe. Each
/// thread that renders needs its own TileRenderer.
class PreparedScene {
 public:
    Scene scene;
    Attributes attributes;
    Lights lights;
    RayQueries queries;
    SurfaceColours colours;  // of the mesh's places; only studios show them
    SceneParts parts;
    SkyPicture sky;

    /// Reads mesh, materials and lights from a scene's files, in place of what was there. True on failure, which is
    /// logged.
    [[nodiscard]] bool read(const SceneDesc& desc);

    /// Completes the faces and builds what queries.eKind needs: the kd-tree and the BVH, or watertight boxes. Call it
    /// once after each filling. By default mesh and lights are scaled into the domain of 10000 units, which shading
    /// requires. Scaling::NONE keeps the caller's units, for ray queries alone. v3Eye is where most rays will start, in
    /// the units of the files. bResetCache: do not read the tree from its cache file. Requires a mesh. True when out of
    /// memory, which is logged.
    [[nodiscard]] bool prepare(const Velk::NMVector3f& v3Eye, bool bResetCache, Scaling scaling = Scaling::DOMAIN);

    /// Frees everything.
    void release();

 private:
    bool checkAttributes(const SceneDesc& desc) const;
};

}  // namespace rt
