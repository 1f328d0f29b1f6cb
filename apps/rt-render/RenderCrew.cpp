// The worker threads: starting them, what they do, and what ends them early.
#include "rt-render/RenderCrew.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

#include "render/SampleTile.h"
#include "render/TileRenderer.h"
#include "shared/Console.h"
#include "shared/ProgressLine.h"
#include "shared/StopSignals.h"

namespace rt {

namespace {

constexpr std::chrono::milliseconds REFRESH_INTERVAL{200};  // of the progress line

}  // namespace

RenderCrew::Result RenderCrew::render(const Frame& frame, TilePool& pool, const char* szName,
                                      const std::function<void()>& pfnLook) {
    ProgressLine progress(szName, pool, uSamples);
    Frame large = frame;
    large.uWidth *= uSamples;
    large.uHeight *= uSamples;
    std::vector<std::thread> vWorkers;
    const unsigned uWanted = std::min(uJobs, pool.tileCount() - pool.countDone());
    vWorkers.reserve(uWanted);
    uRunning = uWanted;
    try {
        while (vWorkers.size() < uWanted) vWorkers.emplace_back([this, &large, &pool] { work(large, pool); });
    } catch (const std::system_error&) {
        if (!vWorkers.empty()) Console::warning("%zu of %u workers", vWorkers.size(), uWanted);
    }
    {
        std::unique_lock<std::mutex> lock(mutex);
        uRunning -= uWanted - static_cast<unsigned>(vWorkers.size());
        while (uRunning) {
            workerEnded.wait_for(lock, REFRESH_INTERVAL);
            progress.update();
            pfnLook();
        }
    }
    for (std::thread& worker : vWorkers) worker.join();
    if (pool.countDone() == pool.tileCount()) return Result::DONE;
    if (StopSignals::which()) return Result::STOPPED;
    Console::error("rt-render: %s", vWorkers.empty() ? "not enough memory for a worker, or too many threads"
                                                     : "not enough memory for a worker");
    return Result::FAILED;
}

// A worker's whole life. One that finds no memory leaves its tile undone and the rest to the others.
void RenderCrew::work(const Frame& large, TilePool& pool) {
    try {
        const auto pRenderer = studio ? nullptr : std::make_unique<TileRenderer>(scene, settings);
        const auto pStudio = studio ? std::make_unique<StudioRenderer>(scene, textures, large, *studio) : nullptr;
        const auto paint = [&](const Tile& tile, uint8_t* pFirst, size_t uStride) {
            if (pStudio) {
                pStudio->render(tile, pFirst, uStride);
            } else {
                pRenderer->render(large, tile, pFirst, uStride);
            }
        };
        SampleTile sampler(paint, uSamples, pool.channels());
        for (uint32_t u; (u = pool.claim()) != TilePool::NONE;) {
            const Tile tile = pool.tile(u);
            if (sampler.render(tile, pool.pixelsOf(tile), pool.stride(), StopSignals::which)) break;
            pool.finish(u);
        }
    } catch (const std::bad_alloc&) {
    }
    const std::lock_guard<std::mutex> lock(mutex);
    --uRunning;
    workerEnded.notify_one();
}

}  // namespace rt
