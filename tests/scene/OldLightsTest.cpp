#include "scene/OldLights.h"

#include <cstdlib>

#include "support/FileTest.h"

namespace {

// The code block that begins with this text.
std::string codeBlock(const std::string& sPage, const std::string& sStart) {
    const size_t uFrom = sPage.find("```text\n" + sStart);
    return uFrom == std::string::npos ? "" : sPage.substr(uFrom + 8, sPage.find("```\n", uFrom + 8) - uFrom - 8);
}

}  // namespace

class OldLightsFile : public FileTest {
 protected:
    // The number of the line that is refused, 0 when none is.
    unsigned refusedLine(const std::string& sText) {
        writeFile("old.lgt", sText);
        OldLights lights;
        if (!lights.loadLights("old.lgt")) return 0;
        EXPECT_FALSE(lights.bLoaded);
        EXPECT_EQ(lights.uCount, 0u);
        const std::string sLog = takeLog();
        EXPECT_NE(sLog.find("Invalid file"), std::string::npos) << sLog;
        return numberBehind(sLog, "old.lgt, file line: ");
    }
};

TEST_F(OldLightsFile, TheDocumentedExampleConvertsToTheDocumentedResult) {
    const std::string sPage = readFile(std::string(RT_SOURCE_DIR) + "/docs/lights.md");
    const std::string sNew = codeBlock(sPage, "2\n");
    writeFile("old.lgt", codeBlock(sPage, "// Two lamps"));
    EXPECT_EQ(system(RT_EMULATOR " '" RT_CONVERT_LIGHTS "' old.lgt new.lgt >out.txt"), 0);
    EXPECT_EQ(readFile("new.lgt"), sNew);
    EXPECT_EQ(readFile("out.txt"), "new.lgt: 2 lights\n");

    OldLights old;
    Lights lights;
    ASSERT_FALSE(old.loadLights("old.lgt") || lights.loadLights("new.lgt"));
    ASSERT_EQ(lights.uCount, old.uCount);
    for (uint32_t u = 0; u < old.uCount; ++u) {
        EXPECT_EQ(lights.pLights[u].v3Position.x, old.pLights[u].v3Position.x);
        EXPECT_EQ(lights.pLights[u].fFlux, old.pLights[u].fFlux);
    }
}

TEST_F(OldLightsFile, ReadsBlocksAsTheyStand) {
    const std::string sText =
        ";; comment\n\nsettings of no block\n  GeLight lamp-large\n\ttype point\n\nTotalFlux 5\n// aside\nother 1\n"
        "  intensity 1 2 3.5 rest\nenddef\nGeLight lamp\nTotalFlux 7\nenddef\n"
        "Fixture one\nGeLight x\nLight lamp\nPosition 1 -2 3\nenddef\nFixture two\nLight large\nenddef\nGeLight open\n";
    writeFile("old.lgt", sText);
    OldLights lights;
    ASSERT_FALSE(lights.loadLights("old.lgt"));
    ASSERT_FALSE(lights.loadLights("old.lgt"));  // a second load replaces the first
    ASSERT_EQ(lights.uCount, 2u);
    EXPECT_FALSE(lights.saveLights("new.lgt"));
    // The first definition whose name contains the word is taken; what a block leaves out is 0.
    EXPECT_EQ(readFile("new.lgt"),
              "2\n1.000000 -2.000000 3.000000 5.000000 1.000000 2.000000 3.500000\n"
              "0.000000 0.000000 0.000000 5.000000 1.000000 2.000000 3.500000\n");
}

TEST_F(OldLightsFile, ErrorsNameFileAndLine) {
    const std::string sLamp = "GeLight lamp\nTotalFlux 7\nenddef\n";
    EXPECT_EQ(refusedLine(sLamp), 0u);
    EXPECT_EQ(refusedLine("\nGeLight\n"), 2u);
    EXPECT_EQ(refusedLine("GeLight " + std::string(40, 'x')), 1u);
    EXPECT_EQ(refusedLine("GeLight a\nTotalFlux much\n"), 2u);
    EXPECT_EQ(refusedLine("GeLight a\n// note\nintensity 1 2\n"), 3u);
    EXPECT_EQ(refusedLine("Fixture f\nLight lamp\n"), 2u);
    EXPECT_EQ(refusedLine(sLamp + "Fixture f\n"), 0u);
    EXPECT_EQ(refusedLine(sLamp + "Fixture\n"), 4u);
    EXPECT_EQ(refusedLine(sLamp + "Fixture f\nLight\n"), 5u);
    EXPECT_EQ(refusedLine(sLamp + "Fixture f\nLight lantern\n"), 5u);
    EXPECT_EQ(refusedLine(sLamp + "Fixture f\nLight lamp\nPosition 1 2\n"), 6u);
    EXPECT_EQ(refusedLine(sLamp + "Fixture f\nPosition 1 2 3\nenddef\n"), 6u) << "a fixture without a light";
    OldLights lights;
    EXPECT_TRUE(lights.loadLights("missing.lgt"));
    EXPECT_TRUE(lights.saveLights("missing/new.lgt"));
    const std::string sLog = takeLog();
    EXPECT_NE(sLog.find("Failed to open file: missing.lgt"), std::string::npos);
    EXPECT_NE(sLog.find("Failed to open file: missing/new.lgt"), std::string::npos);
}

TEST_F(OldLightsFile, TheToolSaysWhatIsWrongAndFails) {
    const auto run = [](const char* szArguments) {
        return system(
            (std::string(RT_EMULATOR " '" RT_CONVERT_LIGHTS "' ") + szArguments + " >out.txt 2>err.txt").c_str());
    };
    writeFile("old.lgt", "GeLight\n");
    EXPECT_NE(run("old.lgt new.lgt"), 0);
    EXPECT_NE(readFile("err.txt").find("old.lgt, file line: 1"), std::string::npos);
    EXPECT_NE(run("missing.lgt new.lgt"), 0);
    EXPECT_NE(readFile("err.txt").find("Failed to open file: missing.lgt"), std::string::npos);
    EXPECT_EQ(list(), (std::vector<std::string>{"err.txt", "old.lgt", "out.txt"}));
    EXPECT_NE(run("old.lgt"), 0);
    EXPECT_NE(readFile("err.txt").find("Usage: convert-lights OLD NEW"), std::string::npos);
    EXPECT_EQ(run("--help"), 0);
}
