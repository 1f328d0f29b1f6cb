#pragma once

#include <cstdarg>
#include <cstdint>

namespace Velk {

// Reports in the user's own terms: which file and line, what is wrong with it, and the text that stands there. Each is
// one line of the log, behind the report that names the place in the program, and goes to a program's own sink as well.

/// Receives one report, a line without its line break. bError is false for a warning.
using InputSink = void (*)(bool bError, const char* szReport);

/// Hands every report to pfnSink, besides the log; null for the log alone.
void setInputSink(InputSink pfnSink);

/// Reports since the program's start, those of all threads.
struct InputCounts {
    unsigned uErrors;
    unsigned uWarnings;
};
InputCounts inputCounts();

/// Reports `FILE:LINE: what is wrong: "the text"`. Without the line when uLine is 0, without the text when szText is
/// null or empty. Of the text, its first line is shown, cut to a readable length, control characters as \xNN.
void inputError(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, ...)
    __attribute__((format(printf, 4, 5)));

/// The same for what is accepted but hardly meant: `FILE:LINE: warning: ...`.
void inputWarning(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, ...)
    __attribute__((format(printf, 4, 5)));

/// Both for an argument list.
void inputErrorV(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, va_list args)
    __attribute__((format(printf, 4, 0)));
void inputWarningV(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, va_list args)
    __attribute__((format(printf, 4, 0)));

/// Reports `FILE: the system's reason` for a call that failed with this errno value; 0 stands for a file that is there
/// but is not of a kind that can be used, as openInput() leaves it.
void fileError(const char* szFile, int iErrno);

/// Reports `Not enough memory: N bytes for WHAT`.
void memoryError(uint64_t uBytes, const char* szWhatFormat, ...) __attribute__((format(printf, 2, 3)));

}  // namespace Velk
