// Reads a batch of a file at a time, counts its lines, and shares them out.
#include "scene/LineBatches.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>

#include "base/NewArray.h"
#include "scene/OnThreads.h"

namespace rt {

namespace {

constexpr size_t PART_BYTES = 1024 * 1024;
constexpr size_t SLACK = Velk::LineReader::PLAIN_LIMIT;

// A part of a batch, and the lines that end in it.
struct Part {
    char* pText;
    size_t uBytes;
    size_t uLines;
    LineShare share;
};

// As many parts as threads, one behind the other.
class Batch {
 public:
    Batch(const Velk::LineReader& source, unsigned uThreads)
        : reader(source),
          uParts(static_cast<unsigned>(std::min<uint64_t>(uThreads, source.fileSize() / PART_BYTES + 1))),
          pText(Velk::newArray<char>(uParts * PART_BYTES + SLACK)),
          pParts(Velk::newArray<Part>(uParts)) {}

    bool isWithoutMemory() const { return !pText || !pParts; }

    // Reads what stands there in the file, and cuts it into lines from number uLine up to uMost. False at the end of
    // the file.
    bool read(uint64_t uOffset, uint32_t uLine, uint32_t uMost) {
        forEachPart([&](unsigned u, Part& part) {
            part.pText = pText.get() + u * PART_BYTES;
            part.uBytes = reader.readAt(uOffset + u * PART_BYTES, part.pText, PART_BYTES);
            part.uLines = static_cast<size_t>(std::count(part.pText, part.pText + part.uBytes, '\n'));
        });
        bool bMore = true;
        const char* szLine = pText.get();
        for (unsigned u = 0; u < uParts; ++u) {
            Part& part = pParts[u];
            if (!bMore) part.uBytes = part.uLines = 0;  // the part before ended early
            const char* szEnd = part.pText + part.uBytes;
            if (bMore && (part.uBytes < PART_BYTES || u + 1 == uParts)) memset(part.pText + part.uBytes, 0, SLACK);
            bMore = bMore && part.uBytes == PART_BYTES;
            part.share = {szLine, uLine, static_cast<uint32_t>(std::min<uint64_t>(uMost, uLine + part.uLines))};
            uLine = part.share.uEnd;
            while (part.uLines && szEnd[-1] != '\n') --szEnd;
            if (part.uLines) szLine = szEnd;
        }
        uSeen = uLine;
        return bMore;
    }

    // Hands the lines out. Returns those that were not taken.
    LineShare take(const std::function<void(LineShare&)>& takeShare) {
        forEachPart([&](unsigned, Part& part) {
            if (part.share.uLine < part.share.uEnd) takeShare(part.share);
        });
        LineShare rest = pParts[0].share;
        for (unsigned u = 1; rest.uLine == rest.uEnd && rest.uLine < uSeen; ++u) rest = pParts[u].share;
        rest.uEnd = uSeen;
        return rest;
    }

    uint64_t bytesTo(const char* sz) const { return static_cast<uint64_t>(sz - pText.get()); }

 private:
    template <typename Visit>
    void forEachPart(const Visit& visit) {
        std::atomic<unsigned> uNext{0};
        onThreads(uParts, [&](unsigned) {
            for (unsigned u; (u = uNext++) < uParts;) visit(u, pParts[u]);
        });
    }

    const Velk::LineReader& reader;
    const unsigned uParts;
    const std::unique_ptr<char[]> pText;
    const std::unique_ptr<Part[]> pParts;
    uint32_t uSeen = 0;  // the number behind the last line
};

}  // namespace

uint32_t takeLines(Velk::LineReader& reader, unsigned uThreads, uint32_t uMost,
                   const std::function<void(LineShare&)>& take, uint32_t& uSeen) {
    Batch batch(reader, uThreads);
    uint64_t uOffset = reader.offset();
    LineShare rest{nullptr, 0, 0};
    for (bool bMore = !batch.isWithoutMemory(); bMore && rest.uLine == rest.uEnd && rest.uLine < uMost;) {
        const uint32_t uBefore = rest.uLine;
        bMore = batch.read(uOffset, uBefore, uMost);
        rest = batch.take(take);
        uOffset += batch.bytesTo(rest.sz);
        bMore = bMore && rest.uLine > uBefore;
    }
    uSeen = rest.uEnd;
    return reader.skipTo(uOffset, rest.uLine) ? 0 : rest.uLine;
}

}  // namespace rt
