// Files that are written whole or not at all.
#include "base/OutputFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>

#include "render/RayTracer.h"
#include "support/FileTest.h"
#include "support/Process.h"

using namespace rt;

namespace {

namespace fs = std::filesystem;
using OutputFileTest = FileTest;
using Velk::OutputFile;

// errno of the step that failed, 0 for a file that is written.
int write(const std::string& sFile, const std::string& sText) {
    OutputFile file;
    errno = 0;
    if (file.open(sFile.c_str())) return errno;
    fwrite(sText.data(), 1, sText.size(), file.stream());
    return file.commit() ? errno : 0;
}

mode_t modeOf(const std::string& sFile) {
    struct stat status {};
    return stat(sFile.c_str(), &status) ? 0 : status.st_mode & 0777;
}

TEST_F(OutputFileTest, AFileKeepsItsMode) {
    const mode_t uOld = umask(027);
    EXPECT_EQ(write("new", "text"), 0);
    EXPECT_EQ(modeOf("new"), 0640u);
    for (const mode_t uMode : {0600u, 0666u, 0640u}) {
        ASSERT_EQ(chmod("new", uMode), 0);
        EXPECT_EQ(write("new", std::to_string(uMode)), 0);
        EXPECT_EQ(modeOf("new"), uMode);
        EXPECT_EQ(readFile("new"), std::to_string(uMode));
    }
    umask(uOld);
}

TEST_F(OutputFileTest, LinksAreFollowedAlsoToAFileThatIsNotThere) {
    fs::create_directory("far");
    fs::create_symlink("far/second", "first");
    fs::create_symlink("../target", "far/second");
    for (const std::string sText : {"new", "again"}) {
        EXPECT_EQ(OutputFile::probe("first"), false);
        EXPECT_EQ(write("first", sText), 0);
        EXPECT_TRUE(fs::is_symlink("first"));
        EXPECT_TRUE(fs::is_symlink("far/second"));
        EXPECT_EQ(readFile("target"), sText);
    }
    fs::create_symlink("circle", "circle");
    EXPECT_EQ(write("circle", "x"), ELOOP);
    EXPECT_EQ(write("missing/x", "x"), ENOENT);
    EXPECT_EQ(write("far/", "x"), EISDIR);
    EXPECT_EQ(write("far", "x"), EISDIR);
    EXPECT_EQ(write("", "x"), ENOENT);
    EXPECT_EQ(write(std::string(5000, 'x'), "x"), ENAMETOOLONG);
    EXPECT_EQ(write("/dev/full", "x"), ENOSPC);
    EXPECT_EQ(list(), (std::vector<std::string>{"circle", "far", "first", "target"}));
}

TEST_F(OutputFileTest, OnlyTemporaryFilesThatNobodyWritesAreRemoved) {
    OutputFile live;
    ASSERT_FALSE(live.open("picture"));
    const std::string sLive = list().at(0);
    const std::vector<std::string> vKept = {".RayTracer-1-2.part.old", ".RayTracer-1.part", ".RayTracer-x-1.part",
                                            "RayTracer-1-2.part"};
    for (const std::string& sName : vKept) writeFile(sName, "somebody's");
    writeFile(".RayTracer-1-0.part", "of a live process number, but nobody writes it");
    writeFile(".RayTracer-999999999-7.part", "of a dead process");
    ASSERT_EQ(mkfifo(".RayTracer-1-1.part", 0600), 0);
    EXPECT_EQ(write("other", "x"), 0);
    for (const char* szGone : {".RayTracer-1-0.part", ".RayTracer-999999999-7.part"}) {
        EXPECT_FALSE(fs::exists(szGone)) << szGone;
    }
    for (const std::string& sName : vKept) EXPECT_TRUE(fs::exists(sName)) << sName;
    EXPECT_TRUE(fs::exists(sLive));
    fputs("whole", live.stream());
    EXPECT_FALSE(live.commit());
    EXPECT_EQ(readFile("picture"), "whole");
}

// A stack that has to grow when memory has run out ends the process. Loading any scene makes it large enough.
TEST_F(OutputFileTest, AFileNeedsNoStackThatLoadingDidNotReserve) {
#ifdef RT_SANITIZED
    GTEST_SKIP() << "no limit of memory under a sanitizer";
#endif
    Process process([] {
        RayTracer rayTracer;
        static_cast<void>(rayTracer.load("missing", true));
        const rlimit none{0, 0};
        if (setrlimit(RLIMIT_AS, &none)) return 1;
        static_cast<void>(write("picture", "text"));  // may fail for want of memory
        if (!rayTracer.load("missing", true)) return 2;
        return 0;
    });
    EXPECT_EQ(process.wait(), 0);
    EXPECT_TRUE(*RT_EMULATOR || contains(takeLog(), " bytes for the stack\n"));
}

// The others start files of their own, which removes what looks abandoned.
TEST_F(OutputFileTest, NoFileIsLostToProcessesThatWriteBesideIt) {
    pid_t others[4];
    for (pid_t& iOther : others) {
        iOther = fork();
        ASSERT_NE(iOther, -1);
        while (!iOther) static_cast<void>(OutputFile::probe("other"));
    }
    int iLost = 0;
    for (int i = 0; i < 3000; ++i) iLost += write("mine", std::to_string(i)) != 0;
    EXPECT_EQ(iLost, 0);
    for (const pid_t iOther : others) {
        kill(iOther, SIGKILL);
        waitpid(iOther, nullptr, 0);
    }
}

}  // namespace
