// The files that a model may be read from.

#include "import/files/ModelFiles.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "import/files/ReaderLimits.h"

namespace rt {

namespace {

// The path without links, empty when there is no such file.
std::string realPath(const std::string& sPath) {
    const std::unique_ptr<char, decltype(&free)> szReal(realpath(sPath.c_str(), nullptr), free);
    return szReal ? szReal.get() : "";
}

}  // namespace

ModelFiles::ModelFiles(const std::string& sModel, bool bAllowOutside) : bOutside(bAllowOutside) {
    const size_t uSlash = sModel.rfind('/');
    sFolder = uSlash == std::string::npos ? "." : sModel.substr(0, uSlash);
    sRealFolder = realPath(sFolder + "/");
    if (sRealFolder != "/") sRealFolder += '/';
    sRealModel = realPath(sModel);
}

const char* ModelFiles::refusalOf(const std::string& sFile) {
    struct stat status {};
    errno = 0;
    const std::string sReal = realPath(sFile);
    if (sReal.empty() || stat(sReal.c_str(), &status) != 0) return strerror(errno);
    const bool bInside = sReal.compare(0, sRealFolder.size(), sRealFolder) == 0 || sReal == sRealModel;
    if (!bInside && !bOutside) return "it lies outside the model's directory (--allow-outside takes it)";
    if (!S_ISREG(status.st_mode)) return "it is no regular file";
    if (seen.insert({status.st_dev, status.st_ino}).second) allowMemoryFor(static_cast<uint64_t>(status.st_size));
    return nullptr;
}

bool ModelFiles::refuses(const char* szFile) {
    struct stat status {};
    const char* szReason = refusalOf(szFile);
    if (szReason && sRefused.empty() && stat(szFile, &status) == 0 && !S_ISDIR(status.st_mode)) {
        sRefused = std::string(szFile) + " is not read: " + szReason;
    }
    return szReason != nullptr;
}

}  // namespace rt
