// Makes the arrays of layers.
#include "binding/LayerArrays.h"

#include <algorithm>
#include <limits>
#include <variant>

namespace python {

namespace {

using raytracer::Layers;

// A layer, where it goes, and how many numbers a pixel has.
struct Kind {
    const char* szName;
    std::variant<float * Layers::*, uint32_t * Layers::*> pTarget;
    unsigned uComponents;
};

constexpr Kind KINDS[] = {
    {"depth", &Layers::pDepth, 1},       {"distance", &Layers::pDistance, 1}, {"normal", &Layers::pNormal, 3},
    {"position", &Layers::pPosition, 3}, {"albedo", &Layers::pAlbedo, 3},     {"mesh", &Layers::pMesh, 1},
    {"material", &Layers::pMaterial, 1}, {"face", &Layers::pFace, 1},         {"mask", &Layers::pMask, 1}};

std::string allNames() {
    std::string sAll;
    for (const Kind& kind : KINDS) sAll += (sAll.empty() ? "" : ", ") + std::string(kind.szName);
    return sAll;
}

}  // namespace

LayerArrays::LayerArrays(LayerOrder& order)
    : pTargets(&order.layers), uPixels(size_t{order.view.window.uColumns} * order.view.window.uRows) {
    for (const std::string& sName : order.vNames) {
        const Kind* pKind =
            std::find_if(std::begin(KINDS), std::end(KINDS), [&](const Kind& kind) { return sName == kind.szName; });
        if (pKind == std::end(KINDS)) throw py::value_error("layers: \"" + sName + "\" is none of " + allNames());
        if (const auto* ppFloats = std::get_if<float * Layers::*>(&pKind->pTarget)) {
            order.layers.** ppFloats = add<float>(sName, order, pKind->uComponents);
        } else {
            order.layers.*std::get<uint32_t * Layers::*>(pKind->pTarget) =
                add<uint32_t>(sName, order, pKind->uComponents);
        }
    }
}

template <typename Number>
Number* LayerArrays::add(const std::string& sName, const LayerOrder& order, unsigned uComponents) {
    std::vector<py::ssize_t> vShape{order.view.window.uRows, order.view.window.uColumns};
    if (uComponents > 1) vShape.push_back(uComponents);
    py::array_t<Number> array(vShape);
    arrays[sName.c_str()] = array;
    return array.mutable_data();
}

void LayerArrays::clear() {
    const Layers& to = *pTargets;
    for (float* p : {to.pDepth, to.pDistance})
        if (p) std::fill_n(p, uPixels, std::numeric_limits<float>::infinity());
    for (float* p : {to.pNormal, to.pPosition, to.pAlbedo})
        if (p) std::fill_n(p, 3 * uPixels, 0.0f);
    if (to.pMask) std::fill_n(to.pMask, uPixels, 0.0f);
    for (uint32_t* p : {to.pMesh, to.pMaterial, to.pFace})
        if (p) std::fill_n(p, uPixels, raytracer::NO_TRIANGLE);
}

}  // namespace python
