// rt_bench: measures scenes of the working directory and prints what each costs.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "SceneBench.h"
#include "base/NLogger.h"

using namespace rt;

namespace {

constexpr double ALLOWED_DIFFERENCES = 1e-3;  // of a frame's rays: those that graze an edge round to either side

struct Measured {
    const char* szScene;
    SceneFigures figures;
};

void printUsage() {
    printf(
        "rt_bench [options] SCENE...\n\n"
        "Measures scenes, named as for RayTracer and read from Scenes/ of the working directory, and writes its\n"
        "kdtree.tmp there. Exits with 0 when every tracer found the same hits.\n\n"
        "--runs N     measure N times (5)\n"
        "--no-build   take the tree from kdtree.tmp if it is for the scene\n"
        "--no-embree  leave Embree out\n"
        "--stats      print the figures of the trees, too\n"
        "--isa NAME   use this packet kernel (generic, sse2, avx2, avx512), or single rays (single)\n");
}

// True when the command line is refused.
bool parse(int argc, char** argv, BenchOptions& options, bool& bStats, std::vector<const char*>& vScenes) {
    for (int i = 1; i < argc; ++i) {
        const auto is = [&](const char* szName) { return !strcmp(argv[i], szName); };
        if (is("--no-build")) {
            options.bBuild = false;
        } else if (is("--no-embree")) {
            options.bEmbree = false;
        } else if (is("--stats")) {
            bStats = true;
        } else if (is("--runs") && i + 1 < argc) {
            options.uRuns = static_cast<unsigned>(strtoul(argv[++i], nullptr, 10));
        } else if (is("--isa") && i + 1 < argc) {
            const char* szName = argv[++i];
            options.pKernel = findKernel(szName);
            if (!options.pKernel && strcmp(szName, "single") != 0) return true;
        } else if (argv[i][0] == '-') {
            return true;
        } else {
            vScenes.push_back(argv[i]);
        }
    }
    return vScenes.empty() || options.uRuns == 0;
}

// Runs a measurement in a process of its own, whose peak of memory is then nobody else's. True when it failed.
template <typename Measure>
bool measureApart(SceneFigures& figures, const Measure& measure) {
    int iPipe[2];
    fflush(stdout);
    if (pipe(iPipe)) return true;
    const pid_t child = fork();
    if (child == 0) {
        close(iPipe[0]);
        // The progress that the program prints is not part of the table.
        const bool bFailed = !freopen("/dev/null", "w", stdout) || measure(figures) ||
                             write(iPipe[1], &figures, sizeof(figures)) != ssize_t{sizeof(figures)};
        _exit(bFailed);
    }
    close(iPipe[1]);
    const bool bFailed = child < 0 || read(iPipe[0], &figures, sizeof(figures)) != ssize_t{sizeof(figures)};
    close(iPipe[0]);
    if (child > 0) waitpid(child, nullptr, 0);
    return bFailed;
}

double perSecond(size_t uCount, double dSeconds) {
    return dSeconds > 0.0 ? static_cast<double>(uCount) / dSeconds : 0.0;
}

// A table's head; the scene's name and size come first in each.
void printHead(const char* szTitle, const char* szColumns) {
    printf("\n%s\n\n| scene | faces |%s\n|---|---|", szTitle, szColumns);
    for (const char* sz = szColumns; *sz; ++sz) {
        if (*sz == '|') printf("---|");
    }
    printf("\n");
}

void printScene(const Measured& measured) {
    printf("| %s | %u |", measured.szScene, measured.figures.uFaces);
}

void printSteps(const std::vector<Measured>& vMeasured) {
    printHead("Single steps in seconds, whole rendering in ms, peak of memory",
              " load | build (kfaces/s) | cache save | cache load | boxes | render | bytes a face |");
    for (const Measured& measured : vMeasured) {
        const SceneFigures& f = measured.figures;
        printScene(measured);
        printf(" %.3f |", f.dLoad);
        if (f.dBuild > 0.0) {
            printf(" %.3f (%.0f) |", f.dBuild, perSecond(f.uFaces, f.dBuild) * 1e-3);
        } else {
            printf(" - |");
        }
        printf(" %.3f | %.3f | %.3f | %.0f | %.0f |\n", f.dSave, f.dReload, f.dBoxes, f.dRender * 1e3,
               f.dPeakBytes / f.uFaces);
    }
}

void printFrame(const SceneFigures& f, const FrameTime& frame) {
    if (frame.sum() <= 0.0) {
        printf(" - |");
        return;
    }
    printf(" %.1f, %.1f: %.0f |", perSecond(f.uPrimary, frame.dPrimary) * 1e-6,
           perSecond(f.uShadow, frame.dShadow) * 1e-6, frame.sum() * 1e3);
}

void printFrames(const std::vector<Measured>& vMeasured, const char* szKernel) {
    char szColumns[256];
    snprintf(szColumns, sizeof(szColumns),
             " sse2 | %s | Embree single, SSE2 | Embree single | Embree packets of 8 | Embree build s | rays | "
             "other hits |",
             szKernel);
    printHead("Queries: million primary rays, million shadow rays a second: frame in ms", szColumns);
    for (const Measured& measured : vMeasured) {
        const SceneFigures& f = measured.figures;
        printScene(measured);
        for (const FrameTime& frame :
             {f.frameSse2, f.frame, f.embreeSse2.frame, f.embree.frame, f.embreePackets.frame}) {
            printFrame(f, frame);
        }
        printf(" %.3f | %zu, %zu | %zu of %zu; %zu, %zu, %zu |\n", f.embree.dBuild, f.uPrimary, f.uShadow,
               f.uDifferences, f.uChecked, f.embreeSse2.uDifferences, f.embree.uDifferences,
               f.embreePackets.uDifferences);
    }
    printf(
        "\nOther hits: against a search over all faces for some of the rays; against Embree in the order of the "
        "columns.\n");
}

void printTrees(const std::vector<Measured>& vMeasured) {
    printHead("Trees",
              " nodes | leaves | empty leaves | depth | faces a leaf: median, 90 %, largest | face references "
              "| SAH cost | bytes a face | rays left to the tree, in 10,000 |");
    for (const Measured& measured : vMeasured) {
        const TreeStats& t = measured.figures.tree;
        printScene(measured);
        printf(" %u | %u | %u | %u | %u, %u, %u | %u | %.1f | %.0f | %.1f |\n", t.uNodes, t.uLeaves, t.uEmptyLeaves,
               t.uDepth, t.uMedian, t.uNinetieth, t.uLargest, t.uReferences, t.dCost,
               static_cast<double>(t.uBytes) / measured.figures.uFaces, 1e4 * measured.figures.dOpen);
    }
}

bool sameHits(const SceneFigures& f) {
    const double dRays = static_cast<double>(f.uPrimary + f.uShadow);
    bool bSame = f.bKernelsAgree;
    bSame &= static_cast<double>(f.uDifferences) <= ALLOWED_DIFFERENCES * static_cast<double>(f.uChecked);
    for (const RivalFigures& rival : {f.embree, f.embreeSse2, f.embreePackets}) {
        bSame &= static_cast<double>(rival.uDifferences) <= ALLOWED_DIFFERENCES * dRays;
    }
    return bSame;
}

}  // namespace

int main(int argc, char** argv) {
    BenchOptions options;
    bool bStats = false;
    std::vector<const char*> vScenes;
    if (parse(argc, argv, options, bStats, vScenes)) {
        printUsage();
        return 2;
    }
    Velk::NLogger::InitLogger("RayTracer.log", false);
    int iExit = 0;
    std::vector<Measured> vMeasured;
    for (const char* szScene : vScenes) {
        SceneFigures figures;
        fprintf(stderr, "%s...\n", szScene);
        if (measureApart(figures, [&](SceneFigures& f) { return measureRender(szScene, options, f); }) ||
            measureApart(figures, [&](SceneFigures& f) { return measureSteps(szScene, options, f); })) {
            fprintf(stderr, "rt_bench: cannot measure %s, see RayTracer.log\n", szScene);
            iExit = 1;
            continue;
        }
        if (!sameHits(figures)) {
            fprintf(stderr, "rt_bench: the hits of %s differ\n", szScene);
            iExit = 1;
        }
        vMeasured.push_back({szScene, figures});
    }
    printSteps(vMeasured);
    printFrames(vMeasured, options.pKernel ? options.pKernel->szName : "single");
    if (bStats) printTrees(vMeasured);
    return iExit;
}
