// rt_bench_micro: the single steps under Google Benchmark. Run in a directory with Scenes/; takes a scene's name behind
// the options, or from RT_BENCH_SCENE, and writes kdtree.tmp there.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "RayFrame.h"
#include "TileTracer.h"
#include "accel/KDTreeBuilder.h"
#include "render/RayTracer.h"

namespace {

constexpr char SCRATCH_FILE[] = "rt_bench.tmp";

RayTracer g_rt;
RayFrame g_frame;

void countFaces(benchmark::State& state) {
    state.counters["faces/s"] =
        benchmark::Counter(g_rt.scene.vFaces.uCount, benchmark::Counter::kIsIterationInvariantRate);
}

void loadMesh(benchmark::State& state) {
    for (auto _ : state) {
        Scene scene;
        if (scene.loadScene(g_rt.sceneDesc.szSceneFile)) state.SkipWithError("no mesh");
    }
    countFaces(state);
}

// A tree in the form of the cache file.
struct PlainTree {
    KDTree tree;
    Velk::NDataVector<KDTreeNode> nodes;

    PlainTree() { tree.pScene = &g_rt.scene; }
    ~PlainTree() { nodes.Release(); }
    bool build() { return KDTreeBuilder(tree, nodes).build(); }
};

void buildTree(benchmark::State& state) {
    for (auto _ : state) {
        PlainTree plain;
        if (plain.build()) state.SkipWithError("no memory");
    }
    countFaces(state);
}

void saveCache(benchmark::State& state) {
    PlainTree plain;
    if (plain.build()) state.SkipWithError("no memory");
    for (auto _ : state) {
        if (plain.tree.saveTree(SCRATCH_FILE, plain.nodes)) state.SkipWithError("not written");
    }
    remove(SCRATCH_FILE);
    countFaces(state);
}

void loadCache(benchmark::State& state) {
    PlainTree plain;
    if (plain.build() || plain.tree.saveTree(SCRATCH_FILE, plain.nodes)) state.SkipWithError("not written");
    for (auto _ : state) {
        PlainTree loaded;
        if (!loaded.tree.loadTree(SCRATCH_FILE, &loaded.nodes)) state.SkipWithError("not read");
    }
    remove(SCRATCH_FILE);
    countFaces(state);
}

void countRays(benchmark::State& state, size_t uRays) {
    state.counters["rays/s"] =
        benchmark::Counter(static_cast<double>(uRays), benchmark::Counter::kIsIterationInvariantRate);
}

void primaryRays(benchmark::State& state) {
    TreeTracer tracer(g_rt.kdTree);
    for (auto _ : state) {
        for (const RayTile& tile : g_frame.vTiles) {
            tracer.prepareNearest(tile.vPrimary);
            tracer.findNearest();
        }
    }
    countRays(state, g_frame.uPrimary);
}

void shadowRays(benchmark::State& state) {
    TreeTracer tracer(g_rt.kdTree);
    for (auto _ : state) {
        for (const RayTile& tile : g_frame.vTiles) {
            for (const std::vector<Ray>& vShadow : tile.vShadow) {
                tracer.prepareObstacles(vShadow);
                tracer.findObstacles();
            }
        }
    }
    countRays(state, g_frame.uShadow);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const char* szVariable = getenv("RT_BENCH_SCENE");
    const char* szScene = argc > 1 ? argv[1] : szVariable ? szVariable : "shading";
    char szDescription[256];
    snprintf(szDescription, sizeof(szDescription), "Scenes/scene_descs/%s.txt", szScene);
    g_rt.parameters.bResetCache = true;
    if (g_rt.load(szDescription, false) || g_rt.preprocessScene()) {
        fprintf(stderr, "rt_bench_micro: cannot load %s\n", szDescription);
        return 1;
    }
    g_frame = makeRayFrame(g_rt);
    constexpr std::pair<const char*, void (*)(benchmark::State&)> steps[] = {
        {"loadMesh", loadMesh},   {"buildTree", buildTree},     {"saveCache", saveCache},
        {"loadCache", loadCache}, {"primaryRays", primaryRays}, {"shadowRays", shadowRays}};
    for (const auto& [szName, pfnStep] : steps) {
        benchmark::RegisterBenchmark(szName, pfnStep)->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
