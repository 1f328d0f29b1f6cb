// The text file that holds a uniform grid: reading with every number checked, and writing.
#include "accel/reference/VoxelGridCache.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "accel/CacheFile.h"
#include "base/InputFile.h"
#include "base/NLogger.h"
#include "base/NRaiiFile.h"
#include "base/OutputFile.h"
#include "base/Printable.h"
#include "base/TextWriter.h"
#include "scene/Scene.h"

namespace rt {

using Velk::NMVector3f;

namespace {

constexpr float SIZE_TOLERANCE = 1e-3f;  // relative; the file rounds to six decimals

// Parses the whole text of a file: a voxel's line can be of any length. Every function returns true when the text is
// not what it expects.
class CacheText {
 public:
    explicit CacheText(const char* szPath) {
        const Velk::NRaiiFile file(Velk::openInput(szPath));
        struct stat status {};
        if (!file.get() || fstat(fileno(file.get()), &status) || static_cast<uint64_t>(status.st_size) > SIZE_MAX / 2)
            return;
        const size_t uSize = static_cast<size_t>(status.st_size);
        pText.reset(new (std::nothrow) char[uSize]);
        if (!pText) return;
        szNext = pText.get();
        szEnd = szNext + fread(pText.get(), 1, uSize, file.get());
    }

    size_t bytesLeft() const { return static_cast<size_t>(szEnd - szNext); }

    bool skipHeadline(const Scene& scene) {
        char szLine[sizeof(scene.szSceneFile) + 16];
        const size_t uSearched = std::min(bytesLeft(), sizeof(szLine) - 1);
        const void* pBreak = uSearched ? memchr(szNext, '\n', uSearched) : nullptr;
        if (!pBreak) return true;
        const size_t uLength = static_cast<size_t>(static_cast<const char*>(pBreak) + 1 - szNext);
        memcpy(szLine, szNext, uLength);
        szLine[uLength] = '\0';
        szNext += uLength;
        return !isCacheOf(scene.szSceneFile, szLine);
    }

    bool skip(const char* sz) {
        const size_t uLength = strlen(sz);
        if (bytesLeft() < uLength || memcmp(szNext, sz, uLength) != 0) return true;
        szNext += uLength;
        return false;
    }

    template <typename Number>
    bool read(Number& number) {
        const std::from_chars_result result = std::from_chars(szNext, szEnd, number);
        if (result.ec != std::errc()) return true;
        szNext = result.ptr;
        return false;
    }

    bool readVector(const char* szWord, NMVector3f& v3) {
        const bool bBroken = skip(szWord) || read(v3.x) || skip(" ") || read(v3.y) || skip(" ") || read(v3.z);
        return bBroken || skip("\n") || !isFinite(v3);
    }

    // A count of items of at least two bytes each.
    bool readCount(uint32_t& uCount) { return read(uCount) || uCount > bytesLeft() / 2; }

 private:
    std::unique_ptr<char[]> pText;
    const char* szNext = nullptr;
    const char* szEnd = nullptr;
};

bool readHead(CacheText& text, VoxelGrid& grid) {
    int32_t* pDim = grid.subdivDim;
    if (text.readVector("v3Min ", grid.v3Min) || text.readVector("v3Max ", grid.v3Max)) return true;
    if (text.readVector("v3Size ", grid.v3Size) || text.skip("subdivDim ") || text.read(pDim[0])) return true;
    if (text.skip(" ") || text.read(pDim[1]) || text.skip(" ") || text.read(pDim[2]) || text.skip("\n\n")) return true;
    for (unsigned a = 0; a < 3; ++a) {
        if (pDim[a] < 1 || !(grid.v3Size[a] > 0.0f)) return true;
        const float fWhole = grid.v3Max[a] - grid.v3Min[a];
        const float fError = fabsf(static_cast<float>(pDim[a]) * grid.v3Size[a] - fWhole);
        if (!(fError <= fWhole * SIZE_TOLERANCE)) return true;
    }
    return false;
}

// Reads the voxels' references: they number the records in order of use. uCells becomes their number.
bool readHashes(CacheText& text, VoxelGrid& grid, uint32_t& uCells) {
    const int32_t* pDim = grid.subdivDim;
    uint32_t uVoxels = 0;
    if (text.skip("hashes ") || text.readCount(uVoxels) || text.skip("\n")) return true;
    if (double{1} * pDim[0] * pDim[1] * pDim[2] != uVoxels || grid.hashes.allocate(uVoxels, 32)) return true;
    uCells = 0;
    for (uint32_t& uHash : grid.hashes) {
        int32_t iRecord = 0;
        if (text.read(iRecord) || text.skip("\n")) return true;
        uHash = static_cast<uint32_t>(iRecord);
        if (iRecord == -1) continue;
        if (uHash != uCells) return true;
        ++uCells;
    }
    return false;
}

// Reads one voxel's faces: at least one, ascending.
bool readRecord(CacheText& text, uint32_t uFaces, VoxelGrid::FaceIndices& record) {
    uint32_t uCount = 0;
    if (text.readCount(uCount) || text.skip(": ") || !uCount || uCount > uFaces) return true;
    if (record.create(uCount, 4)) return true;
    for (; record.uSize < uCount; ++record.uSize) {
        uint32_t& uFace = record[record.uSize];
        if (text.read(uFace) || text.skip(" ") || uFace >= uFaces) return true;
        if (record.uSize && uFace <= record[record.uSize - 1]) return true;
    }
    return text.skip("\n");
}

bool readCells(CacheText& text, uint32_t uFaces, uint32_t uCells, VoxelGrid& grid) {
    uint32_t uCount = 0;
    if (text.skip("cells ") || text.readCount(uCount) || text.skip("\n") || uCount != uCells) return true;
    if (grid.createCells(uCount)) return true;
    for (uint32_t u = 0; u < uCount; ++u) {
        if (readRecord(text, uFaces, grid.cells[u])) return true;
    }
    return text.bytesLeft() != 0;
}

void writeVector(Velk::TextWriter& writer, const char* szWord, const NMVector3f& v3) {
    writer.text(szWord).text(" ").number(v3.x).text(" ").number(v3.y).text(" ").number(v3.z).text("\n");
}

}  // namespace

bool readVoxelGrid(const char* szPath, VoxelGrid& grid) {
    CacheText text(szPath);
    uint32_t uCells = 0;
    if (text.skipHeadline(*grid.pScene) || readHead(text, grid) || readHashes(text, grid, uCells) ||
        readCells(text, grid.pScene->vFaces.uCount, uCells, grid)) {
        grid.releaseVoxels();
        return true;
    }
    return false;
}

bool writeVoxelGrid(const char* szPath, const VoxelGrid& grid) {
    Velk::OutputFile file;
    if (!mayBeCache(szPath) || file.open(szPath)) {
        ReportErrorFormat("Failed to open file: %s\n", Velk::Printable(szPath).text());
        return true;
    }
    {
        Velk::TextWriter writer(file.stream());
        writer.text(cacheHeadline(grid.pScene->szSceneFile).c_str());
        writeVector(writer, "v3Min", grid.v3Min);
        writeVector(writer, "v3Max", grid.v3Max);
        writeVector(writer, "v3Size", grid.v3Size);
        writer.text("subdivDim");
        for (const int32_t iDim : grid.subdivDim) writer.text(" ").number(static_cast<uint32_t>(iDim));
        writer.text("\n\nhashes ").number(grid.hashes.uCount).text("\n");
        for (const uint32_t uHash : grid.hashes) {
            if (uHash == NO_INDEX) {
                writer.text("-1\n");
            } else {
                writer.number(uHash).text("\n");
            }
        }
        writer.text("cells ").number(grid.uCells).text("\n");
        for (uint32_t u = 0; u < grid.uCells; ++u) {
            const VoxelGrid::FaceIndices& record = grid.cells[u];
            writer.number(record.uSize).text(": ");
            for (const unsigned int uFace : record) writer.number(uFace).text(" ");
            writer.text("\n");
        }
    }
    if (!file.commit()) return false;
    ReportErrorFormat("Failed to write to file: %s\n", Velk::Printable(szPath).text());
    return true;
}

}  // namespace rt
