// The textures that a model's materials name.

#include "import/reader/TextureTable.h"

#include <assimp/scene.h>

#include <algorithm>
#include <new>
#include <utility>

#include "import/files/ReaderLimits.h"

namespace rt {

namespace {

constexpr size_t MOST_TEXELS = size_t{1} << 30;  // bytes of all textures
constexpr const char* NO_PICTURE = "it is no PNG or JPEG file, or a broken one";

// A texture inside the model's file.
bool readEmbedded(const aiTexture& texture, bool bWhole, TexturePicture& picture) {
    if (texture.mHeight == 0)
        return picture.decode(reinterpret_cast<const uint8_t*>(texture.pcData), texture.mWidth, bWhole);
    DecodedPicture pixels;
    if (pixels.create(texture.mWidth, texture.mHeight)) return true;
    for (size_t u = 0; u < pixels.vPixels.size() / 4; ++u) {
        const aiTexel& texel = texture.pcData[u];
        uint8_t* p = &pixels.vPixels[4 * u];
        p[0] = texel.r, p[1] = texel.g, p[2] = texel.b, p[3] = texel.a;
    }
    return picture.take(pixels, bWhole);
}

}  // namespace

const TextureTable::Entry& TextureTable::find(const std::string& sPath, TextureImage::Wrap eAcross,
                                              TextureImage::Wrap eDown, Use eUse) {
    const auto [found, bNew] = entries.try_emplace({sPath, eAcross, eDown, eUse});
    if (bNew) found->second = read(sPath, eAcross, eDown, eUse);
    return found->second;
}

TextureTable::Entry TextureTable::read(const std::string& sPath, TextureImage::Wrap eAcross, TextureImage::Wrap eDown,
                                       Use eUse) {
    Entry entry;
    TexturePicture picture;
    try {
        entry.szFault = readPicture(sPath, picture);
    } catch (const std::bad_alloc&) {  // the sizes in a small file promise a large picture
        entry.szFault = "it takes more memory than there is";
    }
    if (eUse == Use::MASK) picture.makeMask();
    entry.mean = picture.mean;
    entry.bHoles = picture.bHoles;
    if (entry.szFault || !pImages) return entry;
    TextureImage& image = picture.image;
    entry.bLeftOut = image.vTexels.size() > MOST_TEXELS - uTexels;
    if (entry.bLeftOut) return entry;
    uTexels += image.vTexels.size();
    allowMemory(image.vTexels.size());  // or little would be left for the model
    image.wraps[0] = eAcross, image.wraps[1] = eDown;
    image.bNumbers = eUse == Use::NUMBERS ? 1 : 0;
    entry.uIndex = static_cast<uint32_t>(pImages->size());
    pImages->push_back(std::move(image));
    return entry;
}

// Null or the fault.
const char* TextureTable::readPicture(const std::string& sPath, TexturePicture& picture) {
    const bool bWhole = pImages != nullptr;
    if (const aiTexture* p = scene.GetEmbeddedTexture(sPath.c_str()))
        return readEmbedded(*p, bWhole, picture) ? NO_PICTURE : nullptr;
    if (const std::string* p = files.inside(sPath))
        return picture.decode(reinterpret_cast<const uint8_t*>(p->data()), p->size(), bWhole) ? NO_PICTURE : nullptr;
    const std::string sFolder = files.folder() + "/";
    std::string sName = sPath;
    std::replace(sName.begin(), sName.end(), '\\', '/');
    std::string sFile = sName[0] == '/' ? sName : sFolder + sName;
    if (const char* szRefusal = files.refusalOf(sFile)) {  // paths of the maker's machine
        sFile = sFolder + sName.substr(sName.rfind('/') + 1);
        if (files.refusalOf(sFile)) return szRefusal;
    }
    return picture.read(sFile, bWhole) ? NO_PICTURE : nullptr;
}

}  // namespace rt
