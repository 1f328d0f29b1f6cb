// Saving and taking up interrupted pictures.
#include "shared/parts/PartFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"
#include "base/OutputFile.h"
#include "picture/PictureFile.h"
#include "shared/Console.h"
#include "shared/parts/ContentHash.h"

namespace rt {

namespace {

// Calls visit(bytes, how many) for each row of pixels of a tile.
template <typename Pool, typename Visit>
void forEachRow(Pool& pool, uint32_t uTile, const Visit& visit) {
    const Tile tile = pool.tile(uTile);
    for (uint32_t y = 0; y < tile.uRows; ++y)
        visit(pool.pixelsOf(tile) + y * pool.stride(), size_t{tile.uColumns} * pool.channels());
}

constexpr char MAGIC[] = "RTRESUME 1\n";
constexpr char FREE = '\0', DONE = '\1';

// The file: MAGIC, the key and the hash of what follows, each a line; then one byte a tile, 1 for done, and the pixels
// of the tiles that are.
std::string headOf(const std::string& sKey, std::string_view sBody) {
    ContentHash hash;
    hash.add(sBody.data(), sBody.size());
    return MAGIC + sKey + "\n" + hash.text() + "\n";
}

// True when the body has a state for each tile of the pool, and the pixels of those that are done.
bool fits(const TilePool& pool, std::string_view sBody) {
    size_t uNeeded = pool.tileCount();
    if (sBody.size() < uNeeded) return false;
    for (uint32_t u = 0; u < pool.tileCount(); ++u) {
        if (sBody[u] != FREE && sBody[u] != DONE) return false;
        const Tile tile = pool.tile(u);
        if (sBody[u] == DONE) uNeeded += size_t{tile.uColumns} * tile.uRows * pool.channels();
    }
    return sBody.size() == uNeeded;
}

}  // namespace

PartFile::PartFile(const std::string& sPicture)
    : sPart(stemOf(sPicture) + ".part" + suffixOf(sPicture)), sResume(sPart + ".resume") {}

bool PartFile::save(const TilePool& pool, const std::string& sKey) const {
    std::string sBody;
    for (uint32_t u = 0; u < pool.tileCount(); ++u) sBody += pool.isDone(u) ? DONE : FREE;
    for (uint32_t u = 0; u < pool.tileCount(); ++u) {
        if (!pool.isDone(u)) continue;
        forEachRow(pool, u,
                   [&](const uint8_t* p, size_t uBytes) { sBody.append(reinterpret_cast<const char*>(p), uBytes); });
    }
    const std::string sHead = headOf(sKey, sBody);
    Velk::OutputFile file;
    errno = 0;
    if (file.open(sResume.c_str()) || fwrite(sHead.data(), sHead.size(), 1, file.stream()) != 1 ||
        fwrite(sBody.data(), sBody.size(), 1, file.stream()) != 1 || file.commit()) {
        Console::error("%s: cannot be written: %s", sResume.c_str(), errno ? strerror(errno) : "not a file");
        return true;
    }
    return writePicture(sPart, {pool.pixels(), pool.width(), pool.height(), pool.channels()});
}

bool PartFile::isRefused() const {
    struct stat status {};
    if (stat(sResume.c_str(), &status) || S_ISREG(status.st_mode)) return false;
    Console::error("%s: cannot be gone on with: it is not a regular file", sResume.c_str());
    return true;
}

bool PartFile::isOf(const std::string& sKey) const {
    const std::string sWanted = MAGIC + sKey + "\n";
    const Velk::NRaiiFile file(Velk::openInput(sResume.c_str()));
    std::string sFound(sWanted.size(), '\0');
    return file.get() && fread(sFound.data(), sFound.size(), 1, file.get()) == 1 && sFound == sWanted;
}

PartFile::Found PartFile::load(TilePool& pool, const std::string& sKey) const {
    const Velk::NRaiiFile file(Velk::openInput(sResume.c_str()));
    if (!file.get()) return errno == ENOENT ? Found::NOTHING : Found::OTHER;
    const size_t uHead = headOf(sKey, "").size(), uTiles = pool.tileCount();
    struct stat status {};
    if (fstat(fileno(file.get()), &status)) return Found::OTHER;
    const uint64_t uBytes = static_cast<uint64_t>(status.st_size);
    if (uBytes < uHead + uTiles || uBytes > uHead + uTiles + uint64_t{pool.stride()} * pool.height()) {
        return Found::OTHER;
    }
    std::string sAll(static_cast<size_t>(uBytes), '\0');
    if (fread(sAll.data(), sAll.size(), 1, file.get()) != 1) return Found::OTHER;
    const std::string_view sBody = std::string_view(sAll).substr(uHead);
    // The hash finds damage; anybody can compute it, so the states are checked too.
    if (sAll.compare(0, uHead, headOf(sKey, sBody)) != 0 || !fits(pool, sBody)) return Found::OTHER;
    const char* p = sBody.data() + uTiles;
    for (uint32_t u = 0; u < uTiles; ++u) {
        if (sBody[u] != DONE) continue;
        forEachRow(pool, u, [&](uint8_t* pRow, size_t uRowBytes) {
            memcpy(pRow, p, uRowBytes);
            p += uRowBytes;
        });
        pool.finish(u);
    }
    return Found::SAME;
}

// Another program's files of these names stay.
void PartFile::remove() const {
    struct stat status {};
    if (lstat(sResume.c_str(), &status) || !S_ISREG(status.st_mode)) return;
    if (unlink(sResume.c_str()) == 0) unlink(sPart.c_str());
}

}  // namespace rt
