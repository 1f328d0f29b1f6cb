// Lines and numbers of text files.
#include "base/LineReader.h"

#include <sys/stat.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstring>

#include "base/InputReport.h"

namespace Velk {

namespace {

constexpr size_t LINE_LIMIT = 2047;       // longest line returned whole
constexpr int64_t SMALL_COUNT = 1 << 20;  // accepted for a file of any size
constexpr unsigned MOST_WARNINGS = 10;    // shown for one file

// White space of the C locale. Inline: isspace() would be a call for each character.
bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Fast path for a number of the plain form -12.5e3 that ends at white space or at the end of the text. Returns the text
// after it, or null for any other text, which is left to the C library.
const char* readPlainFloat(const char* sz, const char* szEnd, float& f) {
    while (sz != szEnd && isSpace(*sz)) ++sz;
    const char* szDigits = sz != szEnd && *sz == '-' ? sz + 1 : sz;
    if (szDigits == szEnd || !isDigit(*szDigits)) return nullptr;
    float fRead = 0.0f;
    const std::from_chars_result result = std::from_chars(sz, szEnd, fRead);
    if (result.ec != std::errc() || (result.ptr != szEnd && !isSpace(*result.ptr))) return nullptr;
    f = fRead;
    return result.ptr;
}

}  // namespace

LineReader::LineReader(const char* szFile, InputKind kind)
    : szFileName(szFile), pFile(openInput(szFile, kind)), iOpenError(errno) {
    if (!pFile) return;
    setvbuf(pFile, nullptr, _IONBF, 0);  // this class has a buffer of its own
    struct stat status {};
    if (fstat(fileno(pFile), &status) == 0) uFileSize = static_cast<uint64_t>(status.st_size);
}

LineReader::~LineReader() {
    if (uWarnings > MOST_WARNINGS) {
        inputWarning(szFileName, 0, nullptr, "%u more like these are not shown", uWarnings - MOST_WARNINGS);
    }
    if (pFile) fclose(pFile);
}

void LineReader::reportOpenFailure() const {
    fileError(szFileName, iOpenError);
}

void LineReader::reportError(const char* szFormat, ...) const {
    va_list args;
    va_start(args, szFormat);
    inputErrorV(szFileName, uLine, szLast, szFormat, args);
    va_end(args);
}

void LineReader::reportWarning(const char* szFormat, ...) {
    if (++uWarnings > MOST_WARNINGS) return;
    va_list args;
    va_start(args, szFormat);
    inputWarningV(szFileName, uLine, szLast, szFormat, args);
    va_end(args);
}

void LineReader::warnOfRest(const char* szRest) {
    szRest = skipBlanks(szRest);
    if (*szRest && !isComment(szRest)) reportWarning("the end of the line is ignored");
}

unsigned LineReader::takeFloats(const char* sz, float* pValues, unsigned uMax) {
    const char* szRest = sz;
    const unsigned uRead = readFloats(sz, pValues, uMax, &szRest);
    if (!std::all_of(pValues, pValues + uRead, [](float f) { return std::isfinite(f); })) {
        reportWarning("a number is not finite");
    }
    if (uRead == uMax) warnOfRest(szRest);
    return uRead;
}

const char* LineReader::next() {
    assert(pFile);
    for (;;) {
        if (uEnd - uStart <= LINE_LIMIT && !bAtEnd) {
            buffer[uStart] = cSaved;
            memmove(buffer, buffer + uStart, uEnd - uStart);
            uEnd -= uStart;
            uStart = 0;
            uEnd += fread(buffer + uEnd, 1, BUFFER_SIZE - uEnd, pFile);
            bAtEnd = uEnd < BUFFER_SIZE;
            cSaved = buffer[0];
        }
        if (uStart == uEnd) {
            cSaved = buffer[uStart];
            szLast = "";
            return nullptr;
        }
        char* szLine = buffer + uStart;
        const size_t uMost = uEnd - uStart < LINE_LIMIT ? uEnd - uStart : LINE_LIMIT;
        const void* pBreak = cSaved == '\n' ? szLine : memchr(szLine + 1, '\n', uMost - 1);
        *szLine = cSaved;
        uStart += pBreak ? static_cast<size_t>(static_cast<const char*>(pBreak) - szLine) + 1 : uMost;
        cSaved = buffer[uStart];
        buffer[uStart] = '\0';
        ++uLine;
        szLast = szLine;
        if (!isComment(szLine)) return szLine;
    }
}

const char* LineReader::nextFilled() {
    const char* szLine = next();
    while (szLine && isBlank(szLine)) szLine = next();
    return szLine;
}

bool LineReader::isAbsurdCount(int64_t iCount) const {
    return iCount > SMALL_COUNT && static_cast<uint64_t>(iCount) > uFileSize / 2;
}

unsigned readIntegers(const char* sz, int64_t* pValues, unsigned uMax, const char** pszRest) {
    unsigned uRead = 0;
    for (const char* szNumber = sz; uRead < uMax; ++uRead, sz = szNumber) {
        while (isSpace(*szNumber)) ++szNumber;
        const bool bNegative = *szNumber == '-';
        if (*szNumber == '-' || *szNumber == '+') ++szNumber;
        if (!isDigit(*szNumber)) break;
        int64_t iValue = 0;
        for (; isDigit(*szNumber); ++szNumber) {
            const int64_t iDigit = *szNumber - '0';
            iValue = iValue > (INT64_MAX - iDigit) / 10 ? INT64_MAX : iValue * 10 + iDigit;
        }
        pValues[uRead] = bNegative ? -iValue : iValue;
    }
    if (pszRest) *pszRest = sz;
    return uRead;
}

unsigned readFloats(const char* sz, float* pValues, unsigned uMax, const char** pszRest) {
    const char* const szEnd = sz + strlen(sz);
    unsigned uRead = 0;
    for (; uRead < uMax; ++uRead) {
        const char* szNext = readPlainFloat(sz, szEnd, pValues[uRead]);
        if (!szNext) {
            int iLength = 0;
            if (sscanf(sz, "%f%n", &pValues[uRead], &iLength) != 1) break;
            szNext = sz + iLength;
        }
        sz = szNext;
    }
    if (pszRest) *pszRest = sz;
    return uRead;
}

const char* skipBlanks(const char* sz) {
    while (isSpace(*sz)) ++sz;
    return sz;
}

const char* skipWord(const char* sz) {
    sz = skipBlanks(sz);
    while (*sz && !isSpace(*sz)) ++sz;
    return sz;
}

void copyText(char* szTo, size_t uSize, const char* szFrom) {
    const size_t uLength = strnlen(szFrom, uSize - 1);
    memcpy(szTo, szFrom, uLength);
    szTo[uLength] = '\0';
}

}  // namespace Velk
