#pragma once
// The files that a model may be read from: its own, and those that it names.

#include <sys/types.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <utility>

namespace rt {

/// Decides which files a reader gets. A model comes from strangers and its scene goes to others, so what it names must
/// lie in the model's directory or below, links followed, unless bAllowOutside. Nothing but regular files is read:
/// others block, never end, or act when they are opened. Each file that is allowed adds to the memory that reading may
/// take.
class ModelFiles {
 public:
    ModelFiles(const std::string& sModel, bool bAllowOutside);

    /// Null when the file may be opened, otherwise the reason in words.
    const char* refusalOf(const std::string& sFile);

    /// True when the format's reader does not get the file. Of those that are there the first is kept for refused().
    [[nodiscard]] bool refuses(const char* szFile);

    /// The first file that a reader wanted and did not get, with the reason; empty when there is none.
    const std::string& refused() const { return sRefused; }

    /// Remembers a file of materials that a reader wanted and that is not there.
    void miss(const std::string& sFile) { sMissing = sFile; }

    /// The last of these; empty when there is none.
    const std::string& missing() const { return sMissing; }

    /// Remembers a picture that lies inside the model's file; the bytes must outlive this object.
    void putInside(const std::string& sName, const std::string& sBytes) { pictures[sName] = &sBytes; }

    /// Null when there is none of this name.
    const std::string* inside(const std::string& sName) const {
        const auto found = pictures.find(sName);
        return found == pictures.end() ? nullptr : found->second;
    }

    /// Where the model lies, without a slash at the end.
    const std::string& folder() const { return sFolder; }

 private:
    std::string sFolder;
    std::string sRealFolder, sRealModel;  // without links
    bool bOutside;
    std::string sRefused, sMissing;
    std::map<std::string, const std::string*> pictures;
    std::set<std::pair<dev_t, ino_t>> seen;  // files whose memory is allowed already
};

}  // namespace rt
