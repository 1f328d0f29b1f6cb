// rt_bench_micro: the single steps under Google Benchmark. Run in a directory with Scenes/; takes a scene's name behind
// the options, or from RT_BENCH_SCENE, and writes kdtree.tmp and uss.tmp there.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "PlainTree.h"
#include "RayFrame.h"
#include "TileTracer.h"
#include "accel/reference/UniformSpaceSubdivision.h"
#include "render/RayTracer.h"

using namespace rt;

namespace {

constexpr char SCRATCH_FILE[] = "rt_bench.tmp";

RayTracer g_rt;
RayFrame g_frame;
UniformSpaceSubdivision g_grid;

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

void buildTree(benchmark::State& state) {
    for (auto _ : state) {
        PlainTree plain(g_rt.scene);
        if (plain.build()) state.SkipWithError("no memory");
    }
    countFaces(state);
}

void saveCache(benchmark::State& state) {
    PlainTree plain(g_rt.scene);
    if (plain.build()) state.SkipWithError("no memory");
    for (auto _ : state) {
        if (plain.tree.saveTree(SCRATCH_FILE, plain.nodes)) state.SkipWithError("not written");
    }
    remove(SCRATCH_FILE);
    countFaces(state);
}

void loadCache(benchmark::State& state) {
    PlainTree plain(g_rt.scene);
    if (plain.build() || plain.tree.saveTree(SCRATCH_FILE, plain.nodes)) state.SkipWithError("not written");
    for (auto _ : state) {
        PlainTree loaded(g_rt.scene);
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
    TreeTracer tracer(g_rt.queries);
    for (auto _ : state) {
        for (const RayTile& tile : g_frame.vTiles) {
            tracer.prepareNearest(tile.vPrimary);
            tracer.findNearest();
        }
    }
    countRays(state, g_frame.uPrimary);
}

void shadowRays(benchmark::State& state) {
    TreeTracer tracer(g_rt.queries);
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

// One ray after the other, for the structures that have no packets, and for a fair comparison with them.
template <typename Structure>
void singlePrimary(benchmark::State& state, Structure& structure) {
    for (auto _ : state) {
        for (const RayTile& tile : g_frame.vTiles) {
            for (const Ray& ray : tile.vPrimary) {
                RayTestOutput hit;
                benchmark::DoNotOptimize(structure.findNearestFace(ray.v3Origin, ray.v3Dir, ray.fMaxDist, &hit));
            }
        }
    }
    countRays(state, g_frame.uPrimary);
}

template <typename Structure>
void singleShadow(benchmark::State& state, Structure& structure) {
    for (auto _ : state) {
        for (const RayTile& tile : g_frame.vTiles) {
            for (const std::vector<Ray>& vShadow : tile.vShadow) {
                for (const Ray& ray : vShadow) {
                    benchmark::DoNotOptimize(structure.findObstacle(ray.v3Origin, ray.v3Dir, ray.fMaxDist));
                }
            }
        }
    }
    countRays(state, g_frame.uShadow);
}

void singleTreePrimary(benchmark::State& state) {
    singlePrimary(state, g_rt.queries.kdTree);
}
void singleTreeShadow(benchmark::State& state) {
    singleShadow(state, g_rt.queries.kdTree);
}
void gridPrimary(benchmark::State& state) {
    singlePrimary(state, g_grid);
}
void gridShadow(benchmark::State& state) {
    singleShadow(state, g_grid);
}

// Writes its cache file too, and says so on standard output.
void buildGrid(benchmark::State& state) {
    for (auto _ : state) {
        UniformSpaceSubdivision grid;
        if (grid.createSubdivision(&g_rt.scene, true)) state.SkipWithError("no memory");
    }
    countFaces(state);
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
    if (g_grid.createSubdivision(&g_rt.scene, true)) return 1;
    g_frame = makeRayFrame(g_rt);
    constexpr std::pair<const char*, void (*)(benchmark::State&)> steps[] = {{"loadMesh", loadMesh},
                                                                             {"buildTree", buildTree},
                                                                             {"saveCache", saveCache},
                                                                             {"loadCache", loadCache},
                                                                             {"primaryRays", primaryRays},
                                                                             {"shadowRays", shadowRays},
                                                                             {"singleTreePrimary", singleTreePrimary},
                                                                             {"singleTreeShadow", singleTreeShadow},
                                                                             {"gridPrimary", gridPrimary},
                                                                             {"gridShadow", gridShadow}};
    for (const auto& [szName, pfnStep] : steps) {
        benchmark::RegisterBenchmark(szName, pfnStep)->Unit(benchmark::kMillisecond);
    }
    benchmark::RegisterBenchmark("buildGrid", buildGrid)->Unit(benchmark::kMillisecond)->Iterations(3);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
