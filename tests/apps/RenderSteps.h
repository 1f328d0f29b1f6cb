// What the tests of rt-render share: a scene at hand, and ways to run the program.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/FileTest.h"
#include "support/Process.h"
#include "support/Scenes.h"

using namespace rt;

namespace fs = std::filesystem;

/// A directory with a scene called "test", small and quick, and a cache of its own.
class RenderTest : public FileTest {
 protected:
    RenderTest() {
        makeScene(makeShowcase(), 56, 48).write("test");
        setenv("XDG_CACHE_HOME", (fs::current_path() / "cache").c_str(), 1);
        setenv("TMPDIR", fs::current_path().c_str(), 1);
    }

    ~RenderTest() override { unsetenv("TMPDIR"); }

    // Runs rt-render; the exit status. What it said is in sOutput.
    int render(const std::string& sArguments, const std::string& sBefore = "") {
        return runCommand(sBefore + " " RT_RENDER " " + sArguments + " 2>&1", sOutput);
    }

    // The BMP file that RayTracer makes of the same scene.
    static std::string required(const std::string& sArguments) {
        EXPECT_NE(system((RT_PROGRAM " --out required.bmp " + sArguments + " >/dev/null").c_str()), -1);
        const std::string sPicture = readFile("required.bmp");
        for (const char* sz : {"required.bmp", "kdtree.tmp", "RayTracer.log"}) fs::remove(sz);
        return sPicture;
    }

    std::vector<std::string> cached() const {
        std::vector<std::string> vNames;
        if (!fs::exists("cache/raytracer")) return vNames;
        for (const auto& entry : fs::directory_iterator("cache/raytracer")) vNames.push_back(entry.path());
        return vNames;
    }

    std::string sOutput;
};
