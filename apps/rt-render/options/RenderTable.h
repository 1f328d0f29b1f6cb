#pragma once

#include "rt-render/options/RenderOptions.h"
#include "shared/CommandLine.h"

namespace rt {

/// rt-render as its users see it.
Program renderProgram();

/// Titles the options that only model files have.
constexpr const char* MODEL_OPTIONS = "Of model files only";

/// Stores what is given on its command line.
void storeRenderOptions(const std::vector<GivenOption>& vGiven, RenderOptions& options);

}  // namespace rt
