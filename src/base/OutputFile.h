#pragma once

#include <cstdio>
#include <string>

namespace Velk {

/// A file that appears whole or not at all: what is written goes to a temporary name in the same directory, and
/// commit() renames it. A target that is no regular file (a device, a pipe) is written directly; a symbolic link is
/// followed.
class OutputFile {
 public:
    OutputFile() = default;
    ~OutputFile();  // drops what was not committed
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Starts the file. True on failure.
    [[nodiscard]] bool open(const char* szFile);

    /// Stream to write to, owned by this object.
    FILE* stream() const { return pFile; }

    /// Closes the file and puts it in place. True when any write, the closing or the renaming failed; an older file of
    /// the same name is then still there.
    [[nodiscard]] bool commit();

    /// True when a file of this name could not be created now. Leaves nothing behind.
    [[nodiscard]] static bool probe(const char* szFile);

    /// Removes the temporary files of all objects, for a process that is about to end. May be called from a signal
    /// handler.
    static void removeUnfinished();

 private:
    FILE* pFile = nullptr;
    std::string sTarget;
    std::string sTemporary;  // empty when the target is written directly
};

}  // namespace Velk
