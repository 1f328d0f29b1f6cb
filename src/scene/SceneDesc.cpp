#include "scene/SceneDesc.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "base/InputFile.h"
#include "base/InputReport.h"
#include "base/NLogger.h"
#include "base/NRaiiFile.h"

bool SceneDesc::loadDescription(const char* szFile) {
    if (strnlen(szFile, sizeof(szSceneFile)) >= sizeof(szSceneFile)) {
        ReportError("Invalid string: 'szFile'");
        return true;
    }
    const Velk::NRaiiFile file(Velk::openInput(szFile));
    if (!file.get()) {
        const int iErrno = errno;
        ReportErrorFormat("Failed to open file: %s", szFile);
        Velk::fileError(szFile, iErrno);
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
