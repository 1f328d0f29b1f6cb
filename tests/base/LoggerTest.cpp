// The log: stamps, echo, threads.
#include "base/NLogger.h"

#include <unistd.h>

#include <ctime>
#include <regex>

#include "support/FileTest.h"

namespace {

using LoggerTest = FileTest;
using Velk::NLogger;

// The text with an @ for every time stamp, and without line numbers.
std::string fold(const std::string& sText) {
    const std::regex stamp(R"(\[ \d\d:\d\d:\d\d \d\d-\d\d-\d{4} \] )"), line(R"(LINE: \d+)");
    return std::regex_replace(std::regex_replace(sText, stamp, "@"), line, "LINE: ");
}

TEST_F(LoggerTest, WritesStampedMessagesAndEchoesThem) {
    NLogger::Release();
    testing::internal::CaptureStdout();
    NLogger::LogMessage("before\n");
    EXPECT_EQ(NLogger::InitLogger("missing/a.log", true), 2u);
    NLogger::LogMessage("dropped\n");
    EXPECT_EQ(NLogger::InitLogger("a.log", true), 0u);
    EXPECT_EQ(NLogger::InitLogger("b.log", false), 0u) << "the first log stays, with its echo";
    NLogger::LogMessage("Task %d -> ", 7);
    NLogger::LogAppend("OK\n");
    ReportErrorFormat("no %s\n", "x");
    NLogger::Release();
    NLogger::LogMessage("after\n");
    EXPECT_EQ(NLogger::InitLogger("b.log", false), 0u);
    const std::string sEcho = testing::internal::GetCapturedStdout(), sFile = readFile("a.log");
    EXPECT_EQ(sEcho, sFile);
    EXPECT_EQ(fold(sFile), "@a.log\n@Task 7 -> OK\n@[LoggerTest.cpp | TestBody | LINE: ] >> @no x\n");
    EXPECT_EQ(fold(readFile("b.log")), "@b.log\n");
}

std::string stampOf(time_t tTime) {
    char szStamp[32] = "";
    strftime(szStamp, sizeof(szStamp), "[ %H:%M:%S %d-%m-%Y ] ", localtime(&tTime));
    return szStamp;
}

// Logs across the end of a second.
TEST_F(LoggerTest, StampsEachMessageWithItsTime) {
    NLogger::Release();
    ASSERT_EQ(NLogger::InitLogger("a.log", false), 0u);
    const time_t tStart = time(nullptr);
    size_t uDone = readFile("a.log").size();
    for (time_t tAfter = tStart; tAfter == tStart;) {
        const time_t tBefore = time(nullptr);
        NLogger::LogMessage("x\n");
        tAfter = time(nullptr);
        const std::string sLine = readFile("a.log").substr(uDone);
        EXPECT_TRUE(sLine == stampOf(tBefore) + "x\n" || sLine == stampOf(tAfter) + "x\n") << sLine;
        uDone += sLine.size();
        usleep(1000);
    }
    NLogger::LogMessage("x\n");
    EXPECT_NE(readFile("a.log").substr(uDone), stampOf(tStart) + "x\n");
}

}  // namespace
