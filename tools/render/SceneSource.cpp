// Where scenes are looked for, and how they are read from there.
#include "tools/render/SceneSource.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <vector>

#include "tools/render/Console.h"

namespace fs = std::filesystem;

namespace {

// Directories that hold an installed Scenes: beside the program, which may have been moved, and where it was meant for.
std::vector<fs::path> installedDirectories() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    std::vector<fs::path> vDirectories;
    if (!error) vDirectories.push_back(program.parent_path().parent_path() / "share" / "raytracer");
    vDirectories.emplace_back(RT_DATA_DIR);
    return vDirectories;
}

// For a signal handler to find: the temporary directory, and whose it is.
char g_szTemporary[512] = "";
pid_t g_iOwner = 0;

// Ends this process's children, of which the importer's is the only one so early. Or it would go on writing to the
// directory while that is removed.
void endChildren() {
    char szPids[256];
    const int iFile = open("/proc/thread-self/children", O_RDONLY | O_CLOEXEC);
    const ssize_t iRead = iFile == -1 ? 0 : read(iFile, szPids, sizeof(szPids));
    pid_t iChild = 0;
    for (ssize_t i = 0; i < iRead; ++i) {  // each has a blank behind it
        if (szPids[i] >= '0' && szPids[i] <= '9') {
            iChild = iChild * 10 + (szPids[i] - '0');
        } else if (iChild) {
            kill(iChild, SIGKILL);
            waitpid(iChild, nullptr, 0);
            iChild = 0;
        }
    }
}

// Ends the process. Only calls that are allowed in a signal handler.
void endEarly(int iSignal) {
    if (getpid() != g_iOwner) _exit(STATUS_SIGNAL + iSignal);  // the importer's child
    endChildren();
    if (*g_szTemporary) {
        const pid_t iRemover = _Fork();
        if (iRemover == 0) {
            execl("/bin/rm", "rm", "-rf", g_szTemporary, nullptr);
            _exit(1);
        }
        if (iRemover > 0) waitpid(iRemover, nullptr, 0);
    }
    constexpr char MESSAGE[] = "\nrt-render: interrupted before the first pixel\n";
    if (write(STDERR_FILENO, MESSAGE, sizeof(MESSAGE) - 1) < 0) _exit(1);
    _exit(STATUS_SIGNAL + iSignal);
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

}  // namespace

bool SceneSource::find(const RenderOptions& options) {
    const std::string& sScene = options.sScene;
    sName = fs::path(sScene).stem();
    if (!findByName(sScene)) return false;
    if (isFile(sScene)) {
        bModel = isModelName(sScene);
        if (bModel) return importFrom(options);
        findByPath(sScene);
        return false;
    }
    if (isModelName(sScene) || sScene.find('/') != std::string::npos) {
        Console::error("%s: no such file", sScene.c_str());
    } else {
        Console::error("%s: no such scene: there is no Scenes/scene_descs/%s.txt here or in %s", sScene.c_str(),
                       sScene.c_str(), installedDirectories().back().c_str());
    }
    return true;
}

// True when no scene has this name.
bool SceneSource::findByName(const std::string& sScene) {
    const std::string sFile = "Scenes/scene_descs/" + sScene + ".txt";
    std::vector<fs::path> vDirectories = installedDirectories();
    vDirectories.insert(vDirectories.begin(), fs::path());
    for (const fs::path& directory : vDirectories) {
        if (!isFile(directory / sFile)) continue;
        sName = fs::path(sScene).filename();
        sDirectory = directory;
        sDescription = sFile;
        return false;
    }
    return true;
}

// Makes a scene of a model file, in a directory that lives until the scene is read.
bool SceneSource::importFrom(const RenderOptions& options) {
#ifdef RT_IMPORT
    std::error_code error;
    std::string sTemporary = fs::temp_directory_path(error) / "rt-render-XXXXXX";
    if (sTemporary.size() >= sizeof(g_szTemporary) || !mkdtemp(sTemporary.data())) {
        Console::error("%s: no temporary directory: %s", sTemporary.c_str(), strerror(errno));
        return true;
    }
    sTemporary.copy(g_szTemporary, sTemporary.size());
    std::string sMessage;
    std::vector<std::string> vNotices;
    ImportOptions wanted = options.import;
    wanted.bProgress = Console::showsStatus();
    wanted.sWrittenRoot = "Scenes";
    const auto triple = [](const Velk::NMVector3f& v) { return std::array<double, 3>{v.x, v.y, v.z}; };
    if (options.view.v3From) wanted.vFrom = triple(*options.view.v3From);
    if (options.view.v3At) wanted.vAt = triple(*options.view.v3At);
    if (options.view.fFov) wanted.dFov = *options.view.fFov;
    if (options.parameters.bCustomResolution) {
        wanted.uWidth = options.parameters.uWidth;
        wanted.uHeight = options.parameters.uHeight;
    }
    const bool bFailed = importModel(options.sScene, sTemporary + "/Scenes", "model", wanted, sMessage, vNotices);
    for (const std::string& sNotice : vNotices) {
        // Nobody meets the temporary scene's numbers.
        const bool bScale = sNotice.compare(0, 10, "scaled by ") == 0;
        (bScale ? Console::detail : Console::warning)("%s: %s", options.sScene.c_str(), sNotice.c_str());
    }
    if (bFailed) {
        Console::error("%s", sMessage.c_str());
        return true;
    }
    Console::detail("%s", sMessage.c_str());
    sReportPrefix = options.sScene + ", as a scene: ";
    sDirectory = sTemporary;
    sDescription = "Scenes/scene_descs/model.txt";
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
    const unsigned uErrors = Console::errorCount();
    const int iHere = sDirectory.empty() ? -1 : open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (!sDirectory.empty() && (iHere == -1 || chdir(sDirectory.c_str()) != 0)) {
        Console::error("%s: %s", sDirectory.c_str(), strerror(errno));
        if (iHere != -1) close(iHere);
        return true;
    }
    const std::string sRelative = sDirectory.empty() ? "" : sDirectory + "/";
    Console::setInputPrefix((bModel ? sReportPrefix : sRelative).c_str());
    const bool bFailed = rayTracer.load(sDescription.c_str(), false);
    Console::setInputPrefix("");
    const bool bLost = iHere != -1 && fchdir(iHere) != 0;
    if (iHere != -1) close(iHere);
    if ((bFailed || bLost) && Console::errorCount() == uErrors) {
        Console::error("%s: cannot be read", sDescription.c_str());
    }
    return bFailed || bLost;
}

void SceneSource::removeTemporary() {
    std::error_code error;
    if (*g_szTemporary) fs::remove_all(g_szTemporary, error);
    *g_szTemporary = '\0';
}

void SceneSource::cleanUpOnSignals() {
    g_iOwner = getpid();
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP}) signal(iSignal, endEarly);
}
