#pragma once
// Takes what a file's reader gives into the scene's world.

#include <string>
#include <vector>

#include "import/files/ModelFiles.h"
#include "import/model/Model.h"
#include "import/scan/ObjScanner.h"

struct aiScene;

namespace rt {

/// What was read of a file. With pObj, the scene is that of its digest: it has the materials, and says in which order
/// the runs come.
struct ReadFile {
    std::string sFile;
    const aiScene& scene;
    ObjMesh* pObj = nullptr;    // its positions are used up
    uint64_t uDeclared = 0;     // faces that the file says it has; 0 when it does not
    bool bColours = false;      // textures and colours of vertices are wanted
    bool bOwnAxes = false;      // the file's own numbers are
    bool bMeanNormals = false;  // its normals do not know flat faces
};

/// Fills the model: triangles in their places, materials, camera, lights. cUp is the file's upright axis, 0 for the
/// format's own. True on failure (no triangle with an area, numbers that are not finite), with one line in sMessage.
[[nodiscard]] bool convertScene(const ReadFile& read, char cUp, ModelFiles& files, Model& model, std::string& sMessage,
                                std::vector<std::string>& vNotices);

}  // namespace rt
