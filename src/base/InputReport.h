#pragma once

#include <cstdarg>
#include <cstdint>

namespace Velk {

// Reports in the user's own terms: which file and line, what is wrong with it, and the offending text. Each is one line
// of the log, after the report that names the place in the program, and is also passed to the program's sink, if any.
// Any thread may report, and reports need no free memory.

/// Receives one report, a line without its line break. bError is false for a warning.
using InputSink = void (*)(bool bError, const char* szReport);

/// Passes every report to pfnSink as well as to the log; null for the log alone. The sink is called on the thread that
/// reports.
void setInputSink(InputSink pfnSink);

/// Reports `FILE:LINE: what is wrong: "the text"`, without the line when uLine is 0, without the text when szText is
/// null or empty. Shows the first line of the text, at most 80 bytes of it. Names, texts and reasons are shown as by
/// Printable; so a reason may contain unescaped names.
void inputError(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, ...)
    __attribute__((format(printf, 4, 5)));

/// The same for what is accepted but probably a mistake: `FILE:LINE: warning: ...`.
void inputWarning(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, ...)
    __attribute__((format(printf, 4, 5)));

/// The same two for a va_list.
void inputErrorV(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, va_list args)
    __attribute__((format(printf, 4, 0)));
void inputWarningV(const char* szFile, unsigned uLine, const char* szText, const char* szFormat, va_list args)
    __attribute__((format(printf, 4, 0)));

/// Reports `FILE: the system's reason` for a call that failed with this errno value; 0 means that the file exists but
/// is of a kind that cannot be used, as after openInput().
void fileError(const char* szFile, int iErrno);

/// Reports `Not enough memory: N bytes for WHAT`.
void memoryError(uint64_t uBytes, const char* szWhatFormat, ...) __attribute__((format(printf, 2, 3)));

}  // namespace Velk
