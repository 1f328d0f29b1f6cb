// Messages of rt-render, the status line, and the way that the library's own messages take.
#include "shared/Console.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "base/InputReport.h"
#include "base/Printable.h"

namespace rt {

namespace {

bool g_bQuiet = false;
bool g_bVerbose = false;
bool g_bTerminal = false;
std::atomic<bool> g_bStatusShown{false};
std::atomic<unsigned> g_uErrors{0};
std::string g_sInputPrefix;
Console::Said* g_pSaid = nullptr;

constexpr size_t LONGEST_LINE = 3 * 4096;               // bytes: a path and what is said of it, twice
constexpr size_t PIECE = Velk::Printable::LONGEST / 4;  // an escaped byte takes four

bool isInsideCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// All lines hold names from outside, so all of each is made safe. Whole, unlike one Printable: the reason stands last.
void print(const char* szFormat, va_list args) __attribute__((format(printf, 1, 0)));
void print(const char* szFormat, va_list args) {
    char szLine[LONGEST_LINE];
    if (vsnprintf(szLine, sizeof(szLine), szFormat, args) < 0) return;
    for (const char* sz = szLine; *sz;) {
        size_t uLength = strnlen(sz, PIECE);
        for (unsigned u = 0; u < 3 && isInsideCharacter(sz[uLength]) && uLength > 1; ++u) --uLength;
        fputs(Velk::Printable(sz, uLength, SIZE_MAX, Velk::KEEP_TABS).text(), stderr);
        sz += uLength;
    }
}

void keepLine(std::vector<std::string>& vLines, const char* szFormat, va_list args)
    __attribute__((format(printf, 2, 0)));
void keepLine(std::vector<std::string>& vLines, const char* szFormat, va_list args) {
    char szLine[LONGEST_LINE];
    va_list again;
    va_copy(again, args);
    if (vsnprintf(szLine, sizeof(szLine), szFormat, again) >= 0) vLines.emplace_back(szLine);
    va_end(again);
}

void printLine(const char* szFormat, va_list args) __attribute__((format(printf, 1, 0)));
void printLine(const char* szFormat, va_list args) {
    Console::clearStatus();
    print(szFormat, args);
    fputc('\n', stderr);
}

void printReport(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));
void printReport(const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    printLine(szFormat, args);
    va_end(args);
}

// Takes the library's reports about input files, and about memory.
void takeReport(bool bError, const char* szReport) {
    const bool bFile = *szReport != '/' && strncmp(szReport, "Not enough memory", 17) != 0;
    const char* szFrom = bFile ? g_sInputPrefix.c_str() : "";
    if (bError) {
        Console::error("%s%s", szFrom, szReport);
        return;
    }
    if (g_pSaid) g_pSaid->vWarnings.push_back(std::string(szFrom) + szReport);
    if (!g_bQuiet) printReport("%s%s", szFrom, szReport);
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
    if (g_pSaid) keepLine(g_pSaid->vErrors, szFormat, args);
    printLine(szFormat, args);
    va_end(args);
}

void Console::warning(const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    if (g_pSaid) keepLine(g_pSaid->vWarnings, szFormat, args);
    if (!g_bQuiet) {
        clearStatus();
        fputs("warning: ", stderr);
        printLine(szFormat, args);
    }
    va_end(args);
}

void Console::note(const char* szFormat, ...) {
    if (g_bQuiet || !(g_bVerbose || g_bTerminal)) return;
    va_list args;
    va_start(args, szFormat);
    printLine(szFormat, args);
    va_end(args);
}

void Console::detail(const char* szFormat, ...) {
    if (!g_bVerbose) return;
    va_list args;
    va_start(args, szFormat);
    printLine(szFormat, args);
    va_end(args);
}

void Console::status(const char* szFormat, ...) {
    if (!showsStatus()) return;
    fputs("\r\033[K", stderr);
    va_list args;
    va_start(args, szFormat);
    print(szFormat, args);
    va_end(args);
    fflush(stderr);
    g_bStatusShown = true;
}

void Console::clearStatus() {
    if (g_bStatusShown.exchange(false)) fputs("\r\033[K", stderr);
}

bool Console::showsStatus() {
    return g_bTerminal && !g_bQuiet;
}

unsigned Console::errorCount() {
    return g_uErrors;
}

void Console::keepIn(Said* pSaid) {
    g_pSaid = pSaid;
}

std::vector<std::string> Console::takeWarnings() {
    std::vector<std::string> vLines;
    if (g_pSaid) vLines.swap(g_pSaid->vWarnings);
    return vLines;
}

void Console::setInputPrefix(const char* szPrefix) {
    g_sInputPrefix = szPrefix;
}

}  // namespace rt
