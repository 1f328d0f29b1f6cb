#pragma once

#include <cstddef>

namespace Velk {

/// Asks the system to back a new block of memory with large pages, which makes filling it several times faster. Does
/// nothing for blocks below 4 MiB and on systems without large pages.
void preferLargePages(void* pBlock, size_t uBytes);

/// Keeps freed memory for the blocks that come after it instead of returning it to the system. What the tree's
/// construction leaves is then not cleared once more for the boxes. For a whole process, once, when it starts.
void keepFreedMemory();

}  // namespace Velk
