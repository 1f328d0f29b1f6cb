#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "base/InputFile.h"

namespace Velk {

/// Why a line is refused: the source line of the check, and what is wrong in the user's terms. An accepted line has
/// neither. A source line without a text means out of memory, which has been reported already.
struct Refusal {
    unsigned uSourceLine = 0;
    const char* szWhat = nullptr;

    explicit operator bool() const { return uSourceLine != 0; }
};

/// Reads a text file line by line by the rules of the scene files: a line has at most 2047 characters (the rest of a
/// longer one is returned as the next line), and comment lines are skipped. Lines are returned inside the reader's own
/// buffer, without a copy. Faults of a line are reported through the reader, which knows its file and number.
class LineReader {
 public:
    /// Opens a file. The name is not copied and must outlive the reader. isOpen() is false when it cannot be opened.
    explicit LineReader(const char* szFile, InputKind kind = INPUT_FILE);
    ~LineReader();
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

    bool isOpen() const { return pFile != nullptr; }

    /// Reports why the file could not be opened (see fileError()).
    void reportOpenFailure() const;

    /// Requires an open file. The next line with its line break, ended by a NUL, valid until the next call; null at the
    /// end of the file and at a read error. Comment lines are skipped but counted.
    const char* next();

    /// As next(), but skips blank lines as well.
    const char* nextFilled();

    /// Fast path for data lines: takes the next line if it holds exactly these values in their plainest form, whole
    /// numbers first, one blank between each two and a line feed behind the last. A whole number has up to ten digits
    /// and is below uLimit, any other up to eight before and after its point. False for any other line, which is left
    /// to next(), and some values may be overwritten then.
    bool nextPlain(uint32_t* pNumbers, unsigned uNumbers, uint64_t uLimit, float* pFloats, unsigned uFloats);

    /// The same for a text: the text behind the line, or null for any other line. PLAIN_LIMIT characters are readable.
    static const char* readPlain(const char* sz, uint32_t* pNumbers, unsigned uNumbers, uint64_t uLimit, float* pFloats,
                                 unsigned uFloats);
    static constexpr size_t PLAIN_LIMIT = 128;  // longest plain line, and eight characters more

    // For callers that read lines by themselves: where the next one begins in the file, what stands anywhere in it
    // (from any thread; less at its end), and going on somewhere else after uLines lines. The last is true on failure,
    // and nothing has changed then.
    uint64_t fileSize() const { return uFileSize; }
    uint64_t offset() const;
    size_t readAt(uint64_t uOffset, char* pTo, size_t uBytes) const;
    [[nodiscard]] bool skipTo(uint64_t uOffset, unsigned uLines);

    /// 1-based number of the line returned last.
    unsigned lineNumber() const { return uLine; }

    /// Reports what is wrong with the line returned last, with its number and text (see inputError()).
    void reportError(const char* szFormat, ...) const __attribute__((format(printf, 2, 3)));

    /// The same as a warning. Only the first ten of a file are shown; the destructor reports how many more there were.
    void reportWarning(const char* szFormat, ...) __attribute__((format(printf, 2, 3)));

    /// Warns when the text after the values of a line is more than a comment.
    void warnOfRest(const char* szRest);

    /// readFloats() for the line returned last or a part of it. Warns of a value that is not finite, and of text after
    /// the last value.
    unsigned takeFloats(const char* sz, float* pValues, unsigned uMax);

    /// True for a count that the file is too small for: a data line has at least two characters. Counts up to 2^20
    /// always pass: they cost little memory, and a file may end early.
    bool isAbsurdCount(int64_t iCount) const;

    /// True for an empty line: its first character ends the string or is a line feed or carriage return.
    static bool isBlank(const char* szLine) { return *szLine == '\0' || *szLine == '\n' || *szLine == '\r'; }

    /// True for a line that begins with "//" or ";;".
    static bool isComment(const char* szLine) {
        return (szLine[0] == '/' && szLine[1] == '/') || (szLine[0] == ';' && szLine[1] == ';');
    }

 private:
    static constexpr size_t BUFFER_SIZE = 32 * 1024;  // bytes read at once

    const char* szFileName;
    FILE* pFile;
    int iOpenError;           // errno of openInput()
    const char* szLast = "";  // the line returned last
    size_t uStart = 0;        // of the next line
    size_t uEnd = 0;          // of the bytes read
    char cSaved = 0;          // the byte that the last line's NUL replaced
    bool bAtEnd = false;      // nothing is left to read from the file
    unsigned uLine = 0;
    unsigned uWarnings = 0;
    uint64_t uFileSize = 0;
    char buffer[BUFFER_SIZE + 1];  // one more for a NUL
};

/// Reads up to uMax whole numbers from the start of a text as "%d %d ..." does; a number beyond 64 bits is clamped to
/// their range. Returns how many were read, and in *pszRest the text after them.
unsigned readIntegers(const char* sz, int64_t* pValues, unsigned uMax, const char** pszRest = nullptr);

/// Reads up to uMax numbers from the start of a text, exactly as "%f %f ..." does. Returns how many were read, and in
/// *pszRest the text after them.
unsigned readFloats(const char* sz, float* pValues, unsigned uMax, const char** pszRest = nullptr);

/// The text after its leading white space.
const char* skipBlanks(const char* sz);

/// The text after its first word.
const char* skipWord(const char* sz);

/// Copies a text into a field of uSize bytes, cut to what fits.
void copyText(char* szTo, size_t uSize, const char* szFrom);

}  // namespace Velk
