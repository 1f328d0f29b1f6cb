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
    g_vReports.clear();
    Velk::setInputSink(collect);
    ReportErrorFormat("Failed to open file: %s", "a.cam");
    Velk::fileError("a.cam", ENOENT);
    Velk::fileError("", 0);
    Velk::inputError("a.cam", 2, "viewpoint 1 2\r\nscreen", "%d numbers expected", 3);
    Velk::inputWarning("\x9B.cam", 7, "\x1B[2J\t\xC3\xA4", "odd \"%s\"", "\xE2\x80\xAE\n");
    Velk::inputWarning("a.cam", 8, std::string(5000, 'x').c_str(), "long");
    Velk::inputError(std::string(5000, 'y').c_str(), 0, nullptr, "cut");
    Velk::inputError("z", 0, nullptr, "%s", (std::string(995, 'z') + "€€€€€€€€€€").c_str());
    Velk::memoryError(5'000'000'000, "the %s", "picture");
    Velk::setInputSink(nullptr);
    Velk::inputWarning("quiet", 0, nullptr, "to the log alone");
    ASSERT_EQ(g_vReports.size(), 8u);
    const char* const expected[] = {"E a.cam: No such file or directory", "E \"\": Not a regular file",
                                    "E a.cam:2: 3 numbers expected: \"viewpoint 1 2\"",
                                    "W \\x9B.cam:7: warning: odd \"\\xE2\\x80\\xAE\\x0A\": \"\\x1B[2J\t\xC3\xA4\""};
    for (size_t u = 0; u < 4; ++u) EXPECT_EQ(g_vReports[u], expected[u]);
    EXPECT_EQ(g_vReports[4], "W a.cam:8: warning: long: \"" + std::string(80, 'x') + "...\"");
    EXPECT_TRUE(contains(g_vReports[5], "yyy...: cut")) << "a long name leaves room for the reason";
    EXPECT_EQ(g_vReports[6], "E z: " + std::string(994, 'z') + "...");
    EXPECT_EQ(g_vReports[7], "E Not enough memory: 5000000000 bytes for the picture");
    const std::string sLog = takeLog();
    EXPECT_TRUE(contains(sLog, "Failed to open file: a.cam\n[ ")) << "a report that is left open gets its line's end";
    EXPECT_TRUE(contains(sLog, " ] a.cam: No such file or directory\n[ ")) << sLog;
    EXPECT_TRUE(contains(sLog, " ] quiet: warning: to the log alone\n")) << sLog;
}

}  // namespace
