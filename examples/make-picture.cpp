// Renders a ring with four threads: make-picture picture.ppm
#include <raytracer/Picture.h>

#include <cstdio>
#include <vector>

#include "Torus.h"

int main(int iCount, char** pArguments) {
    if (iCount != 2) {
        fprintf(stderr, "usage: make-picture picture.ppm\n");
        return 2;
    }
    const Torus torus;
    raytracer::Material material;
    material.color[0] = 0.9f;
    material.color[1] = 0.6f;
    material.color[2] = 0.3f;
    material.fSpecular = 0.3f;
    material.bSmooth = true;
    raytracer::Scene scene;
    if (scene.setMesh({torus.vPositions.data(), torus.vertices(), torus.vTriangles.data(), torus.triangles()}) ||
        scene.addMaterial(material) || scene.addLight({{-4, 6, -8}, 60000.0f}) ||
        scene.prepare(raytracer::Use::PICTURES)) {
        return 1;
    }
    constexpr uint32_t WIDTH = 320, HEIGHT = 240;
    const raytracer::View view = raytracer::lookAt({{1.3f, 3, -11}, {0.1f, 0, 0}}, WIDTH, HEIGHT);
    std::vector<uint8_t> vPixels(WIDTH * HEIGHT * 3);
    if (raytracer::render(scene, view, {}, 4, vPixels.data(), WIDTH * 3)) return 1;
    FILE* pFile = fopen(pArguments[1], "wb");
    if (!pFile) return 1;
    fprintf(pFile, "P6\n%u %u\n255\n", WIDTH, HEIGHT);
    const bool bFailed = fwrite(vPixels.data(), vPixels.size(), 1, pFile) != 1;
    return fclose(pFile) || bFailed ? 1 : 0;
}
