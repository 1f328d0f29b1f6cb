// Reads the OBJ files that hold nothing but polygons.

#include "import/scan/ObjScanner.h"

#include <assimp/types.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <utility>

#include "base/maths/Angles.h"

namespace rt {

using Velk::arcCosine;
using Velk::NMVector3f;

namespace {

constexpr size_t BLOCK = size_t{1} << 18;      // bytes read at once; no line is longer
constexpr size_t MOST_RUNS = size_t{1} << 22;  // a float counts them, and the digest stays small
constexpr size_t LONGEST_QUOTED = 60;          // bytes of a line in a reason
constexpr unsigned MOST_NUMBERS = 7;           // of a vertex: place and colour, with w or alpha

bool isDigit(char c) {
    return static_cast<unsigned char>(c - '0') < 10;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

// Whether a line ends here, with its comment.
bool isEnd(char c) {
    return c == '\n' || c == '\r' || c == '#';
}

const char* skipBlanks(const char* p) {
    while (isBlank(*p)) ++p;
    return p;
}

const char* endOfLine(const char* p) {
    while (*p != '\n' && *p != '\r') ++p;
    return p;
}

class ObjScanner {
 public:
    explicit ObjScanner(ObjMesh& m, std::string& s) : mesh(m), sReason(s) {}

    ObjScan scan(FILE* pFile) {
        const std::unique_ptr<char[]> block(new char[BLOCK + 2]);
        size_t uKept = 0;
        for (bool bAtEnd = false; !bAtEnd;) {
            const size_t uRead = fread(&block[uKept], 1, BLOCK - uKept, pFile);
            size_t uFilled = uKept + uRead;
            bAtEnd = uRead == 0;
            if (bAtEnd) block[uFilled++] = '\n';
            block[uFilled] = '\0';
            const size_t uWhole = wholeLines(block.get(), uFilled);
            if (uWhole == 0) return ObjScan::OTHER;
            const ObjScan eResult = scanLines(block.get(), &block[uWhole]);
            if (eResult != ObjScan::DONE) return eResult;
            uKept = uFilled - uWhole;
            memmove(block.get(), &block[uWhole], uKept);
        }
        return ferror(pFile) ? ObjScan::OTHER : finish();
    }

 private:
    struct Corner {
        uint32_t uVertex, uNormal, uPlace;
    };

    // Where the last line in the block ends.
    static size_t wholeLines(const char* p, size_t uBytes) {
        for (const char c : {'\n', '\r'}) {
            const void* pLast = memrchr(p, c, uBytes);
            if (pLast) return static_cast<size_t>(static_cast<const char*>(pLast) - p) + 1;
        }
        return 0;
    }

    ObjScan refuse(const std::string& s) {
        sReason = "line " + std::to_string(uLine) + " " + s;
        return ObjScan::REFUSED;
    }

    // Requires a line end before pEnd. Blocks that begin in a file's middle begin with a line.
    ObjScan scanLines(const char* p, const char* pEnd) {
        if (uLine == 0 && pEnd - p > 3 && memcmp(p, "\xEF\xBB\xBF", 3) == 0) p += 3;
        while (p < pEnd) {
            ++uLine;
            p = skipBlanks(p);
            const ObjScan eResult = scanLine(p);
            if (eResult != ObjScan::DONE) return eResult;
            p = skipBlanks(p);
            if (*p == '#') p = endOfLine(p);
            if (*p != '\n' && *p != '\r') return ObjScan::OTHER;
            p += p[0] == '\r' && p[1] == '\n' ? 2 : 1;
        }
        return ObjScan::DONE;
    }

    // Reads what it knows of a line, and leaves p behind that.
    ObjScan scanLine(const char*& p) {
        if (isEnd(*p)) return ObjScan::DONE;
        const bool bShort = isBlank(p[1]);
        if (*p == 'v' && bShort) return scanVertex(++p);
        if (*p == 'f' && bShort) return scanFace(++p);
        if (*p == 'v' && p[1] == 'n' && isBlank(p[2])) return scanNormal(p += 2);
        const bool bPlace = *p == 'v' && p[1] == 't' && isBlank(p[2]);
        const bool bIgnored = (*p == 's' || *p == 'l' || *p == 'p') && (bShort || isEnd(p[1]));
        const char* pLine = p;
        p = endOfLine(p);
        if (p[-1] == '\\') return ObjScan::OTHER;  // the next line belongs to it
        if (bPlace) scanPlace(pLine + 2);
        if (bPlace || bIgnored) return ObjScan::DONE;
        const bool bKnown = ((*pLine == 'g' || *pLine == 'o') && (bShort || isEnd(pLine[1]))) ||
                            ((!strncmp(pLine, "usemtl", 6) || !strncmp(pLine, "mtllib", 6)) && isBlank(pLine[6]));
        if (!bKnown || memchr(pLine, '\0', static_cast<size_t>(p - pLine))) return ObjScan::OTHER;
        mesh.sDigest.append(pLine, p).append(1, '\n');
        if (*pLine == 'g' || *pLine == 'o') takeName(pLine, p);
        bNewRun = true;
        return ObjScan::DONE;
    }

    // An object, which ends the group before it, or a group in an object.
    void takeName(const char* pLine, const char* pEnd) {
        const char* p = skipBlanks(pLine + 1);
        while (pEnd > p && isBlank(pEnd[-1])) --pEnd;
        std::string sName(p, static_cast<size_t>(std::clamp<ptrdiff_t>(pEnd - p, 0, ScenePart::LONGEST)));
        if (*pLine == 'o') {
            sObject = std::move(sName);
            sGroup.clear();
        } else {
            sGroup = std::move(sName);
        }
        bParts = true;
    }

    // The number of the part that the names are of.
    uint32_t partOfNames() {
        const auto [found, bNew] = parts.try_emplace({sObject, sGroup}, static_cast<uint32_t>(mesh.vParts.size()));
        if (bNew)
            mesh.vParts.push_back(ScenePart::below(sGroup.empty() ? "" : sObject, sGroup.empty() ? sObject : sGroup));
        return found->second;
    }

    // The numbers that a line goes on with, up to uMost; more are skipped.
    ObjScan readNumbers(const char*& p, float* pNumbers, unsigned& uCount, unsigned uMost) {
        for (uCount = 0; uCount < uMost; ++uCount) {
            p = skipBlanks(p);
            if (isEnd(*p)) break;
            if (readNumber(p, pNumbers[uCount])) return refuseNumber(p);
        }
        return ObjScan::DONE;
    }

    // The sign apart, the whole part and the rest are rounded each before they are added, as assimp does. True when
    // it is no number, or an odd one.
    static bool readNumber(const char*& pText, float& f) {
        constexpr double SHARES[] = {1.0,  1e-1, 1e-2,  1e-3,  1e-4,  1e-5,  1e-6,  1e-7,
                                     1e-8, 1e-9, 1e-10, 1e-11, 1e-12, 1e-13, 1e-14, 1e-15};
        const char* p = pText;
        const bool bMinus = *p == '-';
        if (bMinus || *p == '+') ++p;
        int64_t iWhole = 0, iPart = 0;
        const char* pWhole = p;
        for (; isDigit(*p) && p - pWhole < 18; ++p) iWhole = iWhole * 10 + (*p - '0');
        bool bDigits = p != pWhole;
        f = static_cast<float>(iWhole);
        if (*p == '.') {
            const char* pPart = ++p;
            for (; isDigit(*p) && p - pPart < 15; ++p) iPart = iPart * 10 + (*p - '0');
            if (p != pPart) f += static_cast<float>(static_cast<double>(iPart) * SHARES[p - pPart]);
            bDigits = bDigits || p != pPart;
            while (isDigit(*p)) ++p;
        }
        if (bDigits && (*p == 'e' || *p == 'E')) {
            const bool bSmall = *++p == '-';
            if (bSmall || *p == '+') ++p;
            int iExponent = 0;
            const char* pExponent = p;
            for (; isDigit(*p) && p - pExponent < 4; ++p) iExponent = iExponent * 10 + (*p - '0');
            bDigits = p != pExponent;
            f *= static_cast<float>(pow(10.0, bSmall ? -iExponent : iExponent));
        }
        if (!bDigits || !(isBlank(*p) || isEnd(*p))) return true;
        if (bMinus) f = -f;
        pText = p;
        return false;
    }

    ObjScan refuseNumber(const char* p) {
        const char* pComma = p;
        while (isDigit(*pComma) || *pComma == '-' || *pComma == '+') ++pComma;
        if (*pComma != ',' || !isDigit(pComma[1])) return ObjScan::OTHER;
        const size_t uLength = std::min(static_cast<size_t>(endOfLine(p) - p), LONGEST_QUOTED);
        return refuse("has a decimal comma: " + std::string(p, uLength));
    }

    ObjScan scanVertex(const char*& p) {
        float f[MOST_NUMBERS];
        unsigned uCount = 0;
        const ObjScan eResult = readNumbers(p, f, uCount, MOST_NUMBERS);
        if (eResult != ObjScan::DONE) return eResult;
        if (uCount < 3) return refuse("has a vertex of " + std::to_string(uCount) + " numbers");
        if (uCount == 4 && f[3] == 0.0f) return ObjScan::OTHER;
        if (uCount == 4) f[0] /= f[3], f[1] /= f[3], f[2] /= f[3];
        if (uCount == 6) {
            mesh.vColours.resize(mesh.vPositions.size(), {1, 1, 1});
            mesh.vColours.push_back({f[3], f[4], f[5]});
        }
        mesh.vPositions.push_back({f[0], f[1], f[2]});
        return ObjScan::DONE;
    }

    // What cannot be read is 0: the shape does not depend on it.
    void scanPlace(const char* p) {
        float f[2] = {0, 0};
        for (float& fCoordinate : f) {
            p = skipBlanks(p);
            if (isEnd(*p) || readNumber(p, fCoordinate) || !std::isfinite(fCoordinate)) {
                fCoordinate = 0;
                break;
            }
        }
        mesh.vPlaces.push_back({f[0], f[1]});
    }

    ObjScan scanNormal(const char*& p) {
        float f[3];
        unsigned uCount = 0;
        const ObjScan eResult = readNumbers(p, f, uCount, 3);
        if (eResult != ObjScan::DONE) return eResult;
        if (uCount < 3) return refuse("has a normal of " + std::to_string(uCount) + " numbers");
        mesh.vNormals.push_back({f[0], f[1], f[2]});
        return ObjScan::DONE;
    }

    // An index from 1, or back from the last of uCount. True when it is none.
    static bool readIndex(const char*& p, size_t uCount, uint32_t& u) {
        const bool bBack = *p == '-';
        if (bBack) ++p;
        const char* pFirst = p;
        uint32_t uValue = 0;
        for (; isDigit(*p) && p - pFirst < 9; ++p) uValue = uValue * 10 + static_cast<uint32_t>(*p - '0');
        u = bBack ? static_cast<uint32_t>(uCount) - uValue : uValue - 1;
        return uValue == 0 || (bBack && uValue > uCount);
    }

    // vertex, vertex/texture, vertex/texture/normal, vertex//normal; a slash may stand at the end.
    bool readCorner(const char*& p, Corner& corner) {
        corner.uNormal = ObjMesh::NO_NORMAL;
        corner.uPlace = ObjMesh::NO_PLACE;
        if (readIndex(p, mesh.vPositions.size(), corner.uVertex)) return true;
        if (*p == '/') {
            ++p;
            const bool bPlace = (*p == '-' || isDigit(*p)) && !readIndex(p, mesh.vPlaces.size(), corner.uPlace);
            if (!bPlace) corner.uPlace = ObjMesh::NO_PLACE;
            while (isDigit(*p)) ++p;
            if (*p == '/') ++p;
            if ((*p == '-' || isDigit(*p)) && readIndex(p, mesh.vNormals.size(), corner.uNormal)) return true;
        }
        return !(isBlank(*p) || isEnd(*p));
    }

    ObjScan scanFace(const char*& p) {
        vFace.clear();
        for (p = skipBlanks(p); !isEnd(*p); p = skipBlanks(p)) {
            vFace.emplace_back();
            if (readCorner(p, vFace.back())) return ObjScan::OTHER;
        }
        for (const Corner& corner : vFace) {
            uMostVertex = std::max(uMostVertex, corner.uVertex);
            if (corner.uNormal != ObjMesh::NO_NORMAL) uMostNormal = std::max(uMostNormal, corner.uNormal + 1);
        }
        if (vFace.size() < 3) return ObjScan::DONE;
        if (bNewRun) startRun();
        if (mesh.vRuns.size() > MOST_RUNS) return ObjScan::OTHER;
        if (vFace.size() > 4) {
            addPolygon();
            return ObjScan::DONE;
        }
        if (vFace.size() == 4) vQuads.push_back(mesh.triangles());
        addTriangle(vFace[0], vFace[1], vFace[2]);
        if (vFace.size() == 4) addTriangle(vFace[0], vFace[2], vFace[3]);
        return ObjScan::DONE;
    }

    void startRun() {
        mesh.startRun();
        mesh.vRuns.back().uPart = partOfNames();
        bNewRun = false;
    }

    void addPolygon() {
        mesh.vPolygons.push_back({mesh.triangles(), mesh.vPolygonVertices.size()});
        for (const Corner& corner : vFace) {
            mesh.vPolygonVertices.push_back(corner.uVertex);
            mesh.vPolygonNormals.push_back(corner.uNormal);
            mesh.vPolygonPlaces.push_back(corner.uPlace);
        }
    }

    // Writes the polygons behind the triangles of their runs.
    void completeDigest() {
        std::string sWhole, sFace;
        size_t uDone = 0;
        char szLine[100];
        for (size_t uRun = 0; uRun < mesh.vRuns.size(); ++uRun) {
            const ObjMesh::Run& run = mesh.vRuns[uRun];
            const size_t uEnd = uRun + 1 < mesh.vRuns.size() ? mesh.vRuns[uRun + 1].uPolygon : mesh.vPolygons.size();
            sWhole.append(mesh.sDigest, uDone, run.uDigest - uDone);
            uDone = run.uDigest;
            for (size_t u = run.uPolygon; u < uEnd; ++u) {
                const size_t uFirst = mesh.firstCorner(u), uCorners = mesh.firstCorner(u + 1) - uFirst;
                sFace = "f";
                for (size_t i = 0; i < uCorners; ++i) {
                    const NMVector3f& v = mesh.vPositions[mesh.vPolygonVertices[uFirst + i]];
                    snprintf(szLine, sizeof(szLine), "v %.9g %.9g %.9g\n", static_cast<double>(v.x),
                             static_cast<double>(v.y), static_cast<double>(v.z));
                    sWhole += szLine;
                    sFace += " -" + std::to_string(uCorners - i);
                }
                sWhole += sFace + "\n";
            }
        }
        mesh.sDigest = sWhole.append(mesh.sDigest, uDone, std::string::npos);
    }

    void addTriangle(const Corner& a, const Corner& b, const Corner& c) {
        const bool bNormals = (a.uNormal & b.uNormal & c.uNormal) != ObjMesh::NO_NORMAL;
        if (bNormals && mesh.vCornerNormals.empty())
            mesh.vCornerNormals.resize(mesh.vVertices.size(), ObjMesh::NO_NORMAL);
        const bool bPlaces = (a.uPlace & b.uPlace & c.uPlace) != ObjMesh::NO_PLACE;
        if (bPlaces && mesh.vCornerPlaces.empty()) mesh.vCornerPlaces.resize(mesh.vVertices.size(), ObjMesh::NO_PLACE);
        for (const Corner* p : {&a, &b, &c}) {
            mesh.vVertices.push_back(p->uVertex);
            if (bPlaces || !mesh.vCornerPlaces.empty()) mesh.vCornerPlaces.push_back(p->uPlace);
            if (bNormals || !mesh.vCornerNormals.empty()) mesh.vCornerNormals.push_back(p->uNormal);
        }
    }

    // Quads are cut from the corner that is concave, by assimp's rule.
    void cutQuad(size_t uTriangle) {
        uint32_t* p = &mesh.vVertices[3 * uTriangle];
        const uint32_t uQuad[] = {p[0], p[1], p[2], p[5]};
        const auto place = [&](unsigned u) {
            const NMVector3f& v = mesh.vPositions[uQuad[u % 4]];
            return aiVector3D(v.x, v.y, v.z);
        };
        unsigned uStart = 0;
        for (unsigned u = 0; u < 4; ++u) {
            const auto side = [&](unsigned uTo) { return (place(u + uTo) - place(u)).Normalize(); };
            const aiVector3D diagonal = side(2);
            if (!(arcCosine(side(3) * diagonal) + arcCosine(side(1) * diagonal) > AI_MATH_PI_F)) continue;
            uStart = u;
            break;
        }
        if (uStart == 0) return;
        turnQuad(p, uStart);
        for (std::vector<uint32_t>* pCorners : {&mesh.vCornerNormals, &mesh.vCornerPlaces}) {
            if (!pCorners->empty()) turnQuad(pCorners->data() + 3 * uTriangle, uStart);
        }
    }

    static void turnQuad(uint32_t* p, unsigned uStart) {
        const uint32_t uQuad[] = {p[0], p[1], p[2], p[5]};
        const auto at = [&](unsigned u) { return uQuad[(uStart + u) % 4]; };
        p[0] = p[3] = at(0), p[1] = at(1), p[2] = p[4] = at(2), p[5] = at(3);
    }

    // Each corner of a face counts once.
    void sumColours() {
        mesh.vColours.resize(mesh.vPositions.size(), {1, 1, 1});
        size_t uQuad = 0;
        for (size_t uRun = 0; uRun < mesh.vRuns.size(); ++uRun) {
            ObjMesh::Run& run = mesh.vRuns[uRun];
            const auto add = [&](uint32_t uVertex) {
                const NMVector3f& c = mesh.vColours[uVertex];
                run.vColours[0] += static_cast<double>(c.x), run.vColours[1] += static_cast<double>(c.y);
                run.vColours[2] += static_cast<double>(c.z), ++run.uColoured;
            };
            for (size_t u = run.uFirst; u < mesh.endOf(uRun); ++u) {
                while (uQuad < vQuads.size() && vQuads[uQuad] + 1 < u) ++uQuad;
                const bool bSecond = uQuad < vQuads.size() && vQuads[uQuad] + 1 == u;
                for (size_t i = bSecond ? 2 : 0; i < 3; ++i) add(mesh.vVertices[3 * u + i]);
            }
            for (size_t u = mesh.firstCornerOf(uRun); u < mesh.firstCornerOf(uRun + 1); ++u)
                add(mesh.vPolygonVertices[u]);
        }
    }

    ObjScan finish() {
        const auto missing = [&](const char* szWhat, size_t uWanted, size_t uCount) {
            sReason =
                std::string("a face has ") + szWhat + " " + std::to_string(uWanted) + " of " + std::to_string(uCount);
            return ObjScan::REFUSED;
        };
        if (mesh.isEmpty()) return ObjScan::OTHER;
        if (uMostVertex >= mesh.vPositions.size())
            return missing("vertex", size_t{uMostVertex} + 1, mesh.vPositions.size());
        if (uMostNormal > mesh.vNormals.size()) return missing("normal", uMostNormal, mesh.vNormals.size());
        for (const size_t u : vQuads) cutQuad(u);
        if (!mesh.vColours.empty()) sumColours();
        if (!mesh.vPolygons.empty()) completeDigest();
        if (!bParts) mesh.vParts.clear();
        return ObjScan::DONE;
    }

    ObjMesh& mesh;
    std::string& sReason;
    std::vector<Corner> vFace;   // the line's
    std::vector<size_t> vQuads;  // the first triangle of each
    uint32_t uMostVertex = 0;    // that a face has
    uint32_t uMostNormal = 0;    // and one more than the normal
    size_t uLine = 0;
    std::string sObject, sGroup;  // that the lines before have begun
    std::map<std::pair<std::string, std::string>, uint32_t> parts;
    bool bNewRun = true, bParts = false;
};

}  // namespace

void ObjMesh::startRun() {
    const std::string sRun = "\nv " + std::to_string(vRuns.size());
    sDigest += sRun + " 0 0" + sRun + " 1 0" + sRun + " 0 1\nf -3 -2 -1\n";
    vRuns.emplace_back();
    vRuns.back().uFirst = triangles();
    vRuns.back().uPolygon = vPolygons.size();
    vRuns.back().uDigest = sDigest.size();
}

void ObjMesh::replacePolygons(std::vector<std::array<uint32_t, 3>> vCuts) {
    // Those of one polygon stay in their order.
    const auto polygonOf = [this](const std::array<uint32_t, 3>& cut) {
        return std::upper_bound(vPolygons.begin(), vPolygons.end(), size_t{cut[0]},
                                [](size_t u, const Polygon& polygon) { return u < polygon.uFirst; }) -
               vPolygons.begin() - 1;
    };
    std::stable_sort(vCuts.begin(), vCuts.end(),
                     [&](const auto& a, const auto& b) { return polygonOf(a) < polygonOf(b); });
    // Vertices, normals and places, of those that there are.
    struct Corners {
        std::vector<uint32_t>* pOfTriangles;
        const std::vector<uint32_t>* pOfPolygons;
        std::vector<uint32_t> vNew;
    };
    static_assert(NO_NORMAL == NO_PLACE);
    const size_t uTriangles = vVertices.size() / 3;
    std::vector<Corners> vKinds;
    for (const auto& [pOfTriangles, pOfPolygons] :
         {std::pair(&vVertices, &vPolygonVertices), std::pair(&vCornerNormals, &vPolygonNormals),
          std::pair(&vCornerPlaces, &vPolygonPlaces)}) {
        const bool bAny =
            std::any_of(pOfPolygons->begin(), pOfPolygons->end(), [](uint32_t u) { return u != NO_NORMAL; });
        if (pOfTriangles->empty() && !bAny) continue;
        pOfTriangles->resize(3 * uTriangles, NO_NORMAL);
        vKinds.push_back({pOfTriangles, pOfPolygons, {}});
    }
    size_t uDone = 0, uCut = 0;  // triangles that are copied
    const auto copyTo = [&](size_t uEnd) {
        for (Corners& kind : vKinds) {
            kind.vNew.insert(kind.vNew.end(), kind.pOfTriangles->begin() + static_cast<ptrdiff_t>(3 * uDone),
                             kind.pOfTriangles->begin() + static_cast<ptrdiff_t>(3 * uEnd));
        }
        uDone = uEnd;
    };
    for (size_t uRun = 0; uRun < vRuns.size(); ++uRun) {
        copyTo(vRuns[uRun].uFirst);
        vRuns[uRun].uFirst = vKinds[0].vNew.size() / 3;
        const size_t uEnd = uRun + 1 < vRuns.size() ? vRuns[uRun + 1].uPolygon : vPolygons.size();
        for (size_t u = vRuns[uRun].uPolygon; u < uEnd; ++u) {
            copyTo(vPolygons[u].uBefore);
            for (; uCut < vCuts.size() && vCuts[uCut][0] < firstCorner(u + 1); ++uCut) {
                for (const uint32_t uCorner : vCuts[uCut]) {
                    for (Corners& kind : vKinds) kind.vNew.push_back((*kind.pOfPolygons)[uCorner]);
                }
            }
        }
    }
    copyTo(uTriangles);
    for (Corners& kind : vKinds) *kind.pOfTriangles = std::move(kind.vNew);
    vPolygons.clear();
}

ObjScan scanObj(FILE* pFile, ObjMesh& mesh, std::string& sReason) {
    return ObjScanner(mesh, sReason).scan(pFile);
}

}  // namespace rt
