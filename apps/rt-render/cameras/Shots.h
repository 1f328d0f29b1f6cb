#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "render/RayTracer.h"
#include "rt-render/cameras/CameraFile.h"
#include "rt-render/options/RenderOptions.h"

namespace rt {

/// The pictures of a run: what they are called, known before the scene is, and what they see.
class Shots {
 public:
    /// Reads the file of cameras, if there is one, and names the pictures. True on failure, which is reported.
    [[nodiscard]] bool plan(const RenderOptions& options);

    size_t count() const { return vPictures.size(); }
    const std::string& picture(size_t u) const { return vPictures[u]; }

    /// Places all cameras in a prepared scene. bModel: its own view was made to fit. uGround: a material that need not
    /// be seen whole. True when there is no such view, or the cameras cannot be written, which is reported.
    [[nodiscard]] bool aim(const RayTracer& rayTracer, const RenderOptions& options, bool bModel, uint32_t uGround,
                           double dPixelShift);

    /// Requires aim().
    const Frame& frame(size_t u) const { return vFrames[u]; }

 private:
    void addNumbered(const RenderOptions& options, uint32_t uCount);
    void aimAt(const RayTracer& rayTracer, const RenderOptions& options, const Frame& first, uint32_t uGround);
    void aimAsFile(const RayTracer& rayTracer, const RenderOptions& options, bool bMirrored, double dPixelShift);

    std::vector<std::string> vPictures;
    std::vector<FileCamera> vCameras;
    std::vector<Frame> vFrames;
};

}  // namespace rt
