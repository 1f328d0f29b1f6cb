#pragma once

#include <pybind11/numpy.h>

#include <string>
#include <vector>

#include "raytracer/Layers.h"

/// Arrays of what pixels show.
namespace python {

namespace py = pybind11;

/// How layers are found: which ones, where in a pixel, and without which material.
struct LayerOrder {
    raytracer::View view;
    raytracer::Layers layers;
    std::vector<std::string> vNames;
};

/// The arrays of layers by their names, made for an order.
class LayerArrays {
 public:
    /// Points the order at arrays of its window's size. Throws ValueError for a name that is none.
    explicit LayerArrays(LayerOrder& order);

    /// As where nothing is seen.
    void clear();

    py::dict named() const { return arrays; }

 private:
    template <typename Number>
    Number* add(const std::string& sName, const LayerOrder& order, unsigned uComponents);

    py::dict arrays;
    const raytracer::Layers* pTargets;
    size_t uPixels;
};

}  // namespace python
