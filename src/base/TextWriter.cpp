// Buffered output of text and numbers.
#include "base/TextWriter.h"

#include <charconv>
#include <cstring>

namespace Velk {

namespace {

constexpr size_t LONGEST_NUMBER = 64;  // of a float: 39 digits, the point and six more

}  // namespace

TextWriter& TextWriter::text(const char* sz) {
    const size_t uLength = strlen(sz);
    if (uLength > sizeof(buffer) - uUsed) flush();
    if (uLength > sizeof(buffer)) {
        fwrite(sz, 1, uLength, pFile);
    } else {
        memcpy(buffer + uUsed, sz, uLength);
        uUsed += uLength;
    }
    return *this;
}

TextWriter& TextWriter::number(uint32_t u) {
    char* p = room();
    uUsed += static_cast<size_t>(std::to_chars(p, p + LONGEST_NUMBER, u).ptr - p);
    return *this;
}

TextWriter& TextWriter::number(float f) {
    char* p = room();
    const double d = static_cast<double>(f);
    uUsed += static_cast<size_t>(std::to_chars(p, p + LONGEST_NUMBER, d, std::chars_format::fixed, 6).ptr - p);
    return *this;
}

TextWriter& TextWriter::shortest(float f) {
    char* p = room();
    uUsed += static_cast<size_t>(std::to_chars(p, p + LONGEST_NUMBER, f).ptr - p);
    return *this;
}

void TextWriter::flush() {
    if (uUsed) fwrite(buffer, 1, uUsed, pFile);
    uUsed = 0;
}

char* TextWriter::room() {
    if (sizeof(buffer) - uUsed < LONGEST_NUMBER) flush();
    return buffer + uUsed;
}

}  // namespace Velk
