// Makes a mistake, and prints what the library says of it: hear-messages
#include <raytracer/Messages.h>
#include <raytracer/Scene.h>
#include <raytracer/Version.h>

#include <cstdio>

int main() {
    printf("library version %u.%u.%u\n", raytracer::VERSION_MAJOR, raytracer::VERSION_MINOR, raytracer::VERSION_PATCH);
    raytracer::setErrorSink(
        [](bool bError, const char* szReport) { printf("%s: %s\n", bError ? "error" : "warning", szReport); });
    raytracer::setProgressSink([](const char* szText) { fputs(szText, stdout); });
    const float positions[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const uint32_t good[] = {0, 1, 2}, bad[] = {0, 1, 3};  // there is no vertex 3
    raytracer::Scene scene;
    if (!scene.setMesh({positions, 3, bad, 1})) return 1;
    if (scene.setMesh({positions, 3, good, 1}) || scene.prepare(raytracer::Use::RAYS)) return 1;
    return scene.prepare(raytracer::Use::RAYS) ? 0 : 1;  // once is enough: this is refused, too
}
