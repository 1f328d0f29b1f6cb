#pragma once

#include <cstddef>
#include <cstdint>

#include "Contestant.h"
#include "TreeStats.h"
#include "accel/packet/RayKernel.h"

using namespace rt;

/// What is measured of a scene, how often and with which kernel.
struct BenchOptions {
    unsigned uRuns = 5;
    bool bBuild = true;  // false: kdtree.tmp of the working directory is taken, if it is for the scene
    bool bEmbree = true;
    const RayKernel* pKernel = &bestKernel();  // that the program uses; null: one ray after the other
};

/// A rival's figures.
struct RivalFigures {
    double dBuild = 0.0;  // seconds
    FrameTime frame;
    size_t uDifferences = 0;  // rays that it answers otherwise
};

/// All that is measured of one scene, in seconds, and 0 where nothing was measured. Frames add up the best run of each
/// tile; the other times are medians over the runs of processor time, which leaves out what else the machine does.
struct SceneFigures {
    uint32_t uFaces = 0;
    size_t uPrimary = 0;  // rays of the frame
    size_t uShadow = 0;
    double dLoad = 0.0;
    double dBuild = 0.0;
    double dSave = 0.0;  // of the tree's cache file
    double dReload = 0.0;
    double dBoxes = 0.0;  // of building the box hierarchy, which is made afresh each time
    double dRender = 0.0;
    double dPeakBytes = 0.0;     // of memory, from the empty program to the end of rendering
    FrameTime frame, frameSse2;  // with the kernel of the options, and with the oldest one
    bool bKernelsAgree = true;   // to the last bit
    double dOpen = 0.0;          // share of rays that the kernels left to the tree
    size_t uChecked = 0;         // rays searched by brute force
    size_t uDifferences = 0;
    RivalFigures embree, embreeSse2, embreePackets;
    TreeStats tree;
};

/// Measures loading, building and rendering in the way of the program: the render time and the peak of memory.
/// To be run in a process that did nothing else before. True on failure.
[[nodiscard]] bool measureRender(const char* szScene, const BenchOptions& options, SceneFigures& figures);

/// Measures the single steps, the queries, and the rivals on the same rays, one frame of each in turn. Takes the tree
/// that measureRender() left in kdtree.tmp. True on failure.
[[nodiscard]] bool measureSteps(const char* szScene, const BenchOptions& options, SceneFigures& figures);
