// A hash over contents, by xxhash.
#include "shared/parts/ContentHash.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"

namespace rt {

void ContentHash::add(const void* pBytes, size_t uBytes) {
    const uint64_t uSize = uBytes;
    XXH3_128bits_update(&state, &uSize, sizeof(uSize));
    XXH3_128bits_update(&state, pBytes, uBytes);
}

std::string ContentHash::text() const {
    const XXH128_hash_t hash = XXH3_128bits_digest(&state);
    char sz[33];
    snprintf(sz, sizeof(sz), "%016llx%016llx", static_cast<unsigned long long>(hash.high64),
             static_cast<unsigned long long>(hash.low64));
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
