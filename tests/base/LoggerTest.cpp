#include "base/NLogger.h"

#include <algorithm>

#include "support/FileTest.h"

namespace {

using LoggerTest = FileTest;
using Velk::NLogger;

// The text with an @ for every time stamp.
std::string foldStamps(std::string s) {
    const std::string sForm = "[ 00:00:00 00-00-0000 ] ";
    for (size_t u = 0; u + sForm.size() <= s.size(); ++u) {
        const auto fits = [](char cForm, char c) { return cForm == '0' ? isdigit(c) != 0 : cForm == c; };
        if (std::equal(sForm.begin(), sForm.end(), s.begin() + static_cast<long>(u), fits))
            s.replace(u, sForm.size(), "@");
    }
    return s;
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
    std::string sText = foldStamps(sFile);
    const size_t uLine = sText.find("LINE: ") + 6;
    sText.erase(uLine, sText.find(']') - uLine);
    EXPECT_EQ(sText, "@a.log\n@Task 7 -> OK\n@[LoggerTest.cpp | TestBody | LINE: ] >> @no x\n");
    EXPECT_EQ(foldStamps(readFile("b.log")), "@b.log\n");
}

}  // namespace
