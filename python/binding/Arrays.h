#pragma once

#include <pybind11/numpy.h>

#include <cstdint>
#include <initializer_list>
#include <vector>

/// Arrays of Python that become rows of numbers, and the errors that tell which shape was wanted.
namespace python {

namespace py = pybind11;

constexpr int ALIGNED = 0x0100;  // numpy's flag, for which the binding has no name

/// Rows of float32, one after the other. An array that is so already is read in place, any other is copied.
using Floats = py::array_t<float, py::array::c_style | py::array::forcecast | ALIGNED>;
using Doubles = py::array_t<double, py::array::c_style | ALIGNED>;
using Integers = py::array_t<int64_t, py::array::c_style | py::array::forcecast | ALIGNED>;

/// Rows of numbers with the interpreter's array behind them. Arrays of float32 in C order are read in place, those of
/// float64 piece by piece, others are copied.
class Rows {
 public:
    /// Numbers whose last dimension is iWidth. Throws ValueError for anything else.
    Rows(py::handle values, const char* szName, py::ssize_t iWidth);

    size_t count() const { return uCount; }

    /// uMany rows from uFirst on, perhaps in vScratch. Any thread may call it, without the interpreter's lock.
    const float* read(size_t uFirst, size_t uMany, std::vector<float>& vScratch) const;

    /// The shape without the last dimension, and what stands in its place.
    std::vector<py::ssize_t> shape(std::initializer_list<py::ssize_t> tail = {}) const;

 private:
    py::array array;  // keeps the numbers
    size_t uWidth, uCount;
    const float* pFloats = nullptr;  // one of the two
    const double* pDoubles = nullptr;
};

/// A mesh: vertices (n, 3) and triangles (m, 3). Throws ValueError for other shapes, for numbers that are no integers
/// and for vertices that are not finite, IndexError for a triangle with a vertex that is not there.
struct MeshArrays {
    Floats vertices;
    Integers triangles;
};
MeshArrays meshOf(py::handle vertices, py::handle triangles);

}  // namespace python
