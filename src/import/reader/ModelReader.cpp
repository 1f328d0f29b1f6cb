// Reads a model file through assimp into the scene's world.

#include "import/reader/ModelReader.h"

#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"
#include "import/files/ModelFiles.h"
#include "import/model/AssimpTypes.h"
#include "import/reader/FileSystem.h"
#include "import/reader/SceneConverter.h"
#include "import/scan/Gltf.h"
#include "import/scan/ModelText.h"
#include "import/scan/ObjScanner.h"
#include "import/scan/ThreeMf.h"

namespace rt {

namespace {

// Files in memory, which stand beside the model.
constexpr const char* DIGEST = "digest of the model.obj";
constexpr const char* DIGEST_LIBRARY = "digest of the model.mtl";

class TerminalProgress : public Assimp::ProgressHandler {
 public:
    explicit TerminalProgress(bool bOn) : bShown(bOn) {}
    bool Update(float fShare) override {
        if (bShown && fShare >= 0) fprintf(stderr, "\rreading %3.0f %%", static_cast<double>(fShare) * 100.0);
        return true;
    }

 private:
    bool bShown;
};

// A PLY file's header promises elements of at least a byte each, and its reader makes room for all of them at once.
bool promisesTooMuch(FILE* pFile) {
    char szLine[1024];
    fseek(pFile, 0, SEEK_END);
    const double dSize = static_cast<double>(ftell(pFile));
    double dElements = 0;
    rewind(pFile);
    for (unsigned u = 0; u < 1000 && fgets(szLine, sizeof(szLine), pFile) && strncmp(szLine, "end_header", 10) != 0;
         ++u) {
        double d = 0;
        if (sscanf(szLine, "element %*s %lf", &d) == 1) dElements += d;
    }
    return !(dElements <= dSize);
}

// Assimp 5.2 never ends with a COLLADA file that is cut.
bool isCut(FILE* pFile) {
    char sTail[4096];
    if (fseek(pFile, -static_cast<long>(sizeof(sTail)), SEEK_END) != 0) rewind(pFile);
    return std::string(sTail, fread(sTail, 1, sizeof(sTail), pFile)).find("COLLADA>") == std::string::npos;
}

// A file in the form that its reader understands, and what is known of it already.
struct Prepared {
    ModelText text;
    ObjMesh mesh;  // empty, or the triangles that a digest stands for
    ThreeMfLooks looks;
};

// True with the reason when the file is broken.
bool prepare(const std::string& sFile, ModelFiles& files, Prepared& prepared, std::string& sReason,
             std::vector<std::string>& vNotices) {
    const std::string sSuffix = modelSuffixOf(sFile);
    ModelText& text = prepared.text;
    if (decodeText(sFile, text, sReason)) return true;
    const Velk::NRaiiFile file(text.open(sFile));
    if (!file.get()) return sReason = strerror(errno), true;
    if (sSuffix == "ply" && promisesTooMuch(file.get())) return sReason = "its counts are larger than the file", true;
    if (sSuffix == "dae" && isCut(file.get())) return sReason = "its end is missing", true;
    rewind(file.get());
    if (sSuffix == "obj") {
        const ObjScan eScan = scanObj(file.get(), prepared.mesh, sReason);
        if (eScan == ObjScan::OTHER) prepared.mesh = ObjMesh();
        if (eScan == ObjScan::REFUSED) return true;
    }
    if (sSuffix == "3mf") (void)readThreeMf(sFile, DIGEST_LIBRARY, prepared.mesh, text, prepared.looks, vNotices);
    if (isGltf(sSuffix)) {
        const ReadBeside readBeside = [&files](const std::string& sName, std::string& sText) {
            const std::string sBeside = files.folder() + "/" + sName;
            const Velk::NRaiiFile beside(files.refusalOf(sBeside) ? nullptr : Velk::openInput(sBeside.c_str()));
            if (beside.get()) readRest(beside.get(), sText);
            return !beside.get();
        };
        return rewriteGltf(sFile, readBeside, text, sReason);
    }
    if (sSuffix == "stl") countStl(sFile, text);
    if (sSuffix == "off") countOff(sFile, text);
    if (sSuffix == "dae") countCollada(sFile, text);
    return sSuffix == "ply" && rewritePly(sFile, text, sReason);
}

}  // namespace

std::string readerReason(const std::string& sFile, const std::string& sSaid) {
    const auto says = [&](const char* szPart) { return sSaid.find(szPart) != std::string::npos; };
    if (says("bad_alloc")) return "it takes more memory than there is";
    if (says("max_size") || says("::_M_") || says("array_new_length")) return "its counts are larger than any memory";
    if (says("No suitable reader")) return "no reader knows what is in it";
    if (says("TOK_")) return "its text is not that of a ." + modelSuffixOf(sFile) + " file";
    if (says("agic") || says("eader mismatch") || says("ignature"))
        return "it does not begin as a ." + modelSuffixOf(sFile) + " file does";
    return sSaid.find_first_not_of(" \t\r\n") == std::string::npos ? "its reader gives no reason"
                                                                   : sSaid.substr(0, sSaid.find_first_of("\r\n"));
}

bool readModel(const std::string& sFile, const ImportOptions& options, Model& model, std::string& sMessage,
               std::vector<std::string>& vNotices) {
    ModelFiles files(sFile, options.bAllowOutside);
    Prepared prepared;
    prepared.looks.bKept = options.bColours;
    std::string sReason;
    const char* szRefusal = files.refusalOf(sFile);  // allows the memory as well
    if (szRefusal) sReason = szRefusal;
    if (szRefusal || prepare(sFile, files, prepared, sReason, vNotices))
        return sMessage = "cannot read " + sFile + ": " + sReason, true;
    // Never deleted: the process ends with the model, and some readers crash when they are.
    static Assimp::Importer* const pImporter = new Assimp::Importer;
    Assimp::Importer& importer = *pImporter;
    FileSystem* pFiles = new FileSystem(files);
    importer.SetIOHandler(pFiles);  // the importer deletes both
    importer.SetProgressHandler(new TerminalProgress(options.bProgress));
    if (options.cUp || options.bOwnAxes) importer.SetPropertyBool(AI_CONFIG_IMPORT_COLLADA_IGNORE_UP_DIRECTION, true);
    importer.SetPropertyBool(AI_CONFIG_IMPORT_COLLADA_USE_COLLADA_NAMES, true);  // for parts, not ids
    const bool bDigest = !prepared.mesh.isEmpty();
    const std::string sRead = bDigest ? sFile.substr(0, sFile.rfind('/') + 1) + DIGEST : sFile;
    if (bDigest) pFiles->replace(DIGEST, prepared.mesh.sDigest);
    if (!prepared.looks.sMaterials.empty()) pFiles->replace(DIGEST_LIBRARY, prepared.looks.sMaterials);
    for (const auto& [sName, sBytes] : prepared.looks.pictures) files.putInside(sName, sBytes);
    if (prepared.text.bReplaced) pFiles->replace(sFile.substr(sFile.rfind('/') + 1), prepared.text.sText);
    const aiScene* pScene = importer.ReadFile(sRead, aiProcess_Triangulate);
    if (!pScene || !pScene->mRootNode) {
        sReason = !files.refused().empty()       ? files.refused()
                  : !prepared.text.sHint.empty() ? prepared.text.sHint
                                                 : readerReason(sFile, importer.GetErrorString());
        return sMessage = "cannot read " + sFile + ": " + sReason, true;
    }
    if (!files.refused().empty())
        vNotices.push_back(files.refused());
    else if (!files.missing().empty())
        vNotices.push_back("its materials are not there: " + files.missing());
    return convertScene({sFile, *pScene, bDigest ? &prepared.mesh : nullptr, prepared.text.uFaces, options.bColours,
                         options.bOwnAxes, prepared.text.bMeanNormals},
                        options.cUp ? options.cUp : prepared.text.cUp, files, model, sMessage, vNotices);
}

}  // namespace rt
