// Cutting the image into tiles, and the bookkeeping of who took which.
#include "net/TaskBoard.h"

#include <algorithm>
#include <cstring>

#include "base/InputReport.h"

namespace rt {

namespace {

constexpr uint32_t TASK_LIST_STEP = 10;

// Appends all tiles of the image in row-major order. True when out of memory.
bool cutImage(const RaytracerParameters& parameters, Velk::NBitmap& image, Velk::NDataVector<Task>& vTasks) {
    // 64 bits: the step past the last tile may not fit 32.
    const uint64_t uPack = parameters.uPackSize, uWidth = image.uWidth, uHeight = image.uHeight;
    if (vTasks.create(static_cast<uint32_t>(uWidth * uHeight / (uPack * uPack)), TASK_LIST_STEP)) return true;
    for (uint64_t uY = 0; uY < uHeight; uY += uPack) {
        for (uint64_t uX = 0; uX < uWidth; uX += uPack) {
            Task task{};
            task.uId = vTasks.uSize;
            task.uX = static_cast<uint32_t>(uX);
            task.uY = static_cast<uint32_t>(uY);
            task.uColumns = static_cast<uint32_t>(std::min(uPack, uWidth - uX));
            task.uRows = static_cast<uint32_t>(std::min(uPack, uHeight - uY));
            task.uStride = image.uWidth * 3;
            task.pDestination = image.pData + 3 * (uY * uWidth + uX);
            if (vTasks.PushBack(task)) return true;
        }
    }
    return false;
}

}  // namespace

bool TaskBoard::create(const RaytracerParameters& parameters, Velk::NBitmap& image, Wakeup& wakeup) {
    pParameters = &parameters;
    pWakeup = &wakeup;
    if (cutImage(parameters, image, vTasks)) {
        const uint64_t uPack = parameters.uPackSize;
        const uint64_t uTasks = ((image.uWidth + uPack - 1) / uPack) * ((image.uHeight + uPack - 1) / uPack);
        Velk::memoryError(uTasks * sizeof(Task), "the tasks of %u x %u pixels", image.uWidth, image.uHeight);
        return true;
    }
    return false;
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

void TaskBoard::finishTask() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (++uDoneTasks == vTasks.uSize) pWakeup->wake();
}

uint32_t TaskBoard::doneTasks() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return uDoneTasks;
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
