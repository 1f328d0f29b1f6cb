// Lines and numbers of text files.
#include "base/LineReader.h"

#include <sys/stat.h>
#include <unistd.h>

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

// Reads up to eight digits at once. Requires eight readable characters. Returns the text after them.
const char* readDigits(const char* sz, uint64_t& uValue) {
    uint64_t u;
    memcpy(&u, sz, sizeof(u));
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    u = __builtin_bswap64(u);
#endif
    u ^= 0x3030303030303030;  // a byte of 0 to 9 is a digit; the first character is the lowest byte
    const uint64_t uOthers = ((u + 0x7676767676767676) | u) & 0x8080808080808080;
    const unsigned uDigits = uOthers ? static_cast<unsigned>(__builtin_ctzll(uOthers)) / 8 : 8;
    u = uDigits ? u << (64 - 8 * uDigits) : 0;  // as if zeros came first
    u = u * 10 + (u >> 8);                      // pairs of digits, in every second byte
    constexpr uint64_t PAIRS = 0x000000FF000000FF;
    uValue = ((u & PAIRS) * (100 + (1000000ull << 32)) + ((u >> 16) & PAIRS) * (1 + (10000ull << 32))) >> 32;
    return sz + uDigits;
}

// Reads a number of one to ten digits, below uLimit. Null for any other text.
const char* readPlainNumber(const char* sz, uint64_t uLimit, uint32_t& uNumber) {
    uint64_t uValue;
    const char* p = readDigits(sz, uValue);
    if (p == sz + 8) {
        for (; isDigit(*p) && p < sz + 10; ++p) uValue = uValue * 10 + static_cast<uint64_t>(*p - '0');
    }
    uNumber = static_cast<uint32_t>(uValue);
    return p != sz && uValue < uLimit ? p : nullptr;
}

// Reads a number such as -12.5 with up to eight digits on either side of the point, or without point. Null for any
// other text.
const char* readPlainDecimal(const char* sz, float& f) {
    constexpr uint32_t POWERS[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
    const bool bNegative = *sz == '-';
    sz += bNegative;
    uint64_t uDigits, uFraction = 0;
    const char* p = readDigits(sz, uDigits);
    if (p == sz) return nullptr;
    size_t uPlaces = 0;
    if (*p == '.') {
        const char* const szFraction = p + 1;
        p = readDigits(szFraction, uFraction);
        uPlaces = static_cast<size_t>(p - szFraction);
    }
    uDigits = uDigits * POWERS[uPlaces] + uFraction;
    if (uDigits >> 53) return nullptr;
    // Both operands are exact, so d is the double nearest to the number x. It rounds to the same float as x, unless d
    // is the middle m = M 2^e of two floats and x is not. But x differs from m by a multiple of 1 / 10^places, so by
    // more than x / 2^53, or of 2^e / 5^places, so by at least m / (M 5^8) > m / 2^44: too far for m to be the nearest.
    const double d = static_cast<double>(uDigits) / POWERS[uPlaces];
    f = static_cast<float>(bNegative ? -d : d);
    return p;
}

// See LineReader::nextPlain().
[[gnu::always_inline]] inline const char* readPlainLine(const char* sz, uint32_t* pNumbers, unsigned uNumbers,
                                                        uint64_t uLimit, float* pFloats, unsigned uFloats) {
    for (unsigned u = 0; sz && u < uNumbers + uFloats; ++u) {
        sz = u < uNumbers ? readPlainNumber(sz, uLimit, pNumbers[u]) : readPlainDecimal(sz, pFloats[u - uNumbers]);
        if (sz && *sz++ != (u + 1 < uNumbers + uFloats ? ' ' : '\n')) sz = nullptr;
    }
    return sz;
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

const char* LineReader::readPlain(const char* sz, uint32_t* pNumbers, unsigned uNumbers, uint64_t uLimit,
                                  float* pFloats, unsigned uFloats) {
    return readPlainLine(sz, pNumbers, uNumbers, uLimit, pFloats, uFloats);
}

bool LineReader::nextPlain(uint32_t* pNumbers, unsigned uNumbers, uint64_t uLimit, float* pFloats, unsigned uFloats) {
    assert(pFile && uNumbers + uFloats > 0 && uNumbers + uFloats <= 6);
    if (uEnd - uStart < PLAIN_LIMIT) return false;
    char* const szLine = buffer + uStart;
    if (*szLine != cSaved) *szLine = cSaved;  // reading eight characters behind a store of one of them takes long
    const char* const sz = readPlainLine(szLine, pNumbers, uNumbers, uLimit, pFloats, uFloats);
    if (!sz) {
        *szLine = '\0';  // ends the line before
        return false;
    }
    uStart += static_cast<size_t>(sz - szLine);
    cSaved = *sz;
    ++uLine;
    szLast = szLine;  // a report shows it up to its line feed
    return true;
}

uint64_t LineReader::offset() const {
    return static_cast<uint64_t>(ftello(pFile)) - (uEnd - uStart);
}

size_t LineReader::readAt(uint64_t uOffset, char* pTo, size_t uBytes) const {
    size_t uRead = 0;
    while (uRead < uBytes) {
        const ssize_t iRead = pread(fileno(pFile), pTo + uRead, uBytes - uRead, static_cast<off_t>(uOffset + uRead));
        if (iRead < 0 && errno == EINTR) continue;
        if (iRead <= 0) break;
        uRead += static_cast<size_t>(iRead);
    }
    return uRead;
}

bool LineReader::skipTo(uint64_t uOffset, unsigned uLines) {
    if (fseeko(pFile, static_cast<off_t>(uOffset), SEEK_SET)) return true;
    uStart = uEnd = 0;
    bAtEnd = false;
    szLast = "";
    uLine += uLines;
    return false;
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
