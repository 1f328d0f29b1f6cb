// Large blocks of memory: their pages, and the stack.
#include "base/LargeBlock.h"

#include <sys/mman.h>

#include <memory>

#include "base/InputReport.h"

namespace Velk {

namespace {

// An OutputFile and a TextWriter take most of it.
constexpr size_t STACK_NEEDED = 224 * 1024;

__attribute__((noinline)) void touchStack() {
    char block[STACK_NEEDED];
    __asm__ volatile("" : : "r"(block) : "memory");  // somebody may look, so no compiler keeps single bytes only
    volatile char* const pBlock = block;
    constexpr size_t PAGE = 4096;
    for (size_t u = STACK_NEEDED; u >= PAGE; u -= PAGE) pBlock[u - PAGE] = 0;  // downwards, as a stack grows
}

}  // namespace

bool reserveStack() {
    // The system refuses a block where it would refuse the stack, but says so.
    void* pBlock = mmap(nullptr, STACK_NEEDED, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pBlock == MAP_FAILED) {
        memoryError(STACK_NEEDED, "the stack");
        return true;
    }
    munmap(pBlock, STACK_NEEDED);
    touchStack();
    return false;
}

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

}  // namespace Velk
