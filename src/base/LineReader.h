#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace Velk {

/// Reads a text file line by line with the line discipline of the scene files: at most 2047 characters a line (the rest
/// of a longer one comes as the next line), comments and blank lines told apart. Lines are handed out inside the
/// reader's own buffer, without a copy.
class LineReader {
 public:
    explicit LineReader(const char* szFile);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    bool isOpen() const { return pFile != nullptr; }

    /// The next line with its line break, ended by a NUL, valid until the next call; null at the end of the file and at
    /// a read error. Comment lines are skipped but counted.
    const char* next();

    /// As next(), without blank lines too.
    const char* nextFilled();

    /// 1-based number of the line handed out last.
    unsigned lineNumber() const { return uLine; }

    /// True when the file's size is known and too small to hold that many data lines, so that a count read from it
    /// cannot be meant. Small counts always pass: they cost little, and a file may end early.
    bool isAbsurdCount(int64_t iCount) const;

    /// True for an empty line: its first character ends the string or is a line feed or carriage return.
    static bool isBlank(const char* szLine) { return *szLine == '\0' || *szLine == '\n' || *szLine == '\r'; }

    /// True for a line that begins with "//" or ";;".
    static bool isComment(const char* szLine) {
        return (szLine[0] == '/' && szLine[1] == '/') || (szLine[0] == ';' && szLine[1] == ';');
    }

 private:
    FILE* pFile;
    std::unique_ptr<char[]> pBuffer;
    size_t uStart = 0;    // of the next line
    size_t uEnd = 0;      // of the bytes read
    char cSaved = 0;      // the byte that the last line's NUL stands on
    bool bAtEnd = false;  // nothing is left to read from the file
    unsigned uLine = 0;
    uint64_t uFileSize = 0;  // 0 when unknown
};

/// Reads up to uMax whole numbers from the start of a text as "%d %d ..." does; a number beyond 64 bits is limited to
/// the ends of the range. Returns how many were read.
unsigned readIntegers(const char* sz, int64_t* pValues, unsigned uMax);

/// Reads up to uMax numbers, at most seven, from the start of a text, exactly as "%f %f ..." does. Returns how many
/// were read.
unsigned readFloats(const char* sz, float* pValues, unsigned uMax);

/// The text behind the first word.
const char* skipWord(const char* sz);

/// Copies a text into a fixed field, cut to what fits.
void copyText(char* szTo, size_t uSize, const char* szFrom);

}  // namespace Velk
