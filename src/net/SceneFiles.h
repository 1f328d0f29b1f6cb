#pragma once

#include "scene/SceneDesc.h"

/// Logs path, hash and size of a scene's five files, so that the logs of two machines tell whether they render the same
/// scene: the protocol cannot. Only regular files are read; of others, and of missing ones, the reason is logged.
void logSceneFiles(const char* szDescription, const SceneDesc& desc);
