#pragma once

#include <pthread.h>

#include "net/Wakeup.h"

/// Standard output in blocks, unless it is a terminal: a farm prints three lines a tile, and a write for each would
/// cost more than the rest of the line. While this object lives, a thread writes several times a second what is there,
/// so that a reader sees each line soon and a process that is killed loses no more than the last moment. Its end writes
/// the rest; what is printed later is written when the process ends. One object a process.
class BufferedOutput {
 public:
    static constexpr int INTERVAL = 200;  // milliseconds

    explicit BufferedOutput(int iInterval = INTERVAL);
    ~BufferedOutput();
    BufferedOutput(const BufferedOutput&) = delete;
    BufferedOutput& operator=(const BufferedOutput&) = delete;

 private:
    static void* writeRegularly(void* pObject);

    Wakeup end;
    int iMilliseconds;
    pthread_t thread{};
    bool bHasThread = false;
};
