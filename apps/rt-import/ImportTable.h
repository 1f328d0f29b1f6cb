#pragma once

#include <string>

#include "import/reader/ImportOptions.h"
#include "shared/CommandLine.h"

namespace rt {

/// What the user wants, as the command line of rt-import says it.
struct ImportSettings {
    std::string sModel, sName, sScenes = "Scenes";
    std::string sPack;    // the file of the packed scene, "-" for standard output; empty: a scene in files
    bool bLamps = false;  // it is for lamps, not for a studio
    ImportOptions options;
};

/// rt-import as its users see it.
Program importProgram();

/// Stores what is given on its command line.
void storeImportOptions(const std::vector<GivenOption>& vGiven, ImportSettings& settings);

}  // namespace rt
