// rt-import MODEL [NAME]: writes a model file as a complete scene under Scenes/, or as one file for programs.

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "base/OutputFile.h"
#include "import/ModelImport.h"
#include "rt-import/ImportTable.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/ProcessSetup.h"
#include "shared/StopSignals.h"

using namespace rt;

namespace {

// Reads the command line. True when the program is to end with iStatus.
bool readSettings(int argc, char** argv, ImportSettings& settings, int& iStatus) {
    std::vector<GivenOption> vGiven;
    if (readCommandLine(importProgram(), argc, argv, vGiven, iStatus)) return true;
    storeImportOptions(vGiven, settings);
    std::string& sScenes = settings.sScenes;
    if (settings.sPack == "-" && isatty(STDOUT_FILENO)) {
        Console::error("rt-import: --pack: standard output is a terminal, which shows no scenes");
        iStatus = STATUS_USAGE;
        return true;
    }
    if (settings.options.bOwnAxes && settings.sPack.empty()) {
        Console::error("rt-import: --own-axes is for --pack");
        iStatus = STATUS_USAGE;
        return true;
    }
    if (settings.sModel.empty() || sScenes.empty()) {
        Console::error("rt-import: %s is missing (--help lists the options)",
                       sScenes.empty() ? "the directory of --scenes" : "the name of a model");
        iStatus = STATUS_USAGE;
        return true;
    }
    if (settings.sName.empty()) settings.sName = sceneNameOf(settings.sModel);
    settings.options.bProgress = isatty(STDERR_FILENO);
    while (sScenes.size() > 1 && sScenes.back() == '/') sScenes.pop_back();
    // The renderer runs where the scenes' directory lies.
    settings.options.sWrittenRoot = sScenes.substr(sScenes.rfind('/') + 1);
    return false;
}

// Writes a scene as one file. True on failure, with the reason in sMessage.
bool writePacked(const StagedScene& scene, const std::string& sFile, std::string& sMessage) {
    const bool bPipe = sFile == "-";
    const auto pOutput = std::make_unique<Velk::OutputFile>();
    errno = 0;
    FILE* pFile = bPipe ? stdout : pOutput->open(sFile.c_str()) ? nullptr : pOutput->stream();
    const auto write = [pFile](const void* p, size_t uBytes) { return fwrite(p, 1, uBytes, pFile) != uBytes; };
    if (pFile && !scene.pack(write) && !(bPipe ? fflush(stdout) != 0 : pOutput->commit())) return false;
    sMessage = (bPipe ? "standard output" : sFile) +
               ": cannot be written: " + (errno ? strerror(errno) : "not a regular file");
    return true;
}

// True on failure, with the reason in sMessage.
bool pack(const ImportSettings& settings, std::string& sMessage, std::vector<std::string>& vNotices) {
    StagedScene scene;
    ImportOptions options = settings.options;
    options.bStudio = options.bColours = !settings.bLamps;
    return importModel(settings.sModel, options, scene, sMessage, vNotices) ||
           writePacked(scene, settings.sPack, sMessage);
}

}  // namespace

int main(int argc, char** argv) {
    prepareProcess();
    StopSignals::endProcess([](int) { stopImport(); });  // lets the import clear away what it has begun
    ImportSettings settings;
    int iStatus = STATUS_DONE;
    if (readSettings(argc, argv, settings, iStatus)) return iStatus;
    std::string sMessage;
    std::vector<std::string> vNotices;
    const bool bPack = !settings.sPack.empty();
    const bool bFailed =
        bPack ? pack(settings, sMessage, vNotices)
              : importModel(settings.sModel, settings.sScenes, settings.sName, settings.options, sMessage, vNotices);
    for (const std::string& sNotice : vNotices) fprintf(stderr, "rt-import: %s\n", sNotice.c_str());
    fprintf(bFailed || settings.sPack == "-" ? stderr : stdout, bFailed ? "rt-import: %s\n" : "%s\n", sMessage.c_str());
    return bFailed ? STATUS_FAILED : STATUS_DONE;
}
