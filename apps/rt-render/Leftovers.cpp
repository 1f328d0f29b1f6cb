// What a signal handler clears away.
#include "rt-render/Leftovers.h"

#include <unistd.h>

#include <csignal>
#include <cstring>

#ifdef RT_IMPORT
#include "import/ModelImport.h"
#endif
#include "base/OutputFile.h"
#include "shared/ExitStatus.h"
#include "shared/StopSignals.h"

namespace rt {

namespace {

using Path = char[4096 + 64];

// For a signal handler to find.
Path g_szFile = "", g_szSpool = "", g_szSpoolDirectory = "";

void setPath(Path& szPath, const std::string& sFile) {
    sigset_t all, before;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &before);
    const bool bFits = sFile.size() < sizeof(Path);
    memcpy(szPath, bFits ? sFile.c_str() : "", bFits ? sFile.size() + 1 : 1);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

// Ends the process. Only calls that are allowed in a signal handler.
void endEarly(int iSignal) {
#ifdef RT_IMPORT
    stopImport();
#endif
    Velk::OutputFile::removeUnfinished();
    Leftovers::remove(iSignal);
    constexpr char MESSAGE[] = "\nrt-render: interrupted before the first pixel\n";
    static_cast<void>(!write(STDERR_FILENO, MESSAGE, sizeof(MESSAGE) - 1));  // nobody may be there to read it
    _exit(STATUS_SIGNAL + iSignal);
}

}  // namespace

void Leftovers::removeOnSignals() {
    StopSignals::endProcess(endEarly);
}

void Leftovers::remove(int) {
    if (*g_szFile) unlink(g_szFile);
    if (*g_szSpool) unlink(g_szSpool);
    if (*g_szSpoolDirectory) rmdir(g_szSpoolDirectory);
}

void Leftovers::setFile(const std::string& sFile) {
    setPath(g_szFile, sFile);
}

void Leftovers::setSpool(const std::string& sFile, const std::string& sDirectory) {
    setPath(g_szSpool, sFile);
    setPath(g_szSpoolDirectory, sDirectory);
}

}  // namespace rt
