// Converts arrays of Python, and refuses those that are of another shape.
#include "binding/Arrays.h"

#include <algorithm>
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

Rows::Rows(py::handle values, const char* szName, py::ssize_t iWidth)
    : array(numbersOf(values, szName, "fiub", "numbers")), uWidth(static_cast<size_t>(iWidth)) {
    if (array.ndim() < 1 || array.shape(array.ndim() - 1) != iWidth) {
        throw py::value_error(std::string(szName) + ": shape (..., " + std::to_string(iWidth) + ") wanted, got " +
                              textOf(array));
    }
    uCount = static_cast<size_t>(array.size() / iWidth);
    if (py::isinstance<Doubles>(array) && (array.flags() & ALIGNED)) {
        pDoubles = static_cast<const double*>(array.data());
        return;
    }
    const auto floats = convert<Floats>(array, szName);
    pFloats = floats.data();
    array = floats;
}

const float* Rows::read(size_t uFirst, size_t uMany, std::vector<float>& vScratch) const {
    if (pFloats) return pFloats + uFirst * uWidth;
    vScratch.resize(uMany * uWidth);
    const double* p = pDoubles + uFirst * uWidth;
    std::transform(p, p + uMany * uWidth, vScratch.begin(), [](double d) { return static_cast<float>(d); });
    return vScratch.data();
}

std::vector<py::ssize_t> Rows::shape(std::initializer_list<py::ssize_t> tail) const {
    std::vector<py::ssize_t> vShape(array.shape(), array.shape() + array.ndim() - 1);
    vShape.insert(vShape.end(), tail);
    return vShape;
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

}  // namespace python
