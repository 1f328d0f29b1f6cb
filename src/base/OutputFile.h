#pragma once

#include <sys/types.h>

#include <climits>
#include <cstdio>

namespace Velk {

/// Whether a writer accepts pipes besides regular files and devices.
enum OutputKind { OUTPUT_FILE, OUTPUT_FILE_OR_PIPE };

/// A file that is written atomically: it gets a temporary name in the same directory, and commit() renames it. Two
/// kinds of target are written directly, and are incomplete when that fails midway: one that is no regular file (a
/// device, a pipe), and an existing file whose directory cannot be written. Symbolic links are followed, dangling ones
/// included. The new file keeps the mode of the old one, and its owner and group as far as the system allows. Allocates
/// nothing but what the C library needs for a stream and for reading a directory.
class OutputFile {
 public:
    OutputFile() = default;
    ~OutputFile();  // drops what was not committed
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Starts the file, and removes the temporary files that dead processes left in its directory. Waits until a pipe
    /// has a reader, or refuses it when kind does not accept pipes. True on failure: errno says why, 0 when the kind of
    /// file is refused (see fileError()).
    [[nodiscard]] bool open(const char* szFile, OutputKind kind = OUTPUT_FILE);

    /// Stream to write to, owned by this object.
    FILE* stream() const { return pFile; }

    /// Requires a started file. Flushes it to the disk, closes it and renames it to its name. True when any of this, or
    /// a write before it, failed: errno says why. An older file of this name is then untouched, unless it was written
    /// directly.
    [[nodiscard]] bool commit();

    /// True when a file of this name could not be written now; errno says why. Changes nothing.
    [[nodiscard]] static bool probe(const char* szFile);

    /// Removes the temporary files of all objects (of eight at most), for a process that is about to end. May be called
    /// from a signal handler.
    static void removeUnfinished();

 private:
    int openTemporary(mode_t uMode);
    bool openStream(int iFile);
    bool isTemporary() const { return *szTemporary != '\0'; }

    FILE* pFile = nullptr;
    bool bInPlace = false;  // an existing file is overwritten, so commit() must cut off its old end
    char szTarget[PATH_MAX] = "";
    char szTemporary[PATH_MAX + 64] = "";  // empty when the target is written directly
    char buffer[128 * 1024];               // of the stream; long writes take half the time of page-sized ones
};

}  // namespace Velk
