// Measures one scene: single steps, the queries of every tracer, whole rendering.
#include "SceneBench.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <optional>
#include <vector>

#include "PlainTree.h"
#include "TileTracer.h"
#include "render/RayTracer.h"
#ifdef RT_EMBREE
#include "EmbreeTracer.h"

using namespace rt;
#endif

namespace {

constexpr char CACHE_FILE[] = "kdtree.tmp";
constexpr char SCRATCH_FILE[] = "rt_bench.tmp";
constexpr double BRUTE_FORCE_TESTS = 1e8;  // face tests that the check may take, about half a second

double readProcessorClock() {
    timespec ts{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) * 1e-9;
}

template <typename Work>
double timeOf(const Work& work) {
    const double dStart = readProcessorClock();
    work();
    return readProcessorClock() - dStart;
}

// Bytes of memory that the process holds now.
double residentBytes() {
    long iPages = 0;
    if (FILE* pFile = fopen("/proc/self/statm", "r")) {
        if (fscanf(pFile, "%*s %ld", &iPages) != 1) iPages = 0;
        fclose(pFile);
    }
    return static_cast<double>(iPages) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double peakBytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) * 1024.0;
}

bool load(RayTracer& rt, const char* szScene) {
    char szDescription[256];
    snprintf(szDescription, sizeof(szDescription), "Scenes/scene_descs/%s.txt", szScene);
    return rt.load(szDescription, false);
}

void renderAllTiles(RayTracer& rt) {
    const uint32_t uPack = rt.parameters.uPackSize;
    std::vector<unsigned char> vTile(size_t{uPack} * uPack * 3);
    const TileGrid tiles = rt.frame().tiles(uPack);
    for (uint64_t u = 0; u < tiles.count(); ++u) rt.calculatePack(tiles.tile(u).x, tiles.tile(u).y, vTile.data());
}

bool measureTree(const Scene& scene, const BenchOptions& options, SceneFigures& figures) {
    std::vector<double> vBuild, vSave, vReload, vBoxes;
    std::vector<uint32_t> vRecordOf(scene.vFaces.uCount);
    bool bFailed = false;
    for (unsigned u = 0; u < options.uRuns && !bFailed; ++u) {
        PlainTree made(scene), reloaded(scene);
        if (options.bBuild) {
            vBuild.push_back(timeOf([&] { bFailed |= made.build(); }));
        } else {
            bFailed |= !made.tree.loadTree(CACHE_FILE, &made.nodes);
        }
        if (bFailed) break;
        vSave.push_back(timeOf([&] { bFailed |= made.tree.saveTree(SCRATCH_FILE, made.nodes) != 0; }));
        vReload.push_back(timeOf([&] { bFailed |= !reloaded.tree.loadTree(SCRATCH_FILE, &reloaded.nodes); }));
        bFailed |= made.nodes.uSize != reloaded.nodes.uSize;
        Bvh bvh;
        vBoxes.push_back(timeOf([&] { bFailed |= bvh.build(scene, 0.0f, vRecordOf.data()); }));
        if (u == 0) figures.tree = TreeStats(made.nodes, made.tree.vFacesList, scene.boxScene);
    }
    unlink(SCRATCH_FILE);
    figures.dBuild = median(vBuild);
    figures.dSave = median(vSave);
    figures.dReload = median(vReload);
    figures.dBoxes = median(vBoxes);
    return bFailed;
}

// The program with the kernel that was asked for, and with the oldest one, which may be missing.
struct Own {
    Contestant<TreeTracer> chosen;
    std::optional<Contestant<TreeTracer>> sse2;

    Own(RayQueries& tree, const RayFrame& frame, const RayKernel* pKernel) : chosen(TreeTracer(tree, pKernel), frame) {
        if (const RayKernel* pSse2 = findKernel("sse2")) sse2.emplace(TreeTracer(tree, pSse2), frame);
    }
    void run() {
        chosen.run();
        if (sse2) sse2->run();
    }
};

#ifdef RT_EMBREE
// Builds a rival's tree as often as everything is run. True on failure.
bool buildEmbree(EmbreeScene& rival, const Scene& scene, const char* szIsa, unsigned uRuns, double& dBuild) {
    std::vector<double> vBuild;
    for (unsigned u = 0; u < uRuns; ++u) {
        if (rival.create(scene, szIsa)) return true;
        bool bFailed = false;
        vBuild.push_back(timeOf([&] { bFailed = rival.commit(); }));
        if (bFailed) return true;
    }
    dBuild = median(vBuild);
    return false;
}

template <typename Tracer>
void takeFigures(const Own& own, const Contestant<Tracer>& rival, RivalFigures& figures) {
    figures.frame = rival.time();
    figures.uDifferences = countDifferences(own.chosen.answers, rival.answers);
}

bool measureFrames(const Scene& scene, const RayFrame& frame, const BenchOptions& options, Own& own,
                   SceneFigures& figures) {
    if (!options.bEmbree) {
        for (unsigned u = 0; u < options.uRuns; ++u) own.run();
        return false;
    }
    EmbreeScene dispatched, sse2;
    if (buildEmbree(dispatched, scene, nullptr, options.uRuns, figures.embree.dBuild) ||
        buildEmbree(sse2, scene, "sse2", options.uRuns, figures.embreeSse2.dBuild)) {
        return true;
    }
    Contestant<EmbreeSingle> single(EmbreeSingle(dispatched), frame), singleSse2(EmbreeSingle(sse2), frame);
    Contestant<EmbreePackets> packets(EmbreePackets(dispatched), frame);
    for (unsigned u = 0; u < options.uRuns; ++u) {
        own.run();
        single.run();
        singleSse2.run();
        packets.run();
    }
    takeFigures(own, single, figures.embree);
    takeFigures(own, singleSse2, figures.embreeSse2);
    takeFigures(own, packets, figures.embreePackets);
    return false;
}
#else
bool measureFrames(const Scene&, const RayFrame&, const BenchOptions& options, Own& own, SceneFigures&) {
    for (unsigned u = 0; u < options.uRuns; ++u) own.run();
    return false;
}
#endif

}  // namespace

bool measureRender(const char* szScene, const BenchOptions& options, SceneFigures& figures) {
    const double dBefore = residentBytes();
    RayTracer rt;
    rt.parameters.bResetCache = options.bBuild;
    if (options.pKernel) rt.queries.pKernel = options.pKernel;
    if (load(rt, szScene) || rt.preprocessScene()) return true;
    std::vector<double> vRender;
    for (unsigned u = 0; u < options.uRuns; ++u) vRender.push_back(timeOf([&] { renderAllTiles(rt); }));
    figures.dRender = median(vRender);
    figures.dPeakBytes = peakBytes() - dBefore;
    return false;
}

bool measureSteps(const char* szScene, const BenchOptions& options, SceneFigures& figures) {
    RayTracer rt;
    std::vector<double> vLoad;
    bool bFailed = false;
    for (unsigned u = 0; u < options.uRuns; ++u) vLoad.push_back(timeOf([&] { bFailed |= load(rt, szScene); }));
    if (bFailed || rt.preprocessScene() || measureTree(rt.scene, options, figures)) return true;
    const RayFrame frame = makeRayFrame(rt);
    Own own(rt.queries, frame, options.pKernel);
    if (measureFrames(rt.scene, frame, options, own, figures)) return true;

    figures.uFaces = rt.scene.vFaces.uCount;
    figures.uPrimary = frame.uPrimary;
    figures.uShadow = frame.uShadow;
    figures.dLoad = median(vLoad);
    figures.frame = own.chosen.time();
    if (own.sse2) {
        figures.frameSse2 = own.sse2->time();
        figures.bKernelsAgree = own.sse2->answers == own.chosen.answers;
    }
    figures.tree.uBytes += rt.queries.bytes();
    figures.dOpen = own.chosen.tracer.openShare();
    const double dRays = static_cast<double>(frame.uPrimary + frame.uShadow);
    const size_t uStep = static_cast<size_t>(dRays * figures.uFaces / BRUTE_FORCE_TESTS) | 1;  // odd: no columns
    figures.uChecked = static_cast<size_t>(dRays) / uStep;
    figures.uDifferences = countDifferencesFromBruteForce(rt, frame, own.chosen.answers, uStep);
    return false;
}
