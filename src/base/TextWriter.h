#pragma once

#include <cstdint>
#include <cstdio>

namespace Velk {

/// Writes text and numbers to a stream through a buffer of its own: the same text as "%u" and "%f", many times faster.
/// The stream stays the caller's. A failed write shows in the stream's error flag.
class TextWriter {
 public:
    explicit TextWriter(FILE* pStream) : pFile(pStream) {}
    ~TextWriter() { flush(); }
    TextWriter(const TextWriter&) = delete;
    TextWriter& operator=(const TextWriter&) = delete;

    TextWriter& text(const char* sz);
    TextWriter& character(char c) {
        if (uUsed == sizeof(buffer)) flush();
        buffer[uUsed++] = c;
        return *this;
    }
    TextWriter& number(uint32_t u);
    TextWriter& number(float f);

    /// The fewest digits that read back to the same float.
    TextWriter& shortest(float f);

    void flush();

 private:
    char* room();

    FILE* pFile;
    size_t uUsed = 0;
    char buffer[32 * 1024];
};

}  // namespace Velk
