#pragma once

/// The scene description: the paths of a scene's four other files, relative to the working directory.
class SceneDesc {
 public:
    bool bLoaded = false;
    char szSceneFile[256] = "";
    char szAttributesFile[256] = "";
    char szCameraFile[256] = "";
    char szLightsFile[256] = "";

    /// Reads the four lines geometry, camera, attributes, lights. A missing line leaves its field as it was: the loader
    /// that gets the empty path reports it. True on failure, which is logged.
    [[nodiscard]] bool loadDescription(const char* szFile);

    /// Cuts a text at its first carriage return or line feed.
    static void trimCRNL(char* s);
};
