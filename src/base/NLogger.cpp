// The log file and its echo.
#include "base/NLogger.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace Velk {

namespace {

FILE* g_pFile = nullptr;
bool g_bPrint = false;
// The last message did not end its line. The stream lock guards this flag; it is atomic only because the thread
// sanitizer does not know that lock.
std::atomic<bool> g_bLineOpen{false};

// Keeps the pieces of one message together when several threads log. Preserves errno, so that a caller can report a
// failure first and explain it by errno afterwards.
class StreamLock {
 public:
    StreamLock() : iErrno(errno) { flockfile(g_pFile); }
    ~StreamLock() {
        funlockfile(g_pFile);
        errno = iErrno;
    }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;

 private:
    int iErrno;
};

// Formatting a stamp takes longer than a short message, so each thread keeps its stamp until the second changes.
void writeStamp() {
    thread_local char szStamp[32] = "";
    thread_local time_t tStamp = -1;
    const time_t tNow = time(nullptr);
    if (tNow != tStamp) {
        tm tLocal{};
        localtime_r(&tNow, &tLocal);
        strftime(szStamp, sizeof(szStamp), "[ %H:%M:%S %d-%m-%Y ] ", &tLocal);
        tStamp = tNow;
    }
    fputs(szStamp, g_pFile);
    if (!g_bPrint) return;
    fputs(szStamp, stdout);
}

void writeText(const char* szFormat, va_list args) __attribute__((format(printf, 1, 0)));
void writeText(const char* szFormat, va_list args) {
    va_list again;
    va_copy(again, args);
    vfprintf(g_pFile, szFormat, args);
    if (g_bPrint) vprintf(szFormat, again);
    va_end(again);
    const size_t uLength = strlen(szFormat);
    g_bLineOpen = uLength && szFormat[uLength - 1] != '\n';
    fflush(g_pFile);
}

void writePlain(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));
void writePlain(const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    writeText(szFormat, args);
    va_end(args);
}

// Opens and truncates the log. Writes append, because another process may log to the same file. A pipe without a reader
// is refused, because opening it would block.
FILE* openLog(const char* szFile) {
    const int iFile = open(szFile, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    if (iFile == -1) return nullptr;
    fcntl(iFile, F_SETFL, O_APPEND);
    FILE* pFile = fdopen(iFile, "w");
    if (!pFile) close(iFile);
    return pFile;
}

}  // namespace

unsigned NLogger::InitLogger(const char* szFile, bool bPrint) {
    if (g_pFile) return 0;
    g_bPrint = bPrint;
    g_pFile = openLog(szFile);
    if (!g_pFile) return 2;
    LogMessage("%s\n", szFile);
    return 0;
}

void NLogger::LogMessage(const char* szFormat, ...) {
    if (!g_pFile) return;
    const StreamLock lock;
    va_list args;
    va_start(args, szFormat);
    writeStamp();
    writeText(szFormat, args);
    va_end(args);
}

void NLogger::LogLine(const char* szFormat, ...) {
    if (!g_pFile) return;
    const StreamLock lock;
    if (g_bLineOpen) writePlain("\n");
    va_list args;
    va_start(args, szFormat);
    writeStamp();
    writeText(szFormat, args);
    va_end(args);
}

void NLogger::LogReport(const char* szSource, const char* szFunction, int iLine, const char* szFormat, ...) {
    if (!g_pFile) return;
    const StreamLock lock;
    writeStamp();
    writePlain("[%s | %s | LINE: %d] >> ", szSource, szFunction, iLine);
    va_list args;
    va_start(args, szFormat);
    writeStamp();
    writeText(szFormat, args);
    va_end(args);
}

void NLogger::LogAppend(const char* szFormat, ...) {
    if (!g_pFile) return;
    const StreamLock lock;
    va_list args;
    va_start(args, szFormat);
    writeText(szFormat, args);
    va_end(args);
}

void NLogger::Release() {
    if (g_pFile) fclose(g_pFile);
    g_pFile = nullptr;
}

}  // namespace Velk
