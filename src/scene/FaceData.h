#pragma once

#include <cstddef>
#include <cstdint>

#include "base/Vectors.h"

namespace rt {

/// The next axis after a is g_modulo[a + 1], the one before it g_modulo[a + 2], cyclically.
constexpr uint8_t g_modulo[5] = {0, 1, 2, 0, 1};

/// "No index" in the acceleration structures and the settings.
constexpr uint32_t NO_INDEX = 0xFFFFFFFFu;

struct SceneVertex {
    Velk::NMVector3f v3Position;
    Velk::NMVector3f v3Normal;  // zero until the faces are preprocessed, and when no sound face uses the vertex
};
static_assert(sizeof(SceneVertex) == 24, "two vectors");

/// One triangle. The loader fills the first four fields, Scene::precalculateFaces() the rest. With A, B, C the
/// vertices, k the projection axis, ku and kv the next two, e1 = A - C, e2 = B - C and D = e1[ku] e2[kv] - e2[ku]
/// e1[kv]. An unsound face (no area, or a value that is not finite) has a zero normal and an fNd that is NaN, so every
/// ray test rejects it.
struct alignas(8) FaceData {
    const SceneVertex* pA;  // into the scene's vertices
    const SceneVertex* pB;
    const SceneVertex* pC;
    uint32_t uAttribute;        // material, NO_INDEX when the file gave none
    Velk::NMVector3f v3Normal;  // unit, along (B - C) x (A - C)
    uint8_t uAxis;              // k: axis of the largest normal component
    float fLambdaV;             // -e2[ku] / D
    float fLambdaU;             // e2[kv] / D
    float fMuV;                 // e1[ku] / D
    float fMuU;                 // -e1[kv] / D
    float fNu;                  // n[ku] / n[k]
    float fNv;                  // n[kv] / n[k]
    float fNd;                  // n . C / n[k]
    Velk::NMVector3f v3Min;     // bounds
    Velk::NMVector3f v3Max;
    Velk::NMVector3f v3TexU;  // texture axes: U = n x V, V a coordinate axis
    Velk::NMVector3f v3TexV;
    float fTexUSize;  // extent of the bounds along the texture axes
    float fTexVSize;

    bool isSound() const { return fNd == fNd; }
};
static_assert(sizeof(FaceData) == (sizeof(void*) == 4 ? 120 : 128), "the face record");
static_assert(offsetof(FaceData, uAttribute) == 3 * sizeof(void*), "three pointers come first");

/// Where a ray hits a face. fU and fV are the weights of A and B (of B and C for the edge test).
struct RayTestOutput {
    Velk::NMVector3f v3Hit;
    float fT;  // in multiples of the direction's length
    bool bFrontFace;
    float fU;
    float fV;
};
static_assert(sizeof(RayTestOutput) == 28, "copied whole");

}  // namespace rt
