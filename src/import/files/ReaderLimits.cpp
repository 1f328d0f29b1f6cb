// How much a process that reads a model may take.

#include "import/files/ReaderLimits.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "base/NRaiiFile.h"

namespace rt {

namespace {

constexpr rlim_t LONGEST_SECONDS = 600;           // of processor time: a hundred million triangles
constexpr rlim_t LEAST_MEMORY = rlim_t{1} << 30;  // bytes beyond those that the program has from the start
constexpr rlim_t MEMORY_A_BYTE = 200;             // of a file: seven are usual, but some formats are compressed

rlim_t g_uStart = 0;     // address space that the program takes without a model; huge under a sanitizer
rlim_t g_uAllowed = 0;   // beyond it
rlim_t g_uMost = 0;      // all of the machine's memory
rlim_t g_uUsers = 0;     // the limit that was there
bool g_bActive = false;  // not without limitReader()

rlim_t addressSpace() {
    const Velk::NRaiiFile file(fopen("/proc/self/statm", "r"));
    unsigned long uPages = 0;
    if (!file.get() || fscanf(file.get(), "%lu", &uPages) != 1) uPages = 0;
    return rlim_t{uPages} * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

// The soft limit alone, and only down.
void lower(decltype(RLIMIT_AS) eResource, rlim_t uLimit) {
    rlimit limit{};
    if (getrlimit(eResource, &limit)) return;
    limit.rlim_cur = std::min(limit.rlim_cur, uLimit);
    setrlimit(eResource, &limit);
}

void setMemory() {
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit)) return;
    limit.rlim_cur = std::min(g_uUsers, g_uStart + std::min(g_uAllowed, g_uMost));
    setrlimit(RLIMIT_AS, &limit);
}

}  // namespace

void limitReader() {
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit)) return;
    g_uUsers = limit.rlim_cur;
    g_uStart = addressSpace();
    g_uAllowed = LEAST_MEMORY;
    g_uMost = static_cast<rlim_t>(sysconf(_SC_PHYS_PAGES)) * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
    g_bActive = true;
    setMemory();
    lower(RLIMIT_CPU, LONGEST_SECONDS);
    lower(RLIMIT_CORE, 0);
}

void allowMemory(uint64_t uBytes) {
    if (!g_bActive) return;
    g_uAllowed = std::min(g_uMost, g_uAllowed + std::min<rlim_t>(uBytes, g_uMost));
    setMemory();
}

void allowMemoryFor(uint64_t uFileBytes) {
    if (g_bActive) allowMemory(std::min<rlim_t>(uFileBytes, g_uMost) * MEMORY_A_BYTE);
}

}  // namespace rt
