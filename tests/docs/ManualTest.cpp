// The manual pages and the completion of each program name the options that its --help names.
#include <regex>
#include <set>

#include "support/FileTest.h"
#include "support/Process.h"

namespace {

using Names = std::set<std::string>;

// Long options that a text names.
Names optionsIn(const std::string& sText) {
    const std::regex option("(^|[^-A-Za-z0-9])(--[a-z][a-z-]*)");
    Names names;
    for (std::sregex_iterator i(sText.begin(), sText.end(), option); i != std::sregex_iterator(); ++i) {
        names.insert((*i)[2]);
    }
    return names;
}

void compare(const std::string& sName, const std::string& sProgram) {
    const std::string sRoot = RT_SOURCE_DIR;
    std::string sHelp, sCompleted;
    runCommand(sProgram + " --help", sHelp);
    const Names options = optionsIn(sHelp);
    ASSERT_FALSE(options.empty()) << sProgram;
    const std::string sPage = readFile(sRoot + "/man/" + sName + ".1");
    const std::string sPlain = std::regex_replace(sPage, std::regex("\\\\(f.)?"), "");
    EXPECT_EQ(optionsIn(sPlain), options) << "man/" << sName << ".1";
    for (const char* szSection : {"SYNOPSIS", "OPTIONS", "EXIT STATUS", "FILES", "EXAMPLES"}) {
        EXPECT_TRUE(contains(sPage, std::string(".SH ") + szSection + "\n")) << sName << ": " << szSection;
    }
    const std::string sComplete = ". '" + sRoot + "/completions/RayTracer'; COMP_WORDS=(" + sName +
                                  " --); COMP_CWORD=1; _raytracer; printf '%s\\n' \"${COMPREPLY[@]}\"";
    runCommand("bash <<'END'\n" + sComplete + "\nEND\n", sCompleted);
    EXPECT_EQ(optionsIn(sCompleted), options) << "completions/RayTracer";
}

TEST(ManualTest, PagesAndCompletionsNameTheOptionsOfTheHelp) {
    const std::string sEmulator = RT_EMULATOR " ";
    compare("RayTracer", sEmulator + RT_PROGRAM);
    compare("convert-lights", sEmulator + RT_CONVERT_LIGHTS);
    compare("rt-bundle", RT_BUNDLE);
#ifdef RT_IMPORT
    compare("rt-import", RT_IMPORT);
#ifdef RT_RENDER
    compare("rt-render", RT_RENDER);
#endif
#endif
}

}  // namespace
