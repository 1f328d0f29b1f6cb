// Files of numbers that need no library.
#include "picture/LayerFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "base/InputReport.h"
#include "base/OutputFile.h"

namespace rt {

namespace {

constexpr size_t HEAD_UNIT = 64;  // a head's length is a multiple of it
constexpr char MAGIC[] = "\x93NUMPY\x01\x00";
constexpr size_t MAGIC_BYTES = sizeof(MAGIC) - 1;

// What stands before the numbers: magic, length of the text, text.
std::string headOf(uint32_t uWidth, uint32_t uHeight, const Layer& layer) {
    std::string sShape = std::to_string(uHeight) + ", " + std::to_string(uWidth);
    if (layer.components() > 1) sShape += ", " + std::to_string(layer.components());
    const uint16_t uProbe = 1;
    const bool bLittle = *reinterpret_cast<const uint8_t*>(&uProbe) == 1;
    std::string sText = std::string("{'descr': '") + (bLittle ? "<" : ">") + (layer.bIntegers ? "u4" : "f4") +
                        "', 'fortran_order': False, 'shape': (" + sShape + "), }";
    const size_t uBefore = MAGIC_BYTES + 2;
    while ((uBefore + sText.size() + 1) % HEAD_UNIT) sText += ' ';
    sText += '\n';
    std::string sHead(MAGIC, MAGIC_BYTES);
    sHead += static_cast<char>(sText.size() & 255);
    sHead += static_cast<char>(sText.size() >> 8);
    return sHead + sText;
}

}  // namespace

bool writeNpy(const std::string& sFile, uint32_t uWidth, uint32_t uHeight, const Layer& layer) {
    const std::string sHead = headOf(uWidth, uHeight, layer);
    const void* p = layer.bIntegers ? static_cast<const void*>(layer.vIntegers.data()) : layer.vFloats.data();
    const size_t uNumbers = size_t{uWidth} * uHeight * layer.components();
    Velk::OutputFile file;
    errno = 0;
    const bool bFailed = file.open(sFile.c_str()) || fwrite(sHead.data(), sHead.size(), 1, file.stream()) != 1 ||
                         fwrite(p, 4, uNumbers, file.stream()) != uNumbers || file.commit();
    return bFailed && reportUnwritten(sFile, errno);
}

bool reportUnwritten(const std::string& sFile, int iReason) {
    Velk::inputError(sFile.c_str(), 0, nullptr, "cannot be written: %s",
                     iReason ? strerror(iReason) : "the disk or the library failed");
    return true;
}

#ifndef RT_EXR
bool hasExr() {
    return false;
}

bool writeExr(const std::string& sFile, uint32_t, uint32_t, const std::vector<Layer>&) {
    return reportUnwritten(sFile, 0);
}
#endif

}  // namespace rt
