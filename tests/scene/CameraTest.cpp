// The camera: its file, and aiming it.
#include "scene/Camera.h"

#include "support/FileTest.h"
#include "support/Meshes.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

using CameraTest = FileTest;
using Velk::NMVector3f;

TEST_F(CameraTest, AllFormsOfOneCameraLoadTheSame) {
    Camera camera;
    for (const char* szText :
         {"Camera front\nviewpoint 1 2 3\nscreen\n4 5 6\n7 8 9\n10 11 12\nresolution 64 48\n",
          "// c\nCamera front x\n\n\t viewpoint +1 2e0 3 4\r\n;;\n the screen\n 4 5 6\n\n7 8 9 1\n10 11 12\n "
          "resolution 64 48\nx",
          "My front Camera\nthe_viewpoint 1 2 3\nscreen 9 9\n4 5 6\n7 8 9\n10 11 12\nimage_resolution 64 48.5"}) {
        SCOPED_TRACE(szText);
        camera = Camera{};
        writeFile("c.cam", szText);
        ASSERT_FALSE(camera.loadCamera("c.cam")) << takeLog();
        EXPECT_STREQ(camera.szName, "front");
        camera.applyDomainFactor(2.0f);
        EXPECT_EQ(camera.v3Position.x, 2.0f);
        EXPECT_EQ(camera.v3Position.z, 6.0f);
        EXPECT_EQ(camera.v3Screen[0].x, 8.0f);
        EXPECT_EQ(camera.v3Screen[1].y, 16.0f);
        EXPECT_EQ(camera.v3Screen[2].z, 24.0f);
        EXPECT_EQ(camera.uWidth, 64u);
        EXPECT_EQ(camera.uHeight, 48u);
    }
    writeFile("c.cam", "Camera " + std::string(99, 'n') + "\nviewpoint 9 9 9\n");
    ASSERT_FALSE(camera.loadCamera("c.cam"));
    EXPECT_EQ(camera.szName, std::string(31, 'n')) << "cut to its field";
    EXPECT_EQ(camera.v3Position.x, 9.0f) << "the rest stays";
    EXPECT_EQ(camera.v3Screen[0].x, 8.0f) << "the rest stays";
    EXPECT_EQ(camera.uWidth, 64u) << "the rest stays";
}

// Corners that its file left out were those of the load before, scaled.
TEST_F(CameraTest, ASecondLoadStartsFromTheFileAlone) {
    makeScene(makeShowcase(), 8, 6).write("test");
    RayTracer tracer;
    for (int i = 0; i < 2; ++i) {
        ASSERT_FALSE(tracer.load("Scenes/scene_descs/test.txt", false));
        ASSERT_FALSE(tracer.preprocessScene());
        writeFile("Scenes/test/test.cam", "Camera c\nviewpoint 1 2 3\nscreen\n1 1 1\n");
    }
    EXPECT_EQ(tracer.camera.v3Screen[0].x, tracer.scene.fDomainFactor);
    EXPECT_EQ(length(tracer.camera.v3Screen[2]), 0.0f);
    EXPECT_EQ(tracer.camera.uWidth, 0u);
    EXPECT_TRUE(contains(takeLog(), "test.cam: warning: a picture of 0 x 0 pixels shows nothing\n"));
    tracer.parameters.uTexturedAttribute = 7;
    ASSERT_FALSE(tracer.load("Scenes/scene_descs/test.txt", false));
    EXPECT_TRUE(contains(takeLog(), "test.atr: warning: no material 7 to be textured, there are 4\n"));
}

TEST_F(CameraTest, SetCameraMovesAndTurnsTheScreen) {
    for (uint32_t uSeed = 0; uSeed < 200; ++uSeed) {
        SCOPED_TRACE(uSeed);
        Random random(uSeed);
        const NMVector3f v3Look = normalize(random.vector(1.0f)), v3Row = normalize(cross(v3Look, random.vector(1.0f)));
        const NMVector3f v3Column = cross(v3Row, v3Look);
        Camera camera;
        camera.v3Position = random.vector(5.0f);
        camera.v3Screen[0] = camera.v3Position + v3Look * 3.0f - v3Row * 2.0f - v3Column;
        camera.v3Screen[1] = camera.v3Screen[0] + v3Row * 4.0f;
        camera.v3Screen[2] = camera.v3Screen[0] + v3Column * 2.0f;
        const Camera before = camera;
        camera.setCamera(camera.v3Position, v3Look);  // the old view: nothing changes
        for (unsigned u = 0; u < 3; ++u) EXPECT_LT(length(camera.v3Screen[u] - before.v3Screen[u]), 1e-4f);

        const NMVector3f v3Eye = random.vector(5.0f), v3NewLook = normalize(v3Look + random.vector(0.5f));
        camera.setCamera(v3Eye, v3NewLook);
        const NMVector3f v3Centre = (camera.v3Screen[1] + camera.v3Screen[2]) * 0.5f;
        EXPECT_LT(length(v3Centre - (v3Eye + v3NewLook * 3.0f)), 1e-4f);
        const NMVector3f r = camera.v3Screen[1] - camera.v3Screen[0], c = camera.v3Screen[2] - camera.v3Screen[0];
        EXPECT_NEAR(length(r), 4.0f, 1e-4f);
        EXPECT_NEAR(length(c), 2.0f, 1e-4f);
        for (const float f : {dot(r, c), dot(r, v3NewLook), dot(c, v3NewLook)}) EXPECT_NEAR(f, 0.0f, 1e-4f);
        EXPECT_GT(dot(r, v3Row), 0.0f) << "not upside down";
    }
}

}  // namespace
