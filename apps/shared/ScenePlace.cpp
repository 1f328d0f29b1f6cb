// Where scenes are looked for.
#include "shared/ScenePlace.h"

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

#include "render/shading/RaytracerParameters.h"
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

bool isModelName(const std::string& sFile) {
    const size_t uDot = sFile.rfind('.'), uSlash = sFile.rfind('/');
    if (uDot == std::string::npos || (uSlash != std::string::npos && uDot < uSlash)) return false;
    return sFile.substr(uDot) != ".txt";
}

bool ScenePlace::find(const std::string& sScene) {
    sName = fs::path(sScene).stem();
    if (!findByName(sScene)) return false;
    if (isFile(sScene)) {
        bModel = isModelName(sScene);
        if (!bModel) findByPath(sScene);
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

bool ScenePlace::findByName(const std::string& sScene) {
    if (findDescription("Scenes/scene_descs/" + sScene + ".txt")) return true;
    sName = fs::path(sScene).filename();
    return false;
}

bool ScenePlace::findDescription(const std::string& sFile) {
    for (const fs::path& directory : sceneDirectories()) {
        if (!isFile(directory / sFile)) continue;
        sDirectory = directory;
        sDescription = sFile;
        return false;
    }
    return true;
}

// The paths in a description are relative to where a user runs RayTracer: here, or else some directory above the
// description.
void ScenePlace::findByPath(const std::string& sPath) {
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

bool ScenePlace::visit(const std::function<bool(const char* szDescription)>& pfnRead) const {
    if (sDescription.size() >= sizeof(RaytracerParameters::szDescFile)) {
        Console::error("%s: the path is too long: %zu characters at most", sDescription.c_str(),
                       sizeof(RaytracerParameters::szDescFile) - 1);
        return true;
    }
    const int iHere = sDirectory.empty() ? -1 : open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (!sDirectory.empty() && (iHere == -1 || chdir(sDirectory.c_str()) != 0)) {
        Console::error("%s: %s", sDirectory.c_str(), strerror(errno));
        if (iHere != -1) close(iHere);
        return true;
    }
    const std::string sRelative = sDirectory.empty() ? "" : sDirectory + "/";
    const unsigned uErrors = Console::errorCount();
    Console::setInputPrefix(sRelative.c_str());
    const bool bFailed = pfnRead(sDescription.c_str());
    Console::setInputPrefix("");
    const bool bLost = iHere != -1 && fchdir(iHere) != 0;
    if (iHere != -1) close(iHere);
    if ((bFailed || bLost) && Console::errorCount() == uErrors) {
        Console::error("%s: cannot be read", sDescription.c_str());
    }
    return bFailed || bLost;
}

}  // namespace rt
