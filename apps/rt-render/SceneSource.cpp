// Where scenes are looked for, and how they are read from there.
#include "rt-render/SceneSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <vector>

#include "rt-render/SpooledModel.h"
#include "shared/Console.h"
#include "shared/NearNames.h"

namespace rt {

namespace fs = std::filesystem;

namespace {

constexpr size_t MOST_SCENES = 20;  // of scenes in a message

// Directories that may hold Scenes: the working directory, the one beside the program, which may have been moved, and
// where it was meant for.
std::vector<fs::path> sceneDirectories() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    std::vector<fs::path> vDirectories{fs::path()};
    if (!error) vDirectories.push_back(program.parent_path().parent_path() / "share" / "raytracer");
    vDirectories.emplace_back(RT_DATA_DIR);
    return vDirectories;
}

bool isFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

std::string firstLineOf(const fs::path& path) {
    std::string sLine;
    std::getline(std::ifstream(path), sLine);
    return sLine.substr(0, sLine.find('\r'));
}

// Names of the scenes here and of the installed ones.
std::vector<std::string> sceneNames() {
    std::set<std::string> names;
    for (const fs::path& directory : sceneDirectories()) {
        std::error_code error;
        for (fs::directory_iterator i(directory / "Scenes" / "scene_descs", error), end; !error && i != end;
             i.increment(error)) {
            if (i->path().extension() == ".txt" && isFile(i->path())) names.insert(i->path().stem());
        }
    }
    return {names.begin(), names.end()};
}

void reportMissingScene(const std::string& sScene) {
    const std::vector<std::string> vNames = nearestFirst(sceneNames(), sScene);
    if (vNames.empty()) {
        Console::error("%s: no such scene: there is none in ./Scenes or in %s/Scenes", sScene.c_str(), RT_DATA_DIR);
    } else {
        Console::error("%s: no such scene, there are %s", sScene.c_str(), listOf(vNames, MOST_SCENES).c_str());
    }
}

}  // namespace

bool SceneSource::find(const RenderOptions& options) {
    const std::string& sScene = options.sScene;
    sName = fs::path(sScene).stem();
    if (options.bStandardInput) return importInput(options);
    if (!findByName(sScene)) return false;
    if (isFile(sScene)) {
        bModel = isModelName(sScene);
        if (bModel) return importFrom(options, sScene);
        findByPath(sScene);
        return false;
    }
    struct stat status {};
    if (stat(sScene.c_str(), &status) == 0) {
        Console::error("%s: %s, not a file of a scene or a model", sScene.c_str(),
                       S_ISDIR(status.st_mode) ? "a directory" : "a pipe or a device");
    } else if (errno != ENOENT) {
        Console::error("%s: %s", sScene.c_str(), strerror(errno));
    } else if (isModelName(sScene) || sScene.find('/') != std::string::npos) {
        Console::error("%s: no such file", sScene.c_str());
    } else {
        reportMissingScene(sScene);
    }
    return true;
}

// True when no scene has this name.
bool SceneSource::findByName(const std::string& sScene) {
    const std::string sFile = "Scenes/scene_descs/" + sScene + ".txt";
    for (const fs::path& directory : sceneDirectories()) {
        if (!isFile(directory / sFile)) continue;
        sName = fs::path(sScene).filename();
        sDirectory = directory;
        sDescription = sFile;
        return false;
    }
    return true;
}

bool SceneSource::isName(const std::string& sScene) {
    return !SceneSource().findByName(sScene);
}

bool SceneSource::importInput(const RenderOptions& options) {
    SpooledModel spool;
    bModel = true;
    return spool.take(options.sScene) || importFrom(options, spool.file());
}

// Makes a scene of a model file, in memory.
bool SceneSource::importFrom(const RenderOptions& options, const std::string& sModel) {
#ifdef RT_IMPORT
    std::string sMessage;
    std::vector<std::string> vNotices;
    ImportOptions wanted = options.import;
    wanted.bProgress = Console::showsStatus();
    wanted.bStudio = options.bStudio.value_or(true);
    wanted.bColours = wanted.bStudio;  // lamps show materials alone
    bGround = wanted.bGround;
    const auto triple = [](const Velk::NMVector3f& v) { return std::array<double, 3>{v.x, v.y, v.z}; };
    if (options.view.v3From) wanted.vFrom = triple(*options.view.v3From);
    if (options.view.v3At) wanted.vAt = triple(*options.view.v3At);
    if (options.view.fFov) wanted.dFov = *options.view.fFov;
    if (options.parameters.bCustomResolution) {
        wanted.uWidth = options.parameters.uWidth;
        wanted.uHeight = options.parameters.uHeight;
    }
    const bool bFailed = importModel(sModel, wanted, staged, sMessage, vNotices);
    const size_t uAt = options.bStandardInput ? sMessage.find(sModel) : std::string::npos;
    if (uAt != std::string::npos) sMessage.replace(uAt, sModel.size(), "standard input");  // as the user knows it
    for (const std::string& sNotice : vNotices) {
        // Only who gives a point of the scene meets its numbers.
        const bool bNumbers = sNotice.rfind("scaled by ", 0) == 0 || sNotice.rfind("moved to the origin ", 0) == 0;
        const bool bMet = options.view.v3From || options.view.v3At || options.parameters.bCustomCamera;
        (bNumbers && !bMet ? Console::detail : Console::warning)("%s: %s", options.sScene.c_str(), sNotice.c_str());
    }
    if (bFailed) {
        Console::error("%s", sMessage.c_str());
        return true;
    }
    Console::detail("%s", sMessage.c_str());
    return false;
#else
    Console::error("%s: model files cannot be read: rt-render was built without libassimp-dev", options.sScene.c_str());
    return true;
#endif
}

// The paths in a description are relative to where a user runs RayTracer: here, or else some directory above the
// description.
void SceneSource::findByPath(const std::string& sPath) {
    const fs::path path = fs::absolute(sPath);
    const std::string sGeometry = firstLineOf(path);
    sDescription = sPath;
    if (isFile(sGeometry)) return;
    for (fs::path directory = path.parent_path(); directory.has_relative_path(); directory = directory.parent_path()) {
        if (!isFile(directory / sGeometry)) continue;
        sDirectory = directory;
        sDescription = path.lexically_relative(directory);
        return;
    }
}

bool SceneSource::load(RayTracer& rayTracer) const {
#ifdef RT_IMPORT
    if (bModel) {
        if (staged.handOver(rayTracer)) return true;
        rayTracer.useCamera(staged.camera);
        return false;
    }
#endif
    const unsigned uErrors = Console::errorCount();
    if (sDescription.size() >= sizeof(rayTracer.parameters.szDescFile)) {
        Console::error("%s: the path is too long: %zu characters at most", sDescription.c_str(),
                       sizeof(rayTracer.parameters.szDescFile) - 1);
        return true;
    }
    const int iHere = sDirectory.empty() ? -1 : open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (!sDirectory.empty() && (iHere == -1 || chdir(sDirectory.c_str()) != 0)) {
        Console::error("%s: %s", sDirectory.c_str(), strerror(errno));
        if (iHere != -1) close(iHere);
        return true;
    }
    const std::string sRelative = sDirectory.empty() ? "" : sDirectory + "/";
    Console::setInputPrefix(sRelative.c_str());
    const bool bFailed = rayTracer.load(sDescription.c_str(), false);
    Console::setInputPrefix("");
    const bool bLost = iHere != -1 && fchdir(iHere) != 0;
    if (iHere != -1) close(iHere);
    if ((bFailed || bLost) && Console::errorCount() == uErrors) {
        Console::error("%s: cannot be read", sDescription.c_str());
    }
    return bFailed || bLost;
}

}  // namespace rt
