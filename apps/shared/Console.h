#pragma once

#include <string>
#include <vector>

namespace rt {

/// What rt-render tells people, on standard error. Standard output stays silent: the library's own progress is sent
/// away, or beside the messages when the user wants to see everything. What could control a terminal or break the line
/// is escaped.
class Console {
 public:
    /// From now on: bQuiet leaves errors only, bVerbose adds details and what the library says.
    static void init(bool bQuiet, bool bVerbose);

    /// One line without its line break. Errors and what an interrupted user must know are always shown.
    static void error(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// Something that may make the picture another one than is wanted.
    static void warning(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// What went well, for somebody who watches: on a terminal, or with bVerbose.
    static void note(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// For bVerbose alone.
    static void detail(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

    /// A line that the next message or status overwrites. On a terminal only.
    static void status(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));
    static void clearStatus();

    /// True when status lines are seen.
    static bool showsStatus();

    /// Errors shown so far.
    static unsigned errorCount();

    /// What was said, each a line.
    struct Said {
        std::vector<std::string> vErrors, vWarnings;
    };

    /// From now on errors and warnings are kept in it, too, whether they are shown or not; null: nowhere.
    static void keepIn(Said* pSaid);

    /// The warnings that were kept since the last call.
    static std::vector<std::string> takeWarnings();

    /// What stands before a relative path in the reports about input files: the directory that it is relative to with
    /// its slash, or whatever else the user knows the files by. Empty for the working directory.
    static void setInputPrefix(const char* szPrefix);
};

}  // namespace rt
