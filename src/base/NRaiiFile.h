#pragma once

#include <cstdio>

namespace Velk {

/// Owner of one open file: closes it when the scope ends.
class NRaiiFile {
 public:
    NRaiiFile(const char* szFile, const char* szMode) : pFile(fopen(szFile, szMode)) {}
    ~NRaiiFile() {
        if (pFile) fclose(pFile);
    }
    NRaiiFile(const NRaiiFile&) = delete;
    NRaiiFile& operator=(const NRaiiFile&) = delete;

    /// The stream, null when the file could not be opened.
    FILE* get() const { return pFile; }

 private:
    FILE* pFile;
};

}  // namespace Velk
