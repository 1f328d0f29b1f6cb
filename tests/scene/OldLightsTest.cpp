// The older format of lights.
#include "scene/OldLights.h"

#include <cstdlib>

#include "support/FileTest.h"

using namespace rt;

namespace {

using OldLightsTest = FileTest;

int runTool(const std::string& sArguments) {
    return system((RT_EMULATOR " '" RT_CONVERT_LIGHTS "' " + sArguments + " >out.txt 2>err.txt").c_str());
}

TEST_F(OldLightsTest, TheDocumentedExampleConvertsToTheDocumentedResult) {
    writeFile("old.lgt", documentedExample("scene-format.md", "// Two lamps"));
    EXPECT_EQ(runTool("old.lgt new.lgt"), 0);
    EXPECT_EQ(readFile("new.lgt"), documentedExample("scene-format.md", "2\n0.000000 3.000000"));
    EXPECT_EQ(readFile("out.txt"), "new.lgt: 2 lights\n");
}

TEST_F(OldLightsTest, ReadsBlocksAsTheyStand) {
    writeFile("old.lgt",
              ";; comment\n\nsettings of no block\n  GeLight lamp-large\n\ttype point\n\nTotalFlux 5\n// aside\n"
              "other 1\n  intensity 1 2 3.5 rest\nenddef\nGeLight lamp\nTotalFlux 7\nenddef\n"
              "Fixture one\nGeLight x\nLight lamp\nPosition 1 -2 3\nenddef\nFixture two\nLight large\nenddef\n"
              "Fixture open\n");
    OldLights lights;
    for (int i = 0; i < 2; ++i) ASSERT_FALSE(lights.loadLights("old.lgt")) << "a second load replaces the first";
    EXPECT_TRUE(lights.saveLights("missing/new.lgt"));
    EXPECT_TRUE(contains(takeLog(), "Failed to open file: missing/new.lgt"));
    EXPECT_FALSE(lights.saveLights("new.lgt"));
    // The first definition whose name contains the word is taken; what a block leaves out is 0.
    EXPECT_EQ(readFile("new.lgt"),
              "2\n1.000000 -2.000000 3.000000 5.000000 1.000000 2.000000 3.500000\n"
              "0.000000 0.000000 0.000000 5.000000 1.000000 2.000000 3.500000\n");
}

TEST_F(OldLightsTest, TheToolSaysWhatIsWrongAndFails) {
    writeFile("old.lgt", "GeLight\n");
    for (const auto& [szArguments, szReport] :
         {std::pair{"old.lgt new.lgt", "old.lgt:1: a name of at most 39 characters expected: \"GeLight\""},
          {"missing.lgt new.lgt", "convert-lights: missing.lgt: No such file or directory\n"},
          {"old.lgt", "Usage: convert-lights OLD NEW"}}) {
        EXPECT_NE(runTool(szArguments), 0);
        EXPECT_TRUE(contains(readFile("err.txt"), szReport)) << szArguments;
    }
    EXPECT_EQ(list(), (std::vector<std::string>{"err.txt", "old.lgt", "out.txt"}));
    EXPECT_EQ(runTool("--help"), 0);
}

}  // namespace
