// Models that come through a pipe.
#include "rt-render/SpooledModel.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "rt-render/Leftovers.h"
#include "shared/Console.h"

namespace rt {

namespace {

// Always true.
bool report(const std::string& sFile) {
    Console::error("%s: cannot be written: %s", sFile.c_str(), strerror(errno));
    return true;
}

// True on failure, with errno set: of reading when bReading is.
bool copyInput(int iFile, bool& bReading) {
    std::vector<char> vBuffer(1 << 16);
    for (;;) {
        const ssize_t iRead = read(STDIN_FILENO, vBuffer.data(), vBuffer.size());
        if (iRead < 0 && errno == EINTR) continue;
        bReading = iRead < 0;
        if (iRead <= 0) return bReading;
        for (ssize_t i = 0; i < iRead;) {
            const ssize_t iWritten = write(iFile, vBuffer.data() + i, static_cast<size_t>(iRead - i));
            if (iWritten < 0 && errno == EINTR) continue;
            if (iWritten <= 0) return true;
            i += iWritten;
        }
    }
}

}  // namespace

SpooledModel::~SpooledModel() {
    if (sDirectory.empty()) return;
    unlink(sFile.c_str());
    rmdir(sDirectory.c_str());
    Leftovers::setSpool("", "");
}

bool SpooledModel::take(const std::string& sName) {
    if (isatty(STDIN_FILENO)) {
        Console::error("rt-render: standard input is a terminal: a model is to come through a pipe or from a file");
        return true;
    }
    const char* szTemporary = getenv("TMPDIR");
    std::string sPattern = std::string(szTemporary && *szTemporary ? szTemporary : "/tmp") + "/rt-render-XXXXXX";
    if (!mkdtemp(sPattern.data())) return report(sPattern);
    sDirectory = sPattern;
    sFile = sDirectory + "/" + sName;
    Leftovers::setSpool(sFile, sDirectory);
    const int iFile = open(sFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (iFile == -1) return report(sFile);
    bool bReading = false;
    const bool bFailed = copyInput(iFile, bReading);
    const int iReason = errno;
    close(iFile);
    errno = iReason;
    if (!bFailed) return false;
    if (!bReading) return report(sFile);
    Console::error("rt-render: standard input cannot be read: %s", strerror(iReason));
    return true;
}

}  // namespace rt
