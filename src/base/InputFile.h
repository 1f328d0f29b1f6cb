#pragma once

#include <cstdio>

namespace Velk {

/// What a reader takes besides regular files.
enum InputKind { INPUT_FILE, INPUT_FILE_OR_PIPE };

/// Opens a file for reading. A directory, a device or a socket is refused, and so is a pipe unless it is asked for:
/// they block, never end, or read as empty. The content of a pipe is copied into a nameless temporary file until its
/// writers have closed it, so that it has a size and a second reading as any file has. Null on failure; errno says why
/// then, 0 when the file is of a kind that is refused (see fileError()).
FILE* openInput(const char* szFile, InputKind kind = INPUT_FILE);

}  // namespace Velk
