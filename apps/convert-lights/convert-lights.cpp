// convert-lights: rewrites a lights file of the older format in the current one.
#include <cstdio>
#include <cstring>

#include "base/InputReport.h"
#include "base/Version.h"
#include "scene/OldLights.h"

using namespace rt;

int main(int argc, char** argv) {
    if (argc == 2 && !strcmp(argv[1], "--version")) {
        printf("convert-lights %s\n", Velk::VERSION);
        return 0;
    }
    const bool bHelp = argc == 2 && (!strcmp(argv[1], "--help") || !strcmp(argv[1], "-h"));
    if (argc != 3) {
        fprintf(bHelp ? stdout : stderr,
                "Usage: convert-lights OLD NEW (or --help, --version)\n"
                "Reads a lights file of the older format, with definitions and fixtures, and writes the lights to NEW "
                "in the current format.\n");
        return bHelp ? 0 : 1;
    }
    Velk::setInputSink([](bool, const char* szReport) { fprintf(stderr, "convert-lights: %s\n", szReport); });
    OldLights lights;
    if (lights.loadLights(argv[1]) || lights.saveLights(argv[2])) {
        fputs("convert-lights: nothing was converted\n", stderr);
        return 1;
    }
    printf("%s: %u lights\n", argv[2], lights.uCount);
    return 0;
}
