#pragma once
// Reads 3MF files with all their parts: assimp 5.2 knows the first part's meshes alone.

#include <map>
#include <string>
#include <vector>

#include "import/scan/ModelText.h"
#include "import/scan/ObjScanner.h"

namespace rt {

/// What the triangles of a file look like.
struct ThreeMfLooks {
    bool bKept = false;                           // textures and colours of corners are wanted, not their means
    std::string sMaterials;                       // a library
    std::map<std::string, std::string> pictures;  // bytes of files, by the names that the library has for them
};

/// Fills the mesh with all that the file wants built, its digest with the materials in use, and the looks with a
/// library of these that the digest names as sLibrary. Each colour of triangles is a material; where looks are kept, so
/// is each texture, and all corners of different colours have one. True, with an empty mesh, when the file is no such
/// file or has no triangle.
[[nodiscard]] bool readThreeMf(const std::string& sFile, const std::string& sLibrary, ObjMesh& mesh, ModelText& text,
                               ThreeMfLooks& looks, std::vector<std::string>& vNotices);

}  // namespace rt
