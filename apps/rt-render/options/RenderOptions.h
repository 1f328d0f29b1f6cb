#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#ifdef RT_IMPORT
#include "import/ModelImport.h"
#endif
#include "accel/queries/RayQueries.h"
#include "render/shading/RaytracerParameters.h"
#include "render/studio/StudioRenderer.h"
#include "rt-render/options/CameraWishes.h"
#include "rt-render/options/LayerWishes.h"
#include "rt-render/options/View.h"

namespace rt {

/// What the user wants, as the command line of rt-render says it.
struct RenderOptions {
    /// What becomes of pictures.
    enum Output { FILES, STANDARD_OUTPUT, FILM };

    std::vector<std::string> vScenes;  // as they were given; "-" is a model from standard input
    std::string sScene;                // a scene's name, a description's path or a model file
    std::string sPicture;              // file name with one of our suffixes; of several without what tells them apart
    RaytracerParameters parameters;    // the settings that RayTracer has too, but for the names of the files
    View view;
    CameraWishes cameras;
    LayerWishes layers;
#ifdef RT_IMPORT
    ImportOptions import;  // when the scene is a model
#endif
    std::optional<RayKind> rays;     // watertight for models, of the tree for scenes
    std::optional<bool> bStudio;     // its light, not the scene's lamps: so are models
    StudioSettings studio;           // but for its ground, its edges and its sky
    std::string sSky;                // a file of light all around; empty: the studio's own
    float fSkyTurn = 0.0f;           // degrees
    std::string sViews, sLayers;     // as they were given
    std::string sBackground;         // as it was given, empty if it was not
    unsigned uSamples = 0;           // rays along each side of a pixel; 0: one, but more at edges in a studio
    unsigned uJobs = 0;              // worker threads
    uint32_t uPage = 0;              // port of a page that shows how far it is; 0: none
    unsigned uOrbit = 0;             // pictures around the scene; 0: the one picture
    unsigned uCacheLimit = 1024;     // megabytes of kept trees; 0: none
    unsigned uFramesPerSecond = 30;  // of a film
    Output eOutput = FILES;
    std::string sFormat;       // suffix of a model from standard input, without its dot
    std::string sModelOption;  // one that was given and is for models only, empty if none was
    std::string sScheduler;    // whose workers render, as tcp://HOST:PORT; empty: this machine
    bool bStandardInput = false;
    bool bJson = false;
    std::string sReference;   // the picture to compare with; empty: none
    unsigned uTolerance = 0;  // how far a channel may be away from it
    bool bResume = false;
    bool bQuiet = false;
    bool bVerbose = false;
};

/// Reads the command line. True when the program is to end with iStatus: what is wrong has been said, or help given.
[[nodiscard]] bool parseOptions(int argc, char** argv, RenderOptions& options, int& iStatus);

/// Completes options that are for one scene, sScene: what no option can know of the others, and the picture's name.
/// True when something is wrong, which is reported.
[[nodiscard]] bool completeOptions(RenderOptions& options);

}  // namespace rt
