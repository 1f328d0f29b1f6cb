#pragma once

#include <string>

#include "render/RayTracer.h"
#include "rt-render/RenderOptions.h"
#include "shared/Leftovers.h"

namespace rt {

/// Finds the scene that the user means: a description by its path, a scene by its name in ./Scenes or among the
/// installed ones, or a model, which becomes a scene in a temporary directory. The directory goes when the object does.
class SceneSource {
 public:
    SceneSource() = default;
    ~SceneSource() { Leftovers::removeDirectory(); }
    SceneSource(const SceneSource&) = delete;
    SceneSource& operator=(const SceneSource&) = delete;

    /// True when there is no such scene, or the model cannot be imported, which is reported.
    [[nodiscard]] bool find(const RenderOptions& options);

    /// Reads it. True on failure, which is reported.
    [[nodiscard]] bool load(RayTracer& rayTracer) const;

    /// True when it was made of a model. Its camera then has the view that the user wants.
    bool isModel() const { return bModel; }

    /// What pictures of it are called by default.
    const std::string& name() const { return sName; }

 private:
    bool findByName(const std::string& sScene);
    bool importFrom(const RenderOptions& options);
    void findByPath(const std::string& sPath);

    bool bModel = false;
    std::string sName;
    std::string sDirectory;     // paths in the description are relative to it; empty: the working directory
    std::string sDescription;   // relative to it too
    std::string sReportPrefix;  // of reports about the files that a model became
};

}  // namespace rt
