// rt_bench_watertight: measures the watertight queries of scenes of the working directory beside the exact mode and
// Embree's robust one.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

#include "Contestant.h"
#include "TileTracer.h"
#include "accel/watertight/WatertightQueries.h"
#include "base/NLogger.h"
#include "render/RayTracer.h"
#include "support/SceneArrays.h"
#ifdef RT_EMBREE
#include "EmbreeTracer.h"

using namespace rt;
#endif

using Velk::NMVector3f;

namespace {

template <typename Work>
double timeOf(const Work& work) {
    const double dStart = readClock();
    work();
    return readClock() - dStart;
}

// With all threads.
template <typename Work>
double wallTimeOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// The watertight queries as a tracer of tiles.
class WatertightTracer {
 public:
    explicit WatertightTracer(const WatertightQueries& asked) : queries(asked), vHits(RayStream::CAPACITY) {}

    void prepareNearest(const std::vector<Ray>& vRays) { prepare(vRays); }
    void prepareObstacles(const std::vector<Ray>& vRays) { prepare(vRays); }
    void findNearest() { queries.nearestOf(*pRays, vHits.data()); }
    void findObstacles() { queries.anyOf(*pRays, bMeets); }
    float distance(size_t i) const {
        return vHits[i].uFace == WatertightHit::NO_FACE ? FrameAnswers::MISS : vHits[i].fT;
    }
    bool isBlocked(size_t i) const { return bMeets[i]; }

 private:
    void prepare(const std::vector<Ray>& vRays) {
        pRays->uCount = 0;
        for (const Ray& ray : vRays) pRays->add(ray.v3Origin, ray.v3Dir, ray.fMaxDist);
    }

    const WatertightQueries& queries;
    std::unique_ptr<RayStream> pRays = std::make_unique<RayStream>();
    std::vector<WatertightHit> vHits;
    bool bMeets[RayStream::CAPACITY] = {};
};

// One ray in a random direction from each primary hit.
std::vector<Ray> makeScattered(const RayFrame& frame, const FrameAnswers& answers, float fFar) {
    std::mt19937 engine(1);
    std::vector<Ray> vRays;
    size_t i = 0;
    for (const RayTile& tile : frame.vTiles) {
        for (const Ray& ray : tile.vPrimary) {
            const float t = answers.vDistance[i++];
            if (t == FrameAnswers::MISS) continue;
            NMVector3f v3;
            do {
                for (unsigned a = 0; a < 3; ++a) v3[a] = static_cast<float>(engine() >> 8) / 8388608.0f - 1.0f;
            } while (dot(v3, v3) > 1.0f || dot(v3, v3) < 0.01f);
            v3 = normalize(v3);
            vRays.push_back({ray.v3Origin + ray.v3Dir * (t - 0.5f), v3, fFar});
        }
    }
    return vRays;
}

// Rays of any kind, with the best time of each part of them.
template <typename Find>
double scatter(const std::vector<Ray>& vRays, std::vector<double>& vBest, const Find& find) {
    constexpr size_t PART = RayStream::CAPACITY;
    vBest.resize((vRays.size() + PART - 1) / PART, 1e9);
    double dSum = 0.0;
    for (size_t u = 0; u < vRays.size(); u += PART) {
        double& dBest = vBest[u / PART];
        const auto pFirst = vRays.begin() + static_cast<ptrdiff_t>(u);
        dBest = std::min(
            dBest, find(std::vector<Ray>(pFirst, pFirst + static_cast<ptrdiff_t>(std::min(PART, vRays.size() - u)))));
        dSum += dBest;
    }
    return dSum;
}

// A contestant that traces scattered rays, too.
template <typename Tracer>
struct Scatterer : Contestant<Tracer> {
    using Contestant<Tracer>::Contestant;
    std::vector<double> vScattered;
    std::vector<float> vFar;

    double trace() {
        this->run();
        return this->time().sum();
    }
    double scatterRays(const std::vector<Ray>& vRays) {
        vFar.clear();
        return scatter(vRays, vScattered, [&](const std::vector<Ray>& vPart) {
            this->tracer.prepareNearest(vPart);
            const double d = timeOf([&] { this->tracer.findNearest(); });
            for (size_t i = 0; i < vPart.size(); ++i) vFar.push_back(this->tracer.distance(i));
            return d;
        });
    }
};

// The watertight queries of arrays of rays.
struct ArrayTracer {
    const WatertightQueries& queries;
    std::vector<double> vScattered;
    std::vector<float> vFar;

    double scatterRays(const std::vector<Ray>& vRays) {
        vFar.clear();
        return scatter(vRays, vScattered, [&](const std::vector<Ray>& vPart) {
            std::vector<WatertightRay> vArray;
            for (const Ray& ray : vPart) {
                vArray.push_back({{ray.v3Origin.x, ray.v3Origin.y, ray.v3Origin.z},
                                  {ray.v3Dir.x, ray.v3Dir.y, ray.v3Dir.z},
                                  0.0f,
                                  ray.fMaxDist});
            }
            std::vector<WatertightHit> vHits(vPart.size());
            const double d = timeOf([&] { queries.nearest(vArray.data(), vArray.size(), vHits.data()); });
            for (const WatertightHit& hit : vHits) {
                vFar.push_back(hit.uFace == WatertightHit::NO_FACE ? FrameAnswers::MISS : hit.fT);
            }
            return d;
        });
    }
};

size_t differences(const std::vector<float>& a, const std::vector<float>& b) {
    size_t uCount = 0;
    for (size_t i = 0; i < a.size(); ++i) uCount += !isSameDistance(a[i], b[i]);
    return uCount;
}

struct Options {
    unsigned uRuns = 5;
    const WatertightKernel* pKernel = &bestWatertightKernel();
    const RayKernel* pExact = &bestKernel();
};

bool measure(const char* szScene, const Options& options) {
    RayTracer rt;
    char szDescription[256];
    snprintf(szDescription, sizeof(szDescription), "Scenes/scene_descs/%s.txt", szScene);
    if (rt.load(szDescription, false) || rt.preprocessScene()) return true;
    const RayFrame frame = makeRayFrame(rt);
    const SceneArrays arrays(rt.scene);
    const MeshArrays mesh = arrays.view();
    WatertightQueries queries;
    const auto build = [&](unsigned uThreads) {
        return queries.build(mesh.pPositions, mesh.uVertices, mesh.pTriangles, mesh.uTriangles, uThreads);
    };
    std::vector<double> vOne, vRatio;
    for (unsigned u = 0; u < options.uRuns; ++u) {
        bool bFailed = false;
        vOne.push_back(wallTimeOf([&] { bFailed |= build(1); }));
        vRatio.push_back(wallTimeOf([&] { bFailed |= build(2); }) / vOne.back());
        if (bFailed || build(1)) return true;
    }
    queries.pKernel = options.pKernel;
    Scatterer<WatertightTracer> own(WatertightTracer(queries), frame);
    Scatterer<TreeTracer> exact(TreeTracer(rt.queries, options.pExact), frame);
    own.trace();
    const std::vector<Ray> vScattered = makeScattered(frame, own.answers, rt.fMaxDistance);
    ArrayTracer array{queries, {}, {}};
#ifdef RT_EMBREE
    EmbreeScene embree;
    if (embree.create(rt.scene, nullptr, true) || embree.commit()) return true;
    Scatterer<EmbreePackets> packets(EmbreePackets(embree), frame);
    Scatterer<EmbreeSingle> single(EmbreeSingle(embree), frame);
#endif
    double dOwn = 0, dExact = 0, dPackets = 0, dFar = 0, dExactFar = 0, dSingle = 0;
    for (unsigned u = 0; u < options.uRuns; ++u) {
        dOwn = own.trace();
        dExact = exact.trace();
        dFar = array.scatterRays(vScattered);
        dExactFar = exact.scatterRays(vScattered);
#ifdef RT_EMBREE
        dPackets = packets.trace();
        dSingle = single.scatterRays(vScattered);
#endif
    }
    printf("| %s | %u | %.1f | %.2f | %.2f | %.2f | %.2f | %.2f | %.3f | %.2f | %.1f | %zu, %zu |\n", szScene,
           rt.scene.vFaces.uCount, dOwn * 1e3, dOwn / dExact, dOwn / dPackets,
           static_cast<double>(vScattered.size()) / dFar * 1e-6, dFar / dExactFar, dFar / dSingle, median(vOne),
           median(vRatio), static_cast<double>(queries.bytes()) / rt.scene.vFaces.uCount,
           countDifferences(own.answers, exact.answers) + differences(array.vFar, exact.vFar),
           countDifferences(own.answers, packets.answers) + differences(array.vFar, single.vFar));
    fflush(stdout);
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    Options options;
    std::vector<const char*> vScenes;
    for (int i = 1; i < argc; ++i) {
        if (!strcmp(argv[i], "--runs") && i + 1 < argc) {
            options.uRuns = static_cast<unsigned>(strtoul(argv[++i], nullptr, 10));
        } else if (!strcmp(argv[i], "--isa") && i + 1 < argc) {
            options.pKernel = findWatertightKernel(argv[++i]);
            options.pExact = findKernel(argv[i]);
        } else {
            vScenes.push_back(argv[i]);
        }
    }
    if (vScenes.empty() || !options.uRuns || !options.pKernel || argv[argc - 1][0] == '-') {
        printf("rt_bench_watertight [--runs N] [--isa NAME] SCENE...\n");
        return 2;
    }
    Velk::NLogger::InitLogger("RayTracer.log", false);
    printf(
        "| scene | faces | frame, ms | to exact | to Embree's robust packets | scattered, M/s | to exact | to Embree's "
        "robust single rays | boxes, s | two threads | bytes a face | other hits |\n");
    printf("|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    fflush(stdout);
    for (const char* szScene : vScenes) {
        if (measure(szScene, options)) {
            fprintf(stderr, "rt_bench_watertight: cannot measure %s, see RayTracer.log\n", szScene);
            return 1;
        }
    }
    return 0;
}
