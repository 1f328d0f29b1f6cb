// What both cache files share: the first line, and the check against the geometry file.
#include "accel/CacheFile.h"

#include <sys/stat.h>

#include <cstring>

#include "base/NLogger.h"
#include "base/Printable.h"
#include "scene/Scene.h"

namespace rt {

std::string cacheHeadline(const std::string& sScene) {
    return "SceneFile " + sScene + "\n";
}

bool isCacheOf(const std::string& sScene, const char* szFirstLine) {
    const bool bOneWord = sScene.find_first_of(" \t\n\v\f\r") == std::string::npos;
    return bOneWord && cacheHeadline(sScene) == szFirstLine;
}

bool mayBeCache(const char* szPath) {
    struct stat status {};
    return stat(szPath, &status) || S_ISREG(status.st_mode);
}

void warnIfOutdated(const char* szCache, const Scene& scene) {
    struct stat cacheStatus {
    }, sceneStatus{};
    if (stat(szCache, &cacheStatus) || stat(scene.szSceneFile, &sceneStatus)) return;
    const auto isNewer = [](const timespec& a, const timespec& b) {
        return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
    };
    if (!isNewer(sceneStatus.st_mtim, cacheStatus.st_mtim)) return;
    Velk::NLogger::LogMessage("Warning: %s is newer than %s, use --resetcache if it has changed\n",
                              Velk::Printable(scene.szSceneFile).text(), Velk::Printable(szCache).text());
}

}  // namespace rt
