#pragma once
// What the readers share: assimp's vectors and matrices in double precision, and which format a file is of.

#include <assimp/matrix4x4.h>
#include <assimp/vector3.h>

#include <string>

#include "import/model/Vector3d.h"

namespace rt {

inline Vector3d toDouble(const aiVector3D& v) {
    return {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z)};
}

inline Map3d toMap(const aiMatrix4x4& m) {
    const auto column = [](ai_real a, ai_real b, ai_real c) { return Vector3d{a, b, c}; };
    return {column(m.a1, m.b1, m.c1), column(m.a2, m.b2, m.c2), column(m.a3, m.b3, m.c3), column(m.a4, m.b4, m.c4)};
}

/// What follows the last dot of a file's name, in small letters.
inline std::string modelSuffixOf(const std::string& sFile) {
    const size_t uDot = sFile.rfind('.');
    std::string sSuffix = uDot == std::string::npos ? "" : sFile.substr(uDot + 1);
    for (char& c : sSuffix) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return sSuffix;
}

inline bool isGltf(const std::string& sSuffix) {
    return sSuffix == "gltf" || sSuffix == "glb" || sSuffix == "vrm";
}

}  // namespace rt
