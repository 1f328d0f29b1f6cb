#include "base/LargeBlock.h"

#include <sys/mman.h>

#include <cstdint>

namespace Velk {

void preferLargePages(void* pBlock, size_t uBytes) {
#ifdef MADV_HUGEPAGE
    constexpr size_t LARGE_PAGE = 2 * 1024 * 1024;
    if (uBytes < 2 * LARGE_PAGE) return;
    const uintptr_t uFirst = (reinterpret_cast<uintptr_t>(pBlock) + LARGE_PAGE - 1) / LARGE_PAGE * LARGE_PAGE;
    const uintptr_t uEnd = (reinterpret_cast<uintptr_t>(pBlock) + uBytes) / LARGE_PAGE * LARGE_PAGE;
    // Only a hint: when it is refused nothing is lost but time.
    if (uFirst < uEnd) madvise(reinterpret_cast<void*>(uFirst), uEnd - uFirst, MADV_HUGEPAGE);
#else
    (void)pBlock;
    (void)uBytes;
#endif
}

}  // namespace Velk
