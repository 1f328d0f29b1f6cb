// A hash over contents: two lanes of multiplications and rotations, eight bytes at a time.
#include "shared/ContentHash.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"

namespace rt {

namespace {

uint64_t rotate(uint64_t u, unsigned uBits) {
    return u << uBits | u >> (64 - uBits);
}

// Spreads every bit over the whole word (the finalizer of MurmurHash3, Appleby 2011).
uint64_t spread(uint64_t u) {
    u = (u ^ u >> 33) * 0xFF51AFD7ED558CCDu;
    u = (u ^ u >> 33) * 0xC4CEB9FE1A85EC53u;
    return u ^ u >> 33;
}

}  // namespace

void ContentHash::addWord(uint64_t u) {
    uFirst = rotate((uFirst ^ u) * 0x87C37B91114253D5u, 31) + uSecond;
    uSecond = rotate((uSecond ^ u) * 0x4CF5AD432745937Fu, 33) ^ uFirst;
}

void ContentHash::add(const void* pBytes, size_t uBytes) {
    const char* p = static_cast<const char*>(pBytes);
    addWord(uBytes);
    for (size_t u = 0; u < uBytes; u += sizeof(uint64_t)) {
        uint64_t uWord = 0;
        memcpy(&uWord, p + u, uBytes - u < sizeof(uWord) ? uBytes - u : sizeof(uWord));
        addWord(uWord);
    }
}

std::string ContentHash::text() const {
    char sz[33];
    snprintf(sz, sizeof(sz), "%016llx%016llx", static_cast<unsigned long long>(spread(uFirst ^ rotate(uSecond, 32))),
             static_cast<unsigned long long>(spread(uSecond + uFirst)));
    return sz;
}

std::string hashOfFile(const std::string& sFile) {
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    if (!file.get()) return "";
    ContentHash hash;
    std::vector<char> vBuffer(1 << 20);
    for (size_t uRead; (uRead = fread(vBuffer.data(), 1, vBuffer.size(), file.get())) != 0;) {
        hash.add(vBuffer.data(), uRead);
    }
    return ferror(file.get()) ? "" : hash.text();
}

}  // namespace rt
