#include "app/Options.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "base/LineReader.h"
#include "base/NLogger.h"

RayTracer g_rt;
uint32_t g_uOption = MODE_LOCAL;
uint16_t g_port = 0;
const char* g_szIP = nullptr;
uint32_t g_uMaxConn = 0;

namespace {

// Reads the next value as "%f" does. True when it is missing or no number.
bool readFloat(Arguments& arguments, float& f) {
    return !arguments.Next() || sscanf(arguments.Current(), "%f", &f) != 1;
}

// Reads the next value as "%u" does. True when it is missing, no number, or does not fit.
bool readUnsigned(Arguments& arguments, uint32_t& u) {
    int64_t i = 0;
    if (!arguments.Next() || Velk::readIntegers(arguments.Current(), &i, 1) != 1) return true;
    if (i > UINT32_MAX || i < -int64_t{UINT32_MAX}) return true;
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
        if (!arguments.Next()) return true;
        if (sscanf(arguments.Current(), "%f", &fValue) != 1) return false;  // no effect; the walk goes on behind it
    }
    g_rt.parameters.v3CameraPosition = {f[0], f[1], f[2]};
    g_rt.parameters.v3CameraLook = {f[3], f[4], f[5]};
    g_rt.parameters.bCustomCamera = true;
    return false;
}

bool setTexturedAttribute(Arguments& arguments) {
    return readUnsigned(arguments, g_rt.parameters.uTexturedAttribute);
}

bool setResetCache(Arguments&) {
    g_rt.parameters.bResetCache = true;
    return false;
}

bool setBrick(Arguments& arguments) {
    RaytracerParameters& parameters = g_rt.parameters;
    return readFloat(arguments, parameters.fBrickWidth) || readFloat(arguments, parameters.fBrickHeight) ||
           readFloat(arguments, parameters.fMortarWidth);
}

bool setOut(Arguments& arguments) {
    if (!arguments.Next()) return true;
    constexpr size_t uSize = sizeof(g_rt.parameters.szOutFile);
    if (strnlen(arguments.Current(), uSize) == uSize) {
        ReportError("Invalid string: 'szFile'");
        return true;
    }
    Velk::copyText(g_rt.parameters.szOutFile, uSize, arguments.Current());
    return false;
}

bool setResolution(Arguments& arguments) {
    uint32_t uWidth = 0, uHeight = 0;
    if (readUnsigned(arguments, uWidth) || readUnsigned(arguments, uHeight)) return true;
    if (!uWidth || !uHeight) return true;
    g_rt.parameters.uWidth = uWidth;
    g_rt.parameters.uHeight = uHeight;
    g_rt.parameters.bCustomResolution = true;
    return false;
}

bool setAngle(Arguments& arguments) {
    return readFloat(arguments, g_rt.parameters.fAngleCoeff);
}

bool setDirt(Arguments&) {
    g_rt.parameters.bDirt = true;
    return false;
}

bool setPackSize(Arguments& arguments) {
    return readUnsigned(arguments, g_rt.parameters.uPackSize) || !g_rt.parameters.uPackSize;
}

bool help(Arguments&) {
    return true;
}

bool client(Arguments& arguments) {
    if (!arguments.Next()) return true;
    g_szIP = arguments.Current();
    if (!arguments.Next()) return true;
    g_port = toPort(arguments.Current());
    g_uOption = MODE_CLIENT;
    return false;
}

bool server(Arguments& arguments) {
    if (!arguments.Next()) return true;
    g_port = toPort(arguments.Current());
    if (!arguments.Next()) return true;
    const int32_t iCount = toInt(arguments.Current());
    g_uMaxConn = static_cast<uint32_t>(iCount);
    g_uOption = MODE_SERVER;
    return iCount < 1;
}

bool setScene(Arguments& arguments) {
    constexpr size_t LONGEST_NAME = 232;  // fills the path field to its last character
    const char* szScene = arguments.Current();
    if (*szScene == '-') return true;
    if (strlen(szScene) > LONGEST_NAME) {
        ReportError("Invalid scene");
        return true;
    }
    snprintf(g_rt.parameters.szDescFile, sizeof(g_rt.parameters.szDescFile), "Scenes/scene_descs/%s.txt", szScene);
    return false;
}

}  // namespace

void addOptions(CommandWalker& walker) {
    walker.AddCommand("--camera", "\tCustom camera\n\t\t\t<position x y z> <look x y z>", setCamera);
    walker.AddCommand("--texattr", "\tSet textured attribute:\n\t\t\t<index>", setTexturedAttribute);
    walker.AddCommand("--resetcache", "\tReset space subdivision cache", setResetCache);
    walker.AddCommand("--brick", "\tSet brick parameters:\n\t\t\t<width: 600> <height: 125> <mortar_width: 20>",
                      setBrick);
    walker.AddCommand("--out", "\t\tSet output filename:\n\t\t\t<filename: out_tex.bmp>", setOut);
    walker.AddCommand("--resolution", "\tSet output resolution:\n\t\t\t<width> <height>", setResolution);
    walker.AddCommand("--angle", "\tSet angle coefficient:\n\t\t\t<angle coeff: 0.125>", setAngle);
    walker.AddCommand("--dirt", "\tSet dirt on", setDirt);
    walker.AddCommand("--packsize", "\tSet pack size", setPackSize);
    walker.AddCommand("--help", "\tDisplays this help", help);
    walker.AddCommand("--client", "\tSelect client mode (no need for [file]):\n\t\t\t<IP> <port>", client);
    walker.AddCommand("--server", "\tSelect server mode:\n\t\t\t<port> <max connections>", server);
    walker.AddDefault(setScene);
}

void printUsage(const CommandWalker& walker) {
    printf("RayTracer.exe <commands> [file]\n\n");
    printf("[file] - scene name (without .txt), see Scenes/scene_descs/ dir\n\n");
    walker.PrintCommands();
    printf("Example:\n\tRayTracer --texattr 7 room_vn\n\n");
}
