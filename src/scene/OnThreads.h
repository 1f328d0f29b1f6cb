#pragma once

#include <exception>
#include <thread>
#include <vector>

namespace rt {

/// Calls work(0) on this thread and work(1), work(2) ... on others, uThreads in all, and returns when all are done. The
/// system may refuse threads, so all that is to be done must get done without the others, too.
template <typename Work>
void onThreads(unsigned uThreads, const Work& work) {
    std::vector<std::thread> vHelpers;
    try {
        vHelpers.reserve(uThreads);
        for (unsigned u = 1; u < uThreads; ++u) vHelpers.emplace_back([&work, u] { work(u); });
    } catch (const std::exception&) {  // fewer threads do the same
    }
    work(0);
    for (std::thread& helper : vHelpers) helper.join();
}

}  // namespace rt
