#pragma once

#include <cstdint>
#include <mutex>
#include <vector>

#include "base/Bitmap.h"
#include "base/NArrays.h"
#include "net/Wakeup.h"
#include "render/shading/RaytracerParameters.h"

namespace rt {

/// One tile of the image.
struct Task {
    uint32_t uId;  // index in the task list
    uint32_t uX;   // first pixel
    uint32_t uY;
    uint32_t uColumns;  // size in pixels, cut at the image's edges
    uint32_t uRows;
    uint32_t uStride;       // bytes of a row of the server's image
    uint8_t* pDestination;  // of the first pixel in the server's image
    bool bDone;             // the pixels are in the image; written only by the thread that holds the task
    bool bReserved;         // taken by a thread, or done; guarded by the board's lock
};

/// The tiles of one render: which are untaken, taken and done. After create() every operation but clearUndone() is
/// thread-safe.
class TaskBoard {
 public:
    Velk::NDataVector<Task> vTasks{};
    const RaytracerParameters* pParameters = nullptr;

    TaskBoard() = default;
    TaskBoard(const TaskBoard&) = delete;
    TaskBoard& operator=(const TaskBoard&) = delete;

    /// Cuts the image into tasks, row by row. All arguments must outlive this object; finishing the last task calls
    /// wakeup.wake(). Requires a pack size above 0. True when out of memory, which is logged.
    [[nodiscard]] bool create(const RaytracerParameters& parameters, Velk::NBitmap& image, Wakeup& wakeup);

    /// The same for pixels that lie as an image's do.
    [[nodiscard]] bool create(const RaytracerParameters& parameters, uint8_t* pPixels, uint32_t uWidth,
                              uint32_t uHeight, Wakeup& wakeup);

    /// Counts a task as done whose pixels were there from the start. Before any client is served.
    void markDone(uint32_t uTask);

    /// Takes an untaken task; null when there is none.
    Task* takeTask();

    /// Returns a taken task, for another client.
    void giveBack(Task& task);

    /// Counts a taken task as done; its pixels must be in the image.
    void finishTask(const Task& task);

    uint32_t doneTasks() const;

    /// Adds the numbers of the tasks that were done after the first uKnown ones. Their pixels change no more.
    void addDoneTasks(uint32_t uKnown, std::vector<uint32_t>& vTaskIds) const;

    bool isDone() const { return doneTasks() == vTasks.uSize; }
    uint32_t untakenTasks() const;

    /// Blackens the tiles that are not done. Requires that no thread is working on a tile.
    void clearUndone();

 private:
    Wakeup* pWakeup = nullptr;
    mutable std::mutex mutex;             // guards all below and every task's bReserved
    uint32_t uFreeTask = 0;               // where the next search for an untaken task starts
    uint32_t uReservedTasks = 0;          // tasks with bReserved set
    Velk::NDataVector<uint32_t> vDone{};  // in the order of their coming
};

}  // namespace rt
