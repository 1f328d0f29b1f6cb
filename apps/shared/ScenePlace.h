#pragma once

#include <functional>
#include <string>

namespace rt {

/// True for the name of a model file. Descriptions end in ".txt" or have no suffix.
bool isModelName(const std::string& sFile);

/// Where a scene's files lie: its description, and the directory that the paths in that are relative to.
class ScenePlace {
 public:
    /// What the user means: a scene by its name in ./Scenes or among the installed ones, a description by its path, or
    /// a model file, which is not looked into. True when there is no such thing, which is reported.
    [[nodiscard]] bool find(const std::string& sScene);

    /// The same for a scene's name alone, without a word.
    [[nodiscard]] bool findByName(const std::string& sScene);

    /// A description whose path is relative to the working directory, or to where scenes are installed. True when it is
    /// in neither.
    [[nodiscard]] bool findDescription(const std::string& sFile);

    /// Calls the function where the files lie, with the description's path from there. Its result; true when one cannot
    /// go there, which is reported.
    [[nodiscard]] bool visit(const std::function<bool(const char* szDescription)>& pfnRead) const;

    /// True for a model file.
    bool isModel() const { return bModel; }

    /// What pictures of it are called by default.
    const std::string& name() const { return sName; }

    /// Empty for the working directory.
    const std::string& directory() const { return sDirectory; }

 private:
    void findByPath(const std::string& sPath);

    bool bModel = false;
    std::string sName;
    std::string sDirectory;
    std::string sDescription;  // relative to it
};

}  // namespace rt
