// The module raytracer._raytracer, which raytracer/__init__.py shows to the world.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

#include "binding/Arrays.h"
#include "binding/Blocks.h"
#include "binding/HitArrays.h"
#include "binding/LayerArrays.h"
#include "binding/PackedScene.h"
#include "binding/PictureOrder.h"
#include "binding/Queries.h"
#include "binding/RaycastingScene.h"
#include "raytracer/Version.h"

namespace python {

namespace {

raytracer::Rays raysOf(const std::string& sRays) {
    if (sRays != "watertight" && sRays != "tree")
        throw py::value_error("rays: 'watertight' or 'tree' wanted, got '" + sRays + "'");
    return sRays == "tree" ? raytracer::Rays::TREE : raytracer::Rays::WATERTIGHT;
}

// device: for code that names one; there is the processor alone.
std::unique_ptr<RaycastingScene> makeScene(int iThreads, const std::string& sRays, const py::object& device) {
    const std::string sDevice = device.is_none() ? "CPU" : py::str(device).cast<std::string>();
    if (sDevice.rfind("CPU", 0) != 0 && sDevice.rfind("cpu", 0) != 0)
        throw py::value_error("device: the processor, 'CPU:0', is the only one, got '" + sDevice + "'");
    return std::make_unique<RaycastingScene>(raysOf(sRays), threadsOf(iThreads));
}

uint32_t addNamed(RaycastingScene& scene, py::handle vertices, py::handle triangles, const std::string& sName) {
    const MeshArrays mesh = meshOf(vertices, triangles);
    const auto uVertices = static_cast<size_t>(mesh.vertices.shape(0));
    const auto uTriangles = static_cast<size_t>(mesh.triangles.shape(0));
    const float* pVertices = mesh.vertices.data();
    const int64_t* pTriangles = mesh.triangles.data();
    const py::gil_scoped_release unlock;
    return scene.add(pVertices, uVertices, pTriangles, uTriangles, sName);
}

uint32_t addTriangles(RaycastingScene& scene, py::handle vertices, py::handle triangles) {
    return addNamed(scene, vertices, triangles, "");
}

// The caller checks shapes and sizes.
py::array renderPicture(RaycastingScene& scene, const raytracer::View& view, const Look& look, const Floats& lights,
                        const Floats& colors, bool bSmooth, int iThreads) {
    const unsigned uThreads = threadsOf(iThreads);
    const PictureOrder order{view, look, lightsOf(lights), {colors.data(), colors.data() + colors.size()}, bSmooth};
    py::array_t<uint8_t> pixels = pixelsFor(order);
    uint8_t* pPixels = pixels.mutable_data();
    runApart([&](const std::atomic<bool>& bStop) { scene.render(order, uThreads, pPixels, bStop); });
    return std::move(pixels);
}

// Light of (height, width, 3).
template <typename SomeScene>
void setSky(SomeScene& scene, const Floats& light, float fTurn) {
    if (light.ndim() != 3 || light.shape(2) != 3 || std::max(light.shape(0), light.shape(1)) > INT32_MAX)
        throw py::value_error("light: shape (height, width, 3) wanted, got " +
                              py::str(light.attr("shape")).cast<std::string>());
    const auto uHeight = static_cast<uint32_t>(light.shape(0)), uWidth = static_cast<uint32_t>(light.shape(1));
    const float* pLight = light.data();
    const py::gil_scoped_release unlock;
    scene.setSky(pLight, uWidth, uHeight, fTurn);
}

constexpr const char* ABOUT_SKY =
    "Lights studios by a picture all around in place of their own light: light (height, width, 3), not\n"
    "negative, the first row above, the middle column along z, turned to the right by turn degrees.";

py::array renderPacked(PackedScene& scene, const raytracer::View& view, const Look& look, const Floats& lights,
                       int iThreads) {
    const unsigned uThreads = threadsOf(iThreads);
    const PictureOrder order{view, look, lightsOf(lights), {}, false};
    py::array_t<uint8_t> pixels = pixelsFor(order);
    uint8_t* pPixels = pixels.mutable_data();
    runApart([&](const std::atomic<bool>& bStop) { scene.render(order, uThreads, pPixels, bStop); });
    return std::move(pixels);
}

// A mesh object of one of the usual kinds.
uint32_t addMesh(RaycastingScene& scene, py::handle mesh) {
    for (const char* szCorners : {"faces", "triangles"}) {
        if (!py::hasattr(mesh, "vertices") || !py::hasattr(mesh, szCorners)) continue;
        return addTriangles(scene, mesh.attr("vertices"), mesh.attr(szCorners));
    }
    throw py::type_error("mesh: an object with vertices and faces, or two arrays, wanted");
}

// dMiddle: where in a pixel its ray goes through.
LayerOrder layerOrderOf(const raytracer::View& view, const std::vector<std::string>& vNames, double dMiddle,
                        bool bTextures, uint32_t uUnseen) {
    LayerOrder order{view, {}, vNames};
    order.layers.fInPixel = 0.5f - static_cast<float>(0.5 - dMiddle);  // as rt-render has it
    order.layers.bTextures = bTextures;
    order.layers.uUnseen = uUnseen;
    return order;
}

py::dict packedLayers(const PackedScene& scene, const raytracer::View& view, const std::vector<std::string>& vNames,
                      double dMiddle, bool bTextures, uint32_t uUnseen, int iThreads) {
    const unsigned uThreads = threadsOf(iThreads);
    LayerOrder order = layerOrderOf(view, vNames, dMiddle, bTextures, uUnseen);
    const LayerArrays arrays(order);
    runApart([&](const std::atomic<bool>& bStop) { scene.findLayers(order, uThreads, bStop); });
    return arrays.named();
}

py::dict meshLayers(RaycastingScene& scene, const raytracer::View& view, const std::vector<std::string>& vNames,
                    double dMiddle, uint32_t uUnseen, const Floats& colors, bool bSmooth, int iThreads) {
    const unsigned uThreads = threadsOf(iThreads);
    const PictureOrder picture{view, {}, {}, {colors.data(), colors.data() + colors.size()}, bSmooth};
    LayerOrder order = layerOrderOf(view, vNames, dMiddle, false, uUnseen);
    LayerArrays arrays(order);
    runApart([&](const std::atomic<bool>& bStop) {
        if (!scene.findLayers(picture, order, uThreads, bStop)) arrays.clear();
    });
    return arrays.named();
}

// Names of files may be anything.
py::object textOf(const std::string& sName) {
    return py::bytes(sName).attr("decode")("utf-8", "replace");
}

py::list partsOf(const PackedScene& scene) {
    py::list all;
    for (const raytracer::Part& part : scene.parts()) {
        py::dict one;
        one["name"] = textOf(part.sName);
        one["path"] = textOf(part.sPath);
        one["triangles"] = part.uTriangles;
        all.append(one);
    }
    return all;
}

py::bytes bytesOf(const std::vector<uint8_t>& vBytes) {
    return {reinterpret_cast<const char*>(vBytes.data()), vBytes.size()};
}

py::bytes packMeshes(RaycastingScene& scene, const Floats& colors, bool bSmooth) {
    std::vector<uint8_t> vBytes;
    {
        const std::vector<float> vColors(colors.data(), colors.data() + colors.size());
        const py::gil_scoped_release unlock;
        vBytes = scene.pack(vColors, bSmooth);
    }
    return bytesOf(vBytes);
}

py::bytes packFiles(const std::string& sDescription) {
    std::vector<uint8_t> vBytes;
    raytracer::Scene scene;
    lastReport();
    if (scene.load(sDescription.c_str()) || scene.pack(vBytes)) throw std::invalid_argument(lastReport());
    return bytesOf(vBytes);
}

// Vertices (n, 3), triangles (m, 3), the part of each triangle (m), and the paths of the parts.
py::tuple readPacked(const py::buffer& data) {
    const py::buffer_info bytes = data.request();
    raytracer::Scene scene;
    lastReport();
    if (scene.loadPacked(bytes.ptr, static_cast<size_t>(bytes.size * bytes.itemsize)))
        throw std::invalid_argument(lastReport());
    py::array_t<float> vertices({scene.vertexCount(), 3u});
    py::array_t<uint32_t> triangles({scene.triangleCount(), 3u}), parts(scene.triangleCount());
    scene.copyMesh(vertices.mutable_data(), triangles.mutable_data(), parts.mutable_data());
    py::list names;
    for (const raytracer::Part& part : scene.parts()) names.append(textOf(part.sPath));
    return py::make_tuple(vertices, triangles, parts, names);
}

std::unique_ptr<PackedScene> loadPacked(const py::buffer& data, const std::string& sRays, int iThreads) {
    const raytracer::Rays eRays = raysOf(sRays);
    const unsigned uThreads = threadsOf(iThreads);
    const py::buffer_info bytes = data.request();
    if (!PyBuffer_IsContiguous(bytes.view(), 'C')) throw py::value_error("data: bytes in one piece wanted");
    const auto uBytes = static_cast<size_t>(bytes.size * bytes.itemsize);
    std::unique_ptr<PackedScene> pScene;
    runApart([&](const std::atomic<bool>& bStop) {
        pScene = std::make_unique<PackedScene>(bytes.ptr, uBytes, eRays, uThreads, bStop);
    });
    return pScene;
}

// The eye and the corners (4, 3), width and height.
py::tuple numbersOf(const raytracer::View& view) {
    py::array_t<float> points({4, 3});
    std::memcpy(points.mutable_data(), view.eye, sizeof(view.eye));
    std::memcpy(points.mutable_data() + 3, view.corners, sizeof(view.corners));
    return py::make_tuple(points, view.uWidth, view.uHeight);
}

// Of bytes, which are read for it alone.
py::tuple viewInBytes(const py::bytes& data) {
    const auto bytes = static_cast<std::string_view>(data);
    raytracer::Scene scene;
    lastReport();
    if (scene.loadPacked(bytes.data(), bytes.size())) throw std::invalid_argument(lastReport());
    return numbersOf(raytracer::viewOf(scene));
}

}  // namespace

}  // namespace python

PYBIND11_MODULE(_raytracer, module) {
    using namespace python;
    using namespace pybind11::literals;
    module.doc() = "What raytracer is made of; import that.";
    module.attr("VERSION") = std::to_string(raytracer::VERSION_MAJOR) + "." + std::to_string(raytracer::VERSION_MINOR) +
                             "." + std::to_string(raytracer::VERSION_PATCH);
    addPictureTypes(module);
    module.def("read_packed", readPacked);
    module.def("pack_scene", packFiles, "description"_a,
               "The scene of a description, NAME.txt, as bytes for load_packed(). Paths in it are relative to the\n"
               "working directory.");
    module.def("packed_view", viewInBytes);
    py::class_<PackedScene>(module, "PackedScene", "A scene that came as bytes, for pictures alone.")
        .def("_render", renderPacked)
        .def("set_sky", setSky<PackedScene>, "light"_a, "turn"_a = 0.0f, ABOUT_SKY)
        .def("_layers", packedLayers)
        .def_property_readonly(
            "parts", partsOf,
            "The parts of the model's file, a dict each: name, path, which has the names on the way\n"
            "to it, and triangles, how many.")
        .def_property_readonly("_view", [](const PackedScene& scene) { return numbersOf(scene.view()); })
        .def_readwrite("light", &PackedScene::sLight, "The kind of light that render() takes by default.")
        .def_property_readonly("ground", &PackedScene::ground,
                               "The material of the ground that the importer put under a model, or 2 ** 32 - 1.")
        .def_property_readonly("triangle_count", &PackedScene::triangleCount, "How many triangles there are.");
    module.def("load_packed", loadPacked, "data"_a, "rays"_a = "watertight", "nthreads"_a = 0,
               "The scene of bytes that rt-import --pack or pack() made, ready for pictures. ValueError when they are\n"
               "none, or another version's. rays: as for RaycastingScene; nthreads: for building.");
    py::class_<RaycastingScene> scene(
        module, "RaycastingScene",
        "Meshes of triangles that rays and points ask about.\n\n"
        "rays: \"watertight\", or \"tree\" for what the RayTracer program answers, which knows the nearest hit and\n"
        "occlusion only. nthreads: 0 is all cores; here for building. No answer depends on it.");
    scene.attr("INVALID_ID") = INVALID_ID;
    constexpr float ENDLESS = std::numeric_limits<float>::infinity();
    scene.def(py::init(&makeScene), "nthreads"_a = 0, "rays"_a = "watertight", "device"_a = py::none())
        .def("add_triangles", addTriangles, "vertices"_a, "triangles"_a,
             "Adds a mesh: vertices (n, 3), triangles (m, 3). Returns its geometry id; the first is 0.")
        .def("add_triangles", addTriangles, "vertex_positions"_a, "triangle_indices"_a)
        .def("add_triangles", addMesh, "mesh"_a,
             "The same for an object with vertices and faces, or vertices and triangles.")
        .def("_render", renderPicture)
        .def("set_sky", setSky<RaycastingScene>, "light"_a, "turn"_a = 0.0f, ABOUT_SKY)
        .def("_layers", meshLayers)
        .def("_add_named", addNamed)
        .def("_pack", packMeshes)
        .def_property_readonly("geometry_count", &RaycastingScene::geometryCount, "How many meshes there are.")
        .def_property_readonly("geometry_names", &RaycastingScene::geometryNames,
                               "The names of the meshes by their ids: paths of a file's parts, \"\" for arrays.")
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
