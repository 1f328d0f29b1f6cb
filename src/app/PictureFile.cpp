// Looks at the output picture's name before anything is written there.
#include "app/PictureFile.h"

#include <sys/stat.h>

#include <cerrno>

#include "base/InputReport.h"
#include "base/NLogger.h"
#include "base/OutputFile.h"

bool isPictureRefused(const char* szFile) {
    if (!Velk::OutputFile::probe(szFile)) return false;
    const int iReason = errno;
    // In the words of NBitmap::saveToFile(), whose failure this is, only earlier.
    Velk::NLogger::LogReport("Bitmap.cpp", "saveToFile", __LINE__, "Failed to open file: %s", szFile);
    Velk::fileError(szFile, iReason);
    return true;
}

bool isOldPicture(const char* szFile) {
    struct stat status {};
    return !stat(szFile, &status) && S_ISREG(status.st_mode);
}
