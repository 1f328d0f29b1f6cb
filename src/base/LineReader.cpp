#include "base/LineReader.h"

#include <sys/stat.h>

#include <charconv>
#include <cstring>

namespace Velk {

namespace {

constexpr size_t LINE_LIMIT = 2047;        // longest line handed out whole
constexpr size_t BUFFER_SIZE = 64 * 1024;  // bytes read at once, one more for a NUL
constexpr int64_t SMALL_COUNT = 1 << 20;   // a count that is believed whatever the file's size

// White space of the C locale, without a call for each character.
bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Reads one number written in the plain form -12.5e3 that ends at white space or the end of the text, which is nearly
// all there are. Null when the text is anything else, whose meaning is left to the C library.
const char* readPlainFloat(const char* sz, const char* szEnd, float& f) {
    while (sz != szEnd && isSpace(*sz)) ++sz;
    const char* szDigits = sz != szEnd && *sz == '-' ? sz + 1 : sz;
    if (szDigits == szEnd || !isDigit(*szDigits)) return nullptr;
    const std::from_chars_result result = std::from_chars(sz, szEnd, f);
    if (result.ec != std::errc() || (result.ptr != szEnd && !isSpace(*result.ptr))) return nullptr;
    return result.ptr;
}

}  // namespace

LineReader::LineReader(const char* szFile) : pFile(fopen(szFile, "r")) {
    if (!pFile) return;
    pBuffer.reset(new char[BUFFER_SIZE + 1]);
    setvbuf(pFile, nullptr, _IONBF, 0);  // the buffer here is enough
    struct stat status {};
    if (fstat(fileno(pFile), &status) == 0 && S_ISREG(status.st_mode))
        uFileSize = static_cast<uint64_t>(status.st_size);
}

LineReader::~LineReader() {
    if (pFile) fclose(pFile);
}

const char* LineReader::next() {
    for (;;) {
        if (uLine) pBuffer[uStart] = cSaved;
        if (uEnd - uStart <= LINE_LIMIT && !bAtEnd) {
            memmove(pBuffer.get(), pBuffer.get() + uStart, uEnd - uStart);
            uEnd -= uStart;
            uStart = 0;
            uEnd += fread(pBuffer.get() + uEnd, 1, BUFFER_SIZE - uEnd, pFile);
            bAtEnd = uEnd < BUFFER_SIZE;
        }
        if (uStart == uEnd) {
            cSaved = pBuffer[uStart];
            return nullptr;
        }
        char* szLine = pBuffer.get() + uStart;
        const size_t uMost = uEnd - uStart < LINE_LIMIT ? uEnd - uStart : LINE_LIMIT;
        const void* pBreak = memchr(szLine, '\n', uMost);
        uStart += pBreak ? static_cast<size_t>(static_cast<const char*>(pBreak) - szLine) + 1 : uMost;
        cSaved = pBuffer[uStart];
        pBuffer[uStart] = '\0';
        ++uLine;
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

unsigned readIntegers(const char* sz, int64_t* pValues, unsigned uMax) {
    for (unsigned uRead = 0; uRead < uMax; ++uRead) {
        while (isSpace(*sz)) ++sz;
        const bool bNegative = *sz == '-';
        if (*sz == '-' || *sz == '+') ++sz;
        if (!isDigit(*sz)) return uRead;
        int64_t iValue = 0;
        for (; isDigit(*sz); ++sz) {
            const int64_t iDigit = *sz - '0';
            iValue = iValue > (INT64_MAX - iDigit) / 10 ? INT64_MAX : iValue * 10 + iDigit;
        }
        pValues[uRead] = bNegative ? -iValue : iValue;
    }
    return uMax;
}

unsigned readFloats(const char* sz, float* pValues, unsigned uMax) {
    const char* const szText = sz;
    const char* const szEnd = sz + strlen(sz);
    float v[7] = {};
    unsigned uRead = 0;
    for (; uRead < uMax && sz; ++uRead) sz = readPlainFloat(sz, szEnd, v[uRead]);
    if (!sz) {
        const int iRead = sscanf(szText, "%f %f %f %f %f %f %f", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5], &v[6]);
        uRead = iRead < 0 ? 0 : static_cast<unsigned>(iRead) < uMax ? static_cast<unsigned>(iRead) : uMax;
    }
    for (unsigned u = 0; u < uRead; ++u) pValues[u] = v[u];
    return uRead;
}

const char* skipWord(const char* sz) {
    while (isSpace(*sz)) ++sz;
    while (*sz && !isSpace(*sz)) ++sz;
    return sz;
}

void copyText(char* szTo, size_t uSize, const char* szFrom) {
    const size_t uLength = strnlen(szFrom, uSize - 1);
    memcpy(szTo, szFrom, uLength);
    szTo[uLength] = '\0';
}

}  // namespace Velk
