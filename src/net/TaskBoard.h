#pragma once

#include <pthread.h>

#include <cstdint>
#include <memory>
#include <mutex>

#include "base/Bitmap.h"
#include "base/NDataVector.h"
#include "net/Sockets.h"
#include "net/Wakeup.h"
#include "render/RaytracerParameters.h"

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
    bool bReserved;         // taken by a thread, or done; shared
};

class TaskBoard;

/// A place for one client. The connection belongs to the client's thread while the slot is busy; its own flag tells
/// nothing about that, since a failed send clears it while the thread still works.
struct ClientSlot {
    SocketClient client;
    TaskBoard* pBoard = nullptr;
    pthread_t thread{};        // accept loop only
    bool bHasThread = false;   // accept loop only: started and not joined yet
    bool bBusy = false;        // shared
    uint32_t uConnection = 0;  // number of clients connected before this one
};

/// The tasks of one render and the places for its clients. What the threads share is private and behind one lock; each
/// public operation on it is one indivisible step, and none waits for the network. The rest is written by create() and
/// only read afterwards.
class TaskBoard {
 public:
    Velk::NDataVector<Task> vTasks{};
    std::unique_ptr<ClientSlot[]> vClients;
    uint32_t uMaxConnections = 0;  // number of slots
    const RaytracerParameters* pParameters = nullptr;

    TaskBoard() = default;
    ~TaskBoard();  // waits for the threads of clients
    TaskBoard(const TaskBoard&) = delete;
    TaskBoard& operator=(const TaskBoard&) = delete;

    /// Cuts the image into tasks, row by row, and makes the slots. All arguments must outlive this object; the last
    /// finished task wakes the wakeup, whose file also ends the threads' waits. True without memory, which is logged.
    [[nodiscard]] bool create(const RaytracerParameters& parameters, Velk::NBitmap& image, uint32_t uSlots,
                              Wakeup& wakeup);

    /// Takes an untaken task; null when there is none.
    Task* takeTask();

    /// Makes a taken task untaken.
    void giveBack(Task& task);

    /// Counts a taken task, whose pixels are in the image, as done.
    void finishTask();

    uint32_t doneTasks();
    bool isDone() { return doneTasks() == vTasks.uSize; }
    bool isStopped() const { return pWakeup->isStopRequested(); }

    /// Takes a free slot and hands it the connection. Null, with the connection untouched, when every task is taken or
    /// every slot busy. Accept loop only.
    ClientSlot* admit(int iSocket, const sockaddr_in& address);

    /// Closes the slot's connection and frees the slot.
    void leave(ClientSlot& slot);

    /// Waits for the threads of clients, which end by themselves once every task is done or the stop is requested.
    void joinThreads();

 private:
    Wakeup* pWakeup = nullptr;
    std::mutex mutex;                // of all below, every task's bReserved and every slot's bBusy
    uint32_t uFreeTask = 0;          // where the next search for an untaken task starts
    uint32_t uReservedTasks = 0;     // tasks with bReserved set
    uint32_t uDoneTasks = 0;         // completed tasks
    uint32_t uFreeClient = 0;        // where the next search for a free slot starts
    uint32_t uConnectedClients = 0;  // busy slots
};
