#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "accel/queries/RayQueries.h"
#include "support/Watertight.h"

using namespace rt;

/// The first ray of a stream to which a kernel of this machine does not give the answers of the single-ray walk, to the
/// last bit, and how they differ; empty when there is none. Adds up the rays that hit face 0.
std::string firstWrongAnswer(RayQueries& queries, const RayStream& stream, uint32_t& uHitFirstFace);

/// The same for watertight queries of all kinds, against a search over all faces.
std::string firstWrongAnswer(WatertightQueries& queries, const Mesh& mesh, const std::vector<WatertightRay>& vRays);
