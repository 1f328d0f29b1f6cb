// Large blocks of memory: their pages, and what becomes of freed ones.
#include "base/LargeBlock.h"

#include <sys/mman.h>

#include <climits>
#include <memory>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace Velk {

void preferLargePages(void* pBlock, size_t uBytes) {
#ifdef MADV_HUGEPAGE
    constexpr size_t LARGE_PAGE = 2 * 1024 * 1024;
    if (uBytes < 2 * LARGE_PAGE) return;
    void* pFirst = pBlock;
    // Only a hint: a refusal costs nothing but time.
    if (std::align(LARGE_PAGE, LARGE_PAGE, pFirst, uBytes)) {
        madvise(pFirst, uBytes / LARGE_PAGE * LARGE_PAGE, MADV_HUGEPAGE);
    }
#else
    (void)pBlock;
    (void)uBytes;
#endif
}

void keepFreedMemory() {
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, INT_MAX);
    mallopt(M_TRIM_THRESHOLD, INT_MAX);
#endif
}

}  // namespace Velk
