#pragma once

#include <cstddef>

namespace Velk {

/// Asks the system for large pages behind a fresh block of memory, which is filled several times faster then. Blocks
/// of less than a few megabytes, and systems without large pages, are left alone.
void preferLargePages(void* pBlock, size_t uBytes);

}  // namespace Velk
