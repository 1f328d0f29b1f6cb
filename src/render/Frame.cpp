// Computes a frame from a camera.
#include "render/Frame.h"

#include "scene/Camera.h"
#include "scene/Scene.h"

namespace rt {

Frame frameOf(const Camera& camera, const Scene& scene, uint32_t uWidth, uint32_t uHeight) {
    return {camera.v3Position,
            camera.v3Screen[0],
            camera.v3Screen[1] - camera.v3Screen[0],
            camera.v3Screen[2] - camera.v3Screen[0],
            length(camera.v3Position - scene.v3Center) + scene.fDiagonal,
            uWidth,
            uHeight};
}

}  // namespace rt
