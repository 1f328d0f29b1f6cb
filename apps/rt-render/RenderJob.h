#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "render/RayTracer.h"
#include "render/TilePool.h"
#include "rt-render/RenderCrew.h"
#include "rt-render/SceneSource.h"
#include "rt-render/TreeCache.h"
#include "rt-render/options/RenderOptions.h"
#include "rt-render/options/View.h"
#include "shared/parts/PartFile.h"

namespace rt {

/// One run of rt-render: a scene is read and prepared once, then one picture or an orbit of pictures is made of it.
class RenderJob {
 public:
    explicit RenderJob(const RenderOptions& wanted);

    /// Exit status of the program.
    int run();

 private:
    bool isStudio() const;
    unsigned channels() const;
    bool checkView() const;
    bool checkPicture() const;
    bool prepare();
    bool checkSize() const;
    std::string pictureName(unsigned uFrame) const;
    unsigned firstFrame() const;
    std::string settingsKey(unsigned uFrame) const;
    int renderFrame(RenderCrew& crew, const Frame& frame, unsigned uFrame);
    int keepPart(const PartFile& part, const std::string& sKey, int iSignal);

    const RenderOptions options;
    const unsigned uSamples;  // rays along each side of a pixel
    uint32_t uTileEdge;
    RayTracer rayTracer;
    SceneSource source;
    TilePool pool;
    uint32_t uWidth = 0, uHeight = 0;
    std::string sSceneKey;
    std::unique_ptr<TreeCache> pCache;  // writes the tree while pictures are made
};

}  // namespace rt
