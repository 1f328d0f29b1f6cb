#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "base/InputFile.h"

namespace Velk {

/// Why a line is refused: the source line of the check, and what is wrong in the user's terms. A line that is fine has
/// neither. A source line alone stands for a lack of memory, which was reported where it arose.
struct Refusal {
    unsigned uSourceLine = 0;
    const char* szWhat = nullptr;

    explicit operator bool() const { return uSourceLine != 0; }
};

/// Reads a text file line by line with the line discipline of the scene files: at most 2047 characters a line (the rest
/// of a longer one comes as the next line), comments and blank lines told apart. Lines are handed out inside the
/// reader's own buffer, without a copy. What is wrong with a line is reported here, since the reader knows its place.
class LineReader {
 public:
    /// Opens a file. The name is not copied. isOpen() is false when it cannot be opened.
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

    /// As next(), without blank lines too.
    const char* nextFilled();

    /// 1-based number of the line handed out last.
    unsigned lineNumber() const { return uLine; }

    /// Reports what is wrong with the line handed out last, with its place and text (see inputError()).
    void reportError(const char* szFormat, ...) const __attribute__((format(printf, 2, 3)));

    /// The same as a warning. Of those of one file the first ten are shown and the others counted.
    void reportWarning(const char* szFormat, ...) __attribute__((format(printf, 2, 3)));

    /// Warns when a text that follows the values of a line is more than a comment.
    void warnOfRest(const char* szRest);

    /// readFloats() for the line handed out last or a part of it, with a warning when a value is not finite or when
    /// text follows the values that were wanted.
    unsigned takeFloats(const char* sz, float* pValues, unsigned uMax);

    /// True when the file is too small to hold that many data lines, of two characters at least, so that a count read
    /// from it cannot be meant. Counts up to a million always pass: they cost little, and a file may end early.
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
    const char* szLast = "";  // the line handed out last
    size_t uStart = 0;        // of the next line
    size_t uEnd = 0;          // of the bytes read
    char cSaved = 0;          // the byte that the last line's NUL stands on
    bool bAtEnd = false;      // nothing is left to read from the file
    unsigned uLine = 0;
    unsigned uWarnings = 0;
    uint64_t uFileSize = 0;
    char buffer[BUFFER_SIZE + 1];  // one more for a NUL
};

/// Reads up to uMax whole numbers from the start of a text as "%d %d ..." does; a number beyond 64 bits is limited to
/// the ends of the range. Returns how many were read, and in *pszRest the text behind them.
unsigned readIntegers(const char* sz, int64_t* pValues, unsigned uMax, const char** pszRest = nullptr);

/// Reads up to uMax numbers from the start of a text, exactly as "%f %f ..." does. Returns how many were read, and in
/// *pszRest the text behind them.
unsigned readFloats(const char* sz, float* pValues, unsigned uMax, const char** pszRest = nullptr);

/// The text behind the white space at its start.
const char* skipBlanks(const char* sz);

/// The text behind the first word.
const char* skipWord(const char* sz);

/// Copies a text into a fixed field, cut to what fits.
void copyText(char* szTo, size_t uSize, const char* szFrom);

}  // namespace Velk
