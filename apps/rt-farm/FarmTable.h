#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "render/shading/RaytracerParameters.h"
#include "shared/CommandLine.h"

namespace rt {

/// What the user wants, as the command line of rt-farm says it.
struct FarmSettings {
    std::string sScene;              // a scene's name or a description's path
    std::string sPicture;            // file name with one of our suffixes
    RaytracerParameters parameters;  // what clients get, but for the names of the files
    std::string sAllow = "127.0.0.0/8";
    uint32_t uPort = 5000;
    uint32_t uClients = 1024;       // served at the same time
    std::optional<uint32_t> uPage;  // port of the page; 0: none
    bool bResume = false;
    bool bQuiet = false;
    bool bVerbose = false;
};

/// rt-farm as its users see it.
Program farmProgram();

/// Stores what is given on its command line.
void storeFarmOptions(const std::vector<GivenOption>& vGiven, FarmSettings& settings);

}  // namespace rt
