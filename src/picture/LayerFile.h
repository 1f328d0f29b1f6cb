#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace rt {

/// Numbers of all pixels of a picture, row after row, uComponents of each pixel side by side: 32-bit floats, or 32-bit
/// unsigned integers when bIntegers.
struct Layer {
    std::string sName;                   // what a file of its own is called after
    std::vector<std::string> vChannels;  // names of the components in a file with others
    bool bIntegers = false;
    std::vector<float> vFloats;
    std::vector<uint32_t> vIntegers;

    unsigned components() const { return static_cast<unsigned>(vChannels.size()); }
};

/// Writes layers of one size as an OpenEXR file, whole or not at all, a channel for each component. True on failure,
/// which is reported; always where this build lacks the library.
[[nodiscard]] bool writeExr(const std::string& sFile, uint32_t uWidth, uint32_t uHeight,
                            const std::vector<Layer>& vLayers);

/// Whether this build writes OpenEXR files.
bool hasExr();

/// Writes a layer as a file of NumPy's format, whole or not at all: an array of height x width, or height x width x
/// components. True on failure, which is reported.
[[nodiscard]] bool writeNpy(const std::string& sFile, uint32_t uWidth, uint32_t uHeight, const Layer& layer);

/// Reports that a file cannot be written. Always true. iReason: errno, or 0.
bool reportUnwritten(const std::string& sFile, int iReason);

}  // namespace rt
