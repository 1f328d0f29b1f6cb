// The cache files of the kd-tree and of the grid: round trips, damaged files, the examples of docs/caches.md.
#include <sys/stat.h>

#include <filesystem>

#include "accel/kdtree/KDTree.h"
#include "accel/reference/UniformSpaceSubdivision.h"
#include "base/NLogger.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using Velk::NMVector3f;

// A structure of the kind that a cache file's name tells, and what it says of its cache.
class CacheFixture : public FileTest {
 protected:
    explicit CacheFixture(const char* szFile) : sFile(szFile) {}

    void makeScene(uint32_t uFaces) {
        Random random(3);
        loadMesh(scene, makeSoup(random, uFaces, 3.0f));
    }

    // What building prints. A structure built before must be freed, as a sanitizer that looks for leaks shows.
    std::string build(bool bReset = false) {
        testing::internal::CaptureStdout();
        EXPECT_FALSE(bGrid ? grid.createSubdivision(&scene, bReset) : tree.buildTree(&scene, bReset));
        return testing::internal::GetCapturedStdout();
    }

    std::string build(const std::string& sText) {
        writeFile(sFile, sText);
        return build();
    }

    // Damaged files are refused and replaced, or taken as they are and then safe to search.
    bool isTaken(const std::string& sBad, const std::string& sGood) {
        const std::string sOutput = build(sBad);
        trace();
        EXPECT_EQ(sOutput, sOutput == OK ? OK : FAILED) << sBad;
        EXPECT_EQ(readFile(sFile), sOutput == OK ? sBad : sGood);
        return sOutput == OK;
    }

    // The answers to a bundle of rays, each of which must end, whatever the structure looks like.
    std::string trace() {
        Random random(7);
        std::string sHits;
        for (int i = 0; i < 200; ++i) {
            const NMVector3f v3Origin = random.vector(20000.0f), v3Dir = random.inside(scene.boxScene) - v3Origin;
            RayTestOutput hit{};
            const FaceData* pFace = bGrid ? grid.findNearestFace(v3Origin, v3Dir, 9.0f, &hit)
                                          : tree.findNearestFace(v3Origin, v3Dir, 9.0f, &hit);
            const bool bObstacle =
                bGrid ? grid.findObstacle(v3Origin, v3Dir, 0.9f) : tree.findObstacle(v3Origin, v3Dir, 0.9f);
            sHits += std::to_string(pFace ? pFace - scene.vFaces.pData : -1) + (bObstacle ? "+" : "-");
        }
        return sHits;
    }

    // What the structure as it was read is in another file, empty when that cannot be written.
    std::string saved(const char* szTo) {
        Velk::NDataVector<KDTreeNode> nodes;
        tree.vFacesList.Release();
        tree.pScene = &scene;
        EXPECT_TRUE(bGrid || tree.loadTree(sFile.c_str(), &nodes));
        const bool bFailed = (bGrid ? grid.saveSubdivision(szTo) : tree.saveTree(szTo, nodes)) != 0;
        return bFailed ? "" : readFile(szTo);
    }

    const std::string sFile;
    const bool bGrid = sFile == "uss.tmp";
    const std::string sLoading = std::string("Loading ") + (bGrid ? "uss" : "kdtree") + " from file... ";
    const std::string sBuilding = bGrid ? "Building uss\n" : "Building kdtree...\n";
    const std::string OK = sLoading + "OK\n", FAILED = sLoading + "FAILED\n" + sBuilding;
    Scene scene;
    KDTree tree;
    UniformSpaceSubdivision grid;
};

struct KDTreeCacheTest : CacheFixture {
    KDTreeCacheTest() : CacheFixture("kdtree.tmp") {}
};

struct GridCacheTest : CacheFixture {
    GridCacheTest() : CacheFixture("uss.tmp") {}
};

struct CacheFileTest : CacheFixture, testing::WithParamInterface<const char*> {
    CacheFileTest() : CacheFixture(GetParam()) {}
};

TEST_P(CacheFileTest, WhatIsReadAgainGivesTheSameAnswersAndFile) {
    makeScene(300);
    EXPECT_EQ(build(), FAILED);
    const std::string sHits = trace(), sText = readFile(sFile);
    EXPECT_EQ(build(), OK);
    EXPECT_EQ(trace(), sHits);
    EXPECT_EQ(saved("copy"), sText);
    EXPECT_EQ(saved("no/such/\x1B"), "");
    EXPECT_TRUE(contains(takeLog(), "Failed to open file: no/such/\\x1B\n"));
    for (const char* szLine : {"SceneFile other.brs", "SceneFile mesh.brs ", "sceneFile mesh.brs", "SceneFile mesh"}) {
        EXPECT_EQ(build(szLine + sText.substr(sText.find('\n'))), FAILED) << szLine;
        EXPECT_EQ(readFile(sFile), sText) << "built and saved anew";
    }
    EXPECT_EQ(build(true), sLoading + "RESET\n" + sBuilding);
    EXPECT_EQ(readFile(sFile), sText);
    EXPECT_EQ(list(), (std::vector<std::string>{"copy", bGrid ? "mesh.brs" : sFile, bGrid ? sFile : "mesh.brs"}));
    strcpy(scene.szSceneFile, "my mesh.brs");
    for (int i = 0; i < 2; ++i) EXPECT_EQ(build(), FAILED) << "a path with white space never matches";
    Mesh pile;
    for (unsigned u = 0; u < 3000; ++u) pile.add({0, 0, 0}, {1, 0, 0}, {0, 1, 1});
    scene.releaseScene();
    loadMesh(scene, pile);
    EXPECT_EQ(build(), FAILED);
    EXPECT_EQ(build(), OK) << "a line may be longer than any buffer";
}

TEST_P(CacheFileTest, FilesCutOrWithAnyNumberAreRefusedOrHarmless) {
    makeScene(12);
    build();
    const std::string sGood = readFile(sFile);
    for (size_t u = 0; u < sGood.size(); ++u) {
        EXPECT_FALSE(isTaken(sGood.substr(0, u), sGood)) << "cut at byte " << u;
    }
    unsigned uTaken = 0, uRefused = 0;
    for (size_t uEnd = sGood.find('\n'), u; (u = sGood.find_first_of("-0123456789", uEnd)) != std::string::npos;) {
        uEnd = sGood.find_first_not_of("-.0123456789", u);
        const unsigned long ulOld = strtoul(sGood.c_str() + u, nullptr, 10);
        for (const std::string sNew : {"-1", "3", "4294967295", "99999999999", "1e30", "nan", "next", "previous"}) {
            const std::string sNumber = std::to_string(sNew == "next" ? ulOld + 1 : ulOld - 8);
            std::string sBad = sGood;
            ++(isTaken(sBad.replace(u, uEnd - u, sNew < "next" ? sNew : sNumber), sGood) ? uTaken : uRefused);
        }
    }
    EXPECT_GT(uRefused, 100u);
    EXPECT_GT(uTaken, bGrid ? 0u : 100u);
}

TEST_P(CacheFileTest, ANewerMeshIsWarnedOf) {
    makeScene(20);
    build();
    for (const int iAge : {-1, 1}) {
        const auto time = std::filesystem::last_write_time(sFile);
        std::filesystem::last_write_time("mesh.brs", time + std::chrono::seconds(iAge));
        Velk::NLogger::Release();
        Velk::NLogger::InitLogger("second.log", true);
        const std::string sConsole = build();
        EXPECT_TRUE(contains(sConsole, OK)) << "in one piece: " << sConsole;
        EXPECT_EQ(contains(sConsole, "mesh.brs is newer than " + sFile + ", use --resetcache"), iAge > 0);
    }
}

TEST_P(CacheFileTest, IsBuiltEvenIfItCannotBeSavedAndWaitsForNoPipe) {
    makeScene(20);
    for (const bool bPipe : {false, true}) {
        ASSERT_EQ(bPipe ? mkfifo(sFile.c_str(), 0600) : mkdir(sFile.c_str(), 0700), 0);
        EXPECT_EQ(build(), FAILED);
        EXPECT_TRUE(contains(takeLog(), "Failed to open file: " + sFile));
        EXPECT_TRUE(contains(trace(), "+"));
        EXPECT_EQ(std::filesystem::is_fifo(sFile), bPipe);
        std::filesystem::remove(sFile);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, CacheFileTest, testing::Values("kdtree.tmp", "uss.tmp"),
                         [](const auto& kind) { return kind.index ? "Grid" : "Tree"; });

TEST_F(KDTreeCacheTest, TheFileLiesWhereTheOwnerWantsItOrNowhere) {
    makeScene(50);
    tree.sCacheFile = "elsewhere";
    EXPECT_EQ(build(), FAILED);
    EXPECT_EQ(build(), OK);
    tree.sCacheFile = "";
    for (const bool bReset : {false, true}) EXPECT_EQ(build(bReset), "") << "nothing is said of files";
    EXPECT_TRUE(tree.pRoot);
    EXPECT_EQ(list(), (std::vector<std::string>{"elsewhere", "mesh.brs"}));
}

// Each breaks one rule that no single number shows.
TEST_F(KDTreeCacheTest, ATreeThatIsSavedLaterLeavesTheFileUntilThen) {
    makeScene(300);
    build();
    const std::string sHits = trace(), sText = readFile(sFile);
    tree.bSaveLater = true;
    writeFile(sFile, "old");
    build(true);
    EXPECT_EQ(trace(), sHits);
    EXPECT_EQ(readFile(sFile), "old");
    EXPECT_EQ(tree.saveCache(), 0);
    EXPECT_EQ(readFile(sFile), sText);
}

TEST_F(KDTreeCacheTest, FilesThatBreakARuleOfATreeAreRefused) {
    makeScene(3);
    const auto interior = [](uint32_t uChild) { return std::to_string(~uChild << 3) + " 1.0\n"; };
    const auto leaf = [](uint32_t uEntry) { return std::to_string((~uEntry << 3) | 6u) + " 0\n"; };
    const std::string sEmpty = "6 0\n", sTwo = "2\n0 4294967295\n1 4294967295\n";
    std::string sDeep = interior(1);  // a chain of 21 interior nodes, each the low child of the one before
    for (uint32_t u = 1; u < 21; ++u) sDeep += interior(2 * u + 1) + sEmpty;
    const struct {
        std::string sNodes, sList;
        bool bGood;
        const char* szWhat;
    } cases[] = {
        {"3\n" + interior(1) + leaf(0) + leaf(1), sTwo, true, "a small tree"},
        {"0\n", sTwo, false, "no nodes"},
        {"2\n" + interior(1) + leaf(0), sTwo, false, "a child beyond the end"},
        {"3\n" + interior(0) + leaf(0) + leaf(1), sTwo, false, "a node that is its own child"},
        {"5\n" + interior(1) + interior(3) + interior(3) + leaf(0) + leaf(1), sTwo, false, "children of two parents"},
        {"5\n" + interior(3) + sEmpty + sEmpty + leaf(0) + leaf(1), sTwo, false, "nodes without a parent"},
        {"43\n" + sDeep + sEmpty + sEmpty, sTwo, true, "the deepest tree"},
        {"45\n" + sDeep + interior(43) + sEmpty + sEmpty + sEmpty, sTwo, false, "a tree that is too deep"},
        {"3\n" + interior(1) + leaf(0) + leaf(2), sTwo, false, "a list that starts beyond the pool"},
        {"3\n" + interior(1) + leaf(0) + leaf(0), sTwo, false, "a list in two leaves"},
        {"1\n" + leaf(0), "2\n0 1\n1 0\n", false, "a list in a circle"},
        {"3\n" + interior(1) + leaf(0) + leaf(1), "3\n0 2\n1 2\n2 4294967295\n", false, "two lists that join"},
        {"1\n" + leaf(0), "4\n0 4294967295\n1 1\n2 9\n0 0\n", true, "entries of no list that lead anywhere"},
        {"1\n" + leaf(0), "2\n0 2\n1 4294967295\n", false, "a list that runs out of the pool"},
        {"1\n" + leaf(0), "1\n3 4294967295\n", false, "a face that is not there"},
        {"1\n7 0\n", sTwo, false, "an axis that is none"},
        {"1000000000\n" + leaf(0), sTwo, false, "far more nodes announced than there are"},
        {"1\n" + leaf(0), "536870910\n0 4294967295\n", false, "far more entries announced than there are"}};
    for (const auto& c : cases) {
        EXPECT_EQ(build("SceneFile mesh.brs\nKDNodes " + c.sNodes + "\nObjectList " + c.sList), c.bGood ? OK : FAILED)
            << c.szWhat;
        trace();
    }
}

TEST_F(GridCacheTest, FilesThatBreakARuleOfAGridAreRefused) {
    makeScene(6);
    build();
    const std::string sGood = readFile(sFile);
    const size_t uCells = sGood.find("cells "), uColon = sGood.find(": ", uCells);
    const std::pair<size_t, const char*> changes[] = {
        // clang-format off
        {sGood.find("subdivDim ") + 10, "65536 65536 "}, {sGood.find("hashes ") + 7, "4000000000"},
        {uCells + 6, "4000000000"}, {sGood.find('\n', uCells) + 1, "4000000000"}, {uColon + 2, "6 "},
        {uColon + 2, "5 5 "}, {sGood.find("v3Min ") + 6, "nan "}, {sGood.find("v3Size ") + 7, "-1 "},
        {sGood.size(), "\n"},
        // clang-format on
    };
    for (const auto& [uAt, sz] : changes) {
        EXPECT_FALSE(isTaken(std::string(sGood).insert(uAt, sz), sGood)) << sz << " at " << uAt;
    }
}

TEST_F(GridCacheTest, TheDocumentedExamplesAreWhatTheDocumentedSceneGives) {
    writeFile("Scenes/roofs.brs", documentedExample("caches.md", "vertices"));
    ASSERT_FALSE(scene.loadScene("Scenes/roofs.brs"));
    scene.preprocessScene();
    build();
    ASSERT_FALSE(tree.buildTree(&scene, true));
    const std::string sHead = "SceneFile Scenes/roofs.brs\n";
    EXPECT_EQ(readFile("uss.tmp"), documentedExample("caches.md", sHead + "v3Min"));
    EXPECT_EQ(readFile("kdtree.tmp"), documentedExample("caches.md", sHead + "KDNodes"));
    EXPECT_EQ(build(), OK);
}

}  // namespace
