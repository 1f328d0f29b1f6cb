// How mistakes in input files are reported.
#include "base/InputReport.h"

#include <cerrno>

#include "base/NLogger.h"
#include "support/FileTest.h"

namespace {

using InputReportTest = FileTest;

std::vector<std::string> g_vReports;
void collect(bool bError, const char* szReport) {
    g_vReports.push_back((bError ? "E " : "W ") + std::string(szReport));
}

TEST_F(InputReportTest, NamesFileLineReasonAndText) {
    const Velk::InputCounts before = Velk::inputCounts();
    g_vReports.clear();
    Velk::setInputSink(collect);
    ReportErrorFormat("Failed to open file: %s", "a.cam");
    Velk::fileError("a.cam", ENOENT);
    Velk::fileError("", 0);
    Velk::inputError("a.cam", 2, "viewpoint 1 2\r\nscreen", "%d numbers expected", 3);
    Velk::inputWarning("a.cam", 7, "\x1B[2J\t\xC3\xA4", "odd");
    Velk::inputWarning("a.cam", 8, std::string(5000, 'x').c_str(), "long");
    Velk::inputError(std::string(5000, 'y').c_str(), 0, nullptr, "cut");
    Velk::memoryError(5'000'000'000, "the %s", "picture");
    Velk::setInputSink(nullptr);
    Velk::inputWarning("quiet", 0, nullptr, "to the log alone");
    ASSERT_EQ(g_vReports.size(), 7u);
    const char* const expected[] = {"E a.cam: No such file or directory", "E \"\": Not a regular file",
                                    "E a.cam:2: 3 numbers expected: \"viewpoint 1 2\"",
                                    "W a.cam:7: warning: odd: \"\\x1B[2J\t\xC3\xA4\""};
    for (size_t u = 0; u < 4; ++u) EXPECT_EQ(g_vReports[u], expected[u]);
    EXPECT_EQ(g_vReports[4], "W a.cam:8: warning: long: \"" + std::string(80, 'x') + "...\"");
    EXPECT_LT(g_vReports[5].size(), 1100u);
    EXPECT_EQ(g_vReports[6], "E Not enough memory: 5000000000 bytes for the picture");
    EXPECT_EQ(Velk::inputCounts().uErrors - before.uErrors, 5u);
    EXPECT_EQ(Velk::inputCounts().uWarnings - before.uWarnings, 3u);
    const std::string sLog = takeLog();
    EXPECT_TRUE(contains(sLog, "Failed to open file: a.cam\n[ ")) << "a report that is left open gets its line's end";
    EXPECT_TRUE(contains(sLog, " ] a.cam: No such file or directory\n[ ")) << sLog;
    EXPECT_TRUE(contains(sLog, " ] quiet: warning: to the log alone\n")) << sLog;
}

}  // namespace
