// What the process needs before it can report any failure.
#include "shared/ProcessSetup.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <new>

#include "shared/Console.h"
#include "shared/ExitStatus.h"

namespace rt {

namespace {

constexpr size_t STACK = 512 * 1024;  // bytes; twice what the output files of a part and its picture take

// Only calls that need no memory.
[[noreturn]] void endWithoutMemory() {
    for (const char* sz : {const_cast<const char*>(program_invocation_short_name), ": not enough memory\n"}) {
        static_cast<void>(!write(STDERR_FILENO, sz, strlen(sz)));
    }
    _exit(STATUS_FAILED);
}

// An exception for which there is no memory, or one that nobody catches.
void onTerminate() {
    if (!std::current_exception()) endWithoutMemory();
    __gnu_cxx::__verbose_terminate_handler();
}

__attribute__((no_sanitize("address", "undefined", "thread"))) void setTerminate(int, char**, char**) {
    std::set_terminate(onTerminate);
}

// The libraries of the importer ask for memory when they are loaded, so before main.
__attribute__((section(".preinit_array"), used)) void (*const g_pfnEarly)(int, char**, char**) = setTerminate;

// Makes the stack as large as it will be.
__attribute__((noinline)) void growStack() {
    volatile char bytes[STACK] = {};
    static_cast<void>(bytes[0]);
}

// True when there is no room for it: a stack that cannot grow is a crash.
bool reserveStack() {
    rlimit limit{};
    if (getrlimit(RLIMIT_STACK, &limit) == 0 && limit.rlim_cur < 2 * STACK) return true;
    void* pRoom = mmap(nullptr, STACK + STACK / 4, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pRoom == MAP_FAILED) return true;
    munmap(pRoom, STACK + STACK / 4);
    growStack();
    return false;
}

}  // namespace

void prepareProcess() {
    int iFile = 0;
    do {
        iFile = open("/dev/null", O_RDWR);
    } while (iFile >= 0 && iFile <= STDERR_FILENO);
    if (iFile > STDERR_FILENO) close(iFile);
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    if (reserveStack()) endWithoutMemory();
}

int runTool(const char* szName, int (*pfnRun)(int argc, char** argv), int argc, char** argv) {
    prepareProcess();
    // Large blocks are asked for where failing can be handled. This is for all others.
    try {
        return pfnRun(argc, argv);
    } catch (const std::bad_alloc&) {
        Console::error("%s: not enough memory", szName);
    } catch (const std::exception& error) {
        Console::error("%s: %s", szName, error.what());
    }
    return STATUS_FAILED;
}

}  // namespace rt
