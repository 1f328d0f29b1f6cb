// What all loaders of text files have in common: a refused text is reported with the line of the file.
#include "scene/Attributes.h"
#include "scene/Camera.h"
#include "scene/Lights.h"
#include "scene/OldLights.h"
#include "scene/Scene.h"
#include "scene/SceneDesc.h"

#include <regex>

#include "support/FileTest.h"

using namespace rt;

namespace {

using LoadersTest = FileTest;

// Loads a file and checks that nothing of a failure stays.
using Loader = bool (*)(const char*);
bool mesh(const char* szFile) {
    Scene scene;
    const bool bFailed = scene.loadScene(szFile);
    EXPECT_EQ(bFailed, !scene.bLoaded && !scene.pVertices && !scene.uVertexCount && !scene.vFaces.uCount);
    return bFailed;
}
template <typename T, bool (T::*pfnLoad)(const char*)>
bool load(const char* szFile) {
    T object;
    const bool bFailed = (object.*pfnLoad)(szFile);
    EXPECT_EQ(bFailed, !object.bLoaded);
    return bFailed;
}
const Loader camera = load<Camera, &Camera::loadCamera>, lights = load<Lights, &Lights::loadLights>;
const Loader materials = load<Attributes, &Attributes::loadAttributes>, old = load<OldLights, &OldLights::loadLights>;

TEST_F(LoadersTest, RefusedFilesAreReportedWithTheirLine) {
    const std::string sMesh = "3\n0 0 0\n1 0 0\n0 1 0\n\n",
                      sCamera = "Camera c\nviewpoint 1 2 3\nscreen\n1 2 3\n1 2 3\n",
                      sLamp = "GeLight lamp\nTotalFlux 7\nenddef\n";
    const struct {
        Loader pfnLoad;
        std::string sText;
        unsigned uLine;
    } cases[] = {
        // clang-format off
        {mesh, "vertices\n", 1}, {mesh, "\n// count\nmany\n", 3}, {mesh, "-1\n", 1}, {mesh, "4294967295\n0 0 0\n", 1},
        {mesh, "99999999999999999999\n", 1}, {mesh, "2000000000\n0 0 0\n", 1}, {mesh, "3\n0 0 0\n1 0 0\nabc\n", 4},
        {mesh, "3\n0 0 0\n \n", 3}, {mesh, "3\n0 0 0\n1 nan 0\n", 3}, {mesh, "3\n0 0 0\n1 0 -inf\n", 3},
        {mesh, "3\n0 0 1e39\n", 2}, {mesh, "2\n0 0 0\n1 0 0\n0 1 0\n", 4}, {mesh, sMesh + "triangles -1\n", 6},
        {mesh, sMesh + "triangles 4000000000\n", 6}, {mesh, sMesh + "1\nx\n", 7}, {mesh, sMesh + "1\n0 1 3\n", 7},
        {mesh, sMesh + "1\n0 -1 2\n", 7}, {mesh, sMesh + "1\n0 1 4294967296\n", 7},
        {mesh, sMesh + "1\n0 1 2\n0 1 2\n", 8}, {mesh, sMesh + "1\n0 1 2\n\n0\n0\n", 10},
        {mesh, sMesh + "1\n0 1 2\n\n0 0\n", 9}, {mesh, sMesh + "1\n0 1 2\n\n4294967296\n", 9}, {camera, "Camera\n", 1},
        {camera, "Kamera front\n", 1}, {camera, "Camera c\n// eye\n\nviewpoint 1 2\n", 4},
        {camera, "Camera c\nview 1 2 3\n", 2}, {camera, "Camera c\nviewpoint 1 2 3\n \n", 3},
        {camera, sCamera + "1 2 x\n", 6}, {camera, sCamera + "1 2 3\nresolution 3\n", 7},
        {camera, sCamera + "1 2 3\nsize 3 4\n", 7}, {materials, "Attr\n", 1}, {materials, "\nMaterial x\n", 2},
        {materials, "Attr a\nenddef\nkd 1\n", 3}, {lights, "none\n", 1}, {lights, "// n\n-1\n", 2},
        {lights, "4294967295\n", 1}, {lights, "2000000000\n1 2 3 4 5 6 7\n", 1},
        {lights, "2\n1 2 3 4 5 6 7\n1 2 3 4 5 6\n", 3}, {old, "\nGeLight\n", 2},
        {old, "GeLight " + std::string(40, 'x'), 1}, {old, "GeLight a\nTotalFlux much\n", 2},
        {old, "GeLight a\n// note\nintensity 1 2\n", 3}, {old, "Fixture f\nLight lamp\n", 2},
        {old, sLamp + "Fixture\n", 4}, {old, sLamp + "Fixture f\nLight\n", 5},
        {old, sLamp + "Fixture f\nLight lantern\n", 5}, {old, sLamp + "Fixture f\nLight lamp\nPosition 1 2\n", 6},
        {old, sLamp + "Fixture f\nPosition 1 2 3\nenddef\n", 6},  // a fixture without a light
        // clang-format on
    };
    for (const auto& c : cases) {
        writeFile("file", c.sText);
        EXPECT_TRUE(c.pfnLoad("file")) << c.sText;
        const std::string sLog = takeLog(), sLine = std::to_string(c.uLine);
        const bool bNumbered = c.pfnLoad == camera || c.pfnLoad == materials;
        EXPECT_TRUE(contains(sLog, bNumbered ? "Error occured while reading line: " : ">> Invalid file\n")) << sLog;
        const bool bMesh = c.pfnLoad == mesh;
        EXPECT_EQ(contains(sLog, " line: " + sLine + ", in "), bNumbered) << sLog;
        EXPECT_EQ(contains(sLog, ", file line: " + sLine + "\n"), bMesh) << sLog;
        EXPECT_TRUE(std::regex_search(sLog, std::regex("\n.* \\] file:" + sLine + ": [^:\n]*: \"[^\n]*\"\n$"))) << sLog;
    }
    const Loader description = [](const char* szFile) { return SceneDesc().loadDescription(szFile); };
    for (const Loader pfnLoad : {Loader{mesh}, camera, lights, materials, old, description}) {
        EXPECT_TRUE(pfnLoad("missing.txt"));
        EXPECT_TRUE(contains(takeLog(), "Failed to open file: missing.txt\n")) << "and the reason on a further line";
        EXPECT_TRUE(pfnLoad("Bäume\x1B[2J\n"));
        const std::string sLog = takeLog();
        EXPECT_TRUE(contains(sLog, "Failed to open file: Bäume\\x1B[2J\\x0A\n[ ")) << sLog;
        EXPECT_TRUE(contains(sLog, " ] Bäume\\x1B[2J\\x0A: No such file or directory\n")) << sLog;
    }
    writeFile("\x9B.brs", "0\n");
    EXPECT_TRUE(mesh("\x9B.brs"));
    EXPECT_TRUE(contains(takeLog(), "No vertices in file: \\x9B.brs\n"));
}

// What is accepted to the letter of the format but gives another picture than was meant.
TEST_F(LoadersTest, SilentMistakesAreWarnedOf) {
    const std::string sMesh = "3\n0 0 0\n1 0 0\n0 1 0\n\n1\n", sCamera = "Camera c\nviewpoint 1 2 3\nscreen\n0 0 0\n";
    const struct {
        Loader pfnLoad;
        std::string sText, sWarning;
    } cases[] = {
        // clang-format off
        {mesh, "2\n0,5 0,5 1\n1 0 0\n", ":2: warning: 1 of the three numbers of a vertex, the others are 0: \"0,5 0,5 1\""},
        {mesh, "1\n0 0 1,5\n", ":2: warning: the end of the line is ignored: \"0 0 1,5\""},
        {mesh, sMesh + "0 1\n", ":7: warning: 2 of the three indices of a triangle, the others are 0: \"0 1\""},
        {mesh, sMesh + "0 1 2 2\n", ":7: warning: more than the three indices of a triangle"},
        {mesh, sMesh + "0/1 1/2 2/3\n", ":7: warning: 1 of the three indices"},
        {mesh, sMesh + "0 1 2\n\n0 wood\n", ":9: warning: the end of the line is ignored: \"0 wood\""},
        {camera, sCamera + "0 0 1,5\n", ":5: warning: the end of the line is ignored"},
        {camera, sCamera, ": warning: the file ends before the camera's resolution"},
        {camera, "Camera c\nviewpoint nan 0 0\n", ":2: warning: a number is not finite"},
        {materials, "Attr a\nkd 0,5\nenddef\n", ":2: warning: the end of the line is ignored: \"kd 0,5\""},
        {materials, "Attr a\ncolour red\nenddef\n", ":2: warning: unknown keyword, the line is ignored: \"colour red\""},
        {materials, "Attr a\nmetalness 3\nenddef\n", ":2: warning: read as \"eta\": \"metalness 3\""},
        {materials, "Attr a\nkd inf\nenddef\n", ":2: warning: a number is not finite"},
        {materials, "Attr a\ncolor 1 2 256\nenddef\n", ":2: warning: a colour outside 0 to 255"},
        {materials, "Attr a\nkd 1\n", ": warning: the material \"a\" has no \"enddef\" and is dropped"},
        {lights, "", ": warning: no lights"},
        {lights, "2\n1 2 3 4 0 1 0\n", ": warning: 1 of 2 lights found"},
        {lights, "1000\n", ": warning: 0 of 1000 lights found"},
        {lights, "0\nx\n", ":2: warning: more lines than the 0 lights declared"},
        {lights, "1\n1 2 3 4 0 1 0\n5 6 7 8 0 1 0\n", ":3: warning: more lines than the 1 lights declared"},
        {lights, "1\n1 2 3 inf 0 1 0\n", ":2: warning: a number is not finite"},
        {lights, "1\n1 2 3 4 0 1 0,5\n", ":2: warning: the end of the line is ignored"},
        {old, "", ": warning: no fixtures"},
        {old, "GeLight a\nTotalFlux 7,5\nenddef\n", ":2: warning: the end of the line is ignored"},
        // clang-format on
    };
    for (const auto& c : cases) {
        writeFile("file", c.sText);
        EXPECT_FALSE(c.pfnLoad("file")) << c.sText;
        EXPECT_TRUE(contains(takeLog(), "file" + c.sWarning)) << c.sText;
    }
    std::string sMany = "Attr a\n";
    for (int i = 0; i < 25; ++i) sMany += "odd\n";
    writeFile("file", sMany + "enddef\n");
    EXPECT_FALSE(materials("file"));
    const std::string sLog = takeLog();
    EXPECT_EQ(std::count(sLog.begin(), sLog.end(), '\n'), 11) << "a file full of them does not fill the log";
    EXPECT_TRUE(contains(sLog, "file: warning: 15 more like these are not shown\n"));
    writeFile("file", sMesh + "0 1 2\n\nwood, -, 1\n" + "0\n\nanything\n");
    EXPECT_FALSE(mesh("file"));
    EXPECT_EQ(takeLog(), "") << "letters among the material indices are skipped";
    for (const char* szGood : {"Attr a // first\nkd 0.5 // half\n color 1 2 3 ;; dark\nenddef\n", "Attr b\nenddef"}) {
        writeFile("file", szGood);
        EXPECT_FALSE(materials("file")) << szGood;
        EXPECT_TRUE(takeLog().empty()) << szGood;
    }
}

TEST_F(LoadersTest, LightsAreReadAsFarAsAnnounced) {
    Lights few;
    writeFile("file", "// lights\n\n 2 of them\n1 2 3 100 0 0 5\n\n;; next\n-1 0 +.5 1e2 3 0 4 rest\nnot examined\n");
    ASSERT_FALSE(few.loadLights("file"));
    ASSERT_EQ(few.uCount, 2u);
    few.applyDomainFactor(10.0f);
    const Light& first = few.pLights[0];
    EXPECT_EQ(first.v3Position.x, 10.0f);
    EXPECT_EQ(first.v3Position.z, 30.0f);
    EXPECT_EQ(first.fFlux, 100.0f);
    EXPECT_EQ(first.v3Direction.z, 1.0f);
    EXPECT_FLOAT_EQ(few.pLights[1].v3Direction.x, 0.6f);
    few.releaseLights();
    EXPECT_EQ(few.uCount, 0u);
}

TEST_F(LoadersTest, FourLinesOfADescriptionNameTheFiles) {
    SceneDesc desc;
    for (const char* szText : {"a b.brs\nc.cam\nd.atr\ne.lgt", "a b.brs\r\nc.cam\r\nd.atr\r\ne.lgt\r\nmore\r\n"}) {
        writeFile("file", szText);
        desc = SceneDesc{};
        ASSERT_FALSE(desc.loadDescription("file"));
        EXPECT_FALSE(contains(takeLog(), "warning"));
        EXPECT_EQ(std::string(desc.szSceneFile) + desc.szCameraFile + desc.szAttributesFile + desc.szLightsFile,
                  "a b.brsc.camd.atre.lgt");
    }
    writeFile("file", std::string(255, 'p') + "rest\n\n");
    ASSERT_FALSE(desc.loadDescription("file"));
    EXPECT_EQ(desc.szSceneFile, std::string(255, 'p'));
    EXPECT_STREQ(desc.szCameraFile, "rest") << "what is too long goes on as the next line";
    EXPECT_STREQ(desc.szLightsFile, "e.lgt") << "a missing line leaves its field alone";
    const std::string sLog = takeLog();
    EXPECT_TRUE(contains(sLog, "file:1: warning: more than 254 characters")) << sLog;
    EXPECT_TRUE(contains(sLog, "file:4: warning: the path of the lights file is missing\n")) << sLog;
    for (const size_t uLength : {size_t{255}, size_t{256}}) {
        EXPECT_TRUE(desc.loadDescription(std::string(uLength, 'p').c_str()));
        EXPECT_TRUE(contains(takeLog(), uLength < 256 ? "Failed to open file: pp" : ">> Invalid string: 'szFile'\n[ "));
    }
}

}  // namespace
