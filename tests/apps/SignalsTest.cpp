// What signals, limits and closed streams do to a run.
#include <csignal>
#include <filesystem>

#include "base/OutputFile.h"
#include "shared/StopSignals.h"
#include "support/FileTest.h"
#include "support/Process.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

using SignalsTest = FileTest;

TEST_F(SignalsTest, ASignalWhileAFileIsWrittenLeavesNoPartBehind) {
    for (const int iSignal : {SIGINT, SIGTERM}) {
        Process process([iSignal] {
            StopSignals::endProcess();
            Velk::OutputFile first, done, second;
            if (first.open("picture") || done.open("done") || done.commit() || second.open("cache")) return 1;
            fputs("half", second.stream());
            return raise(iSignal);
        });
        EXPECT_EQ(process.wait(), 1000 + iSignal);
        EXPECT_EQ(list(), std::vector<std::string>{"done"});
    }
}

// Each once cost the picture, and the closed output put text into the log or the picture.
TEST_F(SignalsTest, NeitherLimitsNorReadersThatLeaveCostAPicture) {
    makeScene(makeShowcase(), 24, 18).write("test");
    const std::string sRun = RT_EMULATOR " " RT_PROGRAM " test";
    ASSERT_NE(system((sRun + " >output").c_str()), -1);
    const std::string sPicture = readFile("out_tex.bmp");
    ASSERT_EQ(sPicture.size(), 54u + 24 * 18 * 3);
    ASSERT_GT(readFile("kdtree.tmp").size(), 8192u) << "so it does not fit the limit";
    for (const std::string& sCommand : {"ulimit -f 16; " + sRun + " >output", "{ " + sRun + "; } | true",
                                        "{ " + sRun + "; } | head -n 1 >output", sRun + " >&-"}) {
        std::filesystem::remove("out_tex.bmp");
        std::filesystem::remove("kdtree.tmp");
        ASSERT_NE(system(sCommand.c_str()), -1);
        EXPECT_EQ(firstDifference(readFile("out_tex.bmp"), sPicture), "") << sCommand;
        EXPECT_FALSE(contains(readFile("RayTracer.log"), "Preprocess done"))
            << "meant for standard output: " << sCommand;
    }
}

}  // namespace
