// The grid's cache file: round trips, damaged files, the examples of docs/caches.md.
#include <sys/stat.h>

#include <filesystem>

#include "accel/kdtree/KDTree.h"
#include "accel/reference/UniformSpaceSubdivision.h"
#include "base/NLogger.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using Grid = UniformSpaceSubdivision;

// A fresh grid's view of the cache file; one that is taken must also be safe to search.
bool loads(const Scene& scene) {
    Grid grid;
    grid.pScene = &scene;
    if (!grid.loadSubdivision("uss.tmp")) return false;
    Random random(7);
    for (unsigned u = 0; u < 20; ++u) {
        RayTestOutput hit;
        grid.findNearestFace(random.inside(scene.boxScene), random.vector(1.0f), 1e30f, &hit);
    }
    return true;
}

}  // namespace

class GridCache : public FileTest {
 protected:
    GridCache() {
        Random random(6);
        loadMesh(scene, makeSoup(random, 6, 8.0f));
        EXPECT_FALSE(Grid().createSubdivision(&scene, true));
        sCache = readFile("uss.tmp");
    }

    Scene scene;
    std::string sCache;
};

TEST_F(GridCache, LoadsWhatItSavedAndSavesItAgain) {
    Grid grid;
    grid.pScene = &scene;
    ASSERT_TRUE(grid.loadSubdivision("uss.tmp"));
    EXPECT_EQ(grid.saveSubdivision("again.tmp"), 0);
    EXPECT_EQ(readFile("again.tmp"), sCache);
    EXPECT_NE(grid.saveSubdivision("no/such/\x1B"), 0);
    EXPECT_TRUE(contains(takeLog(), "Failed to open file: no/such/\\x1B\n"));
}

TEST_F(GridCache, ALineMayBeLongerThanAnyBuffer) {
    Mesh mesh;
    for (unsigned u = 0; u < 3000; ++u) mesh.add({0, 0, 0}, {1, 0, 0}, {0, 1, 1});
    Scene pile;
    loadMesh(pile, mesh);
    ASSERT_FALSE(Grid().createSubdivision(&pile, true));
    EXPECT_TRUE(loads(pile));
}

TEST_F(GridCache, AFileCutAnywhereIsRefusedAndBuiltAnew) {
    for (size_t u = 0; u < sCache.size(); ++u) {
        writeFile("uss.tmp", sCache.substr(0, u));
        ASSERT_FALSE(loads(scene)) << "cut at " << u;
    }
    Grid grid;
    ASSERT_FALSE(grid.createSubdivision(&scene, false));
    EXPECT_EQ(readFile("uss.tmp"), sCache);
    EXPECT_EQ(list(), (std::vector<std::string>{"mesh.brs", "uss.tmp"}));
}

TEST_F(GridCache, AFileWithAnythingChangedIsRefusedOrSafe) {
    const auto loadsWith = [&](size_t uAt, size_t uReplaced, const char* sz) {
        writeFile("uss.tmp", std::string(sCache).replace(uAt, uReplaced, sz));
        return loads(scene);
    };
    for (size_t u = 0; u < sCache.size(); ++u) {
        for (const char* sz : {"", "-", "9"}) loadsWith(u, 1, sz);
    }
    const size_t uCells = sCache.find("cells "), uColon = sCache.find(": ", uCells);
    const std::pair<size_t, const char*> changes[] = {
        // clang-format off
        {sCache.find("subdivDim ") + 10, "65536 65536 "}, {sCache.find("hashes ") + 7, "4000000000"},
        {uCells + 6, "4000000000"}, {sCache.find('\n', uCells) + 1, "4000000000"}, {uColon + 2, "6 "},
        {uColon + 2, "5 5 "}, {sCache.find("v3Min ") + 6, "nan "}, {sCache.find("v3Size ") + 7, "-1 "},
        {sCache.size(), "\n"},
        // clang-format on
    };
    for (const auto& [uAt, sz] : changes) EXPECT_FALSE(loadsWith(uAt, 0, sz)) << sz << " at " << uAt;
}

TEST_F(GridCache, APipeInItsPlaceWasWaitedFor) {
    std::filesystem::remove("uss.tmp");
    ASSERT_EQ(mkfifo("uss.tmp", 0600), 0);
    Grid grid;
    EXPECT_FALSE(grid.createSubdivision(&scene, false));
    EXPECT_GT(grid.uCells, 0u);
    EXPECT_TRUE(contains(takeLog(), "Failed to open file: uss.tmp"));
    EXPECT_TRUE(std::filesystem::is_fifo("uss.tmp"));
}

TEST_F(GridCache, IsKeyedByThePathAndWarnsWhenOutdated) {
    writeFile("uss.tmp", "SceneFile other.brs" + sCache.substr(sCache.find('\n')));
    EXPECT_FALSE(loads(scene));
    writeFile("uss.tmp", sCache);
    for (const int iAge : {-5, 5}) {
        const auto time = std::filesystem::last_write_time("uss.tmp");
        std::filesystem::last_write_time("mesh.brs", time + std::chrono::seconds(iAge));
        testing::internal::CaptureStdout();
        Velk::NLogger::Release();
        ASSERT_EQ(Velk::NLogger::InitLogger("echoed.log", true), 0u);
        EXPECT_FALSE(Grid().createSubdivision(&scene, false));
        const std::string sOutput = testing::internal::GetCapturedStdout();
        EXPECT_TRUE(contains(sOutput, "Loading uss from file... OK\n")) << sOutput;
        EXPECT_EQ(contains(sOutput, "--resetcache"), iAge > 0);
    }
}

TEST_F(GridCache, TheDocumentedExamplesAreWhatTheDocumentedSceneGives) {
    writeFile("Scenes/roofs.brs", documentedExample("caches.md", "vertices"));
    Scene roofs;
    ASSERT_FALSE(roofs.loadScene("Scenes/roofs.brs"));
    roofs.preprocessScene();
    Grid grid;
    KDTree tree;
    ASSERT_FALSE(grid.createSubdivision(&roofs, true));
    ASSERT_FALSE(tree.buildTree(&roofs, true));
    const std::string sHead = "SceneFile Scenes/roofs.brs\n";
    EXPECT_EQ(readFile("uss.tmp"), documentedExample("caches.md", sHead + "v3Min"));
    EXPECT_EQ(readFile("kdtree.tmp"), documentedExample("caches.md", sHead + "KDNodes"));
    EXPECT_TRUE(loads(roofs));
}
