// Reads a part of a file at a time, on several threads.
#include "scene/LineBatches.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>

#include "base/NewArray.h"
#include "scene/OnThreads.h"

namespace rt {

namespace {

constexpr size_t PART_BYTES = 1024 * 1024;
constexpr size_t SLACK = Velk::LineReader::PLAIN_LIMIT;

// What came of the lines that begin in a part of the file.
struct Part {
    uint64_t uRest;        // where the first that was not taken begins
    uint32_t uLine, uEnd;  // its number, and the number behind the last
};

class PartReader {
 public:
    PartReader(const Velk::LineReader& source, uint32_t uMostLines)
        : reader(source),
          uMost(uMostLines),
          uStart(source.offset()),
          uParts(static_cast<uint32_t>((std::max(source.fileSize(), uStart) - uStart) / PART_BYTES + 1)),
          pParts(Velk::newArray<Part>(uParts)) {}

    void read(unsigned uThreads, const std::function<void(LineShare&)>& take) {
        if (!pParts) return;
        onThreads(std::min(uThreads, uParts), [&](unsigned) {
            const std::unique_ptr<char[]> pText(Velk::newArray<char>(1 + PART_BYTES + 2 * SLACK));
            for (uint32_t u; pText && !bStopped && (u = uNext++) < uParts;) readPart(u, pText.get(), take);
        });
    }

    // The lines that were not taken, but may have been seen.
    Part rest() const {
        if (!uTurn) return {uStart, 0, 0};
        const Part* p = pParts.get();
        while (p->uLine == p->uEnd && p->uLine < uLine) ++p;
        return {p->uRest, p->uLine, uLine};
    }

 private:
    void readPart(uint32_t u, char* pText, const std::function<void(LineShare&)>& take) {
        // The first character tells whether a line begins at the second.
        const uint64_t uOffset = uStart + uint64_t{u} * PART_BYTES;
        *pText = '\n';
        const size_t uSkip = u ? 0 : 1;
        const size_t uBytes = uSkip + reader.readAt(uOffset - 1 + uSkip, pText + uSkip, 1 + PART_BYTES + SLACK - uSkip);
        memset(pText + uBytes, 0, SLACK);
        const char* const pEnd = pText + std::min(uBytes, PART_BYTES);
        LineShare share{std::find<const char*>(pText, pEnd, '\n') + 1, 0, 0};
        const auto iBreaks = std::count<const char*>(pText, pEnd, '\n');
        {
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return uTurn == u; });
            share.uLine = uLine;
            share.uEnd = static_cast<uint32_t>(std::min<uint64_t>(uMost, uLine + static_cast<uint64_t>(iBreaks)));
            uLine = share.uEnd;
            ++uTurn;
            changed.notify_all();
        }
        if (share.uLine < share.uEnd) take(share);
        pParts[u] = {uOffset - 1 + static_cast<uint64_t>(share.sz - pText), share.uLine, share.uEnd};
        if (share.uLine < share.uEnd || share.uEnd == uMost) bStopped = true;
    }

    const Velk::LineReader& reader;
    const uint32_t uMost;
    const uint64_t uStart;
    const uint32_t uParts;
    const std::unique_ptr<Part[]> pParts;
    std::atomic<uint32_t> uNext{0};
    std::atomic<bool> bStopped{false};

    std::mutex mutex;
    std::condition_variable changed;
    uint32_t uTurn = 0;  // the next part to be numbered
    uint32_t uLine = 0;  // the number of its first line
};

}  // namespace

uint32_t takeLines(Velk::LineReader& reader, unsigned uThreads, uint32_t uMost,
                   const std::function<void(LineShare&)>& take, uint32_t& uSeen) {
    PartReader parts(reader, uMost);
    parts.read(uThreads, take);
    const Part rest = parts.rest();
    uSeen = rest.uEnd;
    return reader.skipTo(rest.uRest, rest.uLine) ? 0 : rest.uLine;
}

}  // namespace rt
