#pragma once

#include <string>

class Scene;

/// What the cache files of both acceleration structures share. They are keyed by the scene file's path alone.

/// The line a cache of this scene begins with, its line break included.
std::string cacheHeadline(const Scene& scene);

/// True when a cache's first line says that it is of this scene. The path in it is read as one word, so one with white
/// space in it never matches.
bool isCacheOf(const Scene& scene, const char* szFirstLine);

/// True when the path is free or names a regular file. Anything else is no cache: opening a pipe would wait for ever.
bool mayBeCache(const char* szPath);

/// Logs a warning when the scene file is newer than its cache: what is in the cache is then of an older mesh.
void warnIfOutdated(const char* szCache, const Scene& scene);
