// The options of rt-farm, a row each.
#include "rt-farm/FarmTable.h"

namespace rt {

namespace {

using Farm = FarmSettings;
using Words = const OptionValue*;

constexpr OptionRow<Farm> FARM_ROWS[] = {
    {Option::file("SCENE", "FILE", "a scene's name, or the path of a description"),
     [](Farm& s, Words v) { s.sScene = v[0].sText; }},
    // The farm.
    {Option::count("--port", "N", "port for workers; 0: any that is free").within(0, 65535).otherwise("5000"),
     [](Farm& s, Words v) { s.uPort = v[0].u; }},
    {Option::text("--allow", "CIDR", "addresses from which workers may connect, beside this machine")
         .otherwise("this machine alone")
         .more("Such as 10.1.0.0/16. There is no authentication: name a network that you trust."),
     [](Farm& s, Words v) { s.sAllow = v[0].sText; }},
    {Option::count("--page", "N", "port of a page in the browser of this machine; 0: none")
         .within(0, 65535)
         .otherwise("8080"),
     [](Farm& s, Words v) { s.uPage = v[0].u; }},
    {Option::count("--clients", "N", "connections served at the same time").within(1, 65535).otherwise("1024"),
     [](Farm& s, Words v) { s.uClients = v[0].u; }},
    {Option::count("--packsize", "PIXELS", "edge of a tile").within(1, 4096).otherwise("32"),
     [](Farm& s, Words v) { s.parameters.uPackSize = v[0].u; }},
    // The picture.
    {Option::file("-o, --out", "FILE", "the picture, PNG, BMP, PPM or JPEG by its suffix").otherwise("SCENE.png"),
     [](Farm& s, Words v) { s.sPicture = v[0].sText; }},
    {Option::count("--resolution", "W H", "size of the picture in pixels")
         .within(1, INT32_MAX)
         .otherwise("the camera's")
         .more("640x480 is understood too."),
     [](Farm& s, Words v) {
         s.parameters.uWidth = v[0].u;
         s.parameters.uHeight = v[1].u;
         s.parameters.bCustomResolution = true;
     }},
    {Option::flag("--resume", "goes on with the picture that Ctrl-C interrupted")
         .more("That is kept as NAME.part.SUFFIX.resume."),
     [](Farm& s, Words) { s.bResume = true; }},
    // The view and the bricks.
    {Option::number("--camera", "X Y Z DX DY DZ", "eye and direction as RayTracer takes them"),
     [](Farm& s, Words v) {
         s.parameters.v3CameraPosition = {v[0].f, v[1].f, v[2].f};
         s.parameters.v3CameraLook = {v[3].f, v[4].f, v[5].f};
         s.parameters.bCustomCamera = true;
     }},
    {Option::count("--texattr", "INDEX", "number of the material that becomes a wall of bricks, counted from 0"),
     [](Farm& s, Words v) { s.parameters.uTexturedAttribute = v[0].u; }},
    {Option::number("--brick", "W H MORTAR", "sizes of bricks and joints").otherwise("600 125 20"),
     [](Farm& s, Words v) {
         s.parameters.fBrickWidth = v[0].f;
         s.parameters.fBrickHeight = v[1].f;
         s.parameters.fMortarWidth = v[2].f;
     }},
    {Option::number("--angle", "X", "how crooked the bricks lie").otherwise("0.125"),
     [](Farm& s, Words v) { s.parameters.fAngleCoeff = v[0].f; }},
    {Option::flag("--dirt", "dirt on the bricks"), [](Farm& s, Words) { s.parameters.bDirt = true; }},
    // What it says.
    {Option::flag("--quiet", "prints errors only"), [](Farm& s, Words) { s.bQuiet = true; }},
    {Option::flag("--verbose", "prints the log of the farm, too"), [](Farm& s, Words) { s.bVerbose = true; }},
};

}  // namespace

Program farmProgram() {
    return makeProgram("rt-farm", "Has a scene rendered by many machines: the server for their workers.", FARM_ROWS);
}

void storeFarmOptions(const std::vector<GivenOption>& vGiven, FarmSettings& settings) {
    storeOptions(FARM_ROWS, vGiven, settings);
}

}  // namespace rt
