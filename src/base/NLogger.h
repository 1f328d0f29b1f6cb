#pragma once

namespace Velk {

/// The program's log: one text file per run, each message after a time stamp, optionally echoed to standard output.
/// While no log is open every message is dropped, and so is its echo. Any thread may log, and what one call writes
/// stays in one piece; InitLogger() and Release() require that no other thread logs.
class NLogger {
 public:
    /// Opens szFile, emptying it. 0 on success, or when a log is open already, which is kept. 2 when it cannot be
    /// opened; errno says why.
    static unsigned InitLogger(const char* szFile, bool bPrint);

    /// Writes a time stamp and the message. No line break is added.
    static void LogMessage(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// Like LogMessage, but first ends a line that an earlier message left open.
    static void LogLine(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// The two messages of a formatted error report, each after a time stamp, in one piece.
    static void LogReport(const char* szSource, const char* szFunction, int iLine, const char* szFormat, ...)
        __attribute__((format(printf, 4, 5)));

    /// Writes the message without a time stamp: it continues a line that LogMessage began.
    static void LogAppend(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// Closes the log; a later InitLogger opens one again.
    static void Release();
};

}  // namespace Velk

/// Reports a failure where it happens: source file, function, line and a fixed message. A macro, because all three are
/// those of the caller.
#define ReportError(szMessage)                                                                                   \
    Velk::NLogger::LogMessage("[%s | %s | LINE: %d] >> %s\n", __FILE_NAME__, static_cast<const char*>(__func__), \
                              __LINE__, szMessage)

/// The same with a formatted message, whose format decides whether the line ends.
#define ReportErrorFormat(...) \
    Velk::NLogger::LogReport(__FILE_NAME__, static_cast<const char*>(__func__), __LINE__, __VA_ARGS__)
