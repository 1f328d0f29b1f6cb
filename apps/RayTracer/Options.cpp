// The command line: the table of options, their values, and why they are refused.
#include "RayTracer/Options.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "base/LineReader.h"
#include "base/NLogger.h"
#include "base/OutputFile.h"

namespace rt {

// Set before g_rt is constructed: with too little memory for that, not even an exception can be thrown. Every other
// uncaught exception ends here too.
static const std::terminate_handler g_pfnOldTerminate = std::set_terminate([] {
    Velk::OutputFile::removeUnfinished();
    fflush(stdout);
    fputs("RayTracer.exe: not enough memory to go on\n", stderr);
    _exit(1);
});

RayTracer g_rt;
uint32_t g_uOption = MODE_LOCAL;
uint16_t g_port = 0;
const char* g_szIP = nullptr;
uint32_t g_uMaxConn = 0;

namespace {

// Tells on standard error what is wrong with an option. szText is the argument, null when it is missing.
void explain(const char* szOption, const char* szText, const char* szWhat) {
    if (szText) {
        fprintf(stderr, "RayTracer.exe: %s: %s: \"%s\"\n", szOption, szWhat, szText);
    } else {
        fprintf(stderr, "RayTracer.exe: %s: %s, but the command line ends\n", szOption, szWhat);
    }
}

// The same for an error that refuses the command line. Always true.
bool refuse(const char* szOption, const char* szText, const char* szWhat) {
    explain(szOption, szText, szWhat);
    return true;
}

// Warns of text after a number, such as a decimal comma: only the start of the value counts.
void checkRest(const char* szOption, const char* szText, const char* szRest) {
    if (*Velk::skipBlanks(szRest)) explain(szOption, szText, "warning: the end of the value is ignored");
}

// Reads the next value as "%f" does. True when it is missing or no number.
bool readFloat(Arguments& arguments, const char* szOption, float& f) {
    const char* szText = arguments.Next() ? arguments.Current() : nullptr;
    const char* szRest = nullptr;
    if (!szText || Velk::readFloats(szText, &f, 1, &szRest) != 1) return refuse(szOption, szText, "a number expected");
    if (!std::isfinite(f)) explain(szOption, szText, "warning: not a finite number");
    checkRest(szOption, szText, szRest);
    return false;
}

// Reads the next value as "%u" of 32 bits does: what does not fit is the largest. True when it is missing or no number.
bool readUnsigned(Arguments& arguments, const char* szOption, uint32_t& u) {
    const char* szText = arguments.Next() ? arguments.Current() : nullptr;
    const char* szRest = nullptr;
    int64_t i = 0;
    if (!szText || Velk::readIntegers(szText, &i, 1, &szRest) != 1) {
        return refuse(szOption, szText, "a whole number expected");
    }
    if (i > UINT32_MAX || i < -int64_t{UINT32_MAX}) {
        explain(szOption, szText, "warning: more than 32 bits, understood as 4294967295");
        i = UINT32_MAX;
    }
    checkRest(szOption, szText, szRest);
    u = static_cast<uint32_t>(i);
    return false;
}

int32_t toInt(const char* sz) {
    return static_cast<int32_t>(std::clamp(strtol(sz, nullptr, 10), -2147483647L, 2147483647L));
}

// The port is the number that the text begins with, cut to 16 bits.
uint16_t toPort(const char* sz) {
    const auto uPort = static_cast<uint16_t>(toInt(sz));
    if (std::to_string(uPort) != sz) {
        Velk::NLogger::LogMessage("The port \"%s\" is understood as %u\n", sz, unsigned{uPort});
    }
    return uPort;
}

bool setCamera(Arguments& arguments) {
    float f[6];
    for (float& fValue : f) {
        if (!arguments.Next()) return refuse("--camera", nullptr, "six numbers expected");
        const char* szRest = nullptr;
        if (Velk::readFloats(arguments.Current(), &fValue, 1, &szRest) != 1) {
            explain("--camera", arguments.Current(), "warning: no number, so the option has no effect");
            return false;  // the walk continues after it
        }
        checkRest("--camera", arguments.Current(), szRest);
    }
    g_rt.parameters.v3CameraPosition = {f[0], f[1], f[2]};
    g_rt.parameters.v3CameraLook = {f[3], f[4], f[5]};
    g_rt.parameters.bCustomCamera = true;
    return false;
}

bool setTexturedAttribute(Arguments& arguments) {
    return readUnsigned(arguments, "--texattr", g_rt.parameters.uTexturedAttribute);
}

bool setResetCache(Arguments&) {
    g_rt.parameters.bResetCache = true;
    return false;
}

bool setBrick(Arguments& arguments) {
    RaytracerParameters& parameters = g_rt.parameters;
    return readFloat(arguments, "--brick", parameters.fBrickWidth) ||
           readFloat(arguments, "--brick", parameters.fBrickHeight) ||
           readFloat(arguments, "--brick", parameters.fMortarWidth);
}

bool setOut(Arguments& arguments) {
    if (!arguments.Next()) return refuse("--out", nullptr, "a file name expected");
    constexpr size_t uSize = sizeof(g_rt.parameters.szOutFile);
    if (strnlen(arguments.Current(), uSize) == uSize) {
        ReportError("Invalid string: 'szFile'");
        return refuse("--out", arguments.Current(), "a file name of at most 255 bytes expected");
    }
    Velk::copyText(g_rt.parameters.szOutFile, uSize, arguments.Current());
    return false;
}

bool setResolution(Arguments& arguments) {
    uint32_t uWidth = 0, uHeight = 0;
    if (readUnsigned(arguments, "--resolution", uWidth) || readUnsigned(arguments, "--resolution", uHeight))
        return true;
    if (!uWidth || !uHeight) return refuse("--resolution", "0", "at least one pixel expected");
    g_rt.parameters.uWidth = uWidth;
    g_rt.parameters.uHeight = uHeight;
    g_rt.parameters.bCustomResolution = true;
    return false;
}

bool setAngle(Arguments& arguments) {
    return readFloat(arguments, "--angle", g_rt.parameters.fAngleCoeff);
}

bool setDirt(Arguments&) {
    g_rt.parameters.bDirt = true;
    return false;
}

bool setPackSize(Arguments& arguments) {
    if (readUnsigned(arguments, "--packsize", g_rt.parameters.uPackSize)) return true;
    return !g_rt.parameters.uPackSize && refuse("--packsize", "0", "at least one pixel expected");
}

bool help(Arguments&) {
    return true;
}

bool client(Arguments& arguments) {
    if (!arguments.Next()) return refuse("--client", nullptr, "an address and a port expected");
    g_szIP = arguments.Current();
    if (!arguments.Next()) return refuse("--client", nullptr, "a port expected after the address");
    g_port = toPort(arguments.Current());
    g_uOption = MODE_CLIENT;
    return false;
}

bool server(Arguments& arguments) {
    if (!arguments.Next()) return refuse("--server", nullptr, "a port and a number of connections expected");
    g_port = toPort(arguments.Current());
    if (!arguments.Next()) return refuse("--server", nullptr, "a number of connections expected after the port");
    const int32_t iCount = toInt(arguments.Current());
    g_uMaxConn = static_cast<uint32_t>(iCount);
    g_uOption = MODE_SERVER;
    return iCount < 1 && refuse("--server", arguments.Current(), "at least one connection expected");
}

bool setScene(Arguments& arguments) {
    constexpr size_t LONGEST_NAME = 232;  // fills the path field to its last character
    const char* szScene = arguments.Current();
    if (*szScene == '-') return refuse(szScene, szScene, "unknown option");
    if (strlen(szScene) > LONGEST_NAME) {
        ReportError("Invalid scene");
        return refuse("scene", szScene, "a name of at most 232 bytes expected");
    }
    snprintf(g_rt.parameters.szDescFile, sizeof(g_rt.parameters.szDescFile), "Scenes/scene_descs/%s.txt", szScene);
    return false;
}

// An option: what the pages tell of it, what the usage text says, and what it does.
struct Row {
    Option option;
    const char* szUsage;
    CommandHandler pfnHandler;
};

constexpr Row RAYTRACER_ROWS[] = {
    {Option::number("--camera", "x y z dx dy dz", "another eye and direction, in the scene's own units")
         .more("The direction should have length 1."),
     "\tCustom camera\n\t\t\t<position x y z> <look x y z>", setCamera},
    {Option::count("--texattr", "index", "number of the material that becomes a wall of bricks, counted from 0"),
     "\tSet textured attribute:\n\t\t\t<index>", setTexturedAttribute},
    {Option::flag("--resetcache", "builds the kd-tree anew instead of trusting kdtree.tmp"),
     "\tReset space subdivision cache", setResetCache},
    {Option::number("--brick", "width height mortar",
                    "sizes of bricks and joints, in 1/10000 of the scene's longest side")
         .otherwise("600 125 20"),
     "\tSet brick parameters:\n\t\t\t<width: 600> <height: 125> <mortar_width: 20>", setBrick},
    {Option::file("--out", "file", "the picture").otherwise("out_tex.bmp"),
     "\t\tSet output filename:\n\t\t\t<filename: out_tex.bmp>", setOut},
    {Option::count("--resolution", "width height", "size of the picture in pixels").otherwise("the camera's"),
     "\tSet output resolution:\n\t\t\t<width> <height>", setResolution},
    {Option::number("--angle", "coefficient", "how crooked the bricks lie").otherwise("0.125"),
     "\tSet angle coefficient:\n\t\t\t<angle coeff: 0.125>", setAngle},
    {Option::flag("--dirt", "dirt on the bricks"), "\tSet dirt on", setDirt},
    {Option::count("--packsize", "pixels", "edge of a tile").otherwise("32"), "\tSet pack size", setPackSize},
    {Option::flag("--help", "prints the usage"), "\tDisplays this help", help},
    {Option::text("--client", "address port", "renders for a server")
         .more("Needs no scene; the server's settings count."),
     "\tSelect client mode (no need for [file]):\n\t\t\t<IP> <port>", client},
    {Option::text("--server", "port count", "hands the picture out to at most count clients at a time")
         .more("Port 0 is one that is free, which the log names."),
     "\tSelect server mode:\n\t\t\t<port> <max connections>", server},
};

}  // namespace

void addOptions(CommandWalker& walker) {
    for (const Row& row : RAYTRACER_ROWS) walker.AddCommand(row.option.szNames, row.szUsage, row.pfnHandler);
    walker.AddDefault(setScene);
}

Program rayTracerProgram() {
    Program program{"RayTracer", "", {}};
    for (const Row& row : RAYTRACER_ROWS) program.vOptions.push_back(row.option);
    return program;
}

void printUsage(const CommandWalker& walker) {
    printf("RayTracer.exe <commands> [file]\n\n");
    printf("[file] - scene name (without .txt), see Scenes/scene_descs/ dir\n\n");
    walker.PrintCommands();
    printf("Example:\n\tRayTracer --texattr 7 room_vn\n\n");
}

}  // namespace rt
