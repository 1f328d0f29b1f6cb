#pragma once

#include "scene/Scene.h"

/// True when KDTreeBuilder writes the same nodes and lists as a builder that tests every face at every candidate.
bool buildsPlainTree(const Scene& scene);
