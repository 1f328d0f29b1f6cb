#pragma once

namespace Velk {

/// The program's log: one text file a run, each message behind a time stamp, optionally echoed to standard output.
/// Without an open log every message is dropped, its echo included. What one call writes stays together, whatever other
/// threads log.
class NLogger {
 public:
    /// Opens szFile, emptying it. 0 on success or when a log is open already (which stays), 2 when it cannot be opened;
    /// errno says why then.
    static unsigned InitLogger(const char* szFile, bool bPrint);

    /// Writes a time stamp and the message. No line break is added.
    static void LogMessage(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// As LogMessage, on a line of its own: a line that an earlier message left without its end is ended first.
    static void LogLine(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// The two messages of a formatted error report, each behind a time stamp, in one piece.
    static void LogReport(const char* szSource, const char* szFunction, int iLine, const char* szFormat, ...)
        __attribute__((format(printf, 4, 5)));

    /// Writes the message alone: it goes on with a line that LogMessage began.
    static void LogAppend(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// Closes the log; a later InitLogger opens one again.
    static void Release();
};

}  // namespace Velk

/// Reports a failure where it happens: source file, function, line and a fixed message. A macro, since the three come
/// from the place where it stands.
#define ReportError(szMessage)                                                                                   \
    Velk::NLogger::LogMessage("[%s | %s | LINE: %d] >> %s\n", __FILE_NAME__, static_cast<const char*>(__func__), \
                              __LINE__, szMessage)

/// The same with a formatted message, whose format decides whether the line ends.
#define ReportErrorFormat(...) \
    Velk::NLogger::LogReport(__FILE_NAME__, static_cast<const char*>(__func__), __LINE__, __VA_ARGS__)
