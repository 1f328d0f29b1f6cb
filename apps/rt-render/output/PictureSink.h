#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "rt-render/cameras/Shots.h"
#include "rt-render/options/RenderOptions.h"
#include "rt-render/output/FilmPipe.h"
#include "rt-render/output/Sheet.h"

namespace rt {

/// Where finished pictures go: each into a file of its own, all into one, into a film, or to standard output. Failures
/// are reported.
class PictureSink {
 public:
    /// pStandardOutput: for a picture that goes there.
    PictureSink(const RenderOptions& wanted, FILE* pStandardOutput) : options(wanted), pOutput(pStandardOutput) {}

    /// Whether a picture that is stopped can be kept, and gone on with.
    bool keepsParts() const { return options.eOutput == RenderOptions::FILES && !options.cameras.bSheet; }

    /// Makes ready for all pictures of a run. uFree: bytes of memory that there are, 0 when nobody knows.
    [[nodiscard]] bool prepare(const Shots& shots, unsigned uChannels, uint64_t uFree);

    /// Takes a picture, in order.
    [[nodiscard]] bool take(size_t uShot, const std::string& sFile, const PixelView& picture);

    /// After the last one.
    [[nodiscard]] bool finish();

 private:
    bool prepareSheet(const Shots& shots, unsigned uChannels, uint64_t uFree);
    bool writeWhole(const std::string& sFile, const PixelView& picture);

    const RenderOptions& options;
    FILE* const pOutput;
    Sheet sheet;
    FilmPipe film;
};

}  // namespace rt
