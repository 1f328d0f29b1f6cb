// The layers that have names.
#include "rt-render/options/LayerWishes.h"

#include <algorithm>

#include "shared/Option.h"

namespace rt {

namespace {

constexpr const char* LAYERS[] = {"depth", "normal", "position", "albedo", "mesh", "material", "face", "mask"};
static_assert(std::size(LAYERS) == LayerWishes::KINDS);

}  // namespace

bool readLayers(const std::string& sText, LayerWishes& layers) {
    layers.uKinds = 0;
    for (const std::string& sName : partsOf(sText.c_str(), ",")) {
        const char* const* p = std::find(std::begin(LAYERS), std::end(LAYERS), sName);
        if (p == std::end(LAYERS)) return true;
        layers.uKinds |= 1u << (p - LAYERS);
    }
    return !layers.uKinds;
}

std::string layerNames() {
    std::string sAll;
    for (const char* sz : LAYERS) sAll += (sAll.empty() ? "" : ", ") + std::string(sz);
    return sAll;
}

}  // namespace rt
