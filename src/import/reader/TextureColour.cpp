// The mean colour of a picture, which stands for it where surfaces have one colour each.

#include "import/reader/TextureColour.h"

#include <cstdio>
#include <vector>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"
#include "picture/PictureFile.h"

namespace rt {

namespace {

constexpr size_t MOST_BYTES = size_t{1} << 28;  // of a file that is looked at
constexpr unsigned SHRINK = 8;                  // an eighth of the size has the same mean

}  // namespace

std::optional<MeanColour> meanColourOf(const unsigned char* pBytes, size_t uBytes) {
    DecodedPicture picture;
    if (decodePicture(pBytes, uBytes, SHRINK, picture)) return std::nullopt;
    double dRed = 0, dGreen = 0, dBlue = 0, dWeight = 0;
    for (size_t u = 0; u < picture.vPixels.size(); u += 4) {
        const uint8_t* p = &picture.vPixels[u];
        const double dAlpha = p[3] / 255.0;
        dRed += p[0] * dAlpha, dGreen += p[1] * dAlpha, dBlue += p[2] * dAlpha, dWeight += dAlpha;
    }
    if (dWeight <= 0) return std::nullopt;
    const double d = 1.0 / (255.0 * dWeight);
    return MeanColour{dRed * d, dGreen * d, dBlue * d};
}

std::optional<MeanColour> meanColourOf(const std::string& sFile) {
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    if (!file.get()) return std::nullopt;
    std::vector<unsigned char> vBytes;
    unsigned char buffer[16384];
    for (size_t u; vBytes.size() < MOST_BYTES && (u = fread(buffer, 1, sizeof(buffer), file.get())) > 0;)
        vBytes.insert(vBytes.end(), buffer, buffer + u);
    return meanColourOf(vBytes.data(), vBytes.size());
}

}  // namespace rt
