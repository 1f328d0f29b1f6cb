// One fuzz target for each reader of a text or picture; RT_READER is the one that this build calls.

#include <cstring>
#include <memory>
#include <sstream>
#include <vector>

#include "FuzzSupport.h"
#include "RayTracer/Options.h"
#include "base/Bitmap.h"
#include "scene/Attributes.h"
#include "scene/Camera.h"
#include "scene/Lights.h"
#include "scene/OldLights.h"
#include "scene/Scene.h"
#include "scene/SceneDesc.h"

using namespace rt;

namespace {

struct Reader {
    const char* szName;
    void (*pfnRead)(const char* szFile);
};

void readGeometry(const char* szFile) {
    Scene scene;
    if (!scene.loadScene(szFile)) scene.preprocessScene();
}

void readCamera(const char* szFile) {
    Camera camera;
    if (camera.loadCamera(szFile)) return;
    camera.applyDomainFactor(2.0f);
    camera.setCamera({1, 2, 3}, {0, 0.6f, 0.8f});
}

void readOldLights(const char* szFile) {
    OldLights old;
    if (old.loadLights(szFile)) return;
    require(!old.saveLights("lights.lgt"), "older lights that can be written");
    Lights lights;
    require(!lights.loadLights("lights.lgt") && lights.uCount == old.uCount, "written lights that can be read");
    remove("lights.lgt");
}

void readBitmap(const char* szFile) {
    Velk::NBitmap image;
    if (image.loadFromFile(szFile) || !image.uWidth || !image.uHeight) return;
    image.setPixel(image.uWidth - 1, image.uHeight - 1, image.getPixel(0, 0));
}

// The words of the file as a command line.
void readOptions(const char* szFile) {
    FILE* pFile = fopen(szFile, "r");
    char text[1024] = "";
    const size_t uRead = fread(text, 1, sizeof(text) - 1, pFile);
    fclose(pFile);
    std::vector<const char*> vWords{"RayTracer.exe"};
    for (char* p = text; p < text + uRead; p += strlen(p) + 1) {
        for (char* q = p; *q; ++q) {
            if (*q == ' ' || *q == '\n') *q = '\0';
        }
        if (*p) vWords.push_back(p);
    }
    g_rt.parameters = {};
    CommandWalker walker(static_cast<int>(vWords.size()), vWords.data());
    addOptions(walker);
    if (walker.ParseCommands()) printUsage(walker);
}

constexpr Reader g_readers[] = {
    {"description", [](const char* szFile) { (void)SceneDesc().loadDescription(szFile); }},
    {"geometry", readGeometry},
    {"camera", readCamera},
    {"attributes", [](const char* szFile) { (void)Attributes().loadAttributes(szFile); }},
    {"lights", [](const char* szFile) { (void)Lights().loadLights(szFile); }},
    {"old-lights", readOldLights},
    {"bitmap", readBitmap},
    {"options", readOptions},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    writeFile("input", {reinterpret_cast<const char*>(pBytes), uBytes});
    for (const Reader& reader : g_readers) {
        if (!strcmp(reader.szName, RT_READER)) reader.pfnRead("input");
    }
    return 0;
}
