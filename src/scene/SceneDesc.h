#pragma once

namespace rt {

/// The scene description: the paths of a scene's four other files, relative to the working directory.
class SceneDesc {
 public:
    bool bLoaded = false;
    char szSceneFile[256] = "";
    char szAttributesFile[256] = "";
    char szCameraFile[256] = "";
    char szLightsFile[256] = "";

    /// Reads four lines: geometry, camera, attributes, lights. A missing line is warned of and leaves its path
    /// unchanged, so the loader that is given an empty path fails. True on failure, which is logged.
    [[nodiscard]] bool loadDescription(const char* szFile);

    /// Cuts a text at its first carriage return or line feed.
    static void trimCRNL(char* s);
};

}  // namespace rt
