// rt-import MODEL [NAME]: writes a model file as a complete scene under Scenes/.

#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

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

}  // namespace

int main(int argc, char** argv) {
    prepareProcess();
    StopSignals::endProcess([](int) { stopImport(); });  // lets the import clear away what it has begun
    ImportSettings settings;
    int iStatus = STATUS_DONE;
    if (readSettings(argc, argv, settings, iStatus)) return iStatus;
    std::string sMessage;
    std::vector<std::string> vNotices;
    const bool bFailed =
        importModel(settings.sModel, settings.sScenes, settings.sName, settings.options, sMessage, vNotices);
    for (const std::string& sNotice : vNotices) fprintf(stderr, "rt-import: %s\n", sNotice.c_str());
    fprintf(bFailed ? stderr : stdout, bFailed ? "rt-import: %s\n" : "%s\n", sMessage.c_str());
    return bFailed ? STATUS_FAILED : STATUS_DONE;
}
