// What reads model files without assimp. The first byte of the input chooses the kind of file.

#include "FuzzSupport.h"
#include "import/scan/Gltf.h"
#include "import/scan/ModelText.h"
#include "import/scan/ObjScanner.h"
#include "import/scan/ThreeMf.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    if (uBytes < 2) return 0;
    const char* const szFile = "model";
    writeFile(szFile, {reinterpret_cast<const char*>(pBytes + 1), uBytes - 1});
    ModelText text;
    ObjMesh mesh;
    std::string sReason;
    ThreeMfLooks looks;
    std::vector<std::string> vNotices;
    if (decodeText(szFile, text, sReason)) return 0;
    bool bFailed = false;
    if (pBytes[0] == 'o') {
        FILE* pFile = text.open(szFile);
        bFailed = scanObj(pFile, mesh, sReason) != ObjScan::DONE;
        fclose(pFile);
    } else if (pBytes[0] == '3') {
        looks.bKept = uBytes % 2;
        bFailed = readThreeMf(szFile, "library", mesh, text, looks, vNotices);
    } else if (pBytes[0] == 'd') {
        countCollada(szFile, text);
    } else if (pBytes[0] == 'p') {
        bFailed = rewritePly(szFile, text, sReason);
    } else {
        bFailed = rewriteGltf(
            szFile, [](const std::string&, std::string&) { return true; }, text, sReason);
    }
    for (const ObjMesh::Run& run : mesh.vRuns)
        require(bFailed || mesh.vParts.empty() || run.uPart < mesh.vParts.size(), "parts that are there");
    if (!bFailed && mesh.vPolygonVertices.size() > 2) mesh.replacePolygons({{{2, 1, 0}}, {{0, 1, 2}}});
    for (size_t u = 0; !bFailed && u < mesh.vVertices.size(); ++u) {
        require(mesh.vVertices[u] < mesh.vPositions.size(), "vertices that are there");
        if (mesh.vCornerNormals.empty() || mesh.vCornerNormals[u] == ObjMesh::NO_NORMAL) continue;
        require(mesh.vCornerNormals[u] < mesh.vNormals.size(), "normals that are there");
    }
    return 0;
}
