// The way from the command line's wishes to pictures on disk.
#include "rt-render/RenderJob.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "base/OutputFile.h"
#include "picture/PictureFile.h"
#include "rt-render/Leftovers.h"
#include "rt-render/SceneChecks.h"
#include "rt-render/keys/SceneKeys.h"
#include "rt-render/output/LayerFiles.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/StopSignals.h"
#include "shared/parts/ContentHash.h"

namespace rt {

namespace fs = std::filesystem;

namespace {

constexpr unsigned LARGEST_TILE = 4096;  // edge in samples
constexpr unsigned SMALLEST_STUDIO_TILE = 96;

// Seconds since the last call.
class StopWatch {
 public:
    double lap() {
        const Clock::time_point tBefore = tStart;
        tStart = Clock::now();
        return std::chrono::duration<double>(tStart - tBefore).count();
    }

 private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point tStart = Clock::now();
};

// Bytes that could be had without driving anything else out, 0 when the system does not say.
uint64_t freeMemory() {
    std::ifstream file("/proc/meminfo");
    for (std::string sLine; std::getline(file, sLine);) {
        unsigned long long uKilobytes = 0;
        if (sscanf(sLine.c_str(), "MemAvailable: %llu kB", &uKilobytes) == 1) return uint64_t{uKilobytes} << 10;
    }
    return 0;
}

// Bounds of the faces without those of one material, in the scene's own units.
Velk::BoxAABB boundsOf(const Scene& scene, uint32_t uWithout) {
    Velk::BoxAABB box{{HUGE_VALF, HUGE_VALF, HUGE_VALF}, {-HUGE_VALF, -HUGE_VALF, -HUGE_VALF}};
    for (uint32_t u = 0; u < scene.vFaces.uCount; ++u) {
        const FaceData& face = scene.vFaces[u];
        if (face.uAttribute == uWithout && uWithout != NO_INDEX) continue;
        box.v3Min = minimum(box.v3Min, face.v3Min);
        box.v3Max = maximum(box.v3Max, face.v3Max);
    }
    return {box.v3Min / scene.fDomainFactor, box.v3Max / scene.fDomainFactor};
}

// The program's status when nothing of a picture is kept. iSignal: what stopped it, 0 for a failure.
int reportStop(int iSignal) {
    Console::error("rt-render: %s", iSignal ? "interrupted" : "given up");
    return iSignal ? STATUS_SIGNAL + iSignal : STATUS_FAILED;
}

// Always true.
bool reportOnePoint() {
    Console::error("rt-render: the camera stands where it looks: --from and --at are one point");
    return true;
}

}  // namespace

// Small enough for a worker's memory at any number of samples.
RenderJob::RenderJob(const RenderOptions& wanted, const SkyPicture& skyPicture, FILE* pOutput, RenderPage& renderPage)
    : options(wanted),
      sky(skyPicture),
      uSamples(std::max(1u, wanted.uSamples)),
      uTileEdge(wanted.parameters.uPackSize),
      sink(options, pOutput),
      pReports(options.bJson ? pOutput : nullptr),
      page(renderPage) {}

int RenderJob::run() {
    Leftovers::removeOnSignals();
    StopWatch watch;
    if (checkView() || reference.load(options.sReference) || shots.plan(options)) return STATUS_FAILED;
    if (!options.sScheduler.empty() && options.layers.bPicture) {
        pRemote = std::make_unique<RemoteCrew>();
        if (pRemote->start(options.sScheduler, options.bVerbose)) return STATUS_FAILED;
    }
    if (source.find(options)) return STATUS_FAILED;
    times.dReading = watch.lap();
    // In a studio small tiles would see many of each other's pixels. No picture depends on the tiles.
    if (isStudio()) uTileEdge = std::max(uTileEdge, SMALLEST_STUDIO_TILE);
    uTileEdge = std::min(uTileEdge, std::max(1u, LARGEST_TILE / uSamples));
    if (checkPicture() || prepare()) return STATUS_FAILED;
    StopSignals::keep();
    return renderAll();
}

int RenderJob::renderAll() {
    RenderCrew crew(rayTracer, rayTracer.parameters, studioSettings(), options.uJobs, uSamples);
    pCache->finish(rayTracer);
    if (pRemote && pRemote->connect()) return StopSignals::which() ? reportStop(StopSignals::which()) : STATUS_FAILED;
    if (sink.prepare(shots, channels(), freeMemory())) return STATUS_FAILED;
    if (options.layers.has(LayerWishes::MESH) && writeParts(options.sPicture, rayTracer, source.name()))
        return STATUS_FAILED;
    for (size_t u = firstShot(); u < shots.count(); ++u) {
        const int iStatus = renderShot(crew, u);
        if (iStatus != STATUS_DONE) return iStatus;
    }
    return sink.finish() ? STATUS_FAILED : STATUS_DONE;
}

bool RenderJob::isStudio() const {
    const bool bBricks = options.parameters.uTexturedAttribute != NO_INDEX;  // which a studio does not know
    return options.bStudio.value_or(source.isModel() && !bBricks);
}

// Nothing where lamps shine.
std::optional<StudioSettings> RenderJob::studioSettings() const {
    if (!isStudio()) return std::nullopt;
    StudioSettings studio = options.studio;
    studio.bSmoothEdges = !options.uSamples;
    studio.uGround = source.ground();
    return studio;
}

unsigned RenderJob::channels() const {
    return isStudio() && options.studio.bTransparent ? 4 : 3;
}

// How many pixels before its middle a pixel's rays have their mean: TileRenderer samples corners.
double RenderJob::pixelShift() const {
    return isStudio() ? 0.0 : 0.5 / uSamples;
}

// True when the view is none whatever the scene is, which is reported.
bool RenderJob::checkView() const {
    const View& view = options.view;
    return view.v3From && view.v3At && !(length(*view.v3At - *view.v3From) > 0.0f) && reportOnePoint();
}

// True when the pictures could not be written, which is reported.
bool RenderJob::checkPicture() const {
    const std::string& sCameras = options.cameras.sWriteCameras;
    if (options.eOutput == RenderOptions::FILM && FilmPipe::isMissing()) return true;
    const std::string& sFirst = sink.keepsParts() ? shots.picture(0) : options.sPicture;
    if (options.eOutput != RenderOptions::STANDARD_OUTPUT && checkFile(sFirst)) return true;
    if (!sCameras.empty() && checkFile(sCameras)) return true;
    if (options.layers.uKinds && checkFile(LayerFiles::nameOf(options.layers, shots.picture(0), "mask"))) return true;
    bool bRefused = false;
    for (size_t u = 0; options.bResume && !bRefused && u < shots.count(); ++u) {
        bRefused = PartFile(shots.picture(u)).isRefused();
    }
    return bRefused;
}

bool RenderJob::checkFile(const std::string& sFile) const {
    std::error_code error;
    errno = 0;
    if (!fs::is_fifo(sFile, error) && !Velk::OutputFile::probe(sFile.c_str())) return false;
    Console::error("%s: cannot be written: %s", sFile.c_str(), errno ? strerror(errno) : "it is a pipe");
    return true;
}

// Reads the scene and makes everything ready that all pictures share. True on failure, which is reported.
bool RenderJob::prepare() {
    StopWatch watch;
    const unsigned uErrors = Console::errorCount();
    Console::status("%s: reading", source.name().c_str());
    rayTracer.parameters = options.parameters;
    rayTracer.parameters.uTexturedAttribute = NO_INDEX;  // a number that is too high is warned of below
    rayTracer.queries.uThreads = options.uJobs;
    const bool bUnread = source.load(rayTracer);
    if (bUnread) return true;
    rayTracer.parameters.uTexturedAttribute = options.parameters.uTexturedAttribute;
    if (checkSize(rayTracer.frame())) return true;
    if (!source.isModel() && options.view.apply(rayTracer)) return reportOnePoint();  // the importer applies a model's
    const bool bAsked = source.isModel() || options.view.isSet() || options.parameters.bCustomCamera;
    if (bAsked && looksNowhere(rayTracer.camera)) {
        Console::error("rt-render: there is no such view: the camera stands where it looks, or too far away");
        return true;
    }
    if (options.cameras.sCameras.empty() && !options.cameras.intrinsics) warnAboutStretching(rayTracer);
    times.dReading += watch.lap();
    Console::detail("reading: %.2f s", times.dReading);

    rayTracer.queries.eKind = options.rays.value_or(source.isModel() ? RayKind::WATERTIGHT : RayKind::TREE);
    const bool bTree = rayTracer.queries.eKind == RayKind::TREE;
    if (pRemote) {
        rayTracer.sky = sky;
        pRemote->begin(rayTracer, studioSettings(), options.uSamples);
    }
    Console::status("%s: building the %s", source.name().c_str(), bTree ? "tree" : "boxes");
    const std::string sGeometryKey = geometryKey(rayTracer.scene);
    pCache = std::make_unique<TreeCache>(bTree ? uint64_t{options.uCacheLimit} << 20 : 0);
    pCache->prepare(rayTracer, sGeometryKey);
    if (rayTracer.preprocessScene()) {
        if (Console::errorCount() == uErrors) Console::error("%s: not enough memory", source.name().c_str());
        return true;
    }
    sSceneKey = sceneKey(rayTracer, sGeometryKey);
    if (!options.sSky.empty()) sSkyKey = hashOfFile(options.sSky);
    if (shots.aim(rayTracer, options, source.isModel(), source.ground(), pixelShift())) return true;
    for (size_t u = 0; u < shots.count(); ++u) {
        if (checkSize(shots.frame(u))) return true;
    }
    warnAboutScene(rayTracer, shots.frame(0), source.isModel() ? options.sScene : "");
    Console::clearStatus();
    times.dPreparing = watch.lap();
    Console::detail("%s: %.2f s", bTree ? "tree" : "boxes", times.dPreparing);
    return false;
}

// True when the picture cannot be held, which is reported.
bool RenderJob::checkSize(const Frame& frame) const {
    const uint32_t uWidth = frame.uWidth, uHeight = frame.uHeight;
    const PictureFormat* pFormat = pictureFormat(options.sPicture);  // null for layers alone
    const uint64_t uSide = std::max(uWidth, uHeight), uPixels = uint64_t{uWidth} * uHeight;
    if (!uPixels) {
        Console::error("%s: a picture of %u x %u pixels", rayTracer.sceneDesc.szCameraFile, uWidth, uHeight);
        return true;
    }
    if (pFormat && !pFormat->holds(uWidth, uHeight)) {
        Console::error("rt-render: %u x %u pixels are too many for a %s file", uWidth, uHeight, pFormat->szSuffix);
        return true;
    }
    if (uSide * uSamples > INT32_MAX) {
        Console::error("rt-render: %u x %u pixels are too many for --samples %u", uWidth, uHeight, uSamples);
        return true;
    }
    const uint64_t uLayers = options.layers.uKinds ? LayerFiles::bytesFor(options.layers) * uPixels : 0;
    const uint64_t uNeeded = TilePool::bytesFor({uWidth, uHeight, uTileEdge}, channels()) + uLayers,
                   uFree = freeMemory();
    if (uNeeded > SIZE_MAX / 2 || (uFree && uNeeded > uFree)) {
        Console::error("rt-render: %u x %u pixels need %llu MB of memory, %llu MB are free", uWidth, uHeight,
                       static_cast<unsigned long long>(uNeeded >> 20), static_cast<unsigned long long>(uFree >> 20));
        return true;
    }
    return false;
}

// Everything that decides about a picture's bytes.
std::string RenderJob::settingsKey(size_t uShot) const {
    const Frame& frame = shots.frame(uShot);
    ContentHash hash;
    hash.add(sSceneKey);
    hash.addValue(static_cast<uint32_t>(rayTracer.queries.eKind));
    hash.add(options.sBackground);
    hash.add(sSkyKey);
    hash.addValue(options.fSkyTurn);
    for (const Velk::NMVector3f& v : {frame.v3Eye, frame.v3ImageOrigin, frame.v3ImageSpanX, frame.v3ImageSpanY}) {
        hash.add(&v, sizeof(v));
    }
    for (const uint32_t u : {frame.uWidth, frame.uHeight, uint32_t{frame.bParallel}, uint32_t{options.uSamples},
                             uint32_t{isStudio()}, uTileEdge}) {
        hash.addValue(u);
    }
    return hash.text();
}

// The picture to go on with: the one that was interrupted, if those before it are there.
size_t RenderJob::firstShot() const {
    if (!options.bResume || shots.count() == 1) return 0;
    for (size_t u = 0; u < shots.count(); ++u) {
        if (PartFile(shots.picture(u)).isOf(settingsKey(u))) return u;
        if (!fs::exists(shots.picture(u))) break;
    }
    return 0;
}

// Finds and writes what pixels show. True on failure, which is reported, or when a signal came.
bool RenderJob::traceLayers(const RenderCrew& crew, size_t uShot) {
    const Frame& frame = shots.frame(uShot);
    const uint32_t uUnseen = isStudio() ? source.ground() : NO_INDEX;
    LayerTracer tracer(rayTracer, crew.surfaceTextures(), uUnseen, frame, 0.5f - static_cast<float>(pixelShift()));
    LayerFiles files;
    const bool bFailed = files.create(options.layers, frame.uWidth, frame.uHeight) ||
                         tracer.trace(files.targets(), {0, 0, frame.uWidth, frame.uHeight}, options.uJobs,
                                      [] { return StopSignals::which() != 0; });
    if (!bFailed) {
        uCovered = tracer.countCovered();
        return options.layers.uKinds && files.write(shots.picture(uShot));
    }
    if (StopSignals::which()) return true;
    Console::error("rt-render: no memory for layers of %u x %u pixels", frame.uWidth, frame.uHeight);
    return true;
}

int RenderJob::renderShot(RenderCrew& crew, size_t uShot) {
    StopWatch watch;
    if ((options.layers.uKinds || pReports) && traceLayers(crew, uShot)) {
        return StopSignals::which() ? reportStop(StopSignals::which()) : STATUS_FAILED;
    }
    const Frame& frame = shots.frame(uShot);
    const std::string &sFile = shots.picture(uShot), sKey = settingsKey(uShot);
    times.dRendering = watch.lap();
    if (!options.layers.bPicture) {
        report(uShot, !uCovered);
        return STATUS_DONE;
    }
    if (pool.create(frame.uWidth, frame.uHeight, uTileEdge, channels())) {
        Console::error("rt-render: no memory for %u x %u pixels", frame.uWidth, frame.uHeight);
        return STATUS_FAILED;
    }
    const PartFile part(sFile);
    if (options.bResume) takeUp(part, sKey);
    const std::string sPlace = std::to_string(uShot + 1) + " of " + std::to_string(shots.count()) + ": ";
    const std::string sShown = (shots.count() > 1 ? sPlace : "") + sFile;
    watch.lap();
    const RenderPage::Shown shown(page, pool, options.sScene, sFile, uShot + 1, shots.count());
    const auto look = [this] { page.look(); };
    const bool bUndone = pRemote ? pRemote->render(shots, uShot, uTileEdge, pool, sShown.c_str(), look)
                                 : crew.render(frame, pool, sShown.c_str(), look) != RenderCrew::Result::DONE;
    if (bUndone) return keepPart(part, sKey, StopSignals::which());
    times.dRendering += watch.lap();
    if (finishShot(uShot)) return STATUS_FAILED;
    if (sink.keepsParts()) part.remove();
    const PixelView picture{pool.pixels(), frame.uWidth, frame.uHeight, channels()};
    return reference.differs(picture, sFile, options.uTolerance) ? STATUS_DIFFERS : STATUS_DONE;
}

// Fills the pool with what an earlier run has left.
void RenderJob::takeUp(const PartFile& part, const std::string& sKey) {
    switch (part.load(pool, sKey)) {
        case PartFile::Found::SAME:
            Console::note("%s: goes on at %u of %u tiles", part.picture().c_str(), pool.countDone(), pool.tileCount());
            break;
        case PartFile::Found::OTHER:
            Console::warning("%s is of another scene or other settings, or damaged; starting anew",
                             part.picture().c_str());
            break;
        case PartFile::Found::NOTHING:
            break;
    }
}

// Hands the picture on. True on failure, which is reported.
bool RenderJob::finishShot(size_t uShot) {
    const Frame& frame = shots.frame(uShot);
    const std::string& sFile = shots.picture(uShot);
    const bool bBlank = warnAboutPicture(rayTracer, frame, pool, isStudio(), sFile);
    StopWatch watch;
    if (sink.take(uShot, sFile, {pool.pixels(), frame.uWidth, frame.uHeight, channels()})) return true;
    times.dWriting = watch.lap();
    Console::detail("rendering: %.2f s", times.dRendering);
    Console::detail("writing: %.2f s", times.dWriting);
    Console::note("%s: %u x %u pixels, rendered in %.2f s", sFile.c_str(), frame.uWidth, frame.uHeight,
                  times.dRendering);
    report(uShot, bBlank);
    return false;
}

// Tells a program of a picture, if one wants to know.
void RenderJob::report(size_t uShot, bool bBlank) const {
    if (!pReports) return;
    const Frame& frame = shots.frame(uShot);
    const double dPixels = double{1} * frame.uWidth * frame.uHeight;
    PictureReport line;
    line.sScene = options.sScene;
    line.sPicture = sink.keepsParts() ? shots.picture(uShot) : options.sPicture;  // the sheet, the film
    line.uWidth = frame.uWidth;
    line.uHeight = frame.uHeight;
    line.uFaces = rayTracer.scene.vFaces.uCount;
    line.box = boundsOf(rayTracer.scene, source.ground());
    line.dCovered = static_cast<double>(uCovered) / dPixels;
    line.bBlank = bBlank;
    line.times = times;
    writeReport(pReports, line, Console::takeWarnings());
}

// Keeps what is done of a picture that was stopped by a signal, or failed when there was none.
int RenderJob::keepPart(const PartFile& part, const std::string& sKey, int iSignal) {
    if (!sink.keepsParts()) return reportStop(iSignal);
    StopSignals::endProcess(Leftovers::remove);  // a second one, while the part is written
    const bool bLost = part.save(pool, sKey);
    if (!bLost) {
        Console::error("rt-render: %s; %u of %u tiles are in %s, --resume goes on from there",
                       iSignal ? "interrupted" : "given up", pool.countDone(), pool.tileCount(),
                       part.picture().c_str());
    }
    return iSignal ? STATUS_SIGNAL + iSignal : STATUS_FAILED;
}

}  // namespace rt
