// From the operands to one job for each scene.
#include "rt-render/Batch.h"

#include <strings.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "picture/PictureFile.h"
#include "rt-render/RenderJob.h"
#include "rt-render/SceneSource.h"
#include "rt-render/SkyFile.h"
#include "rt-render/output/PictureReport.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/StopSignals.h"

namespace rt {

namespace fs = std::filesystem;

namespace {

// What files of a directory are models: formats that hold whole objects, by the usual suffixes of their files.
constexpr const char* MODEL_SUFFIXES[] = {".3ds", ".3mf",  ".ac",  ".amf", ".blend", ".dae", ".dxf", ".fbx",
                                          ".glb", ".gltf", ".ifc", ".lwo", ".ms3d",  ".obj", ".off", ".ply",
                                          ".stl", ".usd",  ".wrl", ".x",   ".x3d",   ".xgl"};

bool isModelFile(const fs::directory_entry& entry) {
    std::error_code error;
    const std::string sSuffix = suffixOf(entry.path().filename().string());
    return entry.is_regular_file(error) &&
           std::any_of(std::begin(MODEL_SUFFIXES), std::end(MODEL_SUFFIXES),
                       [&](const char* sz) { return !strcasecmp(sz, sSuffix.c_str()); });
}

// Adds the model files of a directory. True when there are none, which is reported.
bool addDirectory(const std::string& sDirectory, std::vector<std::string>& vScenes) {
    std::vector<std::string> vFound;
    std::error_code error;
    for (fs::directory_iterator i(sDirectory, error), end; !error && i != end; i.increment(error)) {
        if (isModelFile(*i)) vFound.push_back(i->path().string());
    }
    std::sort(vFound.begin(), vFound.end());
    vScenes.insert(vScenes.end(), vFound.begin(), vFound.end());
    if (!vFound.empty()) return false;
    Console::error("%s: a directory without model files", sDirectory.c_str());
    return true;
}

// Names the pictures of several scenes: beside each, or in the directory that the user names. True when that is none,
// which is reported.
bool namePictures(const RenderOptions& options, std::vector<RenderOptions>& vJobs) {
    std::error_code error;
    const std::string& sWanted = options.sPicture;
    if (!sWanted.empty() && !fs::is_directory(sWanted, error)) {
        Console::error("rt-render: --out: \"%s\" is no directory, which the pictures of several models need",
                       sWanted.c_str());
        return true;
    }
    const auto pathFor = [&](const std::string& sScene, const fs::path& name) {
        const fs::path folder = sWanted.empty() ? fs::path(sScene).parent_path() : fs::path(sWanted);
        return (folder / name).string() + ".png";
    };
    std::map<std::string, unsigned> counts;
    for (const RenderOptions& job : vJobs) ++counts[pathFor(job.sScene, fs::path(job.sScene).stem())];
    std::set<std::string> names;
    for (RenderOptions& job : vJobs) {
        const fs::path scene(job.sScene);
        job.sPicture = pathFor(job.sScene, scene.stem());
        // Of "mug.obj" and "mug.stl" each keeps its suffix.
        if (counts[job.sPicture] > 1) job.sPicture = pathFor(job.sScene, scene.filename());
        if (names.insert(job.sPicture).second) continue;
        Console::error("rt-render: \"%s\" would be the picture of two of the scenes", job.sPicture.c_str());
        return true;
    }
    return false;
}

// One job for each scene. True when something is wrong, which is reported, with the program's status.
bool listJobs(const RenderOptions& options, std::vector<RenderOptions>& vJobs, int& iStatus) {
    std::vector<std::string> vScenes;
    bool bSeveral = options.vScenes.size() > 1;
    for (const std::string& sScene : options.vScenes) {
        std::error_code error;
        if (!fs::is_directory(sScene, error) || SceneSource::isName(sScene)) {
            vScenes.push_back(sScene);
            continue;
        }
        bSeveral = true;
        iStatus = STATUS_FAILED;
        if (addDirectory(sScene, vScenes)) return true;
    }
    iStatus = STATUS_USAGE;
    for (const std::string& sScene : vScenes) {
        vJobs.push_back(options);
        vJobs.back().sScene = sScene;
        vJobs.back().bStandardInput = sScene == "-";
        if (sScene == "-") vJobs.back().sScene = "stdin." + options.sFormat;
    }
    if (bSeveral && (options.cameras.sWriteCameras != "" || options.bResume)) {
        Console::error("rt-render: --resume and --write-cameras are for one scene");
        return true;
    }
    if (bSeveral && namePictures(options, vJobs)) return true;
    return std::any_of(vJobs.begin(), vJobs.end(), completeOptions);
}

}  // namespace

int renderBatch(const RenderOptions& options, FILE* pOutput, RenderPage& page) {
    std::vector<RenderOptions> vJobs;
    int iResult = STATUS_DONE;
    if (listJobs(options, vJobs, iResult)) return iResult;
    SkyPicture sky;
    std::unique_ptr<SkyMap> pSky;
    if (readSky(options, sky, pSky)) return STATUS_FAILED;
    iResult = STATUS_DONE;
    for (RenderOptions& job : vJobs) {
        job.studio.pSky = pSky.get();
        Console::Said said;
        Console::keepIn(&said);
        const int iStatus = std::make_unique<RenderJob>(job, sky, pOutput, page)->run();
        if (iStatus == STATUS_FAILED && job.bJson) {
            writeFailure(pOutput, job.sScene, said.vErrors.empty() ? "" : said.vErrors.back());
        }
        Console::keepIn(nullptr);
        if (iStatus > STATUS_SIGNAL) return iStatus;
        if (iStatus != STATUS_DONE) iResult = iStatus;
        if (StopSignals::which() && &job != &vJobs.back()) return STATUS_SIGNAL + StopSignals::which();
    }
    // One that came while the last picture was written changes nothing any more.
    StopSignals::ignore();
    return iResult;
}

}  // namespace rt
