#pragma once

#include <atomic>
#include <cstddef>
#include <functional>

/// Long work without the interpreter's lock, on several threads, that Ctrl-C ends.
namespace python {

/// What the argument nthreads means: 0 is all cores. Throws ValueError for less.
unsigned threadsOf(int iThreads);

/// Calls visit(first, count) for blocks of at most uBlock of uItems, in any order, on up to uThreads threads, of which
/// the caller's is one. Whoever holds the interpreter's lock calls it; visit runs without it. Throws what a signal's
/// handler throws, as soon as the blocks at work are done, and MemoryError when a block runs out of memory.
void runBlocks(size_t uItems, size_t uBlock, unsigned uThreads, const std::function<void(size_t, size_t)>& visit);

/// Calls work(stop) on a thread of its own and waits for it. The flag is set when a signal's handler throws, which this
/// does as well then, once the work has ended.
void runApart(const std::function<void(const std::atomic<bool>&)>& work);

}  // namespace python
