// The log: stamps, echo, threads.
#include "base/NLogger.h"

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

}  // namespace
