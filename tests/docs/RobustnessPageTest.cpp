// The tests that docs/robustness.md names.
#include <filesystem>
#include <regex>

#include "support/FileTest.h"

namespace {

// A promise whose test was renamed or removed would be held by nothing.
TEST(RobustnessPageTest, NamesTestsThatExist) {
    std::string sTests;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(RT_SOURCE_DIR "/tests")) {
        if (entry.path().extension() == ".cpp") sTests += readFile(entry.path());
    }
    const std::string sPage = readFile(RT_SOURCE_DIR "/docs/robustness.md");
    const std::regex name("`([A-Za-z]+Test)\\.([A-Za-z]+|\\*)`");
    unsigned uNames = 0;
    for (std::sregex_iterator i(sPage.begin(), sPage.end(), name), end; i != end; ++i, ++uNames) {
        const std::string sSuite = (*i)[1], sTest = (*i)[2];
        const std::string sText = "(" + sSuite + (sTest == "*" ? "," : ", " + sTest + ")");
        EXPECT_TRUE(contains(sTests, sText)) << sSuite << "." << sTest;
    }
    EXPECT_GT(uNames, 30u);
}

}  // namespace
