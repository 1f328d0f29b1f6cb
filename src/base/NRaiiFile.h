#pragma once

#include <cstdio>

namespace Velk {

/// Owner of one open file: closes it when the scope ends.
class NRaiiFile {
 public:
    /// Takes over an open stream, or null.
    explicit NRaiiFile(FILE* pOpened) : pFile(pOpened) {}
    ~NRaiiFile() {
        if (pFile) fclose(pFile);
    }
    NRaiiFile(const NRaiiFile&) = delete;
    NRaiiFile& operator=(const NRaiiFile&) = delete;

    /// The stream, null when there is none.
    FILE* get() const { return pFile; }

 private:
    FILE* pFile;
};

}  // namespace Velk
