// Which bytes of a model file its reader gets: encodings of text, and files in memory.

#include "import/scan/ModelText.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"
#include "import/scan/Xml.h"

namespace rt {

namespace {

constexpr size_t LONGEST_DECLARATION = 200;  // of XML, at the start of a file

void appendUtf8(std::string& s, uint32_t u) {
    const auto add = [&s](uint32_t uByte) { s += static_cast<char>(uByte); };
    if (u < 0x80) return add(u);
    if (u < 0x800) {
        add(0xC0 | u >> 6);
    } else if (u < 0x10000) {
        add(0xE0 | u >> 12), add(0x80 | (u >> 6 & 63));
    } else {
        add(0xF0 | u >> 18), add(0x80 | (u >> 12 & 63)), add(0x80 | (u >> 6 & 63));
    }
    add(0x80 | (u & 63));
}

// Halves of a pair that stand alone become question marks.
std::string fromUtf16(const std::string& sBytes, bool bLittle) {
    std::string sText;
    const auto unit = [&](size_t u) {
        const uint32_t a = static_cast<unsigned char>(sBytes[u]), b = static_cast<unsigned char>(sBytes[u + 1]);
        return bLittle ? a | b << 8 : a << 8 | b;
    };
    for (size_t u = 2; u + 1 < sBytes.size(); u += 2) {
        uint32_t uCode = unit(u);
        if (uCode >= 0xD800 && uCode < 0xE000) {
            const uint32_t uSecond = uCode < 0xDC00 && u + 3 < sBytes.size() ? unit(u + 2) : 0;
            const bool bPair = uSecond >= 0xDC00 && uSecond < 0xE000;
            uCode = bPair ? 0x10000 + ((uCode - 0xD800) << 10) + (uSecond - 0xDC00) : '?';
            if (bPair) u += 2;
        }
        appendUtf8(sText, uCode);
    }
    return sText;
}

// An XML file says its encoding once more.
void renameEncoding(std::string& sText) {
    const size_t uName = sText.substr(0, LONGEST_DECLARATION).find("encoding=");
    if (sText.compare(0, 5, "<?xml") != 0 || uName == std::string::npos) return;
    const size_t uStart = uName + strlen("encoding="), uEnd = sText.find(sText[uStart], uStart + 1);
    if (uEnd < LONGEST_DECLARATION) sText.replace(uStart + 1, uEnd - uStart - 1, "utf-8");
}

}  // namespace

FILE* ModelText::open(const std::string& sFile) const {
    if (!bReplaced) return Velk::openInput(sFile.c_str());
    return fmemopen(const_cast<char*>(sText.data()), sText.size(), "r");
}

void readRest(FILE* pFile, std::string& sText, size_t uMost) {
    char buffer[65536];
    for (size_t u; (u = fread(buffer, 1, std::min(sizeof(buffer), uMost), pFile)) > 0; uMost -= u)
        sText.append(buffer, u);
}

bool decodeText(const std::string& sFile, ModelText& text, std::string& sReason) {
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    char szMark[3] = {};
    errno = 0;
    const size_t uRead = file.get() ? fread(szMark, 1, 3, file.get()) : 0;
    if (!file.get() || (uRead == 0 && ferror(file.get())))
        return sReason = errno ? strerror(errno) : "it is no regular file", true;
    if (uRead == 0) return sReason = "the file is empty", true;
    const bool bLittle = !memcmp(szMark, "\xFF\xFE", 2), bBig = !memcmp(szMark, "\xFE\xFF", 2);
    const bool bUtf8 = !memcmp(szMark, "\xEF\xBB\xBF", 3);
    if (uRead < 3 || !(bLittle || bBig || bUtf8)) return false;
    if (!bUtf8) text.sText.assign(szMark, 3);
    readRest(file.get(), text.sText);
    if (!bUtf8) text.sText = fromUtf16(text.sText, bLittle);
    if (!bUtf8) renameEncoding(text.sText);
    text.bReplaced = true;
    return text.sText.empty() && (sReason = "the file is empty", true);
}

void countStl(const std::string& sFile, ModelText& text) {
    const Velk::NRaiiFile file(text.open(sFile));
    unsigned char head[84];
    if (!file.get() || fread(head, 1, sizeof(head), file.get()) != sizeof(head) || !memcmp(head, "solid", 5)) return;
    for (unsigned u = 0; u < 4; ++u) text.uFaces |= uint64_t{head[80 + u]} << (8 * u);
}

void countOff(const std::string& sFile, ModelText& text) {
    const Velk::NRaiiFile file(text.open(sFile));
    unsigned long long uFaces = 0;
    if (file.get() && fscanf(file.get(), "%*4[CNOF] %*u %llu", &uFaces) == 1) text.uFaces = uFaces;
}

void countCollada(const std::string& sFile, ModelText& text) {
    const Velk::NRaiiFile file(text.open(sFile));
    std::string sXml;
    if (file.get()) readRest(file.get(), sXml);
    for (Xml xml(sXml); xml.next();) {
        const bool bFaces = xml.name() == "triangles" || xml.name() == "polylist" || xml.name() == "polygons";
        if (bFaces && xml.isStart()) text.uFaces += xml.index("count", 0);
    }
}

}  // namespace rt
