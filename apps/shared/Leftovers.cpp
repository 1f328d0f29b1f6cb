// What a run must not leave behind, for the end of the run and for a signal handler.
#include "shared/Leftovers.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <new>
#include <system_error>

#include "base/OutputFile.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/StopSignals.h"

namespace rt {

namespace fs = std::filesystem;

namespace {

constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

// The signals that end a run wait while this object lives.
class BlockedSignals {
 public:
    BlockedSignals() {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int iSignal : SIGNALS) sigaddset(&signals, iSignal);
        sigprocmask(SIG_BLOCK, &signals, &before);
    }
    ~BlockedSignals() { sigprocmask(SIG_SETMASK, &before, nullptr); }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
    sigset_t before{};
};

// For a signal handler to find, and whose they are.
char g_szTemporary[512] = "";
char g_szFile[4096 + 64] = "";
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

// Removes the temporary directory where no memory may be asked for. Only calls that are allowed in a signal handler.
void removeByProgram() {
    const pid_t iRemover = _Fork();
    if (iRemover == 0) {
        execl("/bin/rm", "rm", "-rf", g_szTemporary, nullptr);
        _exit(1);
    }
    if (iRemover > 0) waitpid(iRemover, nullptr, 0);
}

// Ends the process. Only calls that are allowed in a signal handler.
void endEarly(int iSignal) {
    if (getpid() != g_iOwner) _exit(STATUS_SIGNAL + iSignal);  // the importer's child
    endChildren();
    Velk::OutputFile::removeUnfinished();
    if (*g_szFile) unlink(g_szFile);
    if (*g_szTemporary) removeByProgram();
    constexpr char MESSAGE[] = "\nrt-render: interrupted before the first pixel\n";
    static_cast<void>(!write(STDERR_FILENO, MESSAGE, sizeof(MESSAGE) - 1));  // nobody may be there to read it
    _exit(STATUS_SIGNAL + iSignal);
}

}  // namespace

void Leftovers::removeOnSignals() {
    g_iOwner = getpid();
    StopSignals::endProcess(endEarly);
}

bool Leftovers::makeDirectory() {
    const char* szParent = getenv("TMPDIR");
    const std::string sTemplate = fs::absolute(szParent && *szParent ? szParent : "/tmp") / "rt-render-XXXXXX";
    char szMade[sizeof(g_szTemporary)] = "";
    if (sTemplate.size() >= sizeof(szMade)) {
        Console::error("%s: no temporary directory: %s", sTemplate.c_str(), strerror(ENAMETOOLONG));
        return true;
    }
    sTemplate.copy(szMade, sTemplate.size());
    const BlockedSignals blocked;  // or one between the two would leave the directory behind
    const bool bMade = mkdtemp(szMade) != nullptr;
    const int iErrno = errno;
    if (bMade) memcpy(g_szTemporary, szMade, sizeof(szMade));
    if (!bMade) Console::error("%s: no temporary directory: %s", sTemplate.c_str(), strerror(iErrno));
    return !bMade;
}

const char* Leftovers::directory() {
    return g_szTemporary;
}

void Leftovers::removeDirectory() {
    if (!*g_szTemporary) return;
    std::error_code error;
    try {
        fs::remove_all(g_szTemporary, error);
    } catch (const std::bad_alloc&) {
        error = std::make_error_code(std::errc::not_enough_memory);
    }
    if (error) removeByProgram();
    *g_szTemporary = '\0';
}

void Leftovers::setFile(const std::string& sFile) {
    const BlockedSignals blocked;
    const bool bFits = sFile.size() < sizeof(g_szFile);
    memcpy(g_szFile, bFits ? sFile.c_str() : "", bFits ? sFile.size() + 1 : 1);
}

}  // namespace rt
