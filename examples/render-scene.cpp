// Renders a scene's own view as it is described: render-scene Scenes/scene_descs/glass.txt
#include <raytracer/Messages.h>
#include <raytracer/Picture.h>
#include <raytracer/Version.h>

#include <cstdio>
#include <vector>

int main(int iCount, char** pArguments) {
    if (iCount != 2) {
        fprintf(stderr, "usage: render-scene NAME.txt (library version %u.%u)\n", raytracer::VERSION_MAJOR,
                raytracer::VERSION_MINOR);
        return 2;
    }
    raytracer::setErrorSink(
        [](bool bError, const char* szReport) { fprintf(stderr, "%s: %s\n", bError ? "error" : "warning", szReport); });
    raytracer::Scene scene;
    if (scene.load(pArguments[1]) || scene.prepare(raytracer::Use::PICTURES)) return 1;
    const raytracer::View view = raytracer::viewOf(scene);
    std::vector<uint8_t> vPixels(size_t{view.uWidth} * view.uHeight * 3);
    if (raytracer::render(scene, view, {}, 2, vPixels.data(), size_t{view.uWidth} * 3)) return 1;
    unsigned long long uSum = 0;
    for (const uint8_t u : vPixels) uSum += u;
    printf("%u triangles, %u x %u pixels, mean brightness %.1f\n", scene.triangleCount(), view.uWidth, view.uHeight,
           static_cast<double>(uSum) / static_cast<double>(vPixels.size()));
    return 0;
}
