// Puts pictures together.
#include "rt-render/output/Sheet.h"

#include <cstring>
#include <new>

namespace rt {

namespace {

// As many as make the sheet about as many pictures high as wide.
size_t columnsFor(size_t uPictures) {
    size_t uColumns = 1;
    while (uColumns * uColumns < uPictures) ++uColumns;
    return uColumns;
}

}  // namespace

void Sheet::measure(size_t uPictures, uint64_t& uWidth, uint64_t& uHeight) {
    const size_t uAcross = columnsFor(uPictures);
    uWidth *= uAcross;
    uHeight *= (uPictures + uAcross - 1) / uAcross;
}

bool Sheet::create(size_t uPictures, uint32_t uWidth, uint32_t uHeight, unsigned uChannels) {
    uint64_t uAll[2] = {uWidth, uHeight};
    measure(uPictures, uAll[0], uAll[1]);
    uColumns = columnsFor(uPictures);
    uWhole = static_cast<uint32_t>(uAll[0]);
    uRows = static_cast<uint32_t>(uAll[1]);
    uBytes = uChannels;
    try {
        vPixels.assign(size_t{uWhole} * uRows * uChannels, 255);
    } catch (const std::bad_alloc&) {
        return true;
    }
    return false;
}

void Sheet::put(size_t uPicture, const PixelView& picture) {
    const size_t uRow = picture.uWidth * size_t{uBytes};
    uint8_t* p =
        vPixels.data() +
        (uPicture / uColumns * picture.uHeight * uWhole + uPicture % uColumns * picture.uWidth) * size_t{uBytes};
    for (uint32_t y = 0; y < picture.uHeight; ++y) memcpy(p + size_t{y} * uWhole * uBytes, picture.row(y), uRow);
}

}  // namespace rt
