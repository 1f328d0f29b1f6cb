// Reports about input, memory and files in the user's terms, to the log and to a sink.
#include "base/InputReport.h"

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/NLogger.h"
#include "base/Printable.h"

namespace Velk {

namespace {

constexpr size_t LONGEST_REPORT = 1024;
constexpr size_t LONGEST_NAME = 700;  // leaves room for a reason
constexpr size_t LONGEST_TEXT = 80;   // of a quoted line, in bytes of the file
static_assert(LONGEST_REPORT > Printable::LONGEST + 4, "what a full report cuts in two is never shown");

std::atomic<InputSink> g_pfnInputSink{nullptr};

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

    // Adds the text up to its line break. Tabs are kept: they commonly separate numbers.
    void addQuoted(const char* sz) {
        add(": \"%s\"", Printable(sz, strcspn(sz, "\r\n"), LONGEST_TEXT, KEEP_TABS).text());
    }

    // Escapes the whole line again, because reasons may contain names.
    void send(bool bError) const {
        const Printable line(szText, uUsed, SIZE_MAX, KEEP_TABS);
        NLogger::LogLine("%s\n", line.text());
        if (const InputSink pfnSink = g_pfnInputSink) pfnSink(bError, line.text());
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
    line.add("%s:", Printable(szFile, strlen(szFile), LONGEST_NAME).text());
    if (uLine) line.add("%u:", uLine);
    line.add(bError ? " " : " warning: ");
    line.add(szFormat, args);
    if (szText && *szText) line.addQuoted(szText);
    line.send(bError);
}

}  // namespace

void setInputSink(InputSink pfnSink) {
    g_pfnInputSink = pfnSink;
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
