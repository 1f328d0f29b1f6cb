// The options of rt-import, a row each.
#include "rt-import/ImportTable.h"

namespace rt {

namespace {

using Import = ImportSettings;
using Given = const OptionValue*;

constexpr OptionRow<Import> IMPORT_ROWS[] = {
    {Option::file("MODEL", "FILE", "OBJ, PLY, STL, glTF, COLLADA, FBX, ... file"),
     [](Import& s, Given v) { s.sModel = v[0].sText; }},
    {Option::text("NAME", "NAME", "name of the scene").otherwise("the file's"),
     [](Import& s, Given v) { s.sName = v[0].sText; }},
    {Option::flag("--ground", "puts a ground under the model"), [](Import& s, Given) { s.options.bGround = true; }},
    {Option::number("--turn", "DEG", "the eye's way round the model from its front to the right").otherwise("30"),
     [](Import& s, Given v) { s.options.dTurn = v[0].d; }},
    {Option::number("--elevation", "DEG", "the eye's height above the horizon").within(-90, 90).otherwise("20"),
     [](Import& s, Given v) { s.options.dElevation = v[0].d; }},
    {Option::number("--fov", "DEG", "the horizontal field of view").within(1, 170).otherwise("40"),
     [](Import& s, Given v) { s.options.dFov = v[0].d; }},
    {Option::number("--from", "X Y Z", "the eye, in the scene's coordinates"),
     [](Import& s, Given v) {
         s.options.vFrom = {v[0].d, v[1].d, v[2].d};
     }},
    {Option::number("--at", "X Y Z", "what it looks at").otherwise("the model's middle"),
     [](Import& s, Given v) {
         s.options.vAt = {v[0].d, v[1].d, v[2].d};
     }},
    {Option::count("--resolution", "W H", "size of the picture in pixels").within(1, 65535).otherwise("1024 768"),
     [](Import& s, Given v) {
         s.options.uWidth = v[0].u;
         s.options.uHeight = v[1].u;
     }},
    {Option::word("--material", "material", "matte|mirror|glass", "one material for the whole model"),
     [](Import& s, Given v) {
         constexpr ImportOptions::Material MATERIALS[] = {ImportOptions::MATTE, ImportOptions::MIRROR,
                                                          ImportOptions::GLASS};
         s.options.eMaterial = MATERIALS[v[0].u];
     }},
    {Option::word("--up", "axis", "x|y|z", "the axis of the file that points up").otherwise("the format's"),
     [](Import& s, Given v) { s.options.cUp = v[0].sText[0]; }},
    {Option::flag("--camera-of-file", "takes the model's own camera whatever it shows"),
     [](Import& s, Given) { s.options.bCameraOfFile = true; }},
    {Option::flag("--allow-outside", "takes textures and data of the model from anywhere")
         .more("Without it, only files in the model's directory or below are read."),
     [](Import& s, Given) { s.options.bAllowOutside = true; }},
    {Option::flag("--force", "replaces a scene of the same name"), [](Import& s, Given) { s.options.bForce = true; }},
    {Option::file("--pack", "FILE", "writes one file for programs, in place of a scene in files")
         .more(
             "Python's raytracer.load_packed() takes it, of the same version alone. It has the textures that a studio "
             "shows; with --light lamps the materials that lamps show. A hyphen is standard output."),
     [](Import& s, Given v) { s.sPack = v[0].sText; }},
    {Option::word("--light", "kind of light", "studio|lamps", "what --pack is for").otherwise("studio"),
     [](Import& s, Given v) { s.bLamps = v[0].u == 1; }},
    {Option::flag("--own-axes", "the file's own numbers, with --pack")
         .more("Nothing is turned, mirrored, scaled or moved. This is for rays; pictures of it are mirrored."),
     [](Import& s, Given) { s.options.bOwnAxes = true; }},
    {Option::file("--scenes", "DIR", "directory of the scenes").otherwise("Scenes"),
     [](Import& s, Given v) { s.sScenes = v[0].sText; }},
};

}  // namespace

Program importProgram() {
    return makeProgram("rt-import", "Makes a scene of a model file: description, geometry, camera, materials, lights.",
                       IMPORT_ROWS);
}

void storeImportOptions(const std::vector<GivenOption>& vGiven, ImportSettings& settings) {
    storeOptions(IMPORT_ROWS, vGiven, settings);
}

}  // namespace rt
