// Fingerprints of a scene's files.
#include "net/SceneFiles.h"

#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "base/InputFile.h"
#include "base/NLogger.h"
#include "base/NRaiiFile.h"
#include "base/Printable.h"

namespace rt {

using Velk::NLogger;

namespace {

std::string describe(const char* szFile) {
    const Velk::Printable shown(szFile);  // the description's path comes from the server
    const Velk::NRaiiFile file(Velk::openInput(szFile));
    if (!file.get()) {
        return shown.text() + std::string(": ") + (errno ? strerror(errno) : "not a regular file");
    }
    uint64_t uHash = 14695981039346656037u, uSize = 0;  // 64-bit FNV-1a
    uint8_t bytes[16 * 1024];
    while (const size_t uBytes = fread(bytes, 1, sizeof(bytes), file.get())) {
        for (size_t u = 0; u < uBytes; ++u) uHash = (uHash ^ bytes[u]) * 1099511628211u;
        uSize += uBytes;
    }
    char szFound[64];
    snprintf(szFound, sizeof(szFound), ": %016" PRIx64 ", %" PRIu64 " bytes", uHash, uSize);
    return shown.text() + std::string(szFound);
}

}  // namespace

std::vector<std::string> describeSceneFiles(const char* szDescription, const SceneDesc& desc) {
    std::vector<std::string> vLines;
    for (const char* szFile :
         {szDescription, desc.szSceneFile, desc.szCameraFile, desc.szAttributesFile, desc.szLightsFile}) {
        vLines.push_back(describe(szFile));
    }
    return vLines;
}

std::vector<std::string> logSceneFiles(const char* szDescription, const SceneDesc& desc) {
    std::vector<std::string> vLines = describeSceneFiles(szDescription, desc);
    for (const std::string& sLine : vLines) NLogger::LogMessage("Scene file %s\n", sLine.c_str());
    return vLines;
}

}  // namespace rt
