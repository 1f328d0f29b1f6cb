// Cuts the image into tiles and tracks which are taken and done.
#include "net/TaskBoard.h"

#include <algorithm>
#include <cstring>

#include "base/InputReport.h"
#include "render/Tiles.h"

namespace rt {

namespace {

// One task for each tile of the image, in their order. True when out of memory.
bool cutImage(const TileGrid& tiles, uint8_t* pPixels, Velk::NDataVector<Task>& vTasks) {
    const auto uTasks = static_cast<uint32_t>(tiles.count());  // at most one per pixel, so the number fits
    if (vTasks.create(uTasks, 0)) return true;
    for (uint32_t u = 0; u < uTasks; ++u) {
        const Tile tile = tiles.tile(u);
        Task task{};
        task.uId = u;
        task.uX = tile.x;
        task.uY = tile.y;
        task.uColumns = tile.uColumns;
        task.uRows = tile.uRows;
        task.uStride = tiles.uWidth * 3;
        task.pDestination = pPixels + 3 * (uint64_t{tile.y} * tiles.uWidth + tile.x);
        if (vTasks.PushBack(task)) return true;
    }
    return false;
}

}  // namespace

bool TaskBoard::create(const RaytracerParameters& parameters, Velk::NBitmap& image, Wakeup& wakeup) {
    return create(parameters, image.pData, image.uWidth, image.uHeight, wakeup);
}

bool TaskBoard::create(const RaytracerParameters& parameters, uint8_t* pPixels, uint32_t uWidth, uint32_t uHeight,
                       Wakeup& wakeup) {
    pParameters = &parameters;
    pWakeup = &wakeup;
    const TileGrid tiles{uWidth, uHeight, parameters.uPackSize};
    if (!cutImage(tiles, pPixels, vTasks) && !vDone.create(vTasks.uSize, 0)) return false;
    Velk::memoryError(tiles.count() * sizeof(Task), "the tasks of %u x %u pixels", uWidth, uHeight);
    return true;
}

void TaskBoard::markDone(uint32_t uTask) {
    vTasks[uTask].bDone = vTasks[uTask].bReserved = true;
    ++uReservedTasks;
    finishTask(vTasks[uTask]);
}

Task* TaskBoard::takeTask() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (uReservedTasks == vTasks.uSize) return nullptr;
    // The search wraps around: when several tasks were given back, it starts at the last of them.
    uint32_t u = uFreeTask < vTasks.uSize ? uFreeTask : 0;
    while (vTasks[u].bReserved) u = u + 1 < vTasks.uSize ? u + 1 : 0;
    uFreeTask = u + 1;
    vTasks[u].bReserved = true;
    ++uReservedTasks;
    return &vTasks[u];
}

void TaskBoard::giveBack(Task& task) {
    const std::lock_guard<std::mutex> lock(mutex);
    uFreeTask = task.uId;
    task.bReserved = false;
    --uReservedTasks;
}

void TaskBoard::finishTask(const Task& task) {
    const std::lock_guard<std::mutex> lock(mutex);
    static_cast<void>(vDone.PushBack(task.uId));  // there is room for all
    if (vDone.uSize == vTasks.uSize) pWakeup->wake();
}

void TaskBoard::addDoneTasks(uint32_t uKnown, std::vector<uint32_t>& vTaskIds) const {
    const std::lock_guard<std::mutex> lock(mutex);
    for (uint32_t u = uKnown; u < vDone.uSize; ++u) vTaskIds.push_back(vDone[u]);
}

uint32_t TaskBoard::doneTasks() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return vDone.uSize;
}

uint32_t TaskBoard::untakenTasks() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return vTasks.uSize - uReservedTasks;
}

void TaskBoard::clearUndone() {
    for (uint32_t u = 0; u < vTasks.uSize; ++u) {
        const Task& task = vTasks[u];
        for (uint32_t uRow = 0; uRow < task.uRows && !task.bDone; ++uRow) {
            memset(task.pDestination + size_t{uRow} * task.uStride, 0, size_t{task.uColumns} * 3);
        }
    }
}

}  // namespace rt
