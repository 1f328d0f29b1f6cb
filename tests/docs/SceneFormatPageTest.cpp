// The example of docs/scene-format.md, rendered.
#include "render/RayTracer.h"
#include "support/FileTest.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

using SceneFormatPageTest = FileTest;

// The page's example is what people copy, so it has to give the page's picture: sky, sunlit stone, meadow, shadow.
TEST_F(SceneFormatPageTest, ExampleRendersAsShown) {
    const std::string sPage = readFile(RT_SOURCE_DIR "/docs/scene-format.md");
    const std::string sHead = "File `", sBegin = "`:\n\n```text\n", sEnd = "```";
    unsigned uFiles = 0;
    for (size_t uName = 0; (uName = sPage.find(sHead, uName)) != std::string::npos; ++uFiles) {
        uName += sHead.size();
        const size_t uTail = sPage.find(sBegin, uName), uText = uTail + sBegin.size();
        writeFile(sPage.substr(uName, uTail - uName), sPage.substr(uText, sPage.find(sEnd, uText) - uText));
    }
    ASSERT_EQ(uFiles, 6u);
    EXPECT_LT(differingWithOwnCamera("Scenes/scene_descs/pyramid.txt", 320, 240), 32u);
    RayTracer tracer;
    ASSERT_FALSE(tracer.load("Scenes/scene_descs/pyramid.txt", false));
    ASSERT_FALSE(tracer.preprocessScene());
    ASSERT_FALSE(tracer.run());
    ASSERT_EQ(tracer.image.uWidth, 320u);
    ASSERT_EQ(tracer.image.uHeight, 240u);
    const auto red = [&](unsigned x, unsigned y) { return tracer.image.getPixel(x, y) >> 16; };
    EXPECT_EQ(tracer.image.getPixel(160, 20), 0x010001u);
    EXPECT_GT(red(195, 130), red(150, 130)) << "the side towards the strong light is the brighter one";
    EXPECT_GT(red(160, 220), 2 * red(75, 127)) << "the shadow falls to the left";
}

}  // namespace
