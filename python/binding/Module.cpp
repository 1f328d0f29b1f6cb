// The module raytracer._raytracer, which raytracer/__init__.py shows to the world.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

#include "binding/Arrays.h"
#include "binding/Blocks.h"
#include "binding/HitArrays.h"
#include "binding/Queries.h"
#include "binding/RaycastingScene.h"

namespace python {

namespace {

std::unique_ptr<RaycastingScene> makeScene(int iThreads, const std::string& sRays) {
    if (sRays != "watertight" && sRays != "tree")
        throw py::value_error("rays: 'watertight' or 'tree' wanted, got '" + sRays + "'");
    const raytracer::Rays eRays = sRays == "tree" ? raytracer::Rays::TREE : raytracer::Rays::WATERTIGHT;
    return std::make_unique<RaycastingScene>(eRays, threadsOf(iThreads));
}

uint32_t addTriangles(RaycastingScene& scene, py::handle vertices, py::handle triangles) {
    const MeshArrays mesh = meshOf(vertices, triangles);
    const auto uVertices = static_cast<size_t>(mesh.vertices.shape(0));
    const auto uTriangles = static_cast<size_t>(mesh.triangles.shape(0));
    const float* pVertices = mesh.vertices.data();
    const int64_t* pTriangles = mesh.triangles.data();
    const py::gil_scoped_release unlock;
    return scene.add(pVertices, uVertices, pTriangles, uTriangles);
}

// Corners: of the first pixel, of the last column, of the last row. Lights: x, y, z, flux of each. The caller checks
// shapes and sizes.
py::array renderPicture(RaycastingScene& scene, const Floats& eyeAndCorners, uint32_t uWidth, uint32_t uHeight,
                        const Floats& lights, const Floats& colors, bool bSmooth, bool bStudio, bool bTransparent,
                        int iThreads) {
    const unsigned uThreads = threadsOf(iThreads);
    PictureOrder order{{}, {}, {colors.data(), colors.data() + colors.size()}, bSmooth, bStudio, {}};
    order.studio.bTransparent = bTransparent;
    std::memcpy(order.view.eye, eyeAndCorners.data(), sizeof(order.view.eye));
    std::memcpy(order.view.corners, eyeAndCorners.data() + 3, sizeof(order.view.corners));
    order.view.uWidth = uWidth;
    order.view.uHeight = uHeight;
    for (const float* p = lights.data(); p != lights.data() + lights.size(); p += 4)
        order.vLights.push_back({{p[0], p[1], p[2]}, p[3]});
    py::array_t<uint8_t> pixels({uHeight, uWidth, order.channels()});
    uint8_t* pPixels = pixels.mutable_data();
    runApart([&](const std::atomic<bool>& bStop) { scene.render(order, uThreads, pPixels, bStop); });
    return std::move(pixels);
}

}  // namespace

}  // namespace python

PYBIND11_MODULE(_raytracer, module) {
    using namespace python;
    using namespace pybind11::literals;
    module.doc() = "What raytracer is made of; import that.";
    py::class_<RaycastingScene> scene(module, "RaycastingScene", "Meshes of triangles that rays and points ask about.");
    scene.attr("INVALID_ID") = INVALID_ID;
    constexpr float ENDLESS = std::numeric_limits<float>::infinity();
    scene.def(py::init(&makeScene), "nthreads"_a = 0, "rays"_a = "watertight")
        .def("add_triangles", addTriangles, "vertices"_a, "triangles"_a,
             "Adds a mesh: vertices (n, 3), triangles (m, 3). Returns its geometry id; the first is 0.")
        .def("add_triangles", addTriangles, "vertex_positions"_a, "triangle_indices"_a)
        .def("_render", renderPicture)
        .def_property_readonly("geometry_count", &RaycastingScene::geometryCount, "How many meshes there are.")
        .def("cast_rays", castRays, "rays"_a, "nthreads"_a = 0,
             "The nearest hit of each ray of an array (..., 6): origin and direction. Returns a dict of t_hit (...),\n"
             "in lengths of the direction and inf for a miss, geometry_ids and primitive_ids (...), INVALID_ID for a\n"
             "miss, primitive_uvs (..., 2), weights of the second and third vertex, primitive_normals (..., 3), unit.")
        .def("test_occlusions", testOcclusions, "rays"_a, "tnear"_a = 0.0f, "tfar"_a = ENDLESS, "nthreads"_a = 0,
             "Whether each ray (..., 6) meets anything from tnear up to tfar, in lengths of its direction: bool (...).")
        .def("count_intersections", countIntersections, "rays"_a, "nthreads"_a = 0,
             "How many triangles each ray (..., 6) meets: int32 (...).")
        .def("list_intersections", listIntersections, "rays"_a, "nthreads"_a = 0,
             "All h hits of n rays (..., 6), ray by ray, the nearest first. Returns a dict of ray_splits (n + 1): the\n"
             "hits of ray i are those from ray_splits[i] up to ray_splits[i + 1], ray_ids, t_hit, geometry_ids and\n"
             "primitive_ids (h), and primitive_uvs (h, 2).")
        .def("compute_closest_points", computeClosestPoints, "query_points"_a, "nthreads"_a = 0,
             "The closest point of the meshes to each point (..., 3). Returns a dict of points (..., 3), geometry_ids\n"
             "and primitive_ids (...), primitive_uvs (..., 2) and primitive_normals (..., 3).")
        .def("compute_distance", computeDistance, "query_points"_a, "nthreads"_a = 0,
             "The distance of each point (..., 3) from the meshes: float32 (...), inf when there is no triangle.")
        .def("compute_signed_distance", computeSignedDistance, "query_points"_a, "nthreads"_a = 0, "nsamples"_a = 1,
             "The same, negative inside. The meshes must be closed; where they are not, an odd number of directions,\n"
             "nsamples, votes on what is inside.")
        .def("compute_occupancy", computeOccupancy, "query_points"_a, "nthreads"_a = 0, "nsamples"_a = 1,
             "1 for points (..., 3) inside of the meshes, 0 for those outside: float32 (...). As above for nsamples.");
}
