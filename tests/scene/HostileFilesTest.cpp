// Scenes with anything wrong in them, from file to picture.
#include "support/FileTest.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

SceneText smallScene() {
    Mesh mesh;
    mesh.addQuad({-4, -4, 0}, {8, 0, 0}, {0, 8, 0}, 3);
    mesh.add({-1, -1, -2}, {1, -1, -2}, {0, 1, -2}, 2);
    return makeScene(mesh, 3, 2);
}

class HostileFilesTest : public FileTest {
 protected:
    // Loads a scene and renders it if it loads. It may be refused, but then the log must say why.
    bool loads(const SceneText& text) {
        text.write("test");
        takeLog();
        RayTracer rayTracer;
        RaytracerParameters& parameters = rayTracer.parameters;
        parameters.uTexturedAttribute = 3;
        parameters.bDirt = parameters.bResetCache = parameters.bCustomResolution = true;
        parameters.uWidth = 3;
        parameters.uHeight = 2;
        const bool bFailed = rayTracer.load("Scenes/scene_descs/test.txt", false) || rayTracer.preprocessScene();
        sReport = takeLog();
        EXPECT_LE(bFailed, contains(sReport, ">> ")) << sReport;
        if (!bFailed) sImage = renderPacks(rayTracer, 2);
        return !bFailed;
    }

    std::string sImage, sReport;
};

TEST_F(HostileFilesTest, FilesCutOrWithHostileNumbersAnywhereLoadOrAreReported) {
    const SceneText good = smallScene();
    unsigned uCount[2] = {};
    for (const auto pFile :
         {&SceneText::sGeometry, &SceneText::sCamera, &SceneText::sAttributes, &SceneText::sLights}) {
        const std::string& sGood = good.*pFile;
        const auto load = [&](const std::string& sBad) {
            SCOPED_TRACE(sBad);
            SceneText text = good;
            text.*pFile = sBad;
            ++uCount[loads(text)];
        };
        for (size_t u = 0; u <= sGood.size(); ++u) load(sGood.substr(0, u));
        for (size_t uEnd = 0, u; (u = sGood.find_first_of("-0123456789", uEnd)) != std::string::npos;) {
            uEnd = std::min(sGood.size(), sGood.find_first_not_of("-.0123456789", u));
            for (const char* sz :
                 {"nan", "-inf", "1e30", "3e38", "1e-45", "-1", "0", "4294967295", "99999999999999999999", ""}) {
                load(std::string(sGood).replace(u, uEnd - u, sz));
            }
        }
    }
    EXPECT_GT(std::min(uCount[0], uCount[1]), 100u);
}

TEST_F(HostileFilesTest, FacesNeedAnAttribute) {
    SceneText text = smallScene();
    text.sGeometry.replace(text.sGeometry.rfind('2'), 1, "4");
    EXPECT_FALSE(loads(text));
    EXPECT_TRUE(contains(sReport, "face 2 has attribute index 4, there are 4 attributes\n"));
    text.sGeometry.resize(text.sGeometry.rfind('4'));
    EXPECT_FALSE(loads(text));
    EXPECT_TRUE(contains(sReport, "face 2 has no attribute index\n"));
}

TEST_F(HostileFilesTest, ScenesWithoutASoundFaceAreEmptySpace) {
    Mesh empty, degenerate;
    empty.vVertices = {{0, 0, 0}, {1, 2, 3}};
    degenerate.add({0, 0, 0}, {1, 1, 1}, {2, 2, 2});
    for (const Mesh& mesh : {empty, degenerate}) {
        ASSERT_TRUE(loads(makeScene(mesh, 3, 2)));
        for (size_t u = 0; u < sImage.size(); ++u) EXPECT_EQ(sImage[u], u % 3 == 1 ? 0 : 1);
    }
}

}  // namespace
