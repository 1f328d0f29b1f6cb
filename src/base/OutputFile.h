#pragma once

#include <sys/types.h>

#include <climits>
#include <cstdio>

namespace Velk {

/// What a writer takes besides regular files and devices.
enum OutputKind { OUTPUT_FILE, OUTPUT_FILE_OR_PIPE };

/// A file that appears whole or not at all: what is written goes to a temporary name in the same directory, and
/// commit() renames it. Written directly, and torn when that fails midway, are a target that is no regular file (a
/// device, a pipe), and an existing one that can be written but not replaced, since its directory cannot be written.
/// A symbolic link is followed, one that leads nowhere yet as well. The new file keeps the mode of the old one, and its
/// owner and group as far as the system allows. Needs no memory but what the C library takes for a stream.
class OutputFile {
 public:
    OutputFile() = default;
    ~OutputFile();  // drops what was not committed
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// Starts the file, and removes the temporary files that dead processes left in its directory. A
    /// pipe is waited for until somebody reads it, or refused where none is expected. True on failure; errno says why,
    /// 0 when the file is of a kind that is refused (see fileError()).
    [[nodiscard]] bool open(const char* szFile, OutputKind kind = OUTPUT_FILE);

    /// Stream to write to, owned by this object.
    FILE* stream() const { return pFile; }

    /// Requires a started file. Brings it to the disk, closes it and puts it in place. True when any write, the closing
    /// or the renaming failed, errno says why; an older file of the same name is then still there.
    [[nodiscard]] bool commit();

    /// True when a file of this name could not be written now; errno says why. Leaves nothing behind.
    [[nodiscard]] static bool probe(const char* szFile);

    /// Removes the temporary files of all objects, for a process that is about to end. May be called from a signal
    /// handler.
    static void removeUnfinished();

 private:
    int openTemporary(mode_t uMode);
    bool take(int iFile);
    bool isTemporary() const { return *szTemporary != '\0'; }

    FILE* pFile = nullptr;
    bool bInPlace = false;  // an existing file is written over, which leaves its old end behind
    char szTarget[PATH_MAX] = "";
    char szTemporary[PATH_MAX + 64] = "";  // empty when the target is written directly
};

}  // namespace Velk
