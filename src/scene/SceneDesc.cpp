// Reads the scene description file.
#include "scene/SceneDesc.h"

#include <cerrno>
#include <cstring>

#include "base/InputFile.h"
#include "base/InputReport.h"
#include "base/NLogger.h"
#include "base/NRaiiFile.h"
#include "base/Printable.h"

namespace rt {

namespace {

// Warns of a path that is missing or will probably not be found.
void checkPath(const char* szFile, unsigned uLine, const char* szWhat, const char* szPath, bool bRead, bool bCut) {
    const size_t uLength = strlen(szPath);
    if (!bRead || !uLength) {
        Velk::inputWarning(szFile, uLine, nullptr, "the path of the %s file is missing", szWhat);
    } else if (bCut) {
        Velk::inputWarning(szFile, uLine, szPath, "more than 254 characters: the rest counts as the next line");
    } else if (strchr(" \t", szPath[0]) || strchr(" \t", szPath[uLength - 1])) {
        Velk::inputWarning(szFile, uLine, szPath, "blanks at the ends belong to the path");
    }
}

}  // namespace

bool SceneDesc::loadDescription(const char* szFile) {
    if (strnlen(szFile, sizeof(szSceneFile)) >= sizeof(szSceneFile)) {
        ReportError("Invalid string: 'szFile'");
        Velk::inputError("scene", 0, nullptr, "a path of at most %zu bytes expected", sizeof(szSceneFile) - 1);
        return true;
    }
    const Velk::NRaiiFile file(Velk::openInput(szFile));
    if (!file.get()) {
        ReportErrorFormat("Failed to open file: %s", Velk::Printable(szFile).text());
        Velk::fileError(szFile, errno);
        return true;
    }
    const struct {
        const char* szWhat;
        char* szPath;
    } fields[] = {
        {"geometry", szSceneFile}, {"camera", szCameraFile}, {"attribute", szAttributesFile}, {"lights", szLightsFile}};
    unsigned uLine = 0;
    for (const auto& field : fields) {
        const bool bRead = fgets(field.szPath, sizeof(szSceneFile), file.get()) != nullptr;
        const bool bCut = bRead && strlen(field.szPath) == sizeof(szSceneFile) - 1 && !strchr(field.szPath, '\n');
        if (bRead) trimCRNL(field.szPath);
        checkPath(szFile, ++uLine, field.szWhat, field.szPath, bRead, bCut);
    }
    bLoaded = true;
    return false;
}

void SceneDesc::trimCRNL(char* s) {
    s[strcspn(s, "\r\n")] = '\0';
}

}  // namespace rt
