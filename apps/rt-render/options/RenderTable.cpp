// The options of rt-render, a row each.
#include "rt-render/options/RenderTable.h"

namespace rt {

namespace {

using Settings = RenderOptions;
using Values = const OptionValue*;

Velk::NMVector3f vectorOf(Values v) {
    return {v[0].f, v[1].f, v[2].f};
}

#ifdef RT_IMPORT
constexpr ImportOptions::Material MATERIALS[] = {ImportOptions::MATTE, ImportOptions::MIRROR, ImportOptions::GLASS};
#endif

constexpr OptionRow<Settings> RENDER_ROWS[] = {
    {Option::file("SCENE...", "FILE", "a scene's name, a description's path, a model file, or a directory of these"),
     [](Settings& s, Values v) { s.vScenes.push_back(v[0].sText); }},
    // The picture.
    {Option::file("-o, --out", "FILE", "the picture, PNG, BMP, PPM or JPEG by its suffix")
         .otherwise("SCENE.png")
         .more("With several scenes a directory for their pictures, which otherwise lie beside them. MP4, GIF and WebP "
               "are "
               "films of all pictures, made by ffmpeg. A hyphen is standard output, which gets a PNG file."),
     [](Settings& s, Values v) { s.sPicture = v[0].sText; }},
    {Option::count("--resolution", "W H", "size of the picture in pixels")
         .within(1, INT32_MAX)
         .otherwise("the camera's")
         .more("640x480 is understood too."),
     [](Settings& s, Values v) {
         s.parameters.uWidth = v[0].u;
         s.parameters.uHeight = v[1].u;
         s.parameters.bCustomResolution = true;
     }},
    {Option::count("--samples", "N", "N x N rays a pixel, for smooth edges")
         .within(1, 64)
         .otherwise("1; in a studio 3 where edges are"),
     [](Settings& s, Values v) { s.uSamples = v[0].u; }},
    {Option::count("--orbit", "N", "N pictures on a circle around the scene, frame-0001.png and on").within(1, 9999),
     [](Settings& s, Values v) { s.uOrbit = v[0].u; }},  // four digits in the name
    {Option::count("--fps", "N", "pictures of a film a second").within(1, 240).otherwise("30"),
     [](Settings& s, Values v) { s.uFramesPerSecond = v[0].u; }},
    // The view.
    {Option::number("--from", "X Y Z", "where the camera stands, in the scene's units"),
     [](Settings& s, Values v) { s.view.v3From = vectorOf(v); }},
    {Option::number("--at", "X Y Z", "what it looks at").otherwise("the scene's middle"),
     [](Settings& s, Values v) { s.view.v3At = vectorOf(v); }},
    {Option::number("--fov", "DEG", "angle from the picture's left edge to the right one").within(0.1, 170),
     [](Settings& s, Values v) { s.view.fFov = v[0].f; }},
    {Option::number("--camera", "X Y Z DX DY DZ", "eye and direction as RayTracer takes them").notWith("--from, --at"),
     [](Settings& s, Values v) {
         s.parameters.v3CameraPosition = vectorOf(v);
         s.parameters.v3CameraLook = vectorOf(v + 3);
         s.parameters.bCustomCamera = true;
     }},
    {Option::flag("--ortho", "parallel rays, as in a technical drawing"),
     [](Settings& s, Values) { s.cameras.bParallel = true; }},
    {Option::number("--intrinsics", "FX FY CX CY", "focal lengths and principal point in pixels")
         .notWith("--fov, --ortho, --cameras"),
     [](Settings& s, Values v) {
         s.cameras.intrinsics = {v[0].d, v[1].d, v[2].d, v[3].d};
     }},
    // Many views.
    {Option::text("--views", "LIST", "pictures from front, back, left, right, top, bottom or iso, with commas between")
         .notWith("--orbit, --hemisphere, --cameras, --from, --at, --camera"),
     [](Settings& s, Values v) { s.sViews = v[0].sText; }},
    {Option::count("--hemisphere", "N", "N pictures from all around and above")
         .within(1, 9999)
         .notWith("--orbit, --cameras, --from, --at, --camera"),
     [](Settings& s, Values v) { s.cameras.uHemisphere = v[0].u; }},
    {Option::count("--seed", "S", "another way to spread them").otherwise("0"),
     [](Settings& s, Values v) { s.cameras.uSeed = v[0].u; }},
    {Option::file("--cameras", "FILE", "a picture for each camera of a transforms.json file")
         .notWith("--orbit, --from, --at, --fov, --camera, --ortho"),
     [](Settings& s, Values v) { s.cameras.sCameras = v[0].sText; }},
    {Option::file("--write-cameras", "FILE", "writes the cameras of all pictures as such a file"),
     [](Settings& s, Values v) { s.cameras.sWriteCameras = v[0].sText; }},
    {Option::flag("--sheet", "all pictures in one").notWith("--resume"),
     [](Settings& s, Values) { s.cameras.bSheet = true; }},
    // Layers.
    {Option::text("--layers", "LIST", "what pixels show: depth, normal, position, albedo, mesh, material, face or mask")
         .more("With commas between them. They are written beside the picture, or alone when the name of --out ends in "
               ".exr or .npy.")
         .notWith("--sheet"),
     [](Settings& s, Values v) { s.sLayers = v[0].sText; }},
    {Option::word("--layers-format", "format of layers", "exr|npy", "one OpenEXR file, or one of NumPy's a layer")
         .otherwise("exr"),
     [](Settings& s, Values v) { s.layers.bNpy = v[0].u == 1; }},
    // The light.
    {Option::word("--light", "kind of light", "studio|lamps", "soft light that turns with the camera, or lamps")
         .otherwise("studio for models, lamps for scenes")
         .more("The lamps are those of the scene or the model file, or three that are put beside a model."),
     [](Settings& s, Values v) { s.bStudio = v[0].u == 0; }},
    {Option::file("--sky", "FILE", "light from a picture all around, Radiance (.hdr) or OpenEXR (.exr)")
         .more(
             "It lies around the scene as in a room: its middle is straight ahead of a model's front, and it does not "
             "turn with the camera. Its brightest places are lamps. Only in a studio."),
     [](Settings& s, Values v) { s.sSky = v[0].sText; }},
    {Option::number("--sky-turn", "DEG", "turns it to the right").within(-360, 360).otherwise("0"),
     [](Settings& s, Values v) { s.fSkyTurn = v[0].f; }},
    {Option::text("--background", "COLOUR", "colour behind the model, sky or transparent")
         .otherwise("a light grey that darkens downwards")
         .more(
             "A colour is #RRGGBB or one of white, black, grey, red, green and blue; two with a comma between them are "
             "those of the first and the last row. Only in a studio; transparent only in a PNG file, sky only with "
             "--sky."),
     [](Settings& s, Values v) { s.sBackground = v[0].sText; }},
    // Bricks.
    {Option::count("--texattr", "INDEX", "number of the material that becomes a wall of bricks, counted from 0"),
     [](Settings& s, Values v) { s.parameters.uTexturedAttribute = v[0].u; }},
    {Option::number("--brick", "W H MORTAR", "sizes of bricks and joints").otherwise("600 125 20"),
     [](Settings& s, Values v) {
         s.parameters.fBrickWidth = v[0].f;
         s.parameters.fBrickHeight = v[1].f;
         s.parameters.fMortarWidth = v[2].f;
     }},
    {Option::number("--angle", "X", "how crooked the bricks lie").otherwise("0.125"),
     [](Settings& s, Values v) { s.parameters.fAngleCoeff = v[0].f; }},
    {Option::flag("--dirt", "dirt on the bricks"), [](Settings& s, Values) { s.parameters.bDirt = true; }},
    // How it is made.
    {Option::count("--jobs", "N", "number of worker threads").within(1, 1024).otherwise("one a core"),
     [](Settings& s, Values v) { s.uJobs = v[0].u; }},
    {Option::text("--on", "ADDRESS", "renders by the workers of a Dask scheduler, tcp://HOST:8786")
         .more(
             "tls://HOST:8786 uses the certificates that Dask's configuration names. Needs Debian's "
             "python3-raytracer and python3-distributed, here and on the workers' machines. The bytes of pictures are "
             "the same; layers are made here."),
     [](Settings& s, Values v) { s.sScheduler = v[0].sText; }},
    {Option::count("--packsize", "PIXELS", "edge of a tile").within(1, 4096).otherwise("32"),
     [](Settings& s, Values v) { s.parameters.uPackSize = v[0].u; }},
    {Option::word("--rays", "kind of rays", "tree|watertight", "who says what a ray meets: a tree, or each face alone")
         .otherwise("tree for scenes, watertight for models")
         .more("The tree is that of RayTracer, so that the bytes are the same. With each face for itself no ray gets "
               "through the edges of a closed mesh, and there is no tree to build."),
     [](Settings& s, Values v) { s.rays = v[0].u ? RayKind::WATERTIGHT : RayKind::TREE; }},
    {Option::flag("--resume", "goes on with the picture that Ctrl-C interrupted")
         .more("That is kept as NAME.part.SUFFIX.resume."),
     [](Settings& s, Values) { s.bResume = true; }},
    {Option::file("--reference", "FILE", "compares the picture with this one; status 3 when they differ")
         .notWith("--orbit")
         .more("A PNG, JPEG or BMP file. NAME.diff.png beside the picture shows where they differ, in red."),
     [](Settings& s, Values v) { s.sReference = v[0].sText; }},
    {Option::count("--tolerance", "N", "how far a channel may be away from the reference")
         .within(0, 255)
         .otherwise("0"),
     [](Settings& s, Values v) { s.uTolerance = v[0].u; }},
    {Option::flag("--resetcache", "builds the kd-tree anew"),
     [](Settings& s, Values) { s.parameters.bResetCache = true; }},
    {Option::count("--cache-limit", "MB", "size of all kd-trees that are kept").within(0, 1 << 20).otherwise("1024"),
     [](Settings& s, Values v) { s.uCacheLimit = v[0].u; }},
    {Option::text("--format", "SUFFIX", "what a model is that comes through standard input, as the scene -"),
     [](Settings& s, Values v) { s.sFormat = v[0].sText; }},
    {Option::count("--page", "N", "port of a page in the browser of this machine that shows how far it is; 0: none")
         .within(0, 65535)
         .otherwise("0"),
     [](Settings& s, Values v) { s.uPage = v[0].u; }},
    {Option::flag("--json", "prints a line of JSON for each picture"), [](Settings& s, Values) { s.bJson = true; }},
    {Option::flag("--quiet", "prints errors only"), [](Settings& s, Values) { s.bQuiet = true; }},
    {Option::flag("--verbose", "prints all that the library says, and times"),
     [](Settings& s, Values) { s.bVerbose = true; }},
#ifdef RT_IMPORT
    {Option::group(MODEL_OPTIONS)},
    {Option::number("--turn", "DEG", "how far the camera goes round the model").within(-360, 360).otherwise("30"),
     [](Settings& s, Values v) { s.import.dTurn = static_cast<double>(v[0].f); }},
    {Option::number("--elevation", "DEG", "how high it stands above the horizon").within(-90, 90).otherwise("20"),
     [](Settings& s, Values v) { s.import.dElevation = static_cast<double>(v[0].f); }},
    {Option::flag("--ground", "a floor under the model").more("In a studio nothing is seen of it but the shadow."),
     [](Settings& s, Values) { s.import.bGround = true; }},
    {Option::word("--material", "material", "matte|mirror|glass", "one material for the whole model"),
     [](Settings& s, Values v) { s.import.eMaterial = MATERIALS[v[0].u]; }},
    {Option::word("--up", "axis", "x|y|z", "the model's upright axis").otherwise("the format's"),
     [](Settings& s, Values v) { s.import.cUp = v[0].sText[0]; }},
    {Option::flag("--camera-of-file", "takes the model's own camera whatever it shows"),
     [](Settings& s, Values) { s.import.bCameraOfFile = true; }},
    {Option::flag("--allow-outside", "takes textures and data of the model from anywhere")
         .more("Without it, only files in the model's directory or below are read."),
     [](Settings& s, Values) { s.import.bAllowOutside = true; }},
#endif
};

}  // namespace

Program renderProgram() {
    return makeProgram("rt-render", "Renders a scene or a model file on all cores.", RENDER_ROWS);
}

void storeRenderOptions(const std::vector<GivenOption>& vGiven, RenderOptions& options) {
    storeOptions(RENDER_ROWS, vGiven, options);
}

}  // namespace rt
