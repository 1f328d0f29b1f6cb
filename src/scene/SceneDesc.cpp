#include "scene/SceneDesc.h"

#include <cstring>
#include <initializer_list>

#include "base/NLogger.h"
#include "base/NRaiiFile.h"

bool SceneDesc::loadDescription(const char* szFile) {
    if (strnlen(szFile, sizeof(szSceneFile)) >= sizeof(szSceneFile)) {
        ReportError("Invalid string: 'szFile'");
        return true;
    }
    const Velk::NRaiiFile file(szFile, "r");
    if (!file.get()) {
        ReportErrorFormat("Failed to open file: %s", szFile);
        return true;
    }
    for (char* szField : {szSceneFile, szCameraFile, szAttributesFile, szLightsFile}) {
        if (fgets(szField, sizeof(szSceneFile), file.get())) trimCRNL(szField);
    }
    bLoaded = true;
    return false;
}

void SceneDesc::trimCRNL(char* s) {
    s[strcspn(s, "\r\n")] = '\0';
}
