#pragma once

#include <cstdint>
#include <string>

#include "render/TilePool.h"

namespace rt {

/// What an interrupted picture leaves: NAME.part.SUFFIX to look at, and beside it NAME.part.SUFFIX.resume with the
/// tiles that are done, byte for byte whatever the picture's format loses, under a key of the scene and all settings.
class PartFile {
 public:
    explicit PartFile(const std::string& sPicture);

    const std::string& picture() const { return sPart; }

    /// Writes both. True on failure, which is reported.
    [[nodiscard]] bool save(const TilePool& pool, const std::string& sKey) const;

    /// True when the name of the tiles' file is a directory, a pipe or a device, which is reported.
    [[nodiscard]] bool isRefused() const;

    /// True when an earlier run of the same key left this picture unfinished.
    bool isOf(const std::string& sKey) const;

    enum class Found { NOTHING, OTHER, SAME };

    /// Takes the tiles of an earlier run of the same key into a fresh pool. OTHER: there is a file, of another key,
    /// damaged or not what the pool's tiles need; the pool is untouched.
    Found load(TilePool& pool, const std::string& sKey) const;

    /// Removes both once the picture is there.
    void remove() const;

 private:
    std::string sPart, sResume;
};

}  // namespace rt
