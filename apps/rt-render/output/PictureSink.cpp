// The ways out of the program.
#include "rt-render/output/PictureSink.h"

#include <cerrno>
#include <cstring>

#include "picture/PictureFile.h"
#include "shared/Console.h"

namespace rt {

bool PictureSink::prepare(const Shots& shots, unsigned uChannels, uint64_t uFree) {
    const bool bFilm = options.eOutput == RenderOptions::FILM, bSheet = options.cameras.bSheet;
    const Frame& first = shots.frame(0);
    for (size_t u = 1; u < shots.count() && (bFilm || bSheet); ++u) {
        if (shots.frame(u).uWidth == first.uWidth && shots.frame(u).uHeight == first.uHeight) continue;
        Console::error("rt-render: %s: not all pictures have one size", bFilm ? options.sPicture.c_str() : "--sheet");
        return true;
    }
    if (bFilm) return film.open(options.sPicture, first.uWidth, first.uHeight, uChannels, options.uFramesPerSecond);
    return bSheet && prepareSheet(shots, uChannels, uFree);
}

bool PictureSink::prepareSheet(const Shots& shots, unsigned uChannels, uint64_t uFree) {
    const uint32_t uWidth = shots.frame(0).uWidth, uHeight = shots.frame(0).uHeight;
    uint64_t uWhole = uWidth, uRows = uHeight;
    Sheet::measure(shots.count(), uWhole, uRows);
    const bool bSides = uWhole <= INT32_MAX && uRows <= INT32_MAX;
    const bool bHolds =
        bSides && pictureFormat(options.sPicture)->holds(static_cast<uint32_t>(uWhole), static_cast<uint32_t>(uRows)) &&
        (!uFree || uWhole * uRows * uChannels < uFree);
    if (bHolds && !sheet.create(shots.count(), uWidth, uHeight, uChannels)) return false;
    Console::error("rt-render: --sheet: %llu x %llu pixels are too many", static_cast<unsigned long long>(uWhole),
                   static_cast<unsigned long long>(uRows));
    return true;
}

bool PictureSink::take(size_t uShot, const std::string& sFile, const PixelView& picture) {
    if (options.eOutput == RenderOptions::FILM) return film.write(picture);
    if (!options.cameras.bSheet) return writeWhole(sFile, picture);
    sheet.put(uShot, picture);
    return false;
}

bool PictureSink::finish() {
    if (options.eOutput == RenderOptions::FILM) return film.finish();
    return options.cameras.bSheet && writeWhole(options.sPicture, sheet.view());
}

bool PictureSink::writeWhole(const std::string& sFile, const PixelView& picture) {
    if (options.eOutput != RenderOptions::STANDARD_OUTPUT) return writePicture(sFile, picture);
    errno = 0;
    if (pOutput && !writePng(pOutput, picture) && fflush(pOutput) == 0) return false;
    Console::error("rt-render: standard output cannot be written: %s", errno ? strerror(errno) : "it is closed");
    return true;
}

}  // namespace rt
