#pragma once

#include <pybind11/numpy.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "binding/Arrays.h"
#include "raytracer/Picture.h"
#include "raytracer/Scene.h"

namespace python {

/// The light of a picture and what is behind: bricks and lamps, or a studio.
struct Look {
    bool bStudio = false;
    raytracer::Studio studio;
    raytracer::Bricks bricks;

    uint32_t channels() const { return bStudio && studio.bTransparent ? 4 : 3; }
};

/// What a picture is made of: colours are three shares a mesh, or none; the other lists are what they are called.
struct PictureOrder {
    raytracer::View view;
    Look look;
    std::vector<raytracer::Light> vLights;
    std::vector<float> vColors;
    bool bSmooth;

    /// The pixels, each row after the one before.
    uint32_t columns() const { return view.window.uColumns; }
    uint32_t rows() const { return view.window.uRows; }
    size_t stride() const { return size_t{columns()} * look.channels(); }

    /// True when it failed or was stopped; what was wrong is in lastReport().
    [[nodiscard]] bool render(const raytracer::Scene& scene, unsigned uThreads, uint8_t* pPixels,
                              const std::atomic<bool>& bStop) const;
};

/// Adds the records View and Look to the module, and hears what the library reports.
void addPictureTypes(py::module_& module);

/// What the library said last on this thread; empty when it said nothing since the last call.
std::string lastReport();

/// Lamps: x, y, z, flux of each row.
std::vector<raytracer::Light> lightsOf(const Floats& rows);

/// An array for an order's pixels.
py::array_t<uint8_t> pixelsFor(const PictureOrder& order);

}  // namespace python
