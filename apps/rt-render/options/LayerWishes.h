#pragma once

#include <string>

namespace rt {

/// What is to be told of each pixel beside its colour.
struct LayerWishes {
    enum Kind : unsigned { DEPTH, NORMAL, POSITION, ALBEDO, MESH, MATERIAL, FACE, MASK, KINDS };

    unsigned uKinds = 0;   // a bit each; 0: nothing
    bool bNpy = false;     // a file of NumPy's each, in place of one OpenEXR file
    bool bPicture = true;  // the picture is wanted, too

    bool has(Kind eKind) const { return uKinds >> eKind & 1; }
};

/// Reads names of layers with commas between them. True when one of them is none, or none is there.
[[nodiscard]] bool readLayers(const std::string& sText, LayerWishes& layers);

/// The names that there are: "depth, normal".
std::string layerNames();

}  // namespace rt
