#pragma once

#include <cstdint>
#include <string>
#include <thread>

#include "render/RayTracer.h"

namespace rt {

/// The kd-trees of earlier runs, one file each in the user's cache directory. A file's name holds the hash of the
/// geometry that it belongs to and the hash of what is in the file, so one of another mesh, of another program version
/// or with a damaged byte is never used, and runs at the same time do not disturb each other. Without a directory to
/// write to there is no cache, and nothing else changes.
class TreeCache {
 public:
    /// Uses $XDG_CACHE_HOME/raytracer, or ~/.cache/raytracer.
    explicit TreeCache(uint64_t uLimitBytes);
    ~TreeCache();  // waits until a new tree is written
    TreeCache(const TreeCache&) = delete;
    TreeCache& operator=(const TreeCache&) = delete;

    /// Before RayTracer::preprocessScene: points its kd-tree at the cache. sKey: hash of the geometry.
    void prepare(RayTracer& rayTracer, const std::string& sKey);

    /// After it, once signals are kept: writes a new tree on a thread of its own, puts it in its place, and removes the
    /// files that were not used for the longest time until the rest is within the limit. Meanwhile the tracer, which
    /// must outlive the cache, may be used but not changed.
    void finish(RayTracer& rayTracer);

 private:
    bool find(const std::string& sKey);
    void keep(KDTree& tree) const;
    void report() const;
    void trim() const;

    const uint64_t uLimit;
    std::string sDirectory;  // empty: no cache
    std::string sKeyInUse, sFile;
    bool bHit = false;
    std::thread writer;
};

}  // namespace rt
