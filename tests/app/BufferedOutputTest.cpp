// When lines on standard output reach their reader.
#include "app/BufferedOutput.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "app/Signals.h"
#include "net/Peer.h"
#include "support/FileTest.h"
#include "support/Process.h"

namespace {

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
