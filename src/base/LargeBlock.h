#pragma once

#include <cstddef>

namespace Velk {

/// Asks the system to back a new block of memory with large pages, which makes filling it several times faster. Does
/// nothing for blocks below 4 MiB and on systems without large pages.
void preferLargePages(void* pBlock, size_t uBytes);

/// Makes the calling thread's stack as large as loading, rendering and writing files need, while there is memory. Where
/// a limit of memory is reached, a stack that has to grow ends the process without a word. True when there is too
/// little memory for it, which is reported.
[[nodiscard]] bool reserveStack();

}  // namespace Velk
