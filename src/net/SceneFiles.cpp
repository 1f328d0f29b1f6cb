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

void logFile(const char* szFile) {
    const Velk::Printable shown(szFile);  // the description's path comes from the server
    const Velk::NRaiiFile file(Velk::openInput(szFile));
    if (!file.get()) {
        NLogger::LogMessage("Scene file %s: %s\n", shown.text(), errno ? strerror(errno) : "not a regular file");
        return;
    }
    uint64_t uHash = 14695981039346656037u, uSize = 0;  // 64-bit FNV-1a
    uint8_t bytes[16 * 1024];
    while (const size_t uBytes = fread(bytes, 1, sizeof(bytes), file.get())) {
        for (size_t u = 0; u < uBytes; ++u) uHash = (uHash ^ bytes[u]) * 1099511628211u;
        uSize += uBytes;
    }
    NLogger::LogMessage("Scene file %s: %016" PRIx64 ", %" PRIu64 " bytes\n", shown.text(), uHash, uSize);
}

}  // namespace

void logSceneFiles(const char* szDescription, const SceneDesc& desc) {
    for (const char* szFile :
         {szDescription, desc.szSceneFile, desc.szCameraFile, desc.szAttributesFile, desc.szLightsFile}) {
        logFile(szFile);
    }
}

}  // namespace rt
