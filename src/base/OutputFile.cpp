#include "base/OutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace Velk {

namespace {

std::string followLink(const char* szFile) {
    char* szReal = realpath(szFile, nullptr);
    if (!szReal) return szFile;
    std::string sReal = szReal;
    free(szReal);
    return sReal;
}

// Names of the temporary files that exist now, for a signal handler. A process rarely writes two files at a time; one
// that finds no place is not removed by a signal.
std::atomic<const char*> g_unfinished[8];
static_assert(std::atomic<const char*>::is_always_lock_free, "used in a signal handler");

void remember(const std::string& sTemporary) {
    for (std::atomic<const char*>& place : g_unfinished) {
        const char* szFree = nullptr;
        if (place.compare_exchange_strong(szFree, sTemporary.c_str())) return;
    }
}

void forget(std::string& sTemporary) {
    for (std::atomic<const char*>& place : g_unfinished) {
        const char* szMine = sTemporary.c_str();
        if (place.compare_exchange_strong(szMine, nullptr)) break;
    }
    sTemporary.clear();
}

// Opens a new file beside the target. The name is short, so that a target of the longest legal name has one too.
int openTemporary(const std::string& sTarget, std::string& sTemporary) {
    static std::atomic<unsigned> uSerial{0};
    const size_t uSlash = sTarget.rfind('/');
    const std::string sDirectory = uSlash == std::string::npos ? "" : sTarget.substr(0, uSlash + 1);
    for (;;) {
        char szName[64];
        snprintf(szName, sizeof(szName), ".RayTracer-%ld-%u.part", static_cast<long>(getpid()), uSerial++);
        sTemporary = sDirectory + szName;
        remember(sTemporary);  // before there is a file that a signal could leave behind
        const int iFile = ::open(sTemporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (iFile != -1) return iFile;
        const int iErrno = errno;
        forget(sTemporary);
        errno = iErrno;
        if (iErrno != EEXIST) return -1;
    }
}

}  // namespace

OutputFile::~OutputFile() {
    if (pFile) fclose(pFile);
    if (sTemporary.empty()) return;
    unlink(sTemporary.c_str());
    forget(sTemporary);
}

void OutputFile::removeUnfinished() {
    for (const std::atomic<const char*>& place : g_unfinished) {
        if (const char* szName = place) unlink(szName);
    }
}

bool OutputFile::open(const char* szFile) {
    sTarget = followLink(szFile);
    struct stat status {};
    if (stat(sTarget.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        pFile = fopen(sTarget.c_str(), "wb");  // fails for a directory
        return !pFile;
    }
    if (sTarget.empty() || sTarget.back() == '/') return true;
    const int iFile = openTemporary(sTarget, sTemporary);
    if (iFile == -1) return true;
    pFile = fdopen(iFile, "wb");
    if (!pFile) ::close(iFile);
    return !pFile;
}

bool OutputFile::commit() {
    const bool bWriteFailed = ferror(pFile) != 0;
    const bool bCloseFailed = fclose(pFile) != 0;
    pFile = nullptr;
    if (bWriteFailed || bCloseFailed) return true;
    if (sTemporary.empty()) return false;
    if (rename(sTemporary.c_str(), sTarget.c_str()) != 0) return true;
    forget(sTemporary);
    return false;
}

bool OutputFile::probe(const char* szFile) {
    OutputFile file;
    struct stat status {};
    if (stat(szFile, &status) == 0 && !S_ISREG(status.st_mode)) return S_ISDIR(status.st_mode) || access(szFile, W_OK);
    return file.open(szFile);
}

}  // namespace Velk
