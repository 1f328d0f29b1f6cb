// When lines on standard output reach their reader.
#include "app/BufferedOutput.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "app/Signals.h"
#include "base/NLogger.h"
#include "net/Peer.h"
#include "support/FileTest.h"
#include "support/Process.h"

namespace {

using Velk::NLogger;

constexpr int NEVER = 3600 * 1000;

class BufferedOutputTest : public FileTest {
 protected:
    BufferedOutputTest() { fflush(stdout); }  // or the new process writes that, too
};

// For a process of its own.
void printTo(const char* szFile) {
    dup2(open(szFile, O_WRONLY | O_CREAT | O_NOCTTY, 0666), STDOUT_FILENO);
    prepareProcess();
}

TEST_F(BufferedOutputTest, LinesAreWrittenTogetherAndAtTheEnd) {
    Process process([] {
        printTo("output");
        {
            const BufferedOutput output(NEVER);
            for (int i = 0; i < 9; ++i) printf("line %d\n", i);
            writeFile("early", readFile("output"));
        }
        return 0;  // without what a regular exit would write
    });
    EXPECT_EQ(process.wait(), 0);
    EXPECT_LE(readFile("early"), "line 0\n") << "the C library may write the first one at once";
    EXPECT_EQ(readFile("output"), "line 0\nline 1\nline 2\nline 3\nline 4\nline 5\nline 6\nline 7\nline 8\n");
}

TEST_F(BufferedOutputTest, AKilledProcessHasWrittenItsLinesWhileItWaited) {
    Process process([] {
        printTo("output");
        const BufferedOutput output(1);
        printf("line %d\n", 1);
        return pause();
    });
    EXPECT_TRUE(waitUntil([] { return readFile("output") == "line 1\n"; }));
    process.send(SIGKILL);
    EXPECT_EQ(process.wait(), 1000 + SIGKILL);
    EXPECT_EQ(readFile("output"), "line 1\n");
}

// Several processes may share one output.
TEST_F(BufferedOutputTest, BlocksEndWithALineUnlessItStaysOpen) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);  // each write is a message
    Process process([&ends] {
        dup2(ends[1], STDOUT_FILENO);
        prepareProcess();
        NLogger::Release();
        const BufferedOutput output(NEVER);
        fputs("\n", stdout);  // the C library may write this at once
        if (NLogger::InitLogger("log", true)) return 1;
        NLogger::LogMessage("%s", "fast ");
        NLogger::WriteEcho();
        NLogger::LogAppend("tile\n");
        NLogger::LogMessage("%s", "slow ");
        NLogger::WriteEcho();
        NLogger::WriteEcho();
        NLogger::LogAppend("tile\n");
        for (int i = 0; i < 5000; ++i) {
            NLogger::LogMessage("tile %d\n", i);
            printf("Current task: %d/5000\n", i);
        }
        return 0;
    });
    close(ends[1]);
    std::string sBlock(65536, '\0'), sCut;
    ssize_t iLines = 0;
    for (ssize_t i; (i = recv(ends[0], sBlock.data(), sBlock.size(), 0)) > 0;) {
        iLines += std::count(sBlock.data(), sBlock.data() + i, '\n');
        if (sBlock[static_cast<size_t>(i) - 1] != '\n') sCut.append(sBlock.data() + std::max(i - 6, ssize_t{0}), 6);
    }
    close(ends[0]);
    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(sCut, " slow ");
    EXPECT_EQ(iLines, 10004);
}

TEST_F(BufferedOutputTest, ATerminalGetsEachLineAtOnce) {
    const int iTerminal = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_NE(iTerminal, -1);
    ASSERT_EQ(grantpt(iTerminal) | unlockpt(iTerminal), 0);
    const std::string sName = ptsname(iTerminal);
    Process process([&sName] {
        printTo(sName.c_str());
        const BufferedOutput output(NEVER);
        printf("line %d\n", 1);
        return pause();
    });
    char szLine[16] = "";
    EXPECT_TRUE(waitUntil([&] { return read(iTerminal, szLine, sizeof(szLine) - 1) > 0; }));
    EXPECT_STREQ(szLine, "line 1\r\n");
    close(iTerminal);
}

}  // namespace
