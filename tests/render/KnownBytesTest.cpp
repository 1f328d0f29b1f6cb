// Pictures and caches whose bytes are pinned.
#include "support/FileTest.h"
#include "support/Scenes.h"

using namespace rt;

namespace {

using KnownBytesTest = FileTest;

// Every build must write these bytes: 32 and 64 bits, any compiler, with and without optimisation.
TEST_F(KnownBytesTest, ImagesAndCachesAreTheSameEverywhere) {
    Random random(11);
    const Mesh soup = makeSoup(random, 250, 5.0f), planes = makePlanes(random, 120);
    Mesh hard = makeSlivers(random, 150);
    hard.addSphere({0, 0, 0}, 6.0f, 2, 3);
    const struct {
        const char* szName;
        const Mesh mesh;
        uint64_t uImage, uTree, uWatertight;
    } cases[] = {{"soup", soup, 9672314665100977298u, 5371272202505712542u, 15157645896878587395u},
                 {"planes", planes, 6470168140748049158u, 4726913582870683371u, 4900945597100329958u},
                 {"hard", hard, 13055404543418885777u, 10336054547392852219u, 13055404543418885777u},
                 {"showcase", makeShowcase(), 11420774997560287606u, 1420309565062153177u, 9101954945534817174u}};
    for (const auto& c : cases) {
        makeScene(c.mesh, 96, 72).write(c.szName);
        RayTracer rayTracer;
        rayTracer.parameters.uTexturedAttribute = 1;
        rayTracer.parameters.bDirt = true;
        const std::string sFile = std::string("Scenes/scene_descs/") + c.szName + ".txt";
        ASSERT_FALSE(rayTracer.load(sFile.c_str(), false));
        ASSERT_FALSE(rayTracer.preprocessScene());
        ASSERT_FALSE(rayTracer.run());
        EXPECT_EQ(hashOf(readFile("out_tex.bmp")), c.uImage) << c.szName;
        EXPECT_EQ(hashOf(readFile("kdtree.tmp")), c.uTree) << c.szName;
        rayTracer.queries.eKind = RayKind::WATERTIGHT;
        rayTracer.queries.uThreads = 3;
        ASSERT_FALSE(rayTracer.load(sFile.c_str(), false));
        ASSERT_FALSE(rayTracer.preprocessScene());
        ASSERT_FALSE(rayTracer.run());
        EXPECT_EQ(hashOf(readFile("out_tex.bmp")), c.uWatertight) << c.szName;
    }
}

}  // namespace
