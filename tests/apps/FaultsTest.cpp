// The program under faults of the system: full disks, little memory, few descriptors, kills, odd files.

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "base/OutputFile.h"
#include "shared/StopSignals.h"
#include "support/FileTest.h"
#include "support/Process.h"
#include "support/Scenes.h"

using namespace rt;

#ifdef RT_SANITIZED
constexpr bool MEMORY_CAN_BE_LIMITED = false;
#else
constexpr bool MEMORY_CAN_BE_LIMITED = !*RT_EMULATOR;
#endif

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

const std::string PROGRAM = RT_EMULATOR " " RT_PROGRAM " ";

class FaultsTest : public FileTest {
 protected:
    FaultsTest() {
        makeScene(makeShowcase(), 24, 18).write("test");
        run();
        sPicture = readFile("out_tex.bmp");
        EXPECT_EQ(sPicture.size(), 54u + 24 * 18 * 3);
        for (const char* szFile : {"out_tex.bmp", "kdtree.tmp", "RayTracer.log"}) fs::remove(szFile);
    }

    // Runs the program to its end behind a command that limits it. What it printed is in sOutput.
    int run(const std::string& sLimit = "", const std::string& sArguments = "test") {
        return runCommand(sLimit + PROGRAM + sArguments + " 2>&1", sOutput);
    }

    static bool hasPart() {
        for (const std::string& sName : list()) {
            if (contains(sName, ".part")) return true;
        }
        return false;
    }

    std::string sPicture, sOutput;
};

TEST_F(FaultsTest, WithoutMemoryOneLineNamesTheBytes) {
    if (!MEMORY_CAN_BE_LIMITED) GTEST_SKIP() << "no limit of memory under a sanitizer or an emulator";
    Random random(1);
    makeScene(makeSoup(random, 20'000, 0.1f), 400, 300).write("large");
    unsigned uNamed = 0;
    bool bDone = false;
    for (unsigned uLimit = 4'000'000; !bDone && uLimit < 1'000'000'000; uLimit += uLimit / 16) {
        const int iStatus = run("prlimit --as=" + std::to_string(uLimit) + " ", "large");
        ASSERT_TRUE(iStatus == 1 || iStatus == 127 || iStatus == 126) << uLimit << " " << sOutput;  // 127: no libraries
        const std::string sFile = readFile("out_tex.bmp");
        ASSERT_EQ(sFile.size(), sFile.empty() ? 0u : 54u + 400 * 300 * 3) << uLimit;
        ASSERT_FALSE(hasPart()) << uLimit;
        bDone = !sFile.empty() && !readFile("kdtree.tmp").empty();
        const bool bNamed = contains(sOutput, "ot enough memory");
        ASSERT_LE(iStatus == 1 && sFile.empty(), bNamed) << uLimit << " ended without a reason: " << sOutput;
        uNamed += contains(sOutput, "Not enough memory: ") && contains(sOutput, " bytes for ");
    }
    EXPECT_TRUE(bDone) << sOutput;
    EXPECT_GT(uNamed, 3u);
}

TEST_F(FaultsTest, ASignalWhileAFileIsWrittenLeavesNoPartBehind) {
    for (const int iSignal : {SIGINT, SIGTERM}) {
        Process process([iSignal] {
            StopSignals::endProcess();
            Velk::OutputFile first, done, second;
            if (first.open("picture") || done.open("done") || done.commit() || second.open("cache")) return 1;
            fputs("half", second.stream());
            return raise(iSignal);
        });
        EXPECT_EQ(process.wait(), 1000 + iSignal);
        EXPECT_EQ(list(), (std::vector<std::string>{"Scenes", "done"}));
    }
}

// Each once cost the picture, and the closed output put text into the log or the picture.
TEST_F(FaultsTest, NeitherLimitsNorReadersThatLeaveCostAPicture) {
    const std::string sRun = PROGRAM + "test";
    for (const std::string& sCommand : {"ulimit -f 16; " + sRun + " >output", "{ " + sRun + "; } | true",
                                        "{ " + sRun + "; } | head -n 1 >output", sRun + " >&-"}) {
        runCommand(sCommand, sOutput);
        EXPECT_EQ(firstDifference(readFile("out_tex.bmp"), sPicture), "") << sCommand;
        EXPECT_EQ(fs::exists("kdtree.tmp"), sCommand[0] != 'u') << "it does not fit the limit";
        EXPECT_FALSE(contains(readFile("RayTracer.log"), "Preprocess done"))
            << "meant for standard output: " << sCommand;
        fs::remove("out_tex.bmp");
        fs::remove("kdtree.tmp");
    }
}

TEST_F(FaultsTest, AFullDiskLeavesTheOldPictureAndNamesTheReason) {
    for (const unsigned uLimit : {1000u, 1349u, 1350u, 8000u}) {
        SCOPED_TRACE(uLimit);
        writeFile("out_tex.bmp", "old");
        EXPECT_EQ(run("prlimit --fsize=" + std::to_string(uLimit) + " "), 1);
        EXPECT_EQ(firstDifference(readFile("out_tex.bmp"), (uLimit < sPicture.size() ? "old" : sPicture)), "");
        EXPECT_EQ(contains(sOutput, "No image was written: out_tex.bmp\n"), uLimit < sPicture.size()) << sOutput;
        EXPECT_TRUE(contains(sOutput, ": File too large\n")) << "the cache at least does not fit: " << sOutput;
        EXPECT_FALSE(hasPart());
        EXPECT_FALSE(fs::exists("kdtree.tmp"));
    }
    fs::remove("RayTracer.log");
    for (const char* szFile : {"RayTracer.log", "kdtree.tmp"}) fs::create_symlink("/dev/full", szFile);
    EXPECT_EQ(run(), 1);
    EXPECT_EQ(firstDifference(readFile("out_tex.bmp"), sPicture), "") << "neither log nor cache may cost the picture";
    fs::create_directory("disk");
    run("unshare -m sh -c 'mount -t tmpfs -o size=8k small disk && exec \"$@\"' sh ",
        "--resolution 100 100 --out disk/x.bmp test");
    if (contains(sOutput, "unshare: ") || contains(sOutput, "mount: ")) GTEST_SKIP() << "mounting is not allowed";
    EXPECT_TRUE(contains(sOutput, " ] disk/x.bmp: No space left on device\n")) << sOutput;
}

// The old picture is longer than the new one: nothing of it may stay. And one that is protected is not replaced, though
// its directory would allow it.
TEST_F(FaultsTest, AReadOnlyDirectoryCostsLogAndCacheButNotThePicture) {
    const char* szNobody = geteuid() ? "" : "setpriv --reuid=65534 --regid=65534 --clear-groups ";
    writeFile("out_tex.bmp", sPicture + "the old one");
    ASSERT_EQ(chmod("out_tex.bmp", 0666) | chmod(".", 0555), 0);
    const int iStatus = run(szNobody);
    ASSERT_EQ(chmod(".", 0777), 0);
    if (iStatus == 127 || iStatus == 126) GTEST_SKIP() << "root cannot be stopped by modes here";
    EXPECT_EQ(iStatus, 1);
    EXPECT_EQ(sOutput.rfind("RayTracer.log: Permission denied: this run has no log and no messages\n", 0), 0u)
        << sOutput;
    EXPECT_EQ(firstDifference(readFile("out_tex.bmp"), sPicture), "");
    EXPECT_FALSE(fs::exists("kdtree.tmp"));
    writeFile("out_tex.bmp", "protected");
    ASSERT_EQ(chmod("out_tex.bmp", 0444), 0);
    EXPECT_EQ(run(szNobody), 1);
    EXPECT_TRUE(contains(sOutput, "out_tex.bmp: Permission denied\n")) << sOutput;
    EXPECT_EQ(readFile("out_tex.bmp"), "protected");
    EXPECT_FALSE(hasPart());
}

// Killed at any moment, most of all while a file is written.
TEST_F(FaultsTest, AKillLeavesNoTornFile) {
    for (const char* szFile : {"out_tex.bmp", "kdtree.tmp"}) {
        run("", "--resolution 700 500 test");
        const std::string sWhole = readFile("out_tex.bmp"), sTree = readFile("kdtree.tmp");
        for (unsigned u = 0; u < 6; ++u) {
            for (const std::string& sFile : list()) {
                if (sFile == szFile || sFile.find(".RayTracer-") == 0) fs::remove(sFile);
            }
            Process process("exec " + PROGRAM + "--resolution 700 500 test >said");
            while (!process.hasEnded() && !hasPart() && !fs::exists(szFile)) {
            }
            process.send(SIGKILL);
            process.wait();
            for (const auto& [sName, sAll] : {std::pair{"out_tex.bmp"s, sWhole}, {"kdtree.tmp"s, sTree}}) {
                EXPECT_EQ(firstDifference(readFile(sName), fs::exists(sName) ? sAll : ""), "") << sName;
            }
        }
    }
    writeFile(".RayTracer-999999999-0.part", "left by a dead process");
    EXPECT_EQ(run(), 1);
    EXPECT_FALSE(hasPart()) << "what was left is removed";
    EXPECT_EQ(firstDifference(readFile("out_tex.bmp"), sPicture), "");
}

TEST_F(FaultsTest, FewDescriptorsGiveAReasonOrThePicture) {
    if (*RT_EMULATOR) GTEST_SKIP() << "the emulator needs descriptors of its own";
    for (unsigned uFiles = 3; uFiles < 8; ++uFiles) {
        fs::remove("out_tex.bmp");
        EXPECT_EQ(run("prlimit --nofile=" + std::to_string(uFiles) + " ", "--resetcache test") | 126, 127)
            << uFiles << sOutput;
        const bool bPicture = readFile("out_tex.bmp") == sPicture;
        EXPECT_EQ(fs::exists("out_tex.bmp"), bPicture) << uFiles;
        if (bPicture || contains(sOutput, "shared libraries")) continue;
        EXPECT_TRUE(contains(sOutput, "Too many open files")) << uFiles << sOutput;
    }
}

TEST_F(FaultsTest, RendersInOneDirectoryDoNotDisturbEachOther) {
    for (unsigned uRound = 0; uRound < 3; ++uRound) {
        fs::remove("kdtree.tmp");
        runCommand("for i in 1 2 3 4; do " + PROGRAM + "test 2>&1 & done | grep -c '^Time: '", sOutput);
        EXPECT_EQ(sOutput, "4\n");
        EXPECT_EQ(firstDifference(readFile("out_tex.bmp"), sPicture), "");
        EXPECT_FALSE(hasPart());
        EXPECT_EQ(run(), 1);
        EXPECT_TRUE(contains(sOutput, "Loading kdtree from file... OK\n")) << sOutput;
    }
}

// Each once hung the program or was read as an empty file.
TEST_F(FaultsTest, OnlyRegularFilesAreRead) {
    const std::string sScene = "Scenes/test/test.";
    const char* szLimited = "timeout 120 ";
    for (const std::string& sFile : {"Scenes/scene_descs/test.txt"s, sScene + "cam", sScene + "atr", sScene + "lgt"}) {
        fs::rename(sFile, "kept");
        for (const char* szKind : {"pipe", "device", "directory"}) {
            if (*szKind == 'p') {
                ASSERT_EQ(mkfifo(sFile.c_str(), 0600), 0);
            } else if (szKind[2] == 'v') {
                fs::create_symlink("/dev/zero", sFile);
            } else {
                fs::create_directory(sFile);
            }
            EXPECT_EQ(run(szLimited), 1);
            EXPECT_TRUE(contains(sOutput, "Failed to open file: " + sFile + "\n")) << sOutput;
            const char* szReason = szKind[2] == 'r' ? "Is a directory\n" : "Not a regular file\n";
            EXPECT_TRUE(contains(sOutput, " ] " + sFile + ": " + szReason)) << sOutput;
            fs::remove(sFile);
        }
        fs::rename("kept", sFile);
    }
    ASSERT_EQ(mkfifo("kdtree.tmp", 0600), 0);
    EXPECT_EQ(run(szLimited), 1);
    EXPECT_EQ(firstDifference(readFile("out_tex.bmp"), sPicture), "");
    EXPECT_TRUE(contains(sOutput, "kdtree.tmp")) << sOutput;
    fs::remove("RayTracer.log");
    ASSERT_EQ(mkfifo("RayTracer.log", 0600), 0);
    EXPECT_EQ(run(szLimited), 1);
    EXPECT_TRUE(contains(sOutput, "RayTracer.log: No such device or address: this run has no log")) << sOutput;
}

}  // namespace
