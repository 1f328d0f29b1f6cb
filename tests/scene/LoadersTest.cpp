// What all loaders of text files have in common: a refused text is reported with the line of the file.
#include "scene/Attributes.h"
#include "scene/Camera.h"
#include "scene/Lights.h"
#include "scene/OldLights.h"
#include "scene/Scene.h"
#include "scene/SceneDesc.h"

#include <fstream>
#include <map>
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

// A line of a table in tests/data: a loader, what it says, and the file's text with \n for its line ends.
struct Case {
    Loader pfnLoad = nullptr;
    std::string sSaid, sText;
};

std::vector<Case> casesIn(const std::string& sTable) {
    const std::map<std::string, Loader> loaders = {
        {"mesh", mesh}, {"camera", camera}, {"lights", lights}, {"materials", materials}, {"old", old}};
    std::vector<Case> vCases;
    std::ifstream table(RT_SOURCE_DIR "/tests/data/" + sTable);
    for (std::string sLoader, sSaid, sText; std::getline(table, sLoader, '\t');) {
        std::getline(table, sSaid, '\t');
        std::getline(table, sText);
        vCases.push_back({loaders.at(sLoader), sSaid, std::regex_replace(sText, std::regex(R"(\\n)"), "\n")});
    }
    EXPECT_GT(vCases.size(), 20u) << sTable;
    return vCases;
}

TEST_F(LoadersTest, RefusedFilesAreReportedWithTheirLine) {
    for (const auto& [pfnLoad, sLine, sText] : casesIn("refused.txt")) {
        SCOPED_TRACE(sText);
        writeFile("file", sText);
        EXPECT_TRUE(pfnLoad("file"));
        const std::string sLog = takeLog();
        const bool bNumbered = pfnLoad == camera || pfnLoad == materials;
        EXPECT_TRUE(contains(sLog, bNumbered ? "Error occured while reading line: " : ">> Invalid file\n")) << sLog;
        const bool bMesh = pfnLoad == mesh;
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
    for (const auto& [pfnLoad, sWarning, sText] : casesIn("warned.txt")) {
        writeFile("file", sText);
        EXPECT_FALSE(pfnLoad("file")) << sText;
        EXPECT_TRUE(contains(takeLog(), "file" + sWarning)) << sText;
    }
    std::string sMany = "Attr a\n";
    for (int i = 0; i < 25; ++i) sMany += "odd\n";
    writeFile("file", sMany + "enddef\n");
    EXPECT_FALSE(materials("file"));
    const std::string sLog = takeLog();
    EXPECT_EQ(std::count(sLog.begin(), sLog.end(), '\n'), 11) << "a file full of them does not fill the log";
    EXPECT_TRUE(contains(sLog, "file: warning: 15 more like these are not shown\n"));
    writeFile("file", "3\n0 0 0\n1 0 0\n0 1 0\n\n1\n0 1 2\n\nwood, -, 1\n0\n\nanything\n");
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
