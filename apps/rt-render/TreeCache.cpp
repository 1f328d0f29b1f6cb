// Files KEY-HASH.tree in the user's cache directory.
#include "rt-render/TreeCache.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <system_error>
#include <vector>

#include "rt-render/Leftovers.h"
#include "shared/Console.h"
#include "shared/parts/ContentHash.h"

namespace rt {

namespace fs = std::filesystem;

namespace {

constexpr char SUFFIX[] = ".tree";

fs::path cacheDirectory() {
    const char* szCache = getenv("XDG_CACHE_HOME");
    if (szCache && *szCache == '/') return fs::path(szCache) / "raytracer";  // a relative one is to be ignored
    const char* szHome = getenv("HOME");
    return szHome && *szHome == '/' ? fs::path(szHome) / ".cache" / "raytracer" : fs::path();
}

struct CachedFile {
    fs::path path;
    fs::file_time_type time;
    uint64_t uBytes;
};

// All files there, the one that was used last first. What vanishes meanwhile is left out.
std::vector<CachedFile> filesIn(const std::string& sDirectory) {
    std::vector<CachedFile> vFiles;
    std::error_code error;
    for (fs::directory_iterator i(sDirectory, error), end; !error && i != end; i.increment(error)) {
        std::error_code gone;
        CachedFile file{i->path(), i->last_write_time(gone), i->is_regular_file(gone) ? i->file_size(gone) : 0};
        if (!gone && i->is_regular_file(gone)) vFiles.push_back(file);
    }
    std::sort(vFiles.begin(), vFiles.end(), [](const CachedFile& a, const CachedFile& b) { return a.time > b.time; });
    return vFiles;
}

}  // namespace

TreeCache::TreeCache(uint64_t uLimitBytes) : uLimit(uLimitBytes) {
    const fs::path path = cacheDirectory();
    std::error_code error;
    if (!uLimit || path.empty()) return;
    fs::create_directories(path, error);
    if (!error && access(path.c_str(), R_OK | W_OK | X_OK) == 0) sDirectory = path;
}

// Looks for the tree of a geometry. A file that is not what it was when it was written is removed.
bool TreeCache::find(const std::string& sKey) {
    for (const CachedFile& file : filesIn(sDirectory)) {
        const std::string sName = file.path.filename();
        if (sName.compare(0, sKey.size() + 1, sKey + "-") != 0 || file.path.extension() != SUFFIX) continue;
        std::error_code error;
        if (sName == sKey + "-" + hashOfFile(file.path) + SUFFIX) {
            sFile = file.path;
            fs::last_write_time(file.path, fs::file_time_type::clock::now(), error);
            return true;
        }
        Console::detail("%s: damaged, removed", file.path.c_str());
        fs::remove(file.path, error);
    }
    return false;
}

void TreeCache::prepare(RayTracer& rayTracer, const std::string& sKey) {
    sKeyInUse = sKey;
    sFile.clear();
    bHit = false;
    if (!sDirectory.empty()) {
        bHit = !rayTracer.parameters.bResetCache && find(sKey);
        if (!bHit) sFile = sDirectory + "/" + sKey + "-" + std::to_string(getpid()) + ".new";
        Leftovers::setFile(bHit ? "" : sFile);
    }
    rayTracer.parameters.bResetCache = !bHit;
    rayTracer.queries.kdTree.sCacheFile = sFile;
    rayTracer.queries.kdTree.bSaveLater = true;
    rayTracer.queries.kdTree.bExactCache = true;
    // The file names the content, not a path: the same mesh elsewhere has the same tree.
    rayTracer.queries.kdTree.sCacheName = "content-" + sKey;
}

TreeCache::~TreeCache() {
    if (!writer.joinable()) return;
    writer.join();
    report();
}

void TreeCache::finish(RayTracer& rayTracer) {
    KDTree& tree = rayTracer.queries.kdTree;
    if (bHit) report();
    if (bHit || sFile.empty()) return;
    sigset_t all, before;  // signals are for the thread that renders
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    try {
        writer = std::thread([this, &tree] { keep(tree); });
    } catch (const std::system_error&) {
        keep(tree);
        report();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

// Without memory there is no new file.
void TreeCache::keep(KDTree& tree) const {
    try {
        std::error_code error;
        const std::string sHash = tree.saveCache() ? "" : hashOfFile(sFile);
        if (!sHash.empty()) fs::rename(sFile, sDirectory + "/" + sKeyInUse + "-" + sHash + SUFFIX, error);
        trim();
    } catch (const std::bad_alloc&) {
    }
}

void TreeCache::report() const {
    Leftovers::setFile("");
    Console::detail("%s: tree %s", sFile.c_str(), bHit ? "read" : "kept");
}

void TreeCache::trim() const {
    uint64_t uBytes = 0;
    for (const CachedFile& file : filesIn(sDirectory)) {
        uBytes += file.uBytes;
        std::error_code error;
        if (uBytes > uLimit) fs::remove(file.path, error);
    }
}

}  // namespace rt
