// The manual pages and the completion that the build makes of the programs' tables of options.
#include "support/FileTest.h"
#include "support/Process.h"

namespace {

using ManualTest = FileTest;

TEST_F(ManualTest, CompletionsAreOptionsTheirWordsScenesOrFiles) {
    writeFile("Scenes/scene_descs/glass.txt", "");
    writeFile("glue.obj", "");
    const struct {
        const char *szWords, *szCompleted;
    } cases[] = {{"RayTracer --pa", "--packsize\n"},
                 {"RayTracer.exe gl", "glass\n"},
                 {"RayTracer --server ''", "\n"},
                 {"rt-bundle --h", "--help\n"},
                 {"rt-worker --s", "--stay\n"},
#ifdef RT_FARM
                 {"rt-farm gl", "glass\n"},
#endif
#ifdef RT_RENDER
                 {"rt-render --camera 1 2 3 4 5 6 --sa", "--samples\n"},
                 {"rt-render --rays t", "tree\n"},
                 {"rt-render --rays = w", "watertight\n"},
                 {"rt-render gl", "glass\nglue.obj\n"},
                 {"rt-render -o gl", "glue.obj\n"},
                 {"rt-render --samples ''", "\n"},
#endif
                 {"convert-lights gl", "glue.obj\n"}};
    for (const auto& [szWords, szCompleted] : cases) {
        std::string sOutput;
        runCommand(
            "bash <<'END'\n. '" RT_PAGES "/completions'; COMP_WORDS=(" + std::string(szWords) +
                "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _raytracer; printf '%s\\n' \"${COMPREPLY[@]}\"\nEND\n",
            sOutput);
        EXPECT_EQ(sOutput, szCompleted) << szWords;
    }
}

TEST_F(ManualTest, OptionsOfATableStandInThePage) {
    const std::string sPage = readFile(RT_PAGES "/RayTracer.1");
    EXPECT_TRUE(contains(sPage,
                         ".SH OPTIONS\n.TP\n\\fB\\-\\-camera\\fR \\fIx y z dx dy dz\\fR\nAnother eye and "
                         "direction, in the scene's own units.\nThe direction should have length 1.\n.TP\n"));
    EXPECT_TRUE(contains(sPage, "\n.TP\n\\fB\\-\\-out\\fR \\fIfile\\fR\nThe picture (out_tex.bmp).\n"));
}

}  // namespace
