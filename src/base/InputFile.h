#pragma once

#include <cstdio>

namespace Velk {

/// Whether a reader accepts pipes besides regular files.
enum InputKind { INPUT_FILE, INPUT_FILE_OR_PIPE };

/// Opens a file for reading. A directory, a device or a socket is refused, and so is a pipe unless it is asked for:
/// they block, never end, or read as empty. A pipe is read to its end into an unnamed temporary file, so that it has a
/// size and can be read again like any file. The caller closes the stream. Null on failure: errno says why, 0 when the
/// kind of file is refused (see fileError()).
FILE* openInput(const char* szFile, InputKind kind = INPUT_FILE);

}  // namespace Velk
