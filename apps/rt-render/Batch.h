#pragma once

#include <cstdio>

#include "rt-render/RenderPage.h"
#include "rt-render/options/RenderOptions.h"

namespace rt {

/// Renders all scenes and models of the command line, one after the other; of a directory all model files in it. One
/// that fails leaves the others alone. pOutput: the standard output that the program was started with, for those who
/// asked for something there. page: what a browser sees. Exit status of the program.
int renderBatch(const RenderOptions& options, FILE* pOutput, RenderPage& page);

}  // namespace rt
