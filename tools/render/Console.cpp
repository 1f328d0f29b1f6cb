// Messages of rt-render, the status line, and the way that the library's own messages take.
#include "tools/render/Console.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <string>

#include "base/InputReport.h"

namespace {

bool g_bQuiet = false;
bool g_bVerbose = false;
bool g_bTerminal = false;
bool g_bStatusShown = false;
unsigned g_uErrors = 0;
std::string g_sInputDirectory;

void print(const char* szFormat, va_list args) __attribute__((format(printf, 1, 0)));
void print(const char* szFormat, va_list args) {
    Console::clearStatus();
    vfprintf(stderr, szFormat, args);
    fputc('\n', stderr);
}

// Takes the library's reports about input files.
void takeReport(bool bError, const char* szReport) {
    const bool bRelative = !g_sInputDirectory.empty() && *szReport != '/';
    const std::string sFrom = bRelative ? g_sInputDirectory + "/" : "";
    if (bError) {
        Console::error("%s%s", sFrom.c_str(), szReport);
    } else if (!g_bQuiet) {
        Console::clearStatus();
        fprintf(stderr, "%s%s\n", sFrom.c_str(), szReport);
    }
}

}  // namespace

void Console::init(bool bQuiet, bool bVerbose) {
    g_bQuiet = bQuiet;
    g_bVerbose = bVerbose && !bQuiet;
    g_bTerminal = isatty(STDERR_FILENO) == 1;
    fflush(stdout);
    const int iTarget = g_bVerbose ? STDERR_FILENO : open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (iTarget != -1) dup2(iTarget, STDOUT_FILENO);
    if (iTarget > STDERR_FILENO) close(iTarget);
    if (g_bVerbose) setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    Velk::setInputSink(takeReport);
}

void Console::error(const char* szFormat, ...) {
    ++g_uErrors;
    va_list args;
    va_start(args, szFormat);
    print(szFormat, args);
    va_end(args);
}

void Console::warning(const char* szFormat, ...) {
    if (g_bQuiet) return;
    clearStatus();
    fputs("warning: ", stderr);
    va_list args;
    va_start(args, szFormat);
    print(szFormat, args);
    va_end(args);
}

void Console::note(const char* szFormat, ...) {
    if (g_bQuiet || !(g_bVerbose || g_bTerminal)) return;
    va_list args;
    va_start(args, szFormat);
    print(szFormat, args);
    va_end(args);
}

void Console::detail(const char* szFormat, ...) {
    if (!g_bVerbose) return;
    va_list args;
    va_start(args, szFormat);
    print(szFormat, args);
    va_end(args);
}

void Console::status(const char* szFormat, ...) {
    if (!showsStatus()) return;
    fputs("\r\033[K", stderr);
    va_list args;
    va_start(args, szFormat);
    vfprintf(stderr, szFormat, args);
    va_end(args);
    fflush(stderr);
    g_bStatusShown = true;
}

void Console::clearStatus() {
    if (g_bStatusShown) fputs("\r\033[K", stderr);
    g_bStatusShown = false;
}

bool Console::showsStatus() {
    return g_bTerminal && !g_bQuiet;
}

unsigned Console::errorCount() {
    return g_uErrors;
}

void Console::setInputDirectory(const char* szDirectory) {
    g_sInputDirectory = szDirectory;
}
