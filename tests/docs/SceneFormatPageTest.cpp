#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "render/RayTracer.h"

namespace {

// Writes the files that the page shows below a directory. Returns how many there are.
unsigned extractFiles(const std::string& sPage, const std::filesystem::path& target) {
    std::stringstream page;
    page << std::ifstream(sPage).rdbuf();
    const std::string sText = page.str(), sHead = "File `", sBegin = "`:\n\n```text\n", sEnd = "```";
    unsigned uFiles = 0;
    for (size_t uName = 0; (uName = sText.find(sHead, uName)) != std::string::npos; ++uFiles) {
        uName += sHead.size();
        const size_t uTail = sText.find(sBegin, uName), uText = uTail + sBegin.size(), uStop = sText.find(sEnd, uText);
        if (uTail == std::string::npos || uStop == std::string::npos) return 0;
        const std::filesystem::path file = target / sText.substr(uName, uTail - uName);
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file) << sText.substr(uText, uStop - uText);
    }
    return uFiles;
}

// A working directory of its own for the length of a scope.
class WorkingDirectory {
 public:
    WorkingDirectory() : before(std::filesystem::current_path()) {
        std::string sName = std::filesystem::temp_directory_path() / "page-XXXXXX";
        if (mkdtemp(sName.data())) std::filesystem::current_path(sName);
    }
    ~WorkingDirectory() {
        const std::filesystem::path here = std::filesystem::current_path();
        std::filesystem::current_path(before);
        if (here != before) std::filesystem::remove_all(here);
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

 private:
    std::filesystem::path before;
};

}  // namespace

// The page's example is what people copy, so it has to give the page's picture: sky, sunlit stone, meadow, shadow.
TEST(SceneFormatPage, ExampleRendersAsShown) {
    const WorkingDirectory directory;
    ASSERT_EQ(extractFiles(RT_SOURCE_DIR "/docs/scene-format.md", "."), 5u);
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
    tracer.release();
}
