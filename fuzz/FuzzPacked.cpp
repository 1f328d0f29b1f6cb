// Packed scenes from strangers: what is read can be prepared, shown and packed again. The input is what comes behind
// name and version.

#include "FuzzSupport.h"
#include "raytracer/Picture.h"
#include "raytracer/Scene.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t uBytes) {
    constexpr size_t HEAD = 32;
    static const std::vector<uint8_t> vHead = [] {
        const float positions[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
        const uint32_t triangle[3] = {0, 1, 2};
        raytracer::Scene scene;
        std::vector<uint8_t> vPacked;
        require(!scene.setMesh({positions, 3, triangle, 1}) && !scene.pack(vPacked), "a packed triangle");
        return std::vector<uint8_t>(vPacked.begin(), vPacked.begin() + HEAD);
    }();
    std::vector<uint8_t> vInput = vHead, vAgain;
    vInput.insert(vInput.end(), pBytes, pBytes + uBytes);
    raytracer::Scene scene, second;
    if (scene.loadPacked(vInput.data(), vInput.size())) return 0;
    require(!scene.pack(vAgain), "a scene that was read is packed");
    require(!second.loadPacked(vAgain.data(), vAgain.size()), "and read again");
    if (scene.prepare(raytracer::Use::PICTURES)) return 0;
    raytracer::View view = raytracer::viewOf(scene);
    view.uWidth = 9;
    view.uHeight = 7;
    uint8_t pixels[9 * 7 * 3];
    raytracer::Studio studio;
    studio.uGround = raytracer::groundOf(scene);
    require(!raytracer::renderStudio(scene, view, studio, 1, pixels, 9 * 3), "a picture in a studio");
    require(!raytracer::render(scene, view, {}, 1, pixels, 9 * 3), "a picture with lamps");
    return 0;
}
