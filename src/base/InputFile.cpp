// Opens input files: regular ones, and pipes where the caller accepts them.
#include "base/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace Velk {

namespace {

// Closes the descriptor and leaves the reason for the failure in errno. Always returns null.
FILE* refuse(int iFile, int iErrno) {
    close(iFile);
    errno = iErrno;
    return nullptr;
}

// Reads a pipe to its end into a temporary file. Closes the pipe. Null on failure.
FILE* copyPipe(int iPipe) {
    FILE* pCopy = tmpfile();
    if (!pCopy) return refuse(iPipe, errno);
    char buffer[16 * 1024];
    ssize_t iRead = 0;
    bool bFailed = false;
    while (!bFailed && (iRead = read(iPipe, buffer, sizeof(buffer))) != 0) {
        if (iRead < 0 && errno == EINTR) continue;
        bFailed = iRead < 0 || !fwrite(buffer, static_cast<size_t>(iRead), 1, pCopy);
    }
    bFailed = bFailed || fflush(pCopy) != 0;
    const int iErrno = errno;
    if (bFailed) {
        fclose(pCopy);
        return refuse(iPipe, iErrno);
    }
    close(iPipe);
    rewind(pCopy);
    return pCopy;
}

}  // namespace

FILE* openInput(const char* szFile, InputKind kind) {
    struct stat status {};
    if (stat(szFile, &status)) return nullptr;
    const bool bPipe = S_ISFIFO(status.st_mode) && kind == INPUT_FILE_OR_PIPE;
    if (!bPipe && !S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : 0;
        return nullptr;
    }
    // The name may refer to another file by now, so open() must not block, and the kind is checked again. Only a pipe
    // may block, until a writer opens it.
    const int iFile = open(szFile, O_RDONLY | O_CLOEXEC | O_NOCTTY | (bPipe ? 0 : O_NONBLOCK));
    if (iFile == -1) return nullptr;
    if (fstat(iFile, &status)) return refuse(iFile, errno);
    if (bPipe && S_ISFIFO(status.st_mode)) return copyPipe(iFile);
    if (!S_ISREG(status.st_mode)) return refuse(iFile, 0);
    FILE* pFile = fdopen(iFile, "rb");
    return pFile ? pFile : refuse(iFile, errno);
}

}  // namespace Velk
