// rt-import MODEL [NAME]: writes a model file as a complete scene under Scenes/.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "base/Printable.h"
#include "base/Version.h"
#include "import/ModelImport.h"
#include "shared/ExitStatus.h"
#include "shared/ProcessSetup.h"
#include "shared/StopSignals.h"

using namespace rt;

namespace {

struct CommandLine {
    std::string sModel, sName, sScenes = "Scenes", sMaterial, sUp;
    double dTurn = 0, dElevation = 0, dFov = 0;
    std::vector<double> vFrom, vAt;
    std::vector<uint32_t> vResolution;
    ImportOptions options;
};

void describe(CLI::App& app, CommandLine& line) {
    app.set_version_flag("--version", std::string("rt-import ") + Velk::VERSION);
    app.add_option("model", line.sModel, "OBJ, PLY, STL, glTF, COLLADA, FBX, ... file")->required()->type_name("FILE");
    app.add_option("name", line.sName, "name of the scene (the file's)")->type_name("NAME");
    app.add_flag("--ground", line.options.bGround, "puts a ground under the model");
    app.add_option("--turn", line.dTurn, "eye's way round the model from its front to the right (30)")
        ->type_name("DEG");
    app.add_option("--elevation", line.dElevation, "eye's height above the horizon (20)")
        ->type_name("DEG")
        ->check(CLI::Range(-90.0, 90.0));
    app.add_option("--fov", line.dFov, "horizontal field of view (40)")
        ->type_name("DEG")
        ->check(CLI::Range(1.0, 170.0));
    app.add_option("--from", line.vFrom, "eye, in the scene's coordinates")->type_name("X Y Z")->expected(3);
    app.add_option("--at", line.vAt, "what it looks at (the model's middle)")->type_name("X Y Z")->expected(3);
    app.add_option("--resolution", line.vResolution, "size of the picture (1024 768)")
        ->type_name("W H")
        ->expected(2)
        ->check(CLI::Range(1u, 65535u));
    app.add_option("--material", line.sMaterial, "one material for the whole model: matte, mirror or glass")
        ->type_name("KIND")
        ->check(CLI::IsMember({"matte", "mirror", "glass"}));
    app.add_option("--up", line.sUp, "axis of the file that points up: x, y or z (the format's)")
        ->type_name("AXIS")
        ->check(CLI::IsMember({"x", "y", "z"}));
    app.add_flag("--force", line.options.bForce, "replaces a scene of the same name");
    app.add_flag("--allow-outside", line.options.bAllowOutside,
                 "takes textures and data of the model from anywhere, not only from below its directory");
    app.add_option("--scenes", line.sScenes, "directory of the scenes (Scenes)")
        ->type_name("DIR")
        ->check([](const std::string& s) { return s.empty() ? "no directory is given" : ""; });
}

void takeOptions(const CLI::App& app, CommandLine& line) {
    ImportOptions& options = line.options;
    if (app.count("--turn")) options.dTurn = line.dTurn;
    if (app.count("--elevation")) options.dElevation = line.dElevation;
    if (app.count("--fov")) options.dFov = line.dFov;
    if (app.count("--from")) options.vFrom = {line.vFrom[0], line.vFrom[1], line.vFrom[2]};
    if (app.count("--at")) options.vAt = {line.vAt[0], line.vAt[1], line.vAt[2]};
    if (app.count("--resolution")) options.uWidth = line.vResolution[0], options.uHeight = line.vResolution[1];
    if (line.sMaterial == "matte") options.eMaterial = ImportOptions::MATTE;
    if (line.sMaterial == "mirror") options.eMaterial = ImportOptions::MIRROR;
    if (line.sMaterial == "glass") options.eMaterial = ImportOptions::GLASS;
    if (!line.sUp.empty()) options.cUp = line.sUp[0];
    options.bProgress = isatty(STDERR_FILENO);
    while (line.sScenes.size() > 1 && line.sScenes.back() == '/') line.sScenes.pop_back();
    // The renderer runs where the scenes' directory lies.
    options.sWrittenRoot = line.sScenes.substr(line.sScenes.rfind('/') + 1);
}

// Help and version go to standard output; what is wrong goes to standard error, line by line. Returns the exit status.
int explain(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream text;
    const bool bWrong = app.exit(error, std::cout, text) != 0;
    std::istringstream lines(text.str());
    for (std::string s; std::getline(lines, s);) fprintf(stderr, "%s\n", Velk::Printable(s.c_str()).text());
    return bWrong ? STATUS_USAGE : STATUS_DONE;
}

}  // namespace

int main(int iCount, char** pArguments) {
    prepareProcess();
    StopSignals::endProcess([](int) { stopImport(); });  // lets the import clear away what it has begun
    CommandLine line;
    CLI::App app("Imports a model file as a scene: description, geometry, camera, materials and lights.", "rt-import");
    describe(app, line);
    try {
        app.parse(iCount, pArguments);
    } catch (const CLI::ParseError& error) {
        return explain(app, error);
    }
    takeOptions(app, line);
    const std::string sName = line.sName.empty() ? sceneNameOf(line.sModel) : line.sName;
    std::string sMessage;
    std::vector<std::string> vNotices;
    const bool bFailed = importModel(line.sModel, line.sScenes, sName, line.options, sMessage, vNotices);
    for (const std::string& sNotice : vNotices) fprintf(stderr, "rt-import: %s\n", sNotice.c_str());
    fprintf(bFailed ? stderr : stdout, bFailed ? "rt-import: %s\n" : "%s\n", sMessage.c_str());
    return bFailed ? STATUS_FAILED : STATUS_DONE;
}
