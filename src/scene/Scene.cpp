#include "scene/Scene.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "base/LargeBlock.h"
#include "base/LineReader.h"
#include "base/NLogger.h"

using Velk::NLogger;
using Velk::NMVector3f;

namespace {

constexpr float BOUNDS_MARGIN = 0.1f;      // keeps every side of the bounds above zero
constexpr float DOMAIN_EXTENT = 10000.0f;  // longest side of the scaled bounds
constexpr uint32_t FACE_ALIGNMENT = 16;

enum Section { VERTEX_COUNT, VERTICES, TRIANGLE_COUNT, TRIANGLES, ATTRIBUTES, FINISHED };

// Takes the lines of a geometry file into a scene. The take functions return the number of the source line whose check
// refused the text, 0 when it is fine.
class SceneParser {
 public:
    SceneParser(Scene& target, const Velk::LineReader& source) : scene(target), reader(source) {}

    bool isFinished() const { return section == FINISHED; }

    unsigned takeLine(const char* szLine) {
        if (Velk::LineReader::isBlank(szLine)) {
            const bool bData = section == VERTICES || section == TRIANGLES || section == ATTRIBUTES;
            if (bData && uItem) enter(static_cast<Section>(section + 1));
            return 0;
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

    // Drops the triangles that never came, and says what a file that ended early left out.
    void finish(const char* szFile) {
        if (section == VERTICES) uVerticesFound = uItem;
        if (section == TRIANGLES) uTrianglesFound = uItem;
        if (uVerticesFound < scene.uVertexCount || uTrianglesFound < uTrianglesDeclared) {
            NLogger::LogMessage("Warning: %s ends early: %u of %u vertices, %u of %u triangles\n", szFile,
                                uVerticesFound, scene.uVertexCount, uTrianglesFound, uTrianglesDeclared);
        }
        scene.vFaces.uCount = uTrianglesFound;
    }

 private:
    void enter(Section next) {
        if (section == VERTICES) uVerticesFound = uItem;
        if (section == TRIANGLES) uTrianglesFound = uItem;
        section = next;
        uItem = 0;
    }

    // Reads "WORD %d" or "%d". True when there is no usable count.
    bool readCount(const char* szLine, const char* szWord, uint32_t& uCount) const {
        const size_t uWord = strlen(szWord);
        int64_t iCount = 0;
        if (Velk::readIntegers(strncmp(szLine, szWord, uWord) ? szLine : szLine + uWord, &iCount, 1) != 1) return true;
        if (iCount < 0 || iCount > INT32_MAX || reader.isAbsurdCount(iCount)) return true;
        uCount = static_cast<uint32_t>(iCount);
        return false;
    }

    unsigned takeVertexCount(const char* szLine) {
        uint32_t uCount = 0;
        if (readCount(szLine, "vertices", uCount)) return __LINE__;
        if (sizeof(size_t) == 4 && uCount > SIZE_MAX / sizeof(SceneVertex)) return __LINE__;
        scene.pVertices = new (std::nothrow) SceneVertex[uCount];
        if (!scene.pVertices) return __LINE__;
        Velk::preferLargePages(scene.pVertices, size_t{uCount} * sizeof(SceneVertex));
        std::fill_n(scene.pVertices, uCount, SceneVertex{});
        scene.uVertexCount = uCount;
        enter(uCount ? VERTICES : FINISHED);  // nothing behind could be rendered
        return 0;
    }

    unsigned takeVertex(const char* szLine) {
        float f[3] = {};
        if (!Velk::readFloats(szLine, f, 3)) return __LINE__;
        const NMVector3f v3Position{f[0], f[1], f[2]};
        if (!Velk::isFinite(v3Position)) return __LINE__;
        if (uItem >= scene.uVertexCount) return __LINE__;
        scene.pVertices[uItem++].v3Position = v3Position;
        return 0;
    }

    unsigned takeTriangleCount(const char* szLine) {
        uint32_t uCount = 0;
        if (readCount(szLine, "triangles", uCount)) return __LINE__;
        if (scene.vFaces.allocate(uCount, FACE_ALIGNMENT)) return __LINE__;
        uTrianglesDeclared = uCount;
        enter(TRIANGLES);
        return 0;
    }

    unsigned takeTriangle(const char* szLine) {
        int64_t i[3] = {};
        if (!Velk::readIntegers(szLine, i, 3)) return __LINE__;
        for (const int64_t iVertex : i) {
            if (iVertex < 0 || iVertex >= scene.uVertexCount) return __LINE__;
        }
        if (uItem >= uTrianglesDeclared) return __LINE__;
        FaceData& face = scene.vFaces[uItem++];
        face = FaceData{};
        face.pA = scene.pVertices + i[0];
        face.pB = scene.pVertices + i[1];
        face.pC = scene.pVertices + i[2];
        face.uAttribute = NO_INDEX;
        return 0;
    }

    unsigned takeAttributes(const char* szLine) {
        int64_t i[10];
        const unsigned uRead = Velk::readIntegers(szLine, i, 10);
        for (unsigned u = 0; u < uRead; ++u, ++uItem) {
            if (uItem >= uTrianglesDeclared) return __LINE__;
            if (i[u] < INT32_MIN || i[u] > NO_INDEX) return __LINE__;
            if (uItem < uTrianglesFound) scene.vFaces[uItem].uAttribute = static_cast<uint32_t>(i[u]);
        }
        return 0;
    }

    Scene& scene;
    const Velk::LineReader& reader;
    Section section = VERTEX_COUNT;
    uint32_t uItem = 0;  // data items of the current section
    uint32_t uVerticesFound = 0;
    uint32_t uTrianglesDeclared = 0;
    uint32_t uTrianglesFound = 0;
};

}  // namespace

bool Scene::loadScene(const char* szFile) {
    Velk::LineReader reader(szFile, Velk::INPUT_FILE_OR_PIPE);
    if (!reader.isOpen()) {
        ReportErrorFormat("Failed to open file: %s", szFile);
        reader.reportOpenFailure();
        return true;
    }
    SceneParser parser(*this, reader);
    while (!parser.isFinished()) {
        const char* szLine = reader.next();
        if (!szLine) break;
        const unsigned uCheck = parser.takeLine(szLine);
        if (uCheck) {
            const bool bWasLoaded = bLoaded;
            releaseScene();
            bLoaded = bWasLoaded;
            ReportError("Invalid file");
            NLogger::LogMessage(", scene line: %u, file line: %u\n", uCheck, reader.lineNumber());
            return true;
        }
    }
    if (!uVertexCount) {
        releaseScene();
        ReportErrorFormat("No vertices in file: %s\n", szFile);
        return true;
    }
    parser.finish(szFile);
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

void Scene::preprocessScene() {
    findMinMax();
    fixDomain();
    precalculateFaces();
}

void Scene::findMinMax() {
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
