// Reads a model file through assimp into the scene's world.

#include "import/reader/ModelReader.h"

#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <assimp/ProgressHandler.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"
#include "import/reader/AssimpTypes.h"
#include "import/reader/CameraReader.h"
#include "import/reader/FileSystem.h"
#include "import/reader/MaterialReader.h"
#include "import/reader/ModelFiles.h"
#include "import/reader/VertexJoiner.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr double LEAST_EXTENT = 1.0, MOST_EXTENT = 1e5;  // of a scene: the renderer gives every box a margin of 0.1
constexpr double FAR_AWAY = 4.0;                         // extents from the origin where floats get too coarse
constexpr double STANDS = 1e-4, FLOATS = 0.05;           // distance of a model from the floor, as a share of its extent

// Files are right-handed: each of these maps mirrors one axis besides turning the file's up to y.
Map3d worldOf(char cUp) {
    if (cUp == 'x') return {{0, 1, 0}, {-1, 0, 0}, {0, 0, -1}, {}};
    if (cUp == 'z') return {{1, 0, 0}, {0, 0, 1}, {0, 1, 0}, {}};
    return {{1, 0, 0}, {0, 1, 0}, {0, 0, -1}, {}};
}

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

using Visit = std::function<void(const aiMesh&, unsigned uMesh, const Map3d&)>;

void visitMeshes(const aiScene& scene, const aiNode& node, const Map3d& map, const Visit& visit) {
    const Map3d here = map.after(toMap(node.mTransformation));
    for (unsigned u = 0; u < node.mNumMeshes; ++u) {
        if (node.mMeshes[u] < scene.mNumMeshes) visit(*scene.mMeshes[node.mMeshes[u]], node.mMeshes[u], here);
    }
    for (unsigned u = 0; u < node.mNumChildren; ++u) visitMeshes(scene, *node.mChildren[u], here, visit);
}

bool isTriangle(const aiMesh& mesh, const aiFace& face) {
    return face.mNumIndices == 3 &&
           std::max({face.mIndices[0], face.mIndices[1], face.mIndices[2]}) < mesh.mNumVertices;
}

// Bounds and number of the triangles that the nodes place.
struct Measure {
    Box3d box;
    size_t uTriangles = 0;
    bool bFinite = true;
};

Measure measure(const aiScene& scene, const Map3d& world) {
    Measure result;
    visitMeshes(scene, *scene.mRootNode, world, [&](const aiMesh& mesh, unsigned, const Map3d& map) {
        for (unsigned u = 0; u < mesh.mNumFaces; ++u) {
            const aiFace& face = mesh.mFaces[u];
            if (!isTriangle(mesh, face)) continue;
            ++result.uTriangles;
            for (unsigned i = 0; i < 3; ++i) {
                const Vector3d p = map.point(toDouble(mesh.mVertices[face.mIndices[i]]));
                result.bFinite = result.bFinite && isFinite(p);
                result.box.add(p);
            }
        }
    });
    return result;
}

// STL and PLY do not say which way is up. Printers' files have z up and scans mostly y; a model that stands on the
// floor of the one axis and not on that of the other tells.
char upOf(const aiScene& scene, const std::string& sSuffix) {
    int32_t iAxis = 1;
    if (scene.mMetaData && scene.mMetaData->Get("UpAxis", iAxis)) return iAxis == 0 ? 'x' : iAxis == 2 ? 'z' : 'y';
    if (sSuffix == "3mf" || sSuffix == "amf" || sSuffix == "dxf") return 'z';
    if (sSuffix != "stl" && sSuffix != "ply") return 'y';
    const Box3d box = measure(scene, Map3d{}).box;
    const char cUsual = sSuffix == "stl" ? 'z' : 'y';
    const double dUsual = fabs(cUsual == 'z' ? box.v3Min.z : box.v3Min.y) / box.extent();
    const double dOther = fabs(cUsual == 'z' ? box.v3Min.y : box.v3Min.z) / box.extent();
    return dOther < STANDS && dUsual > FLOATS ? (cUsual == 'z' ? 'y' : 'z') : cUsual;
}

// Brings a box of an odd size or place to one that single precision and the renderer's units like.
struct Placement {
    double dScale = 1.0;
    Vector3d v3Offset;

    explicit Placement(const Box3d& box) {
        const double dExtent = box.extent();
        if (dExtent < LEAST_EXTENT || dExtent > MOST_EXTENT) dScale = pow(10.0, 1.0 - floor(log10(dExtent)));
        const Vector3d c = box.centre();
        if (length(c) > FAR_AWAY * dExtent) v3Offset = {c.x, box.v3Min.y, c.z};
    }
    Map3d map() const { return {{dScale, 0, 0}, {0, dScale, 0}, {0, 0, dScale}, v3Offset * -dScale}; }
    void report(std::vector<std::string>& vNotices) const {
        char szText[200];
        if (dScale != 1.0) {
            snprintf(szText, sizeof(szText), "scaled by %g: the scene's numbers are not the model's", dScale);
            vNotices.push_back(szText);
        }
        if (length(v3Offset) > 0) {
            snprintf(szText, sizeof(szText),
                     "moved to the origin from %.9g %.9g %.9g, where single precision is coarse", v3Offset.x,
                     v3Offset.y, v3Offset.z);
            vNotices.push_back(szText);
        }
    }
};

// Materials of the model: one for each of the file, and copies with the mean of their vertex colours.
class MaterialTable {
 public:
    MaterialTable(const aiScene& s, bool bGltf, ModelFiles& f, Model& m, std::vector<std::string>& v)
        : scene(s),
          files(f),
          model(m),
          vNotices(v),
          bLinear(bGltf),
          vIndices(s.mNumMeshes, 0xFFFFFFFFu),
          vFileIndices(s.mNumMaterials, 0xFFFFFFFFu) {}

    uint32_t indexOf(const aiMesh& mesh, unsigned uMesh) {
        uint32_t& uIndex = vIndices[uMesh];
        if (uIndex != 0xFFFFFFFFu) return uIndex;
        if (!mesh.mColors[0] || mesh.mNumVertices == 0) return uIndex = fileIndex(mesh.mMaterialIndex);
        model.vMaterials.push_back(materialOf(mesh.mMaterialIndex));
        ModelMaterial& material = model.vMaterials.back();
        double d[3] = {0, 0, 0};
        for (unsigned u = 0; u < mesh.mNumVertices; ++u) {
            const aiColor4D& c = mesh.mColors[0][u];
            d[0] += static_cast<double>(c.r), d[1] += static_cast<double>(c.g), d[2] += static_cast<double>(c.b);
        }
        for (double& dSum : d) dSum /= mesh.mNumVertices;
        const auto vMean = screenColour(d[0], d[1], d[2], bLinear);
        for (unsigned u = 0; u < 3; ++u) {
            material.vColour[u] = bLinear ? material.vColour[u] * vMean[u] / 255 : vMean[u];
        }
        vNotices.push_back("material " + shownName(material.sName) + " has a colour a vertex: their mean is taken");
        return uIndex = static_cast<uint32_t>(model.vMaterials.size() - 1);
    }

 private:
    ModelMaterial materialOf(unsigned uMaterial) {
        if (uMaterial >= scene.mNumMaterials) return ModelMaterial();
        return readMaterial(*scene.mMaterials[uMaterial], scene, files, bLinear, vNotices);
    }
    uint32_t fileIndex(unsigned uMaterial) {
        uint32_t uUnknown = 0xFFFFFFFFu;
        uint32_t& uIndex = uMaterial < vFileIndices.size() ? vFileIndices[uMaterial] : uUnknown;
        if (uIndex == 0xFFFFFFFFu) {
            uIndex = static_cast<uint32_t>(model.vMaterials.size());
            model.vMaterials.push_back(materialOf(uMaterial));
        }
        return uIndex;
    }

    const aiScene& scene;
    ModelFiles& files;
    Model& model;
    std::vector<std::string>& vNotices;
    bool bLinear;
    std::vector<uint32_t> vIndices;      // by mesh
    std::vector<uint32_t> vFileIndices;  // by material of the file
};

// Adds one placed mesh's triangles.
void addMesh(const aiMesh& mesh, const Map3d& map, uint32_t uMaterial, bool bNormals, VertexJoiner& joiner) {
    // The world is mirrored, so a map that mirrors no more has been through a mirroring node: its faces are turned
    // over.
    const bool bTurned = map.determinant() > 0;
    const double dSign = bTurned ? -1.0 : 1.0;
    const Map3d normals{
        cross(map.v3Y, map.v3Z) * dSign, cross(map.v3Z, map.v3X) * dSign, cross(map.v3X, map.v3Y) * dSign, {}};
    const auto single = [](const Vector3d& v) {
        return NMVector3f{static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
    };
    bNormals = bNormals && mesh.mNormals;
    for (unsigned uFace = 0; uFace < mesh.mNumFaces; ++uFace) {
        const aiFace& face = mesh.mFaces[uFace];
        if (!isTriangle(mesh, face)) continue;
        NMVector3f p[3], n[3];
        for (unsigned u = 0; u < 3; ++u) {
            const unsigned uVertex = face.mIndices[bTurned ? 2 - u : u];
            p[u] = single(map.point(toDouble(mesh.mVertices[uVertex])));
            if (!bNormals) continue;
            const Vector3d v3Normal = normals.direction(toDouble(mesh.mNormals[uVertex]));
            n[u] = single(v3Normal * (1.0 / std::max(length(v3Normal), 1e-300)));
        }
        (void)joiner.add(p, bNormals ? n : nullptr, uMaterial);
    }
}

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

// Whether the file can be opened and holds what its kind must; the reason otherwise.
bool checkFile(const std::string& sFile, std::string& sReason) {
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    char c = 0;
    if (!file.get() || (fread(&c, 1, 1, file.get()) != 1 && ferror(file.get())))
        return sReason = errno ? strerror(errno) : "it is no regular file", true;
    if (feof(file.get())) return sReason = "the file is empty", true;
    if (modelSuffixOf(sFile) == "ply" && promisesTooMuch(file.get()))
        return sReason = "its counts are larger than the file", true;
    if (modelSuffixOf(sFile) == "dae" && isCut(file.get())) return sReason = "its end is missing", true;
    return false;
}

bool convert(const aiScene& scene, const std::string& sFile, char cUp, ModelFiles& files, Model& model,
             std::string& sMessage, std::vector<std::string>& vNotices) {
    const std::string sSuffix = modelSuffixOf(sFile);
    const Map3d turned = worldOf(cUp ? cUp : upOf(scene, sSuffix));
    const Measure found = measure(scene, turned);
    if (found.uTriangles == 0) return sMessage = sFile + " has no triangles", true;
    if (!found.bFinite) return sMessage = sFile + " has numbers that are not finite", true;
    if (found.uTriangles > 0x40000000) return sMessage = sFile + " has too many triangles", true;
    if (!(found.box.extent() > 0)) return sMessage = sFile + " has no triangle with an area", true;

    const Placement placement(found.box);
    placement.report(vNotices);
    const Map3d world = placement.map().after(turned);
    MaterialTable materials(scene, isGltf(sSuffix), files, model, vNotices);
    VertexJoiner joiner;
    joiner.reserve(found.uTriangles);
    visitMeshes(scene, *scene.mRootNode, world, [&](const aiMesh& mesh, unsigned uMesh, const Map3d& map) {
        addMesh(mesh, map, materials.indexOf(mesh, uMesh), sSuffix != "stl", joiner);
    });
    if (joiner.triangles() == 0) return sMessage = sFile + " has no triangle with an area", true;
    readCamera(scene, sFile, world, model);
    readLights(scene, world, placement.dScale, model);
    joiner.finish(model);
    for (const NMVector3f& p : model.vVertices) {
        model.box.add({static_cast<double>(p.x), static_cast<double>(p.y), static_cast<double>(p.z)});
    }
    return false;
}

}  // namespace

std::string readerReason(const std::string& sFile, const std::string& sSaid) {
    const auto says = [&](const char* szPart) { return sSaid.find(szPart) != std::string::npos; };
    if (says("bad_alloc")) return "it takes more memory than there is";
    if (says("max_size") || says("::_M_") || says("array_new_length")) return "its counts are larger than any memory";
    if (says("No suitable reader")) return "no reader knows what is in it";
    if (says("agic") || says("eader mismatch") || says("ignature"))
        return "it does not begin as a ." + modelSuffixOf(sFile) + " file does";
    return sSaid.find_first_not_of(" \t\r\n") == std::string::npos ? "its reader gives no reason"
                                                                   : sSaid.substr(0, sSaid.find_first_of("\r\n"));
}

bool readModel(const std::string& sFile, const ImportOptions& options, Model& model, std::string& sMessage,
               std::vector<std::string>& vNotices) {
    std::string sReason;
    if (checkFile(sFile, sReason)) return sMessage = "cannot read " + sFile + ": " + sReason, true;
    ModelFiles files(sFile, options.bAllowOutside);
    Assimp::Importer importer;
    importer.SetIOHandler(new FileSystem(files));  // the importer deletes both
    importer.SetProgressHandler(new TerminalProgress(options.bProgress));
    if (options.cUp) importer.SetPropertyBool(AI_CONFIG_IMPORT_COLLADA_IGNORE_UP_DIRECTION, true);
    const aiScene* pScene = importer.ReadFile(sFile, aiProcess_Triangulate);
    if (!pScene || !pScene->mRootNode) {
        sReason = files.refused().empty() ? readerReason(sFile, importer.GetErrorString()) : files.refused();
        return sMessage = "cannot read " + sFile + ": " + sReason, true;
    }
    if (!files.refused().empty()) vNotices.push_back(files.refused());
    return convert(*pScene, sFile, options.cUp, files, model, sMessage, vNotices);
}

}  // namespace rt
