#pragma once

#include <string>

#include "render/RayTracer.h"
#ifdef RT_IMPORT
#include "render/StagedScene.h"
#endif
#include "rt-render/options/RenderOptions.h"
#include "shared/ScenePlace.h"

namespace rt {

/// Finds the scene that the user means: a description by its path, a scene by its name in ./Scenes or among the
/// installed ones, or a model, which becomes a scene in memory.
class SceneSource {
 public:
    /// True when there is no such scene, or the model cannot be imported, which is reported.
    [[nodiscard]] bool find(const RenderOptions& options);

    /// True when a scene has this name.
    static bool isName(const std::string& sScene);

    /// Reads it. True on failure, which is reported.
    [[nodiscard]] bool load(RayTracer& rayTracer) const;

    /// True when it was made of a model. Its camera then has the view that the user wants.
    bool isModel() const { return bInput || place.isModel(); }

    /// The material of the ground that was put under a model, NO_INDEX when there is none.
    uint32_t ground() const { return uGround; }

    /// What pictures of it are called by default.
    std::string name() const { return bInput ? "stdin" : place.name(); }

 private:
    bool importInput(const RenderOptions& options);
    bool importFrom(const RenderOptions& options, const std::string& sModel);

    ScenePlace place;
    bool bInput = false;  // a model from standard input, which has no place
    uint32_t uGround = NO_INDEX;
#ifdef RT_IMPORT
    StagedScene staged;
#endif
};

}  // namespace rt
