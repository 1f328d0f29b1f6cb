#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "render/RayTracer.h"
#include "render/TilePool.h"
#include "rt-render/RenderCrew.h"
#include "rt-render/RenderPage.h"
#include "rt-render/SceneSource.h"
#include "rt-render/TreeCache.h"
#include "rt-render/cameras/Shots.h"
#include "rt-render/options/RenderOptions.h"
#include "rt-render/output/PictureReport.h"
#include "rt-render/output/PictureSink.h"
#include "rt-render/output/Reference.h"
#include "rt-render/remote/RemoteCrew.h"
#include "shared/parts/PartFile.h"

namespace rt {

/// One run of rt-render: a scene is read and prepared once, then one picture or several are made of it.
class RenderJob {
 public:
    /// pOutput: standard output, for those who asked for something there.
    RenderJob(const RenderOptions& wanted, const SkyPicture& skyPicture, FILE* pOutput, RenderPage& renderPage);

    /// Exit status of the program.
    int run();

 private:
    bool isStudio() const;
    std::optional<StudioSettings> studioSettings() const;
    unsigned channels() const;
    double pixelShift() const;
    bool checkView() const;
    bool checkPicture() const;
    bool checkFile(const std::string& sFile) const;
    bool prepare();
    bool checkSize(const Frame& frame) const;
    std::string settingsKey(size_t uShot) const;
    size_t firstShot() const;
    int renderAll();
    int renderShot(RenderCrew& crew, size_t uShot);
    bool traceLayers(const RenderCrew& crew, size_t uShot);
    void takeUp(const PartFile& part, const std::string& sKey);
    bool finishShot(size_t uShot);
    void report(size_t uShot, bool bBlank) const;
    int keepPart(const PartFile& part, const std::string& sKey, int iSignal);

    const RenderOptions options;
    const SkyPicture& sky;    // of which the options have a map
    const unsigned uSamples;  // rays along each side of a pixel
    uint32_t uTileEdge;
    RayTracer rayTracer;
    SceneSource source;
    Shots shots;
    PictureSink sink;
    FILE* const pReports;
    RenderPage& page;
    RunTimes times;
    uint64_t uCovered = 0;  // pixels of the last picture
    Reference reference;
    TilePool pool;
    std::string sSceneKey;
    std::string sSkyKey;                  // empty without a sky
    std::unique_ptr<TreeCache> pCache;    // writes the tree while pictures are made
    std::unique_ptr<RemoteCrew> pRemote;  // other machines; null: this one renders
};

}  // namespace rt
