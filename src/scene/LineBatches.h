#pragma once

#include <cstdint>
#include <functional>

#include "base/LineReader.h"

namespace rt {

/// Some neighbouring lines of a file, for one thread. Who takes one moves on to the next.
struct LineShare {
    const char* sz;  // the next line; Velk::LineReader::PLAIN_LIMIT characters are readable
    uint32_t uLine;  // its number, counted from the first line that was asked for
    uint32_t uEnd;   // the number behind the last
};

/// Takes up to uMost of the reader's next lines with several threads. Calls take(share) for shares that are read at
/// once; it stops at a line that it does not want, and that line and all behind it are not taken, even if take() has
/// seen them. Returns how many were taken; the reader goes on behind them. Of those behind, take() may have seen the
/// ones before number uSeen.
uint32_t takeLines(Velk::LineReader& reader, unsigned uThreads, uint32_t uMost,
                   const std::function<void(LineShare&)>& take, uint32_t& uSeen);

}  // namespace rt
