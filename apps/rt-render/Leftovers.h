#pragma once

#include <string>

namespace rt {

/// What must not be left behind when a signal ends the run.
class Leftovers {
 public:
    /// From now on a stop signal ends an import that runs, and removes the file below and unfinished output files,
    /// before it ends the process.
    static void removeOnSignals();

    /// Removes the files below. May be called from a signal handler.
    static void remove(int iSignal);

    /// A file that a signal removes, which need not exist yet; empty for none.
    static void setFile(const std::string& sFile);

    /// The same for the one file of a directory, and the directory.
    static void setSpool(const std::string& sFile, const std::string& sDirectory);
};

}  // namespace rt
