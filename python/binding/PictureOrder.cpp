// What Python says of a picture becomes the library's records.
#include "binding/PictureOrder.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

#include "binding/Arrays.h"
#include "raytracer/Messages.h"

namespace python {

namespace {

thread_local std::string g_sReport;

using Three = std::array<float, 3>;

// Points: the eye, then the corners. The caller checks shapes and sizes.
raytracer::View viewOf(const Floats& points, uint32_t uWidth, uint32_t uHeight, bool bParallel, bool bInner,
                       uint32_t uSamples, const std::optional<std::array<uint32_t, 4>>& window) {
    if (points.size() != 12) throw py::value_error("points: shape (4, 3) wanted");
    raytracer::View view{};
    std::memcpy(view.eye, points.data(), sizeof(view.eye));
    std::memcpy(view.corners, points.data() + 3, sizeof(view.corners));
    view.uWidth = uWidth;
    view.uHeight = uHeight;
    view.bParallel = bParallel;
    view.bInner = bInner;
    view.uSamples = uSamples;
    const std::array<uint32_t, 4> whole{0, 0, uWidth, uHeight}, part = window.value_or(whole);
    if (!part[2] || !part[3] || part[0] >= uWidth || part[1] >= uHeight || part[2] > uWidth - part[0] ||
        part[3] > uHeight - part[1]) {
        throw py::value_error("window: x, y, width and height inside of " + std::to_string(uWidth) + " x " +
                              std::to_string(uHeight) + " pixels wanted");
    }
    view.window = {part[0], part[1], part[2], part[3]};
    return view;
}

Look studioLook(const Three& top, const Three& bottom, bool bTransparent, bool bSmoothEdges, uint32_t uGround,
                bool bSkyBehind) {
    Look look;
    look.bStudio = true;
    std::copy(top.begin(), top.end(), look.studio.top);
    std::copy(bottom.begin(), bottom.end(), look.studio.bottom);
    look.studio.bTransparent = bTransparent;
    look.studio.bSmoothEdges = bSmoothEdges;
    look.studio.uGround = uGround;
    look.studio.bSkyBehind = bSkyBehind;
    return look;
}

Look lampLook(uint32_t uMaterial, float fWidth, float fHeight, float fMortar, float fAngle, bool bDirt) {
    Look look;
    look.bricks = {uMaterial, fWidth, fHeight, fMortar, fAngle, bDirt};
    return look;
}

}  // namespace

bool PictureOrder::render(const raytracer::Scene& scene, unsigned uThreads, uint8_t* pPixels,
                          const std::atomic<bool>& bStop) const {
    return look.bStudio ? raytracer::renderStudio(scene, view, look.studio, uThreads, pPixels, stride(), &bStop)
                        : raytracer::render(scene, view, look.bricks, uThreads, pPixels, stride(), &bStop);
}

void addPictureTypes(py::module_& module) {
    using namespace pybind11::literals;
    raytracer::setErrorSink([](bool bError, const char* szReport) {
        if (bError) g_sReport = szReport;
    });
    constexpr uint32_t NONE = raytracer::NO_MATERIAL;
    const raytracer::Studio studio;
    const raytracer::Bricks bricks;
    const Three top{studio.top[0], studio.top[1], studio.top[2]},
        bottom{studio.bottom[0], studio.bottom[1], studio.bottom[2]};
    py::class_<raytracer::View>(module, "View", "What a picture shows, and which part of it is rendered.")
        .def(py::init(&viewOf), "points"_a, "width"_a, "height"_a, "parallel"_a = false, "inner"_a = false,
             "samples"_a = 1, "window"_a = py::none());
    py::class_<Look>(module, "Look", "The light of a picture.")
        .def_static("studio", &studioLook, "top"_a = top, "bottom"_a = bottom, "transparent"_a = false,
                    "smooth_edges"_a = true, "ground"_a = NONE, "sky_behind"_a = false)
        .def_static("lamps", &lampLook, "material"_a = NONE, "width"_a = bricks.fWidth, "height"_a = bricks.fHeight,
                    "mortar"_a = bricks.fMortar, "angle"_a = bricks.fAngle, "dirt"_a = false);
}

std::string lastReport() {
    return std::exchange(g_sReport, std::string());
}

std::vector<raytracer::Light> lightsOf(const Floats& rows) {
    std::vector<raytracer::Light> vLights;
    for (const float* p = rows.data(); p != rows.data() + rows.size(); p += 4)
        vLights.push_back({{p[0], p[1], p[2]}, p[3]});
    return vLights;
}

py::array_t<uint8_t> pixelsFor(const PictureOrder& order) {
    return py::array_t<uint8_t>({order.rows(), order.columns(), order.look.channels()});
}

}  // namespace python
