// Writes files atomically: a temporary file is renamed when it is complete.
#include "base/OutputFile.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cassert>
#include <cerrno>
#include <cstring>

namespace Velk {

namespace {

constexpr int MAX_LINKS = 40;  // as in the kernel

// Names of the temporary files that exist now, for a signal handler. A process rarely writes two files at a time. A
// file without a free entry is not removed by a signal.
std::atomic<const char*> g_unfinished[8];
static_assert(std::atomic<const char*>::is_always_lock_free, "used in a signal handler");

void remember(const char* szTemporary) {
    for (std::atomic<const char*>& place : g_unfinished) {
        const char* szFree = nullptr;
        if (place.compare_exchange_strong(szFree, szTemporary)) return;
    }
}

void forget(char* szTemporary) {
    for (std::atomic<const char*>& place : g_unfinished) {
        const char* szMine = szTemporary;
        if (place.compare_exchange_strong(szMine, nullptr)) break;
    }
    *szTemporary = '\0';
}

// Length of the directory part of a path, its slash included.
size_t directoryLength(const char* szPath) {
    const char* szSlash = strrchr(szPath, '/');
    return szSlash ? static_cast<size_t>(szSlash - szPath) + 1 : 0;
}

// Follows symbolic links in the last part of a path, even to a file that does not exist. True when the path gets too
// long or the links form a cycle.
bool followLinks(const char* szFile, char (&szTarget)[PATH_MAX]) {
    if (strlen(szFile) >= PATH_MAX) {
        errno = ENAMETOOLONG;
        return true;
    }
    memcpy(szTarget, szFile, strlen(szFile) + 1);
    for (int i = 0; i < MAX_LINKS; ++i) {
        char szLink[PATH_MAX];
        const ssize_t iLength = readlink(szTarget, szLink, sizeof(szLink) - 1);
        if (iLength < 0) return false;  // not a link
        szLink[iLength] = '\0';
        const size_t uKept = szLink[0] == '/' ? 0 : directoryLength(szTarget);
        if (uKept + static_cast<size_t>(iLength) >= PATH_MAX) {
            errno = ENAMETOOLONG;
            return true;
        }
        memcpy(szTarget + uKept, szLink, static_cast<size_t>(iLength) + 1);
    }
    errno = ELOOP;
    return true;
}

bool isTemporaryName(const char* szName) {
    unsigned uProcess = 0, uSerial = 0;
    int iLength = 0;
    return sscanf(szName, ".RayTracer-%u-%u.part%n", &uProcess, &uSerial, &iLength) == 2 && iLength > 0 &&
           !szName[iLength];
}

// Removes temporary files whose writers have died. A writer holds a lock on its file as long as it lives. Checking its
// process ID is not enough: the writer may run on another machine.
void removeAbandoned(const char* szDirectory) {
    DIR* pDirectory = opendir(*szDirectory ? szDirectory : ".");
    if (!pDirectory) return;
    while (const dirent* pEntry = readdir(pDirectory)) {
        if (!isTemporaryName(pEntry->d_name)) continue;
        const int iFile =
            openat(dirfd(pDirectory), pEntry->d_name, O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
        if (iFile == -1) continue;
        if (!flock(iFile, LOCK_EX | LOCK_NB)) unlinkat(dirfd(pDirectory), pEntry->d_name, 0);
        close(iFile);
    }
    closedir(pDirectory);
}

// Locks the new file. False when another process has already removed it as abandoned. True on a file system without
// locks, too.
bool lockTemporary(int iFile) {
    struct stat status {};
    if (flock(iFile, LOCK_EX | LOCK_NB)) return errno != EWOULDBLOCK;
    return fstat(iFile, &status) || status.st_nlink != 0;
}

// True when a rename over the target would be refused: another user owns it, and its directory is sticky, like /tmp.
bool isRenameRefused(const char* szTarget, const struct stat& target) {
    char szDirectory[PATH_MAX];
    const size_t uLength = directoryLength(szTarget);
    memcpy(szDirectory, szTarget, uLength);
    szDirectory[uLength] = '\0';
    struct stat directory {};
    if (stat(uLength ? szDirectory : ".", &directory) || !(directory.st_mode & S_ISVTX)) return false;
    const uid_t uUser = geteuid();
    return uUser && uUser != target.st_uid && uUser != directory.st_uid;
}

// True when a file could not be created for lack of permission in its directory.
bool isPermissionError(int iErrno) {
    return iErrno == EACCES || iErrno == EPERM || iErrno == EROFS;
}

}  // namespace

OutputFile::~OutputFile() {
    const int iErrno = errno;
    if (pFile) fclose(pFile);
    if (isTemporary()) {
        unlink(szTemporary);
        forget(szTemporary);
    }
    errno = iErrno;
}

// Creates a temporary file beside the target. Its name is short, so that it is legal whenever the target's is. Returns
// its descriptor, or -1.
int OutputFile::openTemporary(mode_t uMode) {
    static std::atomic<unsigned> uSerial{0};
    const size_t uDirectory = directoryLength(szTarget);
    for (bool bFirst = true;; bFirst = false) {
        memcpy(szTemporary, szTarget, uDirectory);
        szTemporary[uDirectory] = '\0';
        if (bFirst) removeAbandoned(szTemporary);
        snprintf(szTemporary + uDirectory, sizeof(szTemporary) - uDirectory, ".RayTracer-%ld-%u.part",
                 static_cast<long>(getpid()), uSerial++);
        remember(szTemporary);  // before the file exists, or a signal could leave it behind
        const int iFile = ::open(szTemporary, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, uMode);
        if (iFile != -1 && lockTemporary(iFile)) return iFile;
        const int iErrno = iFile == -1 ? errno : EEXIST;
        if (iFile != -1) ::close(iFile);
        forget(szTemporary);
        errno = iErrno;
        if (iErrno != EEXIST) return -1;
    }
}

// Opens the stream on a descriptor. True on failure.
bool OutputFile::openStream(int iFile) {
    if (iFile == -1) return true;
    pFile = fdopen(iFile, "wb");
    if (pFile) {
        setvbuf(pFile, buffer, _IOFBF, sizeof(buffer));
        return false;
    }
    const int iErrno = errno;
    ::close(iFile);
    errno = iErrno;
    return true;
}

bool OutputFile::open(const char* szFile, OutputKind kind) {
    if (followLinks(szFile, szTarget)) return true;
    struct stat status {};
    const bool bExists = !stat(szTarget, &status);
    if (bExists && S_ISFIFO(status.st_mode) && kind == OUTPUT_FILE) {
        errno = 0;
        return true;
    }
    if (bExists && !S_ISREG(status.st_mode)) return openStream(::open(szTarget, O_WRONLY | O_CLOEXEC | O_NOCTTY));
    if (!*szTarget || szTarget[strlen(szTarget) - 1] == '/') {
        errno = *szTarget ? EISDIR : ENOENT;
        return true;
    }
    if (!bExists) return openStream(openTemporary(0666));
    if (access(szTarget, W_OK)) return true;  // a write-protected file must not be replaced either
    if (!isRenameRefused(szTarget, status)) {
        const int iFile = openTemporary(status.st_mode & 0777);
        if (iFile != -1) {
            // Owner first, because changing it clears mode bits. Lack of permission for either is ignored.
            if (fchown(iFile, status.st_uid, status.st_gid)) static_cast<void>(!fchown(iFile, -1u, status.st_gid));
            static_cast<void>(!fchmod(iFile, status.st_mode & 0777));
            return openStream(iFile);
        }
        if (!isPermissionError(errno)) return true;
    }
    bInPlace = true;
    return openStream(::open(szTarget, O_WRONLY | O_CLOEXEC));
}

bool OutputFile::commit() {
    assert(pFile);
    if (ferror(pFile)) fputc('\0', pFile);  // fails again for the same reason, which sets errno again
    errno = EIO;
    bool bFailed = fflush(pFile) || ferror(pFile);
    if (bInPlace) bFailed = bFailed || ftruncate(fileno(pFile), ftello(pFile));
    // Without fsync, a power failure soon after the rename could leave an empty file in place of the old one.
    if (bInPlace || isTemporary()) bFailed = bFailed || fsync(fileno(pFile));
    const int iErrno = errno;
    // Without the lock, another process could remove the file as abandoned before it has its name.
    const int iLock = fcntl(fileno(pFile), F_DUPFD_CLOEXEC, 0);
    const bool bCloseFailed = fclose(pFile) != 0;
    pFile = nullptr;
    if (bFailed) errno = iErrno;
    bFailed = bFailed || bCloseFailed || (isTemporary() && rename(szTemporary, szTarget));
    if (!bFailed && isTemporary()) forget(szTemporary);
    if (iLock != -1) ::close(iLock);
    return bFailed;
}

bool OutputFile::probe(const char* szFile) {
    struct stat status {};
    if (stat(szFile, &status) || S_ISREG(status.st_mode)) {
        OutputFile file;
        return file.open(szFile);
    }
    if (!S_ISDIR(status.st_mode)) return access(szFile, W_OK);
    errno = EISDIR;
    return true;
}

void OutputFile::removeUnfinished() {
    for (const std::atomic<const char*>& place : g_unfinished) {
        if (const char* szName = place) unlink(szName);
    }
}

}  // namespace Velk
