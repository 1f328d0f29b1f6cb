// The files in a ZIP archive.

#include "import/scan/Zip.h"

#include <zlib.h>

#include <algorithm>

namespace rt {

namespace {

constexpr size_t END_SIZE = 22, ENTRY_SIZE = 46, LOCAL_SIZE = 30;  // of its records, without names
constexpr uint32_t END_MARK = 0x06054B50, ENTRY_MARK = 0x02014B50, LOCAL_MARK = 0x04034B50;
constexpr uint64_t MOST_PACKED = 1100;  // bytes that one packed byte can become

}  // namespace

// 0 behind the end.
uint32_t Zip::number(size_t uAt, unsigned uBytes) const {
    uint32_t u = 0;
    for (unsigned uByte = 0; uByte < uBytes && uAt + uByte < pBytes->size(); ++uByte)
        u |= uint32_t{static_cast<unsigned char>((*pBytes)[uAt + uByte])} << 8 * uByte;
    return u;
}

bool Zip::open(const std::string& sBytes) {
    pBytes = &sBytes;
    entries.clear();
    if (sBytes.size() < END_SIZE) return true;
    size_t uEnd = sBytes.size() - END_SIZE;
    const size_t uFirst = uEnd > 65535 ? uEnd - 65535 : 0;  // a comment may follow
    while (number(uEnd, 4) != END_MARK) {
        if (uEnd-- == uFirst) return true;
    }
    const uint32_t uCount = number(uEnd + 10, 2);
    size_t uAt = number(uEnd + 16, 4);
    for (uint32_t u = 0; u < uCount; ++u) {
        const size_t uName = number(uAt + 28, 2);
        if (uAt + ENTRY_SIZE + uName > sBytes.size() || number(uAt, 4) != ENTRY_MARK) return true;
        const bool bEncrypted = number(uAt + 8, 2) & 1;
        const Entry entry{number(uAt + 10, 2), number(uAt + 20, 4), number(uAt + 24, 4), number(uAt + 42, 4)};
        if (bEncrypted || std::max({entry.uPacked, entry.uSize, entry.uHeader}) == 0xFFFFFFFF) return true;
        entries[sBytes.substr(uAt + ENTRY_SIZE, uName)] = entry;
        uAt += ENTRY_SIZE + uName + number(uAt + 30, 2) + number(uAt + 32, 2);
    }
    return entries.empty();
}

bool Zip::unpack(const std::string& sName, std::string& sText) const {
    const auto found = entries.find(sName);
    if (found == entries.end()) return true;
    const Entry& entry = found->second;
    if (number(entry.uHeader, 4) != LOCAL_MARK) return true;
    const size_t uStart = size_t{entry.uHeader} + LOCAL_SIZE + number(size_t{entry.uHeader} + 26, 2) +
                          number(size_t{entry.uHeader} + 28, 2);
    if (uStart > pBytes->size() || entry.uPacked > pBytes->size() - uStart) return true;
    if (entry.uMethod == 0) {
        sText.assign(*pBytes, uStart, entry.uPacked);
        return entry.uSize != entry.uPacked;
    }
    if (entry.uMethod != 8 || entry.uSize > MOST_PACKED * entry.uPacked) return true;
    sText.resize(entry.uSize);
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(pBytes->data() + uStart));
    stream.avail_in = entry.uPacked;
    stream.next_out = reinterpret_cast<Bytef*>(&sText[0]);
    stream.avail_out = entry.uSize;
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return true;
    const int iResult = inflate(&stream, Z_FINISH);
    inflateEnd(&stream);
    return iResult != Z_STREAM_END || stream.avail_out != 0;
}

}  // namespace rt
