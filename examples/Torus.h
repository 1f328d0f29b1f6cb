#pragma once
// A mesh that the examples make themselves.

#include <cmath>
#include <cstdint>
#include <vector>

/// A ring around the z axis, 3 units wide on each side.
struct Torus {
    std::vector<float> vPositions;     // x, y, z of each vertex
    std::vector<uint32_t> vTriangles;  // three vertices each

    explicit Torus(uint32_t uSteps = 48) {
        const float fStep = 6.2831853f / static_cast<float>(uSteps);
        for (uint32_t u = 0; u < uSteps * uSteps; ++u) {
            const float a = fStep * static_cast<float>(u / uSteps), b = fStep * static_cast<float>(u % uSteps);
            const float fRadius = 2.0f + std::cos(b);
            for (const float f : {fRadius * std::cos(a), fRadius * std::sin(a), std::sin(b)}) vPositions.push_back(f);
            const uint32_t uRow = u / uSteps * uSteps, uNextRow = (uRow + uSteps) % (uSteps * uSteps);
            const uint32_t uColumn = u % uSteps, uNextColumn = (uColumn + 1) % uSteps;
            for (const uint32_t i : {uRow + uColumn, uNextRow + uColumn, uNextRow + uNextColumn, uRow + uColumn,
                                     uNextRow + uNextColumn, uRow + uNextColumn}) {
                vTriangles.push_back(i);
            }
        }
    }

    uint32_t vertices() const { return static_cast<uint32_t>(vPositions.size() / 3); }
    uint32_t triangles() const { return static_cast<uint32_t>(vTriangles.size() / 3); }
};
