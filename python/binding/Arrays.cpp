// Converts arrays of Python, and refuses those that are of another shape.
#include "binding/Arrays.h"

#include <cmath>
#include <cstring>
#include <string>

namespace python {

namespace {

std::string textOf(const py::array& array) {
    return py::str(array.attr("shape")).cast<std::string>();
}

// Any array of numbers of the kinds that are wanted; an empty one may be of any kind, since [] has one that nobody
// chose.
py::array numbersOf(py::handle values, const char* szName, const char* szKinds, const char* szWanted) {
    // Not py::array::ensure(), which forgets what numpy and objects with an __array__ say.
    const py::array array = py::module_::import("numpy").attr("asarray")(values);
    if (array.size() && !std::strchr(szKinds, array.dtype().kind())) {
        throw py::value_error(std::string(szName) + ": " + szWanted + " wanted, got " +
                              py::str(array.dtype()).cast<std::string>());
    }
    return array;
}

template <typename Array>
Array convert(const py::array& array, const char* szName) {
    Array converted = Array::ensure(array);
    if (!converted) throw py::value_error(std::string(szName) + ": cannot be converted");
    return converted;
}

void wantTable(const py::array& array, const char* szName, const char* szShape) {
    if (array.ndim() == 2 && array.shape(1) == 3) return;
    throw py::value_error(std::string(szName) + ": shape " + szShape + " wanted, got " + textOf(array));
}

}  // namespace

Floats floatsOf(py::handle values, const char* szName, py::ssize_t iWidth) {
    const py::array array = numbersOf(values, szName, "fiub", "numbers");
    if (array.ndim() < 1 || array.shape(array.ndim() - 1) != iWidth) {
        throw py::value_error(std::string(szName) + ": shape (..., " + std::to_string(iWidth) + ") wanted, got " +
                              textOf(array));
    }
    return convert<Floats>(array, szName);
}

MeshArrays meshOf(py::handle vertices, py::handle triangles) {
    const py::array points = numbersOf(vertices, "vertices", "fiub", "numbers");
    const py::array corners = numbersOf(triangles, "triangles", "iu", "integers");
    wantTable(points, "vertices", "(n, 3)");
    wantTable(corners, "triangles", "(m, 3)");
    MeshArrays mesh{convert<Floats>(points, "vertices"), convert<Integers>(corners, "triangles")};
    for (py::ssize_t i = 0; i < mesh.vertices.size(); ++i) {
        if (std::isfinite(mesh.vertices.data()[i])) continue;
        throw py::value_error("vertices: vertex " + std::to_string(i / 3) + " is not finite");
    }
    const int64_t iVertices = mesh.vertices.shape(0);
    for (py::ssize_t i = 0; i < mesh.triangles.size(); ++i) {
        const int64_t iVertex = mesh.triangles.data()[i];
        if (iVertex >= 0 && iVertex < iVertices) continue;
        throw py::index_error("triangle " + std::to_string(i / 3) + " has vertex " + std::to_string(iVertex) +
                              ", there are " + std::to_string(iVertices));
    }
    return mesh;
}

size_t rowsOf(const Floats& values) {
    const py::ssize_t iWidth = values.shape(values.ndim() - 1);
    return static_cast<size_t>(values.size() / iWidth);
}

std::vector<py::ssize_t> shapeOf(const Floats& values, std::initializer_list<py::ssize_t> tail) {
    std::vector<py::ssize_t> vShape(values.shape(), values.shape() + values.ndim() - 1);
    vShape.insert(vShape.end(), tail);
    return vShape;
}

}  // namespace python
