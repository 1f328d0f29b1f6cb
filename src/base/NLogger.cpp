// The log file and its echo.
#include "base/NLogger.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace Velk {

namespace {

FILE* g_pFile = nullptr;
bool g_bPrint = false;
bool g_bBorrowed = false;  // g_pFile is the caller's
bool g_bLineOpen = false;  // the last message had no line break at its end; guarded by the stream lock

// The stream lock holds the pieces of one message together when several threads log.
class StreamLock {
 public:
    StreamLock() { flockfile(g_pFile); }
    ~StreamLock() { funlockfile(g_pFile); }
    StreamLock(const StreamLock&) = delete;
    StreamLock& operator=(const StreamLock&) = delete;
};

void writeStamp() {
    const time_t tNow = time(nullptr);
    tm tLocal{};
    localtime_r(&tNow, &tLocal);
    char szStamp[32] = "";
    strftime(szStamp, sizeof(szStamp), "[ %H:%M:%S %d-%m-%Y ] ", &tLocal);
    fputs(szStamp, g_pFile);
    if (g_bPrint) fputs(szStamp, stdout);
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

}  // namespace

unsigned NLogger::InitLogger(const char* szFile, bool bPrint) {
    if (g_pFile) return 0;
    g_bPrint = bPrint;
    g_pFile = fopen(szFile, "w");
    if (!g_pFile) return 2;
    LogMessage("%s\n", szFile);
    return 0;
}

void NLogger::LogToStream(FILE* pStream) {
    Release();
    g_pFile = pStream;
    g_bPrint = false;
    g_bBorrowed = true;
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
    if (g_pFile && !g_bBorrowed) fclose(g_pFile);
    g_pFile = nullptr;
    g_bBorrowed = false;
}

}  // namespace Velk
