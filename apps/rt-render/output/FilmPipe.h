#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "picture/PictureFile.h"

namespace rt {

/// A film that ffmpeg makes of pictures of one size: an MP4, GIF or WebP file by its suffix. It replaces an older file
/// when it is complete; until then it is NAME.part.SUFFIX.
class FilmPipe {
 public:
    FilmPipe() = default;
    ~FilmPipe();  // drops what is not finished
    FilmPipe(const FilmPipe&) = delete;
    FilmPipe& operator=(const FilmPipe&) = delete;

    /// True when there is no ffmpeg, which is reported.
    [[nodiscard]] static bool isMissing();

    /// Starts ffmpeg. True on failure, which is reported, as by the others.
    [[nodiscard]] bool open(const std::string& sFilm, uint32_t uWidth, uint32_t uHeight, unsigned uChannels,
                            unsigned uFramesPerSecond);

    [[nodiscard]] bool write(const PixelView& picture);

    [[nodiscard]] bool finish();

 private:
    int end();

    std::string sFile, sPart;
    pid_t iProcess = -1;
    int iPipe = -1;
};

}  // namespace rt
