#pragma once
// The pictures that models have as textures.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "picture/PictureFile.h"
#include "scene/SurfaceColours.h"

namespace rt {

using MeanColour = std::array<double, 3>;  // red, green, blue from 0 to 1, as a screen shows them

struct TexturePicture {
    static constexpr uint32_t LARGEST_SIDE = 4096;

    MeanColour mean{};  // transparent texels count by their share
    TextureImage image;
    bool bHoles = false;  // a texel is more transparent than not

    /// Of a PNG or JPEG file in memory. The image stays empty unless bWhole; its sides are LARGEST_SIDE at most,
    /// pictures of more pixels are averaged. True when the bytes are no such picture, or nothing of it is to be seen.
    [[nodiscard]] bool decode(const uint8_t* pBytes, size_t uBytes, bool bWhole);

    /// Of a file, as above.
    [[nodiscard]] bool read(const std::string& sFile, bool bWhole);

    /// Of pixels, as above; they are moved out.
    [[nodiscard]] bool take(DecodedPicture& picture, bool bWhole);

    /// Gives an image without alpha that of its lightness.
    void makeMask();

 private:
    bool findMean(const DecodedPicture& picture);
    void findImage(DecodedPicture& picture);
};

}  // namespace rt
