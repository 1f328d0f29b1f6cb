#pragma once
// What assimp's readers see of the disk.

#include <assimp/DefaultIOSystem.h>

#include <map>
#include <string>

#include "import/files/ModelFiles.h"

namespace rt {

/// Opens what the model may be read from, for reading. A reader that goes on at the end of a file is ended by an
/// exception, which assimp reports as the reason of its failure.
class FileSystem : public Assimp::DefaultIOSystem {
 public:
    /// The files must outlive this object.
    explicit FileSystem(ModelFiles& f) : files(f) {}

    bool Exists(const char* szFile) const override;
    Assimp::IOStream* Open(const char* szFile, const char* szMode) override;

    /// Gives readers this text in place of every file of this name, which need not be there. The text must outlive this
    /// object.
    void replace(const std::string& sName, const std::string& sText) { replaced[sName] = &sText; }

 private:
    const std::string* replacementOf(const std::string& sFile) const;

    std::map<std::string, const std::string*> replaced;
    ModelFiles& files;
};

}  // namespace rt
