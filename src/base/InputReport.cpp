// Reports about input, memory and files in the user's terms, to the log and to a sink.
#include "base/InputReport.h"

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/NLogger.h"

namespace Velk {

namespace {

constexpr size_t LONGEST_REPORT = 1024;
constexpr size_t LONGEST_TEXT = 80;  // of a quoted line, in characters of the file

std::atomic<InputSink> g_pfnSink{nullptr};
std::atomic<unsigned> g_uErrors{0}, g_uWarnings{0};

// Assembles a report piece by piece in a fixed buffer, so that running out of memory can be reported too. What does not
// fit is cut off.
class Report {
 public:
    void add(const char* szFormat, va_list args) __attribute__((format(printf, 2, 0))) {
        advance(vsnprintf(szText + uUsed, sizeof(szText) - uUsed, szFormat, args));
    }

    void add(const char* szFormat, ...) __attribute__((format(printf, 2, 3))) {
        va_list args;
        va_start(args, szFormat);
        add(szFormat, args);
        va_end(args);
    }

    // Adds the text up to its line break. Control characters are escaped: they could break the line or control a
    // terminal.
    void addQuoted(const char* sz) {
        const size_t uLength = strcspn(sz, "\r\n");
        add(": \"");
        for (size_t u = 0; u < std::min(uLength, LONGEST_TEXT); ++u) {
            const unsigned char c = static_cast<unsigned char>(sz[u]);
            const bool bControl = (c < ' ' && c != '\t') || c == 0x7F;
            add(bControl ? "\\x%02X" : "%c", c);
        }
        add(uLength > LONGEST_TEXT ? "...\"" : "\"");
    }

    void send(bool bError) const {
        ++(bError ? g_uErrors : g_uWarnings);
        NLogger::LogLine("%s\n", szText);
        if (const InputSink pfnSink = g_pfnSink) pfnSink(bError, szText);
    }

 private:
    void advance(int iAdded) {
        if (iAdded > 0) uUsed = std::min(uUsed + static_cast<size_t>(iAdded), sizeof(szText) - 1);
    }

    char szText[LONGEST_REPORT] = "";
    size_t uUsed = 0;
};

void report(bool bError, const char* szFile, unsigned uLine, const char* szText, const char* szFormat, va_list args)
    __attribute__((format(printf, 5, 0)));
void report(bool bError, const char* szFile, unsigned uLine, const char* szText, const char* szFormat, va_list args) {
    Report line;
    line.add("%s:", szFile);
    if (uLine) line.add("%u:", uLine);
    line.add(bError ? " " : " warning: ");
    line.add(szFormat, args);
    if (szText && *szText) line.addQuoted(szText);
    line.send(bError);
}

}  // namespace

void setInputSink(InputSink pfnSink) {
    g_pfnSink = pfnSink;
}

InputCounts inputCounts() {
    return {g_uErrors, g_uWarnings};
}

void inputErrorV(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, va_list args) {
    report(true, szFile, uLine, szText, szFormat, args);
}

void inputWarningV(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, va_list args) {
    report(false, szFile, uLine, szText, szFormat, args);
}

void inputError(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    inputErrorV(szFile, uLine, szText, szFormat, args);
    va_end(args);
}

void inputWarning(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, ...) {
    va_list args;
    va_start(args, szFormat);
    inputWarningV(szFile, uLine, szText, szFormat, args);
    va_end(args);
}

void fileError(const char* szFile, int iErrno) {
    inputError(*szFile ? szFile : "\"\"", 0, nullptr, "%s", iErrno ? strerror(iErrno) : "Not a regular file");
}

void memoryError(uint64_t uBytes, const char* szWhatFormat, ...) {
    Report line;
    line.add("Not enough memory: %" PRIu64 " bytes for ", uBytes);
    va_list args;
    va_start(args, szWhatFormat);
    line.add(szWhatFormat, args);
    va_end(args);
    line.send(true);
}

}  // namespace Velk
