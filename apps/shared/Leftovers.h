#pragma once

#include <string>

namespace rt {

/// What the process must remove before it ends, even by a signal: the one temporary directory, and one file.
class Leftovers {
 public:
    /// From now on SIGINT, SIGTERM and SIGHUP remove all of them, and unfinished output files, before they end the
    /// process; its children end too.
    static void removeOnSignals();

    /// Makes a new directory in $TMPDIR or /tmp. True on failure, which is reported.
    [[nodiscard]] static bool makeDirectory();

    /// Its absolute path, empty when there is none.
    static const char* directory();

    static void removeDirectory();

    /// A file that a signal removes, which need not exist yet; empty for none.
    static void setFile(const std::string& sFile);
};

}  // namespace rt
