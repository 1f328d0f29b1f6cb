// Threads over blocks, and signals meanwhile.
#include "binding/Blocks.h"

#include <pybind11/pybind11.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace py = pybind11;

namespace python {

namespace {

constexpr std::chrono::milliseconds BETWEEN_SIGNALS{50};

// Whether a signal's handler threw. Takes the interpreter's lock for a moment.
bool isInterrupted() {
    const py::gil_scoped_acquire lock;
    return PyErr_CheckSignals() != 0;
}

}  // namespace

unsigned threadsOf(int iThreads) {
    if (iThreads < 0) throw py::value_error("nthreads: 0 or more wanted, got " + std::to_string(iThreads));
    return iThreads ? static_cast<unsigned>(iThreads) : std::max(1u, std::thread::hardware_concurrency());
}

void runBlocks(size_t uItems, size_t uBlock, unsigned uThreads, const std::function<void(size_t, size_t)>& visit) {
    std::atomic<size_t> uNext{0};
    std::atomic<bool> bFailed{false}, bStop{false};
    const auto takeBlock = [&] {
        const size_t uFirst = bStop ? uItems : uNext.fetch_add(uBlock);
        if (uFirst >= uItems) return false;
        try {
            visit(uFirst, std::min(uBlock, uItems - uFirst));
        } catch (const std::bad_alloc&) {
            bFailed = bStop = true;
        }
        return true;
    };
    {
        const py::gil_scoped_release unlock;
        std::vector<std::thread> vHelpers;
        const size_t uUseful = std::min<size_t>(uThreads, uItems / uBlock + 1);
        try {
            while (vHelpers.size() + 1 < uUseful) {
                vHelpers.emplace_back([&] {
                    while (takeBlock()) {
                    }
                });
            }
        } catch (const std::system_error&) {  // fewer threads give the same answers
        }
        auto nextCheck = std::chrono::steady_clock::now() + BETWEEN_SIGNALS;
        while (takeBlock()) {
            if (std::chrono::steady_clock::now() < nextCheck) continue;
            if (isInterrupted()) bStop = true;
            nextCheck = std::chrono::steady_clock::now() + BETWEEN_SIGNALS;
        }
        for (std::thread& helper : vHelpers) helper.join();
    }
    if (PyErr_Occurred()) throw py::error_already_set();
    if (bFailed) throw std::bad_alloc();
}

void runApart(const std::function<void(const std::atomic<bool>&)>& work) {
    std::atomic<bool> bStop{false};
    {
        const py::gil_scoped_release unlock;
        std::future<void> done = std::async(std::launch::async, [&] { work(bStop); });
        while (done.wait_for(BETWEEN_SIGNALS) != std::future_status::ready) {
            if (!bStop && isInterrupted()) bStop = true;
        }
        done.get();
    }
    if (PyErr_Occurred()) throw py::error_already_set();
}

}  // namespace python
