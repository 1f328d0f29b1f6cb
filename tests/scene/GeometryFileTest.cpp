// The geometry file.
#include "scene/Scene.h"

#include <sys/stat.h>

#include <thread>

#include "support/FileTest.h"

using namespace rt;

namespace {

// A quad of two triangles.
const std::string VERTICES = "0 0 0\n1 0 0\n1 1 0.5\n0 1 0\n", TRIANGLES = "0 1 2\n0 2 3\n";
const std::string QUAD = "vertices 4\n" + VERTICES + "\ntriangles 2\n" + TRIANGLES + "\n5 6\n";

class GeometryFileTest : public FileTest {
 protected:
    static bool load(Scene& scene, const std::string& sText, const std::string& sFile = "mesh.brs") {
        writeFile(sFile, sText);
        return scene.loadScene(sFile.c_str());
    }
};

TEST_F(GeometryFileTest, AllFormsOfOneMeshLoadTheSame) {
    std::string sWindows;
    for (const char c : QUAD) sWindows += c == '\n' ? "\r\n" : std::string(1, c);
    for (const std::string& sText :
         {QUAD, QUAD + "\nwhatever follows is not read\n", QUAD.substr(0, QUAD.size() - 1), sWindows,
          "// mesh\n\n4\n\n;; x y z\n" + VERTICES + "// end\n\n\n\n2\n\n" + TRIANGLES + "\n\r\n5\nno number\n6\n",
          std::string("vertices   +4 of them\n 0\t0 0 9\n1e0 0 0\n+1 1 .5e0\n0 0x1 -0\n\ntriangles 2\n+0 1 2 7\n0 2 "
                      "3\n\n 5 6 x")}) {
        SCOPED_TRACE(sText);
        Scene scene;
        ASSERT_FALSE(load(scene, sText));
        ASSERT_TRUE(scene.bLoaded);
        ASSERT_EQ(scene.uVertexCount, 4u);
        ASSERT_EQ(scene.vFaces.uCount, 2u);
        EXPECT_STREQ(scene.szSceneFile, "mesh.brs");
        EXPECT_EQ(scene.pVertices[2].v3Position.z, 0.5f);
        EXPECT_EQ(scene.pVertices[3].v3Position.y, 1.0f);
        for (uint32_t u = 0; u < 2; ++u) {
            const FaceData& face = scene.vFaces[u];
            EXPECT_EQ(face.pA, scene.pVertices);
            EXPECT_EQ(face.pB, face.pA + 1 + u);
            EXPECT_EQ(face.pC, face.pB + 1);
            EXPECT_EQ(face.uAttribute, 5 + u);
        }
    }
    Scene scene;
    const std::string sLong = std::string(150, 'd') + "/" + std::string(150, 'f');
    ASSERT_FALSE(load(scene, QUAD, sLong));
    EXPECT_EQ(scene.szSceneFile, sLong.substr(0, 254)) << "cut to its field";
    EXPECT_FALSE(contains(takeLog(), ">>"));
}

TEST_F(GeometryFileTest, FilesThatEndEarlyGiveWhatTheyHad) {
    const struct {
        const char* szText;
        uint32_t uVertices, uFaces;
        const char* szWarning;
    } cases[] = {
        {"3\n1 2 3\n", 3, 0, "1 of 3 vertices, 0 of 0 triangles"},
        {"3\n1 2 3\n\n2\n0 1 2\n", 3, 1, "1 of 3 vertices, 1 of 2 triangles"},
        {"1\n1 2 3\n\n2\n0 0 0\n\n0 1\n", 1, 1, "1 of 1 vertices, 1 of 2 triangles"},
        {"1\n1 2 3\n\n0\n", 1, 0, nullptr},
        {"2\n1\n1 2\n\n1\n1\n\n0\n", 2, 1, nullptr},  // missing components are 0
    };
    for (const auto& c : cases) {
        Scene scene;
        ASSERT_FALSE(load(scene, c.szText)) << c.szText;
        EXPECT_EQ(scene.uVertexCount, c.uVertices) << c.szText;
        EXPECT_EQ(scene.vFaces.uCount, c.uFaces) << c.szText;
        EXPECT_EQ(scene.pVertices[c.uVertices - 1].v3Position.z, c.uVertices == 1 ? 3.0f : 0.0f);
        const std::string sLog = takeLog();
        EXPECT_EQ(contains(sLog, "ends early"), c.szWarning != nullptr) << sLog;
        EXPECT_TRUE(contains(sLog, c.szWarning ? c.szWarning : "")) << sLog;
    }
    for (const char* szText : {"", "// nothing\n", "0\n", "vertices 0\n\ntriangles 0\n"}) {
        Scene scene;
        EXPECT_TRUE(load(scene, szText));
        EXPECT_TRUE(contains(takeLog(), "No vertices in file: mesh.brs")) << szText;
    }
}

TEST_F(GeometryFileTest, AMillionVerticesComeThroughAPipe) {
    constexpr uint32_t uCount = 1'100'000;  // more than is accepted for a file of any size
    std::string sText = "vertices " + std::to_string(uCount) + "\n";
    for (uint32_t u = 0; u < uCount; ++u) sText += u % 2 ? "1 0 0\n" : "0 0 0\n";
    ASSERT_EQ(mkfifo("pipe.brs", 0600), 0);
    Scene scene;
    std::thread writer([&] { writeFile("pipe.brs", sText + "\n1\n0 1 2\n\n0\n"); });
    EXPECT_FALSE(scene.loadScene("pipe.brs"));
    writer.join();
    EXPECT_EQ(scene.uVertexCount, uCount);
    EXPECT_EQ(scene.vFaces.uCount, 1u);
    EXPECT_FALSE(contains(takeLog(), "warning")) << "a byte was lost";
}

TEST_F(GeometryFileTest, BoundsFillTheDomain) {
    Scene scene;
    ASSERT_FALSE(load(scene, "3\n1 2 0\n5 2 0\n1 4 0\n\n1\n0 1 2\n\n0\n"));
    scene.preprocessScene();
    EXPECT_FLOAT_EQ(scene.v3Center.y, 3.0f * 10000.0f / 4.2f);  // 4 and a margin of 0.1 on both sides
}

}  // namespace
