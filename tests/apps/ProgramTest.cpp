// The program as a process: command lines, output, exit statuses, files left behind.
#include <filesystem>
#include <set>

#include "support/FileTest.h"
#include "support/Process.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

using namespace std::string_literals;

const std::string USAGE = readFile(RT_SOURCE_DIR "/tests/data/usage.txt");

// Runs the program as a user would, with a scene called "test" of 24 x 18 pixels at hand.
class ProgramTest : public FileTest {
 protected:
    ProgramTest() { makeScene(makeShowcase(), 24, 18).write("test"); }

    // Exit status; the output is in sOutput.
    int run(const std::string& sArguments) {
        return runCommand("timeout 120 " RT_EMULATOR " " RT_PROGRAM " " + sArguments + " 2>&1", sOutput);
    }

    std::string sOutput;
};

TEST_F(ProgramTest, RefusedCommandLinesNameTheArgumentAndTheReason) {
    const struct {
        std::string sArguments;
        const char* szReason = nullptr;
    } cases[] = {
        // clang-format off
        {"--help"}, {"--help test"}, {"test --helpme --out"}, {"test -1"}, {"--texattr"}, {"test --texattr x"},
        {"--brick 1 2"}, {"--resolution 5"}, {"--resolution 5 x test"}, {"--resolution 0 5 test"},
        {"--resolution 5 0 test"}, {"--angle"}, {"--angle x test"}, {"--packsize x test"}, {"--server 5000"},
        {"--server 5000 4"}, {"--server 5000 -1 test"}, {std::string(233, 's')}, {"--out " + std::string(256, 'o') + " test"},
        {"", "the name of a scene expected"}, {"-x", "-x: unknown option: \"-x\""},
        {"--camera 1 2 3", "--camera: six numbers expected, but the command line ends"},
        {"--brick 1 x 3 test", "--brick: a number expected: \"x\""},
        {"--packsize 0 test", "--packsize: at least one pixel expected: \"0\""},
        {"--out", "--out: a file name expected, but the command line ends"},
        {"--server 5000 0 test", "--server: at least one connection expected: \"0\""},
        {"--client 127.0.0.1", "--client: a port expected after the address, but the command line ends"},
        // Accepted, but probably a mistake.
        {"--packsize 16x --help", "--packsize: warning: the end of the value is ignored: \"16x\""},
        {"--angle 0,5 --help", "--angle: warning: the end of the value is ignored: \"0,5\""},
        {"--texattr 4294967296 --help", "--texattr: warning: more than 32 bits, understood as 4294967295: \"4294967296\""},
        {"--angle inf --help", "--angle: warning: not a finite number: \"inf\""},
        {"--camera 1 2 x --help", "--camera: warning: no number, so the option has no effect: \"x\""},
        // clang-format on
    };
    for (const auto& [s, szReason] : cases) {
        EXPECT_EQ(run(s), 0) << s;
        EXPECT_EQ(sOutput.substr(sOutput.size() - std::min(sOutput.size(), USAGE.size())), USAGE) << s;
        const size_t uReason = sOutput.find("RayTracer.exe: " + (szReason ? szReason + "\n"s : ""));
        EXPECT_EQ(uReason < sOutput.find(USAGE), szReason || !contains(s, "--help")) << s << sOutput;
        const bool bLong = s.size() > 200;
        EXPECT_EQ(contains(sOutput, ">> "), bLong) << s;
        const std::string sReport = s[0] == '-' ? ">> Invalid string: 'szFile'\n" : ">> Invalid scene\n";
        EXPECT_EQ(contains(readFile("RayTracer.log"), sReport), bLong) << s;
        EXPECT_EQ(readFile("kdtree.tmp") + readFile("out_tex.bmp"), "") << "nothing is rendered";
    }
}

TEST_F(ProgramTest, LocalModeReportsWhatItDoes) {
    for (const std::string sCache : {"FAILED\nBuilding kdtree...", "OK", "RESET\nBuilding kdtree..."}) {
        EXPECT_EQ(run("--packsize 10 test" + std::string(sCache[0] == 'R' ? " --resetcache" : "")), 1);
        const size_t uText = sOutput.find('\n') + 1, uTime = sOutput.find("Time: "), uEnd = sOutput.find('\n', uTime);
        ASSERT_NE(uTime, std::string::npos) << sOutput;
        EXPECT_TRUE(contains(sOutput.substr(0, uText), " ] RayTracer.log")) << sOutput;
        EXPECT_EQ(sOutput.substr(uText, uTime - uText),
                  "Scene loaded...OK\nCamera loaded...OK\nAttributes loaded...OK\nLights loaded...OK\n"
                  "Loading kdtree from file... " +
                      sCache + "\nPreprocess done\nwidth: 24, height: 18\n0\n10\n");
        const std::string sLogged = " ] " + sOutput.substr(uTime, uEnd + 1 - uTime), sLog = readFile("RayTracer.log");
        EXPECT_TRUE(contains(sLog, sLogged)) << sLog << sOutput;
        EXPECT_TRUE(contains(sOutput.substr(uEnd), sLogged)) << sLog << sOutput;
        EXPECT_EQ(readFile("out_tex.bmp").size(), 54u + 24 * 3 * 18);
    }
}

TEST_F(ProgramTest, EveryOptionChangesThePictureItShould) {
    const auto picture = [&](const std::string& sArguments) {
        EXPECT_EQ(run(sArguments), 1) << sOutput;
        return readFile("out_tex.bmp");
    };
    const std::string sPlain = picture("test"), sBricks = picture("test --texattr 1"),
                      sDirt = picture("--dirt --texattr 1x test");
    std::set<std::string> pictures = {sPlain, sBricks, sDirt};
    for (const char* szArguments : {"--camera 0 0 12 0 0 -1 test", "--texattr 1 --brick 900 200 50 test",
                                    "--texattr 1 --angle 2 test", "--resolution 30 18 test"}) {
        pictures.insert(picture(szArguments));
    }
    EXPECT_EQ(pictures.size(), 7u) << "all differ";
    const std::pair<const char*, const std::string&> same[] = {
        {"other test", sPlain},  // the last name counts
        {"test --texattr 4294967295", sPlain},
        {"--texattr 4294967296 test --packsize -99999999999", sPlain},
        {"--dirt test --brick 1 2 3 --angle -4", sPlain},  // nothing is textured
        {"--camera 1 2 x 4 5 6 test", sPlain},             // a camera that does not read is none
        {"--texattr 0 --texattr 1 test", sBricks},
        {"--brick 600.0 1.25e2 20 --angle .125 --texattr 1 test", sBricks},
        {"--packsize 16x test", sPlain},
        {"--packsize 4294967295 --resetcache test", sPlain},
        {"--dirty --texattribute 1 test", sDirt},  // a name is a prefix of its argument
    };
    for (const auto& [szArguments, sPicture] : same)
        EXPECT_EQ(firstDifference(picture(szArguments), sPicture), "") << szArguments;
    const std::string sName(232, 'n'), sImage(255, 'o');  // the longest there can be
    writeFile("Scenes/scene_descs/" + sName + ".txt", readFile("Scenes/scene_descs/test.txt"));
    EXPECT_EQ(run("--out " + sImage + " " + sName), 1);
    EXPECT_EQ(firstDifference(readFile(sImage), sPlain), "");
}

TEST_F(ProgramTest, FailuresAreLoggedAndLeaveNothingBehind) {
    std::filesystem::create_directory("kdtree.tmp");
    const struct {
        const char *szArguments, *szReport;
    } cases[] = {{"nowhere", "Failed to open file: Scenes/scene_descs/nowhere.txt"},
                 {"--resolution 100000 100000 test", "Image too large: 100000 x 100000 pixels\n"},
                 {"--out missing/x.bmp test", "[Bitmap.cpp | saveToFile | LINE: "},
                 {"--out missing/x.bmp test", " ] missing/x.bmp: No such file or directory\n"},
                 {"--out /dev/full test", "No image was written: /dev/full\n"},
                 {"--out /dev/full test", " ] /dev/full: No space left on device\n"},
                 {"--out Scenes test", " ] Scenes: Is a directory\n"},
                 {"--server 0 1 --resolution 60000 60000 test", "Image too large: 60000 x 60000"},
                 {"--server 0 1 --out missing/x.bmp test", "Failed to open file: missing/x.bmp\n"},
                 {"--server 0 1 --out Scenes/test/test.cam nowhere",
                  "left as it was: a picture of 0 x 0 pixels replaces no file\n"}};
    const std::vector<std::string> vNames = {"RayTracer.log", "Scenes", "kdtree.tmp"};
    for (const auto& c : cases) {
        EXPECT_EQ(run(c.szArguments), 1);
        EXPECT_EQ(contains(sOutput, "Preprocess done"),
                  contains(c.szArguments, "100000") || contains(c.szArguments, "/dev/full"))
            << "a picture that cannot be written is noticed before the work: " << c.szArguments;
        EXPECT_TRUE(contains(readFile("RayTracer.log"), c.szReport)) << sOutput;
        EXPECT_TRUE(contains(sOutput, c.szReport)) << sOutput;
        EXPECT_EQ(list(), vNames) << c.szArguments;
    }
    EXPECT_EQ(run("test"), 1);
    EXPECT_TRUE(contains(sOutput, "Failed to open file: kdtree.tmp")) << "the render goes on";
    EXPECT_TRUE(contains(sOutput, "Time: ")) << "the render goes on";
    EXPECT_TRUE(contains(readFile("out_tex.bmp"), "BM"));
    writeFile("Scenes/scene_descs/test.txt", "Scenes/test/test.brs\nScenes/test/test.cam\nScenes/test/test.atr\n");
    EXPECT_EQ(run("test"), 1);
    EXPECT_TRUE(contains(sOutput, "Failed to open file: ")) << "no lights file";
}

TEST_F(ProgramTest, RunsSilentlyWithoutALog) {
    std::filesystem::create_directory("RayTracer.log");
    const std::string sReason = "RayTracer.log: Is a directory: this run has no log and no messages\n";
    EXPECT_EQ(run("nowhere"), 1);
    EXPECT_EQ(sOutput, sReason);
    EXPECT_EQ(run("test"), 1);
    EXPECT_EQ(sOutput.substr(0, sReason.size() + 17), sReason + "Scene loaded...OK");
    EXPECT_TRUE(contains(readFile("out_tex.bmp"), "BM"));
}

}  // namespace
