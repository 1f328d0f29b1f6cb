#pragma once

#include <pybind11/numpy.h>

#include "binding/RaycastingScene.h"

/// What can be asked of a scene: arrays in, arrays out. The stubs in raytracer/__init__.pyi say what they hold. All
/// throw the errors of Rows, threadsOf and runBlocks.
namespace python {

pybind11::dict castRays(RaycastingScene& scene, pybind11::handle rays, int iThreads);
pybind11::array testOcclusions(RaycastingScene& scene, pybind11::handle rays, float fNear, float fFar, int iThreads);
pybind11::array countIntersections(RaycastingScene& scene, pybind11::handle rays, int iThreads);
pybind11::dict listIntersections(RaycastingScene& scene, pybind11::handle rays, int iThreads);

pybind11::dict computeClosestPoints(RaycastingScene& scene, pybind11::handle points, int iThreads);
pybind11::array computeDistance(RaycastingScene& scene, pybind11::handle points, int iThreads);

/// iSamples directions of each point vote on whether it is inside: an odd number.
pybind11::array computeSignedDistance(RaycastingScene& scene, pybind11::handle points, int iThreads, int iSamples);
pybind11::array computeOccupancy(RaycastingScene& scene, pybind11::handle points, int iThreads, int iSamples);

}  // namespace python
