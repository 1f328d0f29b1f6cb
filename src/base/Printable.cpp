// Makes texts from outside safe to print.
#include "base/Printable.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace Velk {

namespace {

constexpr char CUT_MARK[] = "...";
constexpr size_t CUT_LENGTH = sizeof(CUT_MARK) - 1;
constexpr size_t ESCAPE_LENGTH = 4;  // of "\xNN"

// Control characters, line separators, and marks that change the writing direction.
bool isDangerous(uint32_t uCode) {
    return uCode < 0x20 || (uCode >= 0x7F && uCode < 0xA0) || uCode == 0x61C || uCode == 0x200E || uCode == 0x200F ||
           (uCode >= 0x2028 && uCode <= 0x202E) || (uCode >= 0x2066 && uCode <= 0x2069);
}

// The length in bytes of the character at p if it may be printed unchanged. Otherwise 0: its first byte is escaped. Its
// other bytes are then escaped in turn, because no character starts with them.
size_t shownLength(const unsigned char* p, size_t uLeft, TabKind tabs) {
    if (*p < 0x80) return !isDangerous(*p) || (*p == '\t' && tabs == KEEP_TABS);
    const size_t uLength = *p < 0xC2 ? 0 : *p < 0xE0 ? 2 : *p < 0xF0 ? 3 : *p < 0xF5 ? 4 : 0;
    if (!uLength || uLength > uLeft) return 0;
    uint32_t uCode = *p & (0x7Fu >> uLength);
    for (size_t u = 1; u < uLength; ++u) {
        if ((p[u] & 0xC0) != 0x80) return 0;
        uCode = uCode << 6 | (p[u] & 0x3Fu);
    }
    constexpr uint32_t uSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool bSurrogate = uCode >= 0xD800 && uCode < 0xE000;
    return uCode < uSmallest[uLength] || uCode > 0x10FFFF || bSurrogate || isDangerous(uCode) ? 0 : uLength;
}

}  // namespace

Printable::Printable(const char* szText) : Printable(szText, strlen(szText)) {}

Printable::Printable(const char* pText, size_t uLength, size_t uMost, TabKind tabs) {
    size_t uUsed = 0, uCut = 0;  // uCut: the last place where CUT_MARK still fits
    const auto* p = reinterpret_cast<const unsigned char*>(pText);
    for (size_t u = 0; u < uLength;) {
        const size_t uKept = shownLength(p + u, uLength - u, tabs);
        const size_t uTaken = std::max<size_t>(uKept, 1), uAdded = uKept ? uKept : ESCAPE_LENGTH;
        if (uUsed + CUT_LENGTH <= LONGEST) uCut = uUsed;
        if (u + uTaken > uMost || uUsed + uAdded > LONGEST) {
            memcpy(szShown + uCut, CUT_MARK, CUT_LENGTH);
            uUsed = uCut + CUT_LENGTH;
            break;
        }
        if (uKept) {
            memcpy(szShown + uUsed, p + u, uKept);
        } else {
            snprintf(szShown + uUsed, ESCAPE_LENGTH + 1, "\\x%02X", p[u]);
        }
        uUsed += uAdded;
        u += uTaken;
    }
    szShown[uUsed] = '\0';
}

}  // namespace Velk
