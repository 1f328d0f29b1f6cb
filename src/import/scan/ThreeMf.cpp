// Reads 3MF files: parts, components, colours.

#include "import/scan/ThreeMf.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "base/NRaiiFile.h"
#include "base/Printable.h"
#include "import/scan/ThreeMfPart.h"
#include "import/scan/Xml.h"
#include "import/scan/Zip.h"
#include "picture/PictureFile.h"

namespace rt {

namespace {

constexpr unsigned DEEPEST = 32;                    // components in components
constexpr size_t MOST_PLACES = size_t{1} << 17;     // objects and components: a few lines can ask for any number
constexpr size_t MOST_PLACED = size_t{1} << 27;     // triangles
constexpr size_t MOST_PART_RUNS = size_t{1} << 20;  // beyond these, parts of one material run together
constexpr size_t MANY_PAINTS = 512;                 // from here on colours are rounded
constexpr unsigned SHRINK = 4;                      // of pictures: triangles are larger than pixels
const char* const USUAL_PART = "3D/3dmodel.model";

// The one after the other.
PartMatrix chain(const PartMatrix& first, const PartMatrix& second) {
    PartMatrix result{};
    for (size_t uRow = 0; uRow < 4; ++uRow) {
        for (size_t u = 0; u < 3; ++u) {
            double d = uRow == 3 ? second[9 + u] : 0.0;
            for (size_t i = 0; i < 3; ++i) d += first[3 * uRow + i] * second[3 * i + u];
            result[3 * uRow + u] = d;
        }
    }
    return result;
}

bool isMirror(const PartMatrix& m) {
    return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
               m[2] * (m[3] * m[7] - m[4] * m[6]) <
           0;
}

class ThreeMf {
 public:
    ThreeMf(const Zip& z, ObjMesh& m, ThreeMfLooks& l, std::vector<std::string>& v)
        : zip(z), mesh(m), looks(l), vNotices(v) {}

    // All that is built; where nothing is, all that there is.
    void build(const std::string& sPath) {
        ThreeMfPart& root = partOf(sPath);
        for (const PartInstance& item : root.vItems) place(sPath, item, "", 0);
        if (!vTriangles.empty()) return;
        for (const auto& [uObject, object] : root.objects) {
            if (!object.vTriangles.empty()) place(sPath, {uObject, ""}, "", 0);
        }
    }

    // Whether something was left out.
    bool isLimited() const { return bLimited || bCircle; }

    // Sorts the triangles by their materials, and writes these down.
    void finish(const std::string& sLibrary) {
        std::stable_sort(vTriangles.begin(), vTriangles.end(),
                         [](const Placed& a, const Placed& b) { return a.uMaterial < b.uMaterial; });
        if (!vMaterials.empty()) mesh.sDigest = "mtllib " + sLibrary + "\n";
        for (const Placed& t : vTriangles) {
            const bool bMaterial = mesh.vRuns.empty() || t.uMaterial != uLast;
            uLast = t.uMaterial;
            if (bMaterial && uLast != NO_PAINT) mesh.sDigest += "usemtl " + vMaterials[uLast].sName + "\n";
            if (bMaterial || (t.uPart != mesh.vRuns.back().uPart && mesh.vRuns.size() < MOST_PART_RUNS)) {
                mesh.startRun();
                mesh.vRuns.back().uPart = t.uPart;
            }
            mesh.vVertices.insert(mesh.vVertices.end(), t.uVertices, t.uVertices + 3);
            addLook(t);
        }
        char szLine[100];
        for (const Paint& paint : vMaterials) {
            const auto& c = paint.vColour;
            snprintf(szLine, sizeof(szLine), "\nKd %.9f %.9f %.9f\nd %.9f\n", c[0] / 255, c[1] / 255, c[2] / 255,
                     c[3] / 255);
            looks.sMaterials += "newmtl " + paint.sName + szLine;
            const auto picture = pictureOf.find(paint.sName);
            if (picture != pictureOf.end()) looks.sMaterials += "map_Kd " + picture->second + "\n";
        }
    }

    uint64_t uDeclared = 0;

 private:
    struct Placed {
        uint32_t uVertices[3], uMaterial, uPart;
        uint32_t uPlaces = NO_PAINT, uColours = NO_PAINT;  // the first of three, when the corners have some
    };

    void addLook(const Placed& t) {
        for (uint32_t u = 0; u < 3 && !mesh.vPlaces.empty(); ++u)
            mesh.vCornerPlaces.push_back(t.uPlaces == NO_PAINT ? ObjMesh::NO_PLACE : t.uPlaces + u);
        for (uint32_t u = 0; u < 3 && !vColours.empty(); ++u) {
            const uint32_t uColour = t.uColours == NO_PAINT ? UINT32_MAX : vColours[t.uColours + u];
            mesh.vCornerColours.push_back(uColour);
            if (t.uColours == NO_PAINT) continue;
            ObjMesh::Run& run = mesh.vRuns.back();
            for (unsigned i = 0; i < 3; ++i) run.vColours[i] += (uColour >> 8 * i & 255) / 255.0;
            ++run.uColoured;
        }
    }

    ThreeMfPart& partOf(const std::string& sPath) {
        const auto [found, bNew] = parts.try_emplace(sPath);
        std::string sXml;
        if (bNew && !zip.unpack(sPath, sXml)) found->second.read(sXml);
        return found->second;
    }

    void place(const std::string& sPart, const PartInstance& instance, const std::string& sAbove, unsigned uDepth) {
        const std::string sPath = instance.sPath.empty() ? sPart : instance.sPath.substr(instance.sPath[0] == '/');
        ThreeMfPart& part = partOf(sPath);
        const auto found = part.objects.find(instance.uObject);
        if (found == part.objects.end()) return;
        PartObject& object = found->second;
        if (object.bOpen) bCircle = true;
        if (object.bOpen) return;
        bLimited = bLimited || ++uPlaces > MOST_PLACES || uDepth > DEEPEST ||
                   std::max(object.vTriangles.size() + vTriangles.size(),
                            object.vVertices.size() + mesh.vPositions.size()) > MOST_PLACED;
        if (bLimited) return;
        const bool bNamed = !object.sName.empty();
        const ScenePart named =
            ScenePart::below(sAbove, bNamed ? object.sName : "object " + std::to_string(instance.uObject));
        if (!object.vTriangles.empty()) mesh.vParts.push_back(named);
        addTriangles(part, object, instance.matrix);
        object.bOpen = true;
        for (const PartInstance& component : object.vComponents) {
            PartInstance placed = component;
            placed.matrix = chain(component.matrix, instance.matrix);
            place(sPath, placed, named.sPath, uDepth + 1);
        }
        object.bOpen = false;
    }

    void addTriangles(ThreeMfPart& part, const PartObject& object, const PartMatrix& m) {
        const uint32_t uFirst = static_cast<uint32_t>(mesh.vPositions.size());
        for (const auto& v : object.vVertices) {
            const auto at = [&](size_t u) {
                return static_cast<float>(v[0] * m[u] + v[1] * m[3 + u] + v[2] * m[6 + u] + m[9 + u]);
            };
            mesh.vPositions.push_back({at(0), at(1), at(2)});
        }
        uDeclared += object.vTriangles.size();
        const bool bTurned = isMirror(m);
        for (const PartTriangle& t : object.vTriangles) {
            if (std::max({t.uVertices[0], t.uVertices[1], t.uVertices[2]}) >= object.vVertices.size()) continue;
            const size_t uOrder[] = {0, bTurned ? size_t{2} : 1, bTurned ? size_t{1} : 2};
            Placed placed{{}, NO_PAINT, static_cast<uint32_t>(mesh.vParts.size() - 1)};
            for (size_t u = 0; u < 3; ++u) placed.uVertices[u] = uFirst + t.uVertices[uOrder[u]];
            paint(part, object, t, uOrder, placed);
            vTriangles.push_back(placed);
        }
    }

    // Gives a triangle the look of its corners' paints, or the mean of them.
    void paint(ThreeMfPart& part, const PartObject& object, const PartTriangle& t, const size_t (&uOrder)[3],
               Placed& placed) {
        const bool bOwn = t.uPaints[0] != NO_PAINT;
        const uint32_t uGroup = t.uGroup != NO_PAINT ? t.uGroup : object.uGroup;
        const auto found = part.groups.find(uGroup);
        if (found == part.groups.end()) return;
        PaintGroup& group = found->second;
        if (!group.sTexture.empty() && !looks.bKept) takeTexture(group);
        const Paint* corners[3];
        for (size_t u = 0; u < 3; ++u) {
            const uint32_t uOwn = t.uPaints[uOrder[u]];
            const uint32_t uPaint = !bOwn ? object.uPaint : uOwn != NO_PAINT ? uOwn : t.uPaints[0];
            if (uPaint >= group.vPaints.size()) return;
            corners[u] = &group.vPaints[uPaint];
        }
        if (!group.sTexture.empty()) return putPlaces(group.sTexture, corners, placed);
        const auto isSolid = [&](const Paint* p) { return p->vColour[3] >= 255.0; };
        const bool bMixed = corners[0]->vColour != corners[1]->vColour || corners[0]->vColour != corners[2]->vColour;
        if (looks.bKept && bMixed && std::all_of(corners, corners + 3, isSolid)) return putColours(corners, placed);
        Paint mean;
        mean.vColour = {};
        for (const Paint* p : corners) {
            for (unsigned i = 0; i < 4; ++i) mean.vColour[i] += p->vColour[i] / 3;
            mean.sName = p == corners[0] || mean.sName == p->sName ? p->sName : "";
        }
        placed.uMaterial = addPaint(mean);
    }

    void putPlaces(const std::string& sTexture, const Paint* const (&corners)[3], Placed& placed) {
        const std::string sName = sTexture.substr(sTexture[0] == '/'), sShown = Velk::Printable(sName.c_str()).text();
        const auto [found, bNew] = textures.try_emplace(sName, NO_PAINT);
        if (bNew) {
            found->second = addMaterial({{204, 204, 204, 255}, "texture"});
            pictureOf[vMaterials.back().sName] = sShown;
            if (zip.unpack(sName, looks.pictures[sShown])) looks.pictures[sShown].clear();
        }
        placed.uMaterial = found->second;
        placed.uPlaces = static_cast<uint32_t>(mesh.vPlaces.size());
        for (const Paint* p : corners)
            mesh.vPlaces.push_back({static_cast<float>(p->vColour[0]), static_cast<float>(p->vColour[1])});
    }

    void putColours(const Paint* const (&corners)[3], Placed& placed) {
        if (uMixed == NO_PAINT) uMixed = addMaterial({{255, 255, 255, 255}, "colours"});
        placed.uMaterial = uMixed;
        placed.uColours = static_cast<uint32_t>(vColours.size());
        for (const Paint* p : corners) {
            uint32_t uColour = 255u << 24;
            for (unsigned i = 0; i < 3; ++i)
                uColour |= static_cast<uint32_t>(std::lround(std::clamp(p->vColour[i], 0.0, 255.0))) << 8 * i;
            vColours.push_back(uColour);
        }
    }

    // The colours at the places, in place of the texture.
    void takeTexture(PaintGroup& group) {
        std::string sBytes;
        DecodedPicture picture;
        const std::string sName = group.sTexture.substr(group.sTexture[0] == '/');
        const bool bFailed = zip.unpack(sName, sBytes) || decodePicture(reinterpret_cast<const uint8_t*>(sBytes.data()),
                                                                        sBytes.size(), SHRINK, picture);
        vNotices.push_back("texture " + sName +
                           (bFailed ? " cannot be read: light grey is taken" : " gives each triangle one colour"));
        const auto pixel = [](double d, uint32_t uSize) {
            const double dPlace = (d - std::floor(d)) * uSize;  // it repeats
            return dPlace >= 0 && dPlace < uSize ? static_cast<size_t>(dPlace) : 0;
        };
        for (Paint& paint : group.vPaints) {
            const size_t uColumn = pixel(paint.vColour[0], picture.uWidth),
                         uRow = pixel(-paint.vColour[1], picture.uHeight);
            const uint8_t* p = bFailed ? nullptr : &picture.vPixels[4 * (uRow * picture.uWidth + uColumn)];
            for (unsigned u = 0; u < 3; ++u) paint.vColour[u] = p ? p[u] : 204;
        }
        group.sTexture.clear();
    }

    uint32_t addPaint(Paint& paint) {
        std::array<unsigned, 4> vRounded{};
        for (unsigned u = 0; u < 4; ++u) {
            const double d = std::clamp(paint.vColour[u], 0.0, 255.0);
            vRounded[u] =
                static_cast<unsigned>(vMaterials.size() < MANY_PAINTS ? std::lround(d) : 17 * std::lround(d / 17));
            paint.vColour[u] = vRounded[u];
        }
        if (vMaterials.size() >= MANY_PAINTS) paint.sName.clear();
        const auto [found, bNew] =
            materials.try_emplace({paint.sName, vRounded}, static_cast<uint32_t>(vMaterials.size()));
        if (!bNew) return found->second;
        char szColour[40];
        snprintf(szColour, sizeof(szColour), "colour_%02X%02X%02X", vRounded[0], vRounded[1], vRounded[2]);
        std::string sWord = paint.sName.empty() ? szColour : Velk::Printable(paint.sName.c_str()).text();
        std::replace(sWord.begin(), sWord.end(), ' ', '_');
        paint.sName = sWord;
        return addMaterial(paint);
    }

    // Under a name of its own.
    uint32_t addMaterial(Paint paint) {
        const uint32_t uMaterial = static_cast<uint32_t>(vMaterials.size());
        const auto isSame = [&](const Paint& other) { return other.sName == paint.sName; };
        if (std::any_of(vMaterials.begin(), vMaterials.end(), isSame)) paint.sName += "_" + std::to_string(uMaterial);
        vMaterials.push_back(std::move(paint));
        return uMaterial;
    }

    const Zip& zip;
    ObjMesh& mesh;
    ThreeMfLooks& looks;
    std::vector<std::string>& vNotices;
    std::map<std::string, ThreeMfPart> parts;
    std::map<std::string, uint32_t> textures;      // their materials
    std::map<std::string, std::string> pictureOf;  // materials
    std::vector<uint32_t> vColours;                // of corners
    uint32_t uMixed = NO_PAINT;                    // the material of triangles that have such
    std::map<std::pair<std::string, std::array<unsigned, 4>>, uint32_t> materials;
    std::vector<Paint> vMaterials;
    std::vector<Placed> vTriangles;
    size_t uPlaces = 0;
    bool bLimited = false, bCircle = false;
    uint32_t uLast = NO_PAINT;
};

// The part that the package begins with.
std::string rootOf(const Zip& zip) {
    std::string sXml;
    if (zip.unpack("_rels/.rels", sXml)) return USUAL_PART;
    for (Xml xml(sXml); xml.next();) {
        const std::string sTarget = xml.text("Target");
        if (xml.name() == "Relationship" && xml.text("Type").find("/3dmodel") != std::string::npos && !sTarget.empty())
            return sTarget.substr(sTarget[0] == '/');
    }
    return USUAL_PART;
}

}  // namespace

bool readThreeMf(const std::string& sFile, const std::string& sLibrary, ObjMesh& mesh, ModelText& text,
                 ThreeMfLooks& looks, std::vector<std::string>& vNotices) {
    const Velk::NRaiiFile file(text.open(sFile));
    std::string sBytes;
    if (file.get()) readRest(file.get(), sBytes);
    Zip zip;
    if (zip.open(sBytes)) return text.sHint = "it is no 3MF file, which is a ZIP archive", true;
    ThreeMf reader(zip, mesh, looks, vNotices);
    reader.build(rootOf(zip));
    reader.finish(sLibrary);
    if (reader.isLimited()) vNotices.push_back("it has more components than are taken");
    text.uFaces = reader.uDeclared;
    if (mesh.triangles()) return false;
    mesh = ObjMesh();
    return true;
}

}  // namespace rt
