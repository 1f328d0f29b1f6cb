#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "picture/PictureFile.h"

namespace rt {

/// Pictures of one size beside and below each other in one, white where there are none.
class Sheet {
 public:
    /// Makes room. True when there is no memory.
    [[nodiscard]] bool create(size_t uPictures, uint32_t uWidth, uint32_t uHeight, unsigned uChannels);

    /// The size of the whole, for pictures of a size.
    static void measure(size_t uPictures, uint64_t& uWidth, uint64_t& uHeight);

    void put(size_t uPicture, const PixelView& picture);

    PixelView view() const { return {vPixels.data(), uWhole, uRows, uBytes}; }

 private:
    std::vector<uint8_t> vPixels;
    uint32_t uWhole = 0, uRows = 0;  // pixels
    size_t uColumns = 1;
    unsigned uBytes = 3;
};

}  // namespace rt
