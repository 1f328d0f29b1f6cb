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

// Opens a new file beside the target. The name is short, so that a target of the longest legal name has one too.
int openTemporary(const std::string& sTarget, std::string& sTemporary) {
    static std::atomic<unsigned> uSerial{0};
    const size_t uSlash = sTarget.rfind('/');
    const std::string sDirectory = uSlash == std::string::npos ? "" : sTarget.substr(0, uSlash + 1);
    for (;;) {
        char szName[64];
        snprintf(szName, sizeof(szName), ".RayTracer-%ld-%u.part", static_cast<long>(getpid()), uSerial++);
        sTemporary = sDirectory + szName;
        const int iFile = ::open(sTemporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (iFile != -1 || errno != EEXIST) return iFile;
    }
}

}  // namespace

OutputFile::~OutputFile() {
    if (pFile) fclose(pFile);
    if (!sTemporary.empty()) unlink(sTemporary.c_str());
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
    if (iFile == -1) {
        sTemporary.clear();
        return true;
    }
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
    sTemporary.clear();
    return false;
}

bool OutputFile::probe(const char* szFile) {
    OutputFile file;
    struct stat status {};
    if (stat(szFile, &status) == 0 && !S_ISREG(status.st_mode)) return S_ISDIR(status.st_mode) || access(szFile, W_OK);
    return file.open(szFile);
}

}  // namespace Velk
