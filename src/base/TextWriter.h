#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

namespace Velk {

/// Writes text and numbers to a stream through a buffer of its own: the same text as "%u" and "%f", many times faster.
/// What failed shows in the stream's error flag.
class TextWriter {
 public:
    explicit TextWriter(FILE* pStream) : pFile(pStream), vBuffer(64 * 1024) {}
    ~TextWriter() { flush(); }
    TextWriter(const TextWriter&) = delete;
    TextWriter& operator=(const TextWriter&) = delete;

    TextWriter& text(const char* sz);
    TextWriter& number(uint32_t u);
    TextWriter& number(float f);

    /// The fewest digits that read back to the same float.
    TextWriter& shortest(float f);

    void flush();

 private:
    char* room();

    FILE* pFile;
    std::vector<char> vBuffer;
    size_t uUsed = 0;
};

}  // namespace Velk
