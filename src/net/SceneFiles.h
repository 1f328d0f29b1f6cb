#pragma once

#include "scene/SceneDesc.h"

namespace rt {

/// Logs path, hash and size of a scene's five files. Comparing the logs of two machines tells whether they render the
/// same scene, which the protocol cannot. Only regular files are read; for any other file the reason is logged.
void logSceneFiles(const char* szDescription, const SceneDesc& desc);

}  // namespace rt
