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

char g_szFile[4096 + 64] = "";  // for a signal handler to find

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
}

void Leftovers::setFile(const std::string& sFile) {
    sigset_t all, before;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &before);
    const bool bFits = sFile.size() < sizeof(g_szFile);
    memcpy(g_szFile, bFits ? sFile.c_str() : "", bFits ? sFile.size() + 1 : 1);
    sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace rt
