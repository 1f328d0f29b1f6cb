// The geometry file, and the bounds and scale of the mesh.
#include "scene/Scene.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "base/InputReport.h"
#include "base/LargeBlock.h"
#include "base/LineReader.h"
#include "base/NLogger.h"
#include "base/NewArray.h"
#include "base/Printable.h"
#include "scene/LineBatches.h"

namespace rt {

using Velk::NLogger;
using Velk::NMVector3f;
using Velk::Refusal;

namespace {

constexpr float BOUNDS_MARGIN = 0.1f;      // so that flat meshes have bounds with a volume
constexpr float DOMAIN_EXTENT = 10000.0f;  // longest side of the scaled bounds

enum Section { VERTEX_COUNT, VERTICES, TRIANGLE_COUNT, TRIANGLES, ATTRIBUTES, FINISHED };

// Parses a geometry file line by line into a scene.
class SceneParser {
 public:
    SceneParser(Scene& target, Velk::LineReader& source, const char* szSource, unsigned uItsThreads)
        : scene(target), reader(source), szFile(szSource), uThreads(uItsThreads) {}

    bool isFinished() const { return section == FINISHED; }

    // The fast path: reads the next data lines as long as they are plain and valid.
    void takePlainLines() {
        if (uThreads > 1) takeManyLines();
        NMVector3f v3;
        while (section == VERTICES && uItem < scene.uVertexCount && reader.nextPlain(nullptr, 0, 0, &v3.x, 3)) {
            scene.pVertices[uItem++].v3Position = v3;
        }
        uint32_t u[3];
        while (section == TRIANGLES && uItem < uTrianglesDeclared &&
               reader.nextPlain(u, 3, scene.uVertexCount, nullptr, 0)) {
            setTriangle(uItem++, u[0], u[1], u[2]);
        }
    }

    Refusal takeLine(const char* szLine) {
        if (Velk::LineReader::isBlank(szLine)) {
            const bool bData = section == VERTICES || section == TRIANGLES || section == ATTRIBUTES;
            if (bData && uItem) enter(static_cast<Section>(section + 1));
            return {};
        }
        switch (section) {
            case VERTEX_COUNT:
                return takeVertexCount(szLine);
            case VERTICES:
                return takeVertex(szLine);
            case TRIANGLE_COUNT:
                return takeTriangleCount(szLine);
            case TRIANGLES:
                return takeTriangle(szLine);
            default:
                return takeAttributes(szLine);
        }
    }

    // Drops the missing triangles of a file that ended early, with a warning.
    void finish() {
        if (section == VERTICES) uVerticesFound = uItem;
        if (section == TRIANGLES) uTrianglesFound = uItem;
        if (uVerticesFound < scene.uVertexCount || uTrianglesFound < uTrianglesDeclared) {
            Velk::inputWarning(szFile, 0, nullptr, "ends early: %u of %u vertices, %u of %u triangles", uVerticesFound,
                               scene.uVertexCount, uTrianglesFound, uTrianglesDeclared);
        }
        scene.vFaces.uCount = uTrianglesFound;
    }

 private:
    void enter(Section next) {
        if (section == VERTICES) uVerticesFound = uItem;
        if (section == TRIANGLES) uTrianglesFound = uItem;
        section = next;
        uItem = uNextMany = 0;
    }

    // The same with all threads, where there are many lines to come.
    void takeManyLines() {
        constexpr uint32_t MANY = 1 << 15;
        const bool bVertices = section == VERTICES;
        const uint32_t uEnd = bVertices ? scene.uVertexCount : section == TRIANGLES ? uTrianglesDeclared : 0;
        if (uItem < uNextMany || uItem >= uEnd || uEnd - uItem < MANY) return;
        const auto take = [&](LineShare& share) {
            for (; share.uLine < share.uEnd; ++share.uLine) {
                NMVector3f v3;
                uint32_t u[3];
                const char* sz = bVertices
                                     ? Velk::LineReader::readPlain(share.sz, nullptr, 0, 0, &v3.x, 3)
                                     : Velk::LineReader::readPlain(share.sz, u, 3, scene.uVertexCount, nullptr, 0);
                if (!sz) return;
                share.sz = sz;
                if (bVertices) scene.pVertices[uItem + share.uLine].v3Position = v3;
                if (!bVertices) setTriangle(uItem + share.uLine, u[0], u[1], u[2]);
            }
        };
        uint32_t uSeen = 0;
        const uint32_t uTaken = takeLines(reader, uThreads, uEnd - uItem, take, uSeen);
        if (bVertices) std::fill(scene.pVertices + uItem + uTaken, scene.pVertices + uItem + uSeen, SceneVertex{});
        uItem += uTaken;
        uNextMany = 2 * uItem + MANY;  // a file whose lines are not plain is not read again and again
    }

    // Reads "WORD %d" or "%d". Returns what is wrong with the line, or null when it is correct.
    const char* readCount(const char* szLine, const char* szWord, uint32_t& uCount) {
        const size_t uWord = strlen(szWord);
        const char* szRest = nullptr;
        int64_t iCount = 0;
        const char* szNumber = strncmp(szLine, szWord, uWord) ? szLine : szLine + uWord;
        if (Velk::readIntegers(szNumber, &iCount, 1, &szRest) != 1) return "a count expected";
        if (iCount < 0) return "the count is negative";
        if (iCount > INT32_MAX || reader.isAbsurdCount(iCount)) return "more than the file can hold";
        reader.warnOfRest(szRest);
        uCount = static_cast<uint32_t>(iCount);
        return nullptr;
    }

    Refusal takeVertexCount(const char* szLine) {
        uint32_t uCount = 0;
        if (const char* szWrong = readCount(szLine, "vertices", uCount)) return {__LINE__, szWrong};
        const uint64_t uBytes = uint64_t{uCount} * sizeof(SceneVertex);
        scene.pVertices = Velk::newArray<SceneVertex>(uCount);
        if (!scene.pVertices) {
            Velk::memoryError(uBytes, "the vertices of %s", szFile);
            return {__LINE__, nullptr};
        }
        Velk::preferLargePages(scene.pVertices, static_cast<size_t>(uBytes));
        std::fill_n(scene.pVertices, uCount, SceneVertex{});
        scene.uVertexCount = uCount;
        enter(uCount ? VERTICES : FINISHED);  // without vertices nothing can be rendered
        return {};
    }

    Refusal takeVertex(const char* szLine) {
        float f[3] = {};
        const char* szRest = nullptr;
        const unsigned uRead = Velk::readFloats(szLine, f, 3, &szRest);
        if (!uRead) return {__LINE__, "the three numbers of a vertex expected"};
        const NMVector3f v3Position{f[0], f[1], f[2]};
        if (!Velk::isFinite(v3Position)) return {__LINE__, "a vertex that is not finite"};
        if (uItem >= scene.uVertexCount) return {__LINE__, "more vertices than declared; an empty line ends them"};
        if (uRead < 3) reader.reportWarning("%u of the three numbers of a vertex, the others are 0", uRead);
        if (uRead == 3) reader.warnOfRest(szRest);
        scene.pVertices[uItem++].v3Position = v3Position;
        return {};
    }

    Refusal takeTriangleCount(const char* szLine) {
        uint32_t uCount = 0;
        if (const char* szWrong = readCount(szLine, "triangles", uCount)) return {__LINE__, szWrong};
        if (scene.vFaces.allocate(uCount, Scene::FACE_ALIGNMENT)) {
            Velk::memoryError(uint64_t{uCount} * sizeof(FaceData), "the triangles of %s", szFile);
            return {__LINE__, nullptr};
        }
        uTrianglesDeclared = uCount;
        enter(TRIANGLES);
        return {};
    }

    Refusal takeTriangle(const char* szLine) {
        int64_t i[4] = {};
        const unsigned uRead = Velk::readIntegers(szLine, i, 4);
        if (!uRead) return {__LINE__, "the three vertex indices of a triangle expected"};
        for (unsigned u = 0; u < 3; ++u) {
            if (i[u] < 0 || i[u] >= scene.uVertexCount) return {__LINE__, "there is no vertex of this index"};
        }
        if (uItem >= uTrianglesDeclared) return {__LINE__, "more triangles than declared; an empty line ends them"};
        if (uRead < 3) reader.reportWarning("%u of the three indices of a triangle, the others are 0", uRead);
        if (uRead > 3) reader.reportWarning("more than the three indices of a triangle, the others are ignored");
        setTriangle(uItem++, i[0], i[1], i[2]);
        return {};
    }

    // Fills the loader's part of the record.
    void setTriangle(uint32_t u, int64_t iA, int64_t iB, int64_t iC) {
        FaceData& face = scene.vFaces[u];
        face.pA = scene.pVertices + iA;
        face.pB = scene.pVertices + iB;
        face.pC = scene.pVertices + iC;
        face.uAttribute = NO_INDEX;
    }

    Refusal takeAttributes(const char* szLine) {
        int64_t i[10];
        const char* szRest = nullptr;
        const unsigned uRead = Velk::readIntegers(szLine, i, 10, &szRest);
        for (unsigned u = 0; u < uRead; ++u, ++uItem) {
            if (uItem >= uTrianglesDeclared) return {__LINE__, "more material indices than triangles"};
            if (i[u] < INT32_MIN || i[u] > NO_INDEX) return {__LINE__, "no material can have this index"};
            if (uItem < uTrianglesFound) scene.vFaces[uItem].uAttribute = static_cast<uint32_t>(i[u]);
        }
        if (uRead) reader.warnOfRest(szRest);  // a line without a number is skipped silently
        return {};
    }

    Scene& scene;
    Velk::LineReader& reader;
    const char* szFile;
    Section section = VERTEX_COUNT;
    const unsigned uThreads;
    uint32_t uItem = 0;      // data items of the current section
    uint32_t uNextMany = 0;  // from which on it may be worth to call the other threads
    uint32_t uVerticesFound = 0;
    uint32_t uTrianglesDeclared = 0;
    uint32_t uTrianglesFound = 0;
};

}  // namespace

bool Scene::loadScene(const char* szFile, unsigned uThreads) {
    Velk::LineReader reader(szFile, Velk::INPUT_FILE_OR_PIPE);
    if (!reader.isOpen()) {
        ReportErrorFormat("Failed to open file: %s", Velk::Printable(szFile).text());
        reader.reportOpenFailure();
        return true;
    }
    SceneParser parser(*this, reader, szFile, uThreads);
    while (!parser.isFinished()) {
        parser.takePlainLines();
        const char* szLine = reader.next();
        if (!szLine) break;
        if (const Refusal refusal = parser.takeLine(szLine)) {
            const bool bWasLoaded = bLoaded;
            releaseScene();
            bLoaded = bWasLoaded;
            if (!refusal.szWhat) return true;
            ReportError("Invalid file");
            NLogger::LogMessage(", scene line: %u, file line: %u\n", refusal.uSourceLine, reader.lineNumber());
            reader.reportError("%s", refusal.szWhat);
            return true;
        }
    }
    if (!uVertexCount) {
        releaseScene();
        ReportErrorFormat("No vertices in file: %s\n", Velk::Printable(szFile).text());
        Velk::inputError(szFile, 0, nullptr, "no vertices");
        return true;
    }
    parser.finish();
    Velk::copyText(szSceneFile, sizeof(szSceneFile), szFile);
    bLoaded = true;
    return false;
}

void Scene::releaseScene() {
    delete[] pVertices;
    pVertices = nullptr;
    uVertexCount = 0;
    vFaces.Release();
    bLoaded = false;
}

void Scene::preprocessScene(Scaling scaling, unsigned uThreads, StopFlag pStop) {
    findMinMax();
    fDomainFactor = 1.0f;
    if (scaling == Scaling::DOMAIN) fixDomain();
    precalculateFaces(uThreads, pStop);
}

void Scene::findMinMax() {
    assert(uVertexCount);
    NMVector3f v3Min = pVertices[0].v3Position;
    NMVector3f v3Max = v3Min;
    for (uint32_t u = 1; u < uVertexCount; ++u) {
        v3Max = maximum(pVertices[u].v3Position, v3Max);
        v3Min = minimum(pVertices[u].v3Position, v3Min);
    }
    const NMVector3f v3Margin{BOUNDS_MARGIN, BOUNDS_MARGIN, BOUNDS_MARGIN};
    boxScene.v3Min = v3Min - v3Margin;
    boxScene.v3Max = v3Max + v3Margin;
    v3Center = (boxScene.v3Min + boxScene.v3Max) * 0.5f;
    fDiagonal = length(boxScene.v3Max - boxScene.v3Min);
}

void Scene::fixDomain() {
    const NMVector3f v3Size = boxScene.v3Max - boxScene.v3Min;
    fDomainFactor = DOMAIN_EXTENT / std::max({v3Size.x, v3Size.y, v3Size.z});
    for (uint32_t u = 0; u < uVertexCount; ++u) {
        pVertices[u].v3Position = pVertices[u].v3Position * fDomainFactor;
    }
    boxScene.v3Min = boxScene.v3Min * fDomainFactor;
    boxScene.v3Max = boxScene.v3Max * fDomainFactor;
    v3Center = v3Center * fDomainFactor;
    fDiagonal *= fDomainFactor;
}

}  // namespace rt
