#pragma once

#include <string>

namespace rt {

class Scene;

/// What the cache files of both acceleration structures share. They are keyed by the scene file's path alone.

/// The first line of a cache of a scene with this name, its file's path, with its line break.
std::string cacheHeadline(const std::string& sScene);

/// True when a cache's first line names this scene. The path is read as one word, so a path with white space never
/// matches.
bool isCacheOf(const std::string& sScene, const char* szFirstLine);

/// True when the path does not exist or names a regular file. Nothing else is a cache: opening a pipe would wait for
/// ever.
bool mayBeCache(const char* szPath);

/// Logs a warning when the scene file is newer than its cache, which may then belong to an older mesh.
void warnIfOutdated(const char* szCache, const Scene& scene);

}  // namespace rt
