#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "picture/LayerFile.h"
#include "render/PreparedScene.h"
#include "render/layers/LayerTracer.h"
#include "rt-render/options/LayerWishes.h"

namespace rt {

/// The layers of a picture that the user wants, in memory and then in files.
class LayerFiles {
 public:
    /// Bytes that they need a pixel.
    static uint64_t bytesFor(const LayerWishes& wanted);

    /// What a file of layers is called beside the picture.
    static std::string nameOf(const LayerWishes& wanted, const std::string& sPicture, const std::string& sLayer);

    /// Makes room for those of a picture. True without memory.
    [[nodiscard]] bool create(const LayerWishes& wanted, uint32_t uPictureWidth, uint32_t uPictureHeight);

    /// Where they are filled in. Requires create().
    const LayerTargets& targets() const { return to; }

    /// Writes them beside the picture. True on failure, which is reported.
    [[nodiscard]] bool write(const std::string& sPicture) const;

 private:
    float* addFloats(const char* szName, std::vector<std::string> vChannels);
    uint32_t* addIntegers(const char* szName);

    LayerWishes wishes;
    uint32_t uWidth = 0, uHeight = 0;
    std::vector<Layer> vLayers;
    LayerTargets to;
};

/// Writes what the numbers of the layer of parts mean as JSON, beside the picture: a list in the order of the numbers.
/// sScene: the name of a part that has none. True on failure, which is reported.
[[nodiscard]] bool writeParts(const std::string& sPicture, const PreparedScene& scene, const std::string& sScene);

}  // namespace rt
