// Takes what a file's reader gives into the scene's world.

#include "import/reader/SceneConverter.h"

#include <assimp/scene.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>

#include "import/model/AssimpTypes.h"
#include "import/model/MeshWalk.h"
#include "import/reader/CameraReader.h"
#include "import/reader/MaterialTable.h"
#include "import/reader/UpAxis.h"
#include "import/reader/VertexJoiner.h"

namespace rt {

using Velk::NMVector2f;
using Velk::NMVector3f;

namespace {

constexpr double LEAST_EXTENT = 1.0, MOST_EXTENT = 1e5;  // of a scene: the renderer gives every box a margin of 0.1
constexpr double FAR_AWAY = 4.0;                         // extents from the origin where floats get too coarse

// Files are right-handed: each of these maps mirrors one axis besides turning the file's up to y.
Map3d worldOf(char cUp) {
    if (cUp == 'x') return {{0, 1, 0}, {-1, 0, 0}, {0, 0, -1}, {}};
    if (cUp == 'z') return {{1, 0, 0}, {0, 0, 1}, {0, 1, 0}, {}};
    return {{1, 0, 0}, {0, 1, 0}, {0, 0, -1}, {}};
}

NMVector3f single(const Vector3d& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

Measure measure(const ObjMesh& obj, const Map3d& world) {
    Measure result;
    result.uTriangles = obj.triangles();
    std::vector<uint8_t> vUsed(obj.vPositions.size());
    for (const uint32_t u : obj.vVertices) vUsed[u] = 1;
    for (size_t u = 0; u < vUsed.size(); ++u) {
        if (!vUsed[u]) continue;
        const Vector3d p = world.point(toDouble(obj.vPositions[u]));
        result.bFinite = result.bFinite && isFinite(p);
        result.box.add(p);
    }
    return result;
}

// Brings a box of an odd size or place to one that single precision and the renderer's units like.
struct Placement {
    double dScale = 1.0;
    Vector3d v3Offset;

    Placement() = default;
    explicit Placement(const Box3d& box) {
        const double dExtent = box.extent();
        // Exactly a power of ten is one also where a C library's logarithm lacks a last bit.
        const double dDigits = floor(log10(dExtent) + 1e-12);
        if (dExtent < LEAST_EXTENT || dExtent > MOST_EXTENT) dScale = pow(10.0, 1.0 - dDigits);
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

// What readers call nodes that have no name in the file, or that are not there.
bool isInvented(const std::string& sName) {
    return sName.empty() || sName[0] == '<' || sName[0] == '$' || sName == "ROOT" || sName == "RootNode" ||
           sName == "defaultobject" || sName.find("_$AssimpFbx$_") != std::string::npos;
}

// Above a node, its root without the name that most readers invent for it.
std::string pathAbove(const aiNode& node, bool bRoots) {
    std::vector<std::string> vNames;
    size_t uLength = 0;
    for (const aiNode* p = node.mParent; p && (bRoots || p->mParent) && uLength < ScenePart::LONGEST; p = p->mParent) {
        const std::string sName = p->mName.C_Str();
        if (isInvented(sName)) continue;
        uLength += sName.size() + 1;
        vNames.push_back(sName);
    }
    std::string sPath;
    for (size_t u = vNames.size(); u-- > 0;) sPath += (sPath.empty() ? "" : "/") + vNames[u];
    return sPath;
}

std::string fileStem(const std::string& sFile) {
    const std::string sName = sFile.substr(sFile.rfind('/') + 1);
    return sName.substr(0, sName.rfind('.'));
}

// A node's part. What has no name is called after the file.
ScenePart partOf(const aiNode& node, const ReadFile& read) {
    const bool bGltf = isGltf(modelSuffixOf(read.sFile));
    const std::string sName = node.mName.C_Str();
    const bool bNone = isInvented(sName) || (!node.mParent && !bGltf);  // a root
    return ScenePart::below(pathAbove(node, bGltf), bNone ? fileStem(read.sFile) : sName);
}

// Where triangles go.
struct Target {
    VertexJoiner joiner;
    CornerColours corners;
    bool bMirrored = true;  // the world
    SceneParts parts;
    std::map<std::string, uint32_t> objects;  // parts of OBJ files, whose groups may be begun anew
    const aiNode* pNode = nullptr;            // the last one

    // The triangles that follow are of this node.
    void startNode(const aiNode& node, const ReadFile& read) {
        if (&node == pNode) return;
        pNode = &node;
        ScenePart part = partOf(node, read);
        const auto uNew = static_cast<uint32_t>(parts.vParts.size());
        const bool bObj = modelSuffixOf(read.sFile) == "obj";
        const uint32_t uPart = bObj ? objects.try_emplace(part.sPath, uNew).first->second : uNew;
        if (uPart == uNew) parts.vParts.push_back(std::move(part));
        parts.startRun(static_cast<uint32_t>(joiner.triangles()), uPart);
    }
};

// The corners of a mesh's vertices.
struct MeshCorners {
    std::vector<NMVector2f> vPlaces;  // empty: the material does not ask for them
    std::vector<uint32_t> vColours;

    MeshCorners(const aiMesh& mesh, const ModelMaterial& material, bool bLinear) {
        const bool bPlaced = material.rule.hasTextures() && material.map.uSet < AI_MAX_NUMBER_OF_TEXTURECOORDS;
        const aiVector3D* pPlaces = bPlaced ? mesh.mTextureCoords[material.map.uSet] : nullptr;
        const aiColor4D* pColours = material.rule.bVertices ? mesh.mColors[0] : nullptr;
        for (unsigned u = 0; pPlaces && u < mesh.mNumVertices; ++u) {
            const Vector3d p = toDouble(pPlaces[u]);
            vPlaces.push_back(material.map.place(p.x, p.y));
        }
        for (unsigned u = 0; pColours && u < mesh.mNumVertices; ++u) {
            const auto& c = pColours[u];
            const auto wide = [](ai_real f) { return static_cast<double>(f); };
            vColours.push_back(cornerColour(wide(c.r), wide(c.g), wide(c.b), wide(c.a), bLinear));
        }
    }
};

// Adds one placed mesh's triangles.
void addMesh(const aiMesh& mesh, const Map3d& map, uint32_t uMaterial, bool bNormals, const MeshCorners& corners,
             Target& target) {
    // The scene's world is mirrored, so a map that mirrors no more has been through a mirroring node: its faces are
    // turned over. In the file's own world it is the other way round.
    const bool bTurned = (map.determinant() > 0) == target.bMirrored;
    const double dSign = bTurned ? -1.0 : 1.0;
    const Map3d normals{
        cross(map.v3Y, map.v3Z) * dSign, cross(map.v3Z, map.v3X) * dSign, cross(map.v3X, map.v3Y) * dSign, {}};
    bNormals = bNormals && mesh.mNormals;
    for (unsigned uFace = 0; uFace < mesh.mNumFaces; ++uFace) {
        const aiFace& face = mesh.mFaces[uFace];
        if (!isTriangle(mesh, face)) continue;
        NMVector3f p[3], n[3];
        unsigned uVertices[3];
        for (unsigned u = 0; u < 3; ++u) {
            const unsigned uVertex = uVertices[u] = face.mIndices[bTurned ? 2 - u : u];
            p[u] = single(map.point(toDouble(mesh.mVertices[uVertex])));
            if (!bNormals) continue;
            const Vector3d v3Normal = normals.direction(toDouble(mesh.mNormals[uVertex]));
            n[u] = single(v3Normal * (1.0 / std::max(length(v3Normal), 1e-300)));
        }
        if (target.joiner.add(p, bNormals ? n : nullptr, uMaterial)) continue;
        const size_t uTriangle = target.joiner.triangles() - 1;
        const auto& [a, b, c] = uVertices;
        if (!corners.vPlaces.empty())
            target.corners.addPlaces(uTriangle, {corners.vPlaces[a], corners.vPlaces[b], corners.vPlaces[c]});
        if (!corners.vColours.empty())
            target.corners.addColours(uTriangle, {corners.vColours[a], corners.vColours[b], corners.vColours[c]});
    }
}

// The places and colours of the triangles of a run that the joiner has kept, which are its last ones.
void addObjCorners(const ObjMesh& obj, const VertexJoiner::Indexed& indexed, size_t uFirst, size_t uEnd,
                   const ModelMaterial& material, const std::vector<uint32_t>& vColours, Target& target) {
    const bool bPlaces = material.rule.hasTextures(), bColours = material.rule.bVertices != 0;
    if (!bPlaces && !bColours) return;
    size_t uDropped = 0, uTriangle = target.joiner.triangles() - (uEnd - uFirst - indexed.vDropped.size());
    for (size_t u = uFirst; u < uEnd; ++u) {
        if (uDropped < indexed.vDropped.size() && indexed.vDropped[uDropped] == u) {
            ++uDropped;
            continue;
        }
        NMVector2f places[3] = {};
        for (size_t i = 0; bPlaces && i < 3; ++i) {
            const uint32_t uPlace = obj.vCornerPlaces[3 * u + i];
            if (uPlace < obj.vPlaces.size()) {
                const NMVector2f& p = obj.vPlaces[uPlace];
                places[i] = material.map.place(static_cast<double>(p.x), static_cast<double>(p.y));
            }
        }
        uint32_t colours[3] = {};
        for (size_t i = 0; bColours && i < 3; ++i)
            colours[i] = obj.vColours.empty() ? obj.vCornerColours[3 * u + i] : vColours[obj.vVertices[3 * u + i]];
        if (bPlaces) target.corners.addPlaces(uTriangle, places);
        if (bColours) target.corners.addColours(uTriangle, colours);
        ++uTriangle;
    }
}

// A mesh of the digest: the runs that it stands for, in their order.
struct DigestMesh {
    const aiMesh* pMesh;
    unsigned uMesh;
    const aiNode* pNode;
    std::vector<size_t> vRuns;
};

// Takes the order of the runs and the cuts of the polygons from the digest. Each corner of a face is a vertex of a
// mesh, in the order of the text.
std::vector<DigestMesh> readDigest(ObjMesh& obj, const aiScene& digest) {
    std::vector<DigestMesh> vMeshes;
    std::vector<std::array<uint32_t, 3>> vCuts;
    visitMeshes(digest, *digest.mRootNode, Map3d{},
                [&](const aiMesh& mesh, unsigned uMesh, const Map3d&, const aiNode& node) {
                    vMeshes.push_back({&mesh, uMesh, &node, {}});
                    std::vector<size_t>& vRuns = vMeshes.back().vRuns;
                    size_t uStart = 0, uEnd = 0;  // vertices of the last run
                    for (unsigned u = 0; u < mesh.mNumFaces; ++u) {
                        if (!isTriangle(mesh, mesh.mFaces[u])) continue;
                        const unsigned* p = mesh.mFaces[u].mIndices;
                        while (uEnd <= p[0]) {
                            const double dRun = static_cast<double>(mesh.mVertices[uEnd].x);
                            if (!(dRun >= 0 && dRun < static_cast<double>(obj.vRuns.size()))) return;
                            const size_t uRun = static_cast<size_t>(dRun);
                            vRuns.push_back(uRun);
                            uStart = uEnd;
                            uEnd += 3 + obj.firstCornerOf(uRun + 1) - obj.firstCornerOf(uRun);
                        }
                        const size_t uFirst = uStart + 3;  // of polygons
                        if (std::min({p[0], p[1], p[2]}) < uFirst || std::max({p[0], p[1], p[2]}) >= uEnd) continue;
                        const auto corner = [&](unsigned i) {
                            return static_cast<uint32_t>(obj.firstCornerOf(vRuns.back()) + p[i] - uFirst);
                        };
                        vCuts.push_back({corner(0), corner(1), corner(2)});
                    }
                });
    if (!obj.vPolygons.empty()) obj.replacePolygons(std::move(vCuts));
    return vMeshes;
}

void addObj(const ReadFile& read, const std::vector<DigestMesh>& vMeshes, const Map3d& world, MaterialTable& materials,
            Target& target) {
    ObjMesh& obj = *read.pObj;
    target.parts.vParts = obj.vParts;
    for (ScenePart& part : target.parts.vParts) {
        if (part.sName.empty()) part = ScenePart::below("", fileStem(read.sFile));
    }
    std::vector<uint32_t> vPacked(obj.vNormals.size());
    const Map3d normals{cross(world.v3Y, world.v3Z), cross(world.v3Z, world.v3X), cross(world.v3X, world.v3Y), {}};
    for (size_t u = 0; u < vPacked.size(); ++u) {
        const Vector3d v3Normal = normals.direction(toDouble(obj.vNormals[u]));
        vPacked[u] = VertexJoiner::packNormal(single(v3Normal * (1.0 / std::max(length(v3Normal), 1e-300))));
    }
    for (NMVector3f& p : obj.vPositions) p = single(world.point(toDouble(p)));
    VertexJoiner::Indexed indexed{obj.vPositions,
                                  obj.vVertices,
                                  obj.vCornerNormals,
                                  vPacked,
                                  std::vector<uint32_t>(obj.vPositions.size(), VertexJoiner::NO_PLACE),
                                  {}};
    std::vector<uint32_t> vColours;
    for (const NMVector3f& c : obj.vColours) {
        const Vector3d v = toDouble(c);
        vColours.push_back(cornerColour(v.x, v.y, v.z, 1, false));
    }
    for (const auto& [pMesh, uMesh, pNode, vRuns] : vMeshes) {
        std::array<double, 3> vMean{};
        double dCorners = 0;
        for (const size_t uRun : vRuns) {
            dCorners += static_cast<double>(obj.vRuns[uRun].uColoured);
            for (unsigned i = 0; i < 3; ++i) vMean[i] += obj.vRuns[uRun].vColours[i];
        }
        for (double& d : vMean) d /= dCorners;
        const uint32_t uMaterial =
            materials.indexOf(*pMesh, uMesh, dCorners > 0 ? &vMean : nullptr, obj.vCornerPlaces.empty() ? 0 : 1);
        for (const size_t uRun : vRuns) {
            if (obj.vParts.empty()) {
                target.startNode(*pNode, read);
            } else {
                target.parts.startRun(static_cast<uint32_t>(target.joiner.triangles()), obj.vRuns[uRun].uPart);
            }
            target.joiner.add(indexed, obj.vRuns[uRun].uFirst, obj.endOf(uRun), uMaterial);
            addObjCorners(obj, indexed, obj.vRuns[uRun].uFirst, obj.endOf(uRun), materials.at(uMaterial), vColours,
                          target);
        }
    }
}

// Of all meshes, once each, also of those that no node places.
size_t trianglesOf(const aiScene& scene) {
    size_t uSum = 0;
    for (unsigned uMesh = 0; uMesh < scene.mNumMeshes; ++uMesh) {
        const aiMesh& mesh = *scene.mMeshes[uMesh];
        uSum += static_cast<size_t>(std::count_if(mesh.mFaces, mesh.mFaces + mesh.mNumFaces,
                                                  [&](const aiFace& f) { return isTriangle(mesh, f); }));
    }
    return uSum;
}

// STL's are of faces. Of Blender's own files the reader gives those of vertices, also where faces are flat.
bool hasNormals(const ReadFile& read, const std::string& sSuffix) {
    return sSuffix != "stl" && sSuffix != "blend" && !read.bMeanNormals;
}

// A tenth is more than what is thrown away on purpose.
void reportLosses(uint64_t uDeclared, uint64_t uRead, uint64_t uFound, uint64_t uKept,
                  std::vector<std::string>& vNotices) {
    const auto add = [&](uint64_t uHave, uint64_t uWanted, const char* szText) {
        if (uHave < uWanted - uWanted / 10)
            vNotices.push_back("only " + std::to_string(uHave) + " of " + std::to_string(uWanted) + szText);
    };
    add(uRead, uDeclared, " faces could be read");
    add(uKept, uFound, " triangles have an area");
}

}  // namespace

bool convertScene(const ReadFile& read, char cUp, ModelFiles& files, Model& model, std::string& sMessage,
                  std::vector<std::string>& vNotices) {
    const aiScene& scene = read.scene;
    const std::string& sFile = read.sFile;
    const std::string sSuffix = modelSuffixOf(sFile);
    const Map3d turned = read.bOwnAxes ? Map3d{} : worldOf(cUp ? cUp : upOf(scene, sSuffix, vNotices));
    const std::vector<DigestMesh> vMeshes = read.pObj ? readDigest(*read.pObj, scene) : std::vector<DigestMesh>();
    const Measure found = read.pObj ? measure(*read.pObj, turned) : measure(scene, turned);
    if (found.uTriangles == 0) return sMessage = sFile + " has no triangles", true;
    if (!found.bFinite) return sMessage = sFile + " has numbers that are not finite", true;
    if (found.uTriangles > 0x40000000) return sMessage = sFile + " has too many triangles", true;
    if (!(found.box.extent() > 0)) return sMessage = sFile + " has no triangle with an area", true;

    const Placement placement = read.bOwnAxes ? Placement() : Placement(found.box);
    placement.report(vNotices);
    const Map3d world = placement.map().after(turned);
    MaterialTable materials(scene, sSuffix, read.bColours, files, model, vNotices);
    Target target;
    target.bMirrored = !read.bOwnAxes;
    VertexJoiner& joiner = target.joiner;
    joiner.reserve(found.uTriangles);
    if (read.pObj)
        addObj(read, vMeshes, world, materials, target);
    else
        visitMeshes(scene, *scene.mRootNode, world,
                    [&](const aiMesh& mesh, unsigned uMesh, const Map3d& map, const aiNode& node) {
                        target.startNode(node, read);
                        std::array<double, 3> vMean{};
                        const bool bMean = MaterialTable::meanOf(mesh, vMean);
                        unsigned uSets = 0;
                        for (unsigned u = 0; u < AI_MAX_NUMBER_OF_TEXTURECOORDS; ++u)
                            uSets |= (mesh.mTextureCoords[u] ? 1u : 0u) << u;
                        const uint32_t uMaterial = materials.indexOf(mesh, uMesh, bMean ? &vMean : nullptr, uSets);
                        const MeshCorners corners(mesh, materials.at(uMaterial), isGltf(sSuffix));
                        addMesh(mesh, map, uMaterial, hasNormals(read, sSuffix), corners, target);
                    });
    if (joiner.triangles() == 0) return sMessage = sFile + " has no triangle with an area", true;
    reportLosses(read.uDeclared, std::max(found.uTriangles, read.pObj ? 0 : trianglesOf(scene)), found.uTriangles,
                 joiner.triangles(), vNotices);
    readCamera(scene, sFile, world, model);
    readLights(scene, world, placement.dScale, model);
    target.corners.finish(joiner.triangles(), model.colours);
    target.parts.finish(static_cast<uint32_t>(joiner.triangles()));
    model.parts = std::move(target.parts);
    joiner.finish(model);
    for (const NMVector3f& p : model.vVertices) {
        model.box.add({static_cast<double>(p.x), static_cast<double>(p.y), static_cast<double>(p.z)});
    }
    return false;
}

}  // namespace rt
