#pragma once
// The textures that a model's materials name.

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "import/colours/TexturePicture.h"
#include "import/files/ModelFiles.h"

struct aiScene;

namespace rt {

/// Reads each once, from the disk or from inside the model's file.
class TextureTable {
 public:
    /// All must outlive the table. The pictures go to pTextures, null when only their mean colours are wanted.
    TextureTable(const aiScene& s, ModelFiles& f, std::vector<TextureImage>* pTextures)
        : scene(s), files(f), pImages(pTextures) {}

    struct Entry {
        const char* szFault = nullptr;  // why it cannot be read, in words
        MeanColour mean{};
        uint32_t uIndex = NO_INDEX;  // of pTextures
        bool bHoles = false;
        bool bLeftOut = false;  // of pTextures, since they would take too much memory
    };

    /// What a picture is for. NUMBERS are no colours. Of a MASK only alpha counts, which is how light the picture is
    /// where it has none of its own.
    enum class Use { COLOUR, NUMBERS, ALPHA, MASK };
    const Entry& find(const std::string& sPath, TextureImage::Wrap eAcross, TextureImage::Wrap eDown, Use eUse);

    bool keepsPictures() const { return pImages != nullptr; }

 private:
    Entry read(const std::string& sPath, TextureImage::Wrap eAcross, TextureImage::Wrap eDown, Use eUse);
    const char* readPicture(const std::string& sPath, TexturePicture& picture);

    const aiScene& scene;
    ModelFiles& files;
    std::vector<TextureImage>* pImages;
    std::map<std::tuple<std::string, TextureImage::Wrap, TextureImage::Wrap, Use>, Entry> entries;
    size_t uTexels = 0;  // bytes
};

}  // namespace rt
