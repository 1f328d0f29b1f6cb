// What assimp's readers see of the disk.

#include "import/reader/FileSystem.h"

#include <assimp/DefaultIOStream.h>
#include <assimp/MemoryIOWrapper.h>

#include <stdexcept>
#include <string>

#include "base/InputFile.h"
#include "import/model/AssimpTypes.h"

namespace rt {

namespace {

constexpr unsigned MOST_EMPTY_READS = 1000;  // of a file, behind its end

class Stream : public Assimp::DefaultIOStream {
 public:
    Stream(FILE* pFile, const char* szFile) : DefaultIOStream(pFile, szFile) {}

    size_t Read(void* pBuffer, size_t uSize, size_t uCount) override {
        const size_t uRead = DefaultIOStream::Read(pBuffer, uSize, uCount);
        // Assimp 5.2 waits for ever for the end of a PLY file's header.
        if (uRead == 0 && ++uEmpty > MOST_EMPTY_READS) throw std::runtime_error("its end is missing");
        return uRead;
    }

 private:
    unsigned uEmpty = 0;
};

}  // namespace

const std::string* FileSystem::replacementOf(const std::string& sFile) const {
    const auto found = replaced.find(sFile.substr(sFile.rfind('/') + 1));
    return found == replaced.end() ? nullptr : found->second;
}

bool FileSystem::Exists(const char* szFile) const {
    return replacementOf(szFile) || (!files.refuses(szFile) && DefaultIOSystem::Exists(szFile));
}

Assimp::IOStream* FileSystem::Open(const char* szFile, const char* szMode) {
    if (const std::string* p = replacementOf(szFile))
        return new Assimp::MemoryIOStream(reinterpret_cast<const uint8_t*>(p->data()), p->size());
    FILE* pFile = szMode[0] != 'r' || files.refuses(szFile) ? nullptr : Velk::openInput(szFile);
    // A library that is not there is looked for beside the model under the model's name.
    if (modelSuffixOf(szFile) == "mtl" && (files.missing().empty() || pFile)) files.miss(pFile ? "" : szFile);
    return pFile ? new Stream(pFile, szFile) : nullptr;
}

}  // namespace rt
