// The scenes that come with the program lie in the world that --camera expects.

#include "support/FileTest.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

using BundledScenesTest = FileTest;

// A scene in a world of the other handedness is upside down as soon as --camera is given, and one whose screen is not
// square to its view changes. Rounding may move an edge by a pixel.
TEST_F(BundledScenesTest, CameraWithTheFilesOwnEyeAndViewGivesTheSamePicture) {
    std::filesystem::create_symlink(RT_SOURCE_DIR "/Scenes", "Scenes");
    for (const char* szScene : {"bricks", "glass", "mirror", "room_vn", "shading"}) {
        const std::string sFile = std::string("Scenes/scene_descs/") + szScene + ".txt";
        EXPECT_LT(differingWithOwnCamera(sFile, 60, 45), 60u * 45u / 200) << szScene;
    }
}

}  // namespace
