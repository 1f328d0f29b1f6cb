#pragma once
// The mean colour of a picture, which stands for it where surfaces have one colour each.

#include <array>
#include <cstddef>
#include <optional>
#include <string>

namespace rt {

using MeanColour = std::array<double, 3>;  // red, green, blue from 0 to 1, as a screen shows them

/// Mean of a PNG or JPEG file's pixels, transparent ones by their share; nothing when the bytes are no such picture.
std::optional<MeanColour> meanColourOf(const unsigned char* pBytes, size_t uBytes);

/// The same for a file.
std::optional<MeanColour> meanColourOf(const std::string& sFile);

}  // namespace rt
