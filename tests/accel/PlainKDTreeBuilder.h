#pragma once

#include <vector>

#include "accel/build/SplitFrame.h"
#include "scene/Scene.h"

using namespace rt;

/// The cheapest split of a node by testing every face at every candidate; its cost is infinite when there is none.
Split plainSplit(const SplitFrame& frame, const std::vector<const FaceData*>& vFaces);

/// True when KDTreeBuilder writes the same nodes and lists as a builder that tests every face at every candidate.
bool buildsPlainTree(const Scene& scene);
