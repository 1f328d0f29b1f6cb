// Saving and taking up interrupted pictures.
#include "tools/render/PartFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string_view>

#include "base/OutputFile.h"
#include "tools/render/Console.h"
#include "tools/render/ContentHash.h"
#include "tools/render/PictureFile.h"

namespace {

// Calls visit(bytes, how many) for each row of pixels of a tile.
template <typename Visit>
void forEachRow(const TilePool& pool, uint32_t uTile, const Visit& visit) {
    const Tile tile = pool.tile(uTile);
    for (uint32_t y = 0; y < tile.uRows; ++y) visit(pool.pixelsOf(tile) + y * pool.stride(), size_t{tile.uColumns} * 3);
}

constexpr char MAGIC[] = "RTRESUME 1\n";

// The file: MAGIC, the key and the hash of what follows, each a line; then one byte a tile, 1 for done, and the pixels
// of the tiles that are.
std::string headOf(const std::string& sKey, std::string_view sBody) {
    ContentHash hash;
    hash.add(sBody.data(), sBody.size());
    return MAGIC + sKey + "\n" + hash.text() + "\n";
}

}  // namespace

PartFile::PartFile(const std::string& sPicture)
    : sPart(stemOf(sPicture) + ".part" + suffixOf(sPicture)), sResume(sPart + ".resume") {}

bool PartFile::save(const TilePool& pool, const std::string& sKey) const {
    std::string sBody;
    for (uint32_t u = 0; u < pool.tileCount(); ++u) sBody += pool.isDone(u) ? '\1' : '\0';
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
        Console::error("%s: cannot be written: %s", sResume.c_str(), strerror(errno));
        return true;
    }
    return writePicture(sPart, {pool.pixels(), pool.width(), pool.height()});
}

bool PartFile::isOf(const std::string& sKey) const {
    std::ifstream file(sResume, std::ios::binary);
    std::string sMagic, sFound;
    return std::getline(file, sMagic) && std::getline(file, sFound) && sMagic + "\n" == MAGIC && sFound == sKey;
}

PartFile::Found PartFile::load(TilePool& pool, const std::string& sKey) const {
    std::ifstream file(sResume, std::ios::binary);
    if (!file) return Found::NOTHING;
    const std::string sAll{std::istreambuf_iterator<char>(file), {}};
    const size_t uHead = headOf(sKey, "").size();
    if (sAll.size() < uHead + pool.tileCount()) return Found::OTHER;
    const std::string_view sBody = std::string_view(sAll).substr(uHead);
    if (sAll.compare(0, uHead, headOf(sKey, sBody)) != 0) return Found::OTHER;
    // The key holds the size of the picture and of its tiles, and the hash every byte: the lengths fit.
    const char* p = sBody.data() + pool.tileCount();
    for (uint32_t u = 0; u < pool.tileCount(); ++u) {
        if (sBody[u] != '\1') continue;
        const Tile tile = pool.tile(u);
        for (uint32_t y = 0; y < tile.uRows; ++y, p += tile.uColumns * 3) {
            memcpy(pool.pixelsOf(tile) + y * pool.stride(), p, tile.uColumns * 3);
        }
        pool.finish(u);
    }
    return Found::SAME;
}

void PartFile::remove() const {
    if (unlink(sResume.c_str()) == 0) unlink(sPart.c_str());  // another program's file of that name stays
}
