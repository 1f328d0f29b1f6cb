#pragma once
// Reads 3MF files with all their parts: assimp 5.2 knows the first part's meshes alone.

#include <string>
#include <vector>

#include "import/scan/ModelText.h"
#include "import/scan/ObjScanner.h"

namespace rt {

/// Fills the mesh with all that the file wants built, its digest with the materials in use, and sMaterials with a
/// library of these that the digest names as sLibrary. Each colour of triangles is a material, also of those with a
/// texture. False, with an empty mesh, when the file is no such file or has no triangle.
bool readThreeMf(const std::string& sFile, const std::string& sLibrary, ObjMesh& mesh, ModelText& text,
                 std::string& sMaterials, std::vector<std::string>& vNotices);

}  // namespace rt
