// The way from the command line's wishes to pictures on disk.
#include "rt-render/RenderJob.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "base/OutputFile.h"
#include "picture/PictureFile.h"
#include "rt-render/Leftovers.h"
#include "rt-render/SceneChecks.h"
#include "rt-render/keys/SceneKeys.h"
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

// Always true.
bool reportOnePoint() {
    Console::error("rt-render: the camera stands where it looks: --from and --at are one point");
    return true;
}

}  // namespace

// Small enough for a worker's memory at any number of samples.
RenderJob::RenderJob(const RenderOptions& wanted)
    : options(wanted), uSamples(std::max(1u, wanted.uSamples)), uTileEdge(wanted.parameters.uPackSize) {}

int RenderJob::run() {
    Leftovers::removeOnSignals();
    if (checkView() || source.find(options)) return STATUS_FAILED;
    // In a studio small tiles would see many of each other's pixels. No picture depends on the tiles.
    if (isStudio()) uTileEdge = std::max(uTileEdge, SMALLEST_STUDIO_TILE);
    uTileEdge = std::min(uTileEdge, std::max(1u, LARGEST_TILE / uSamples));
    if (checkPicture() || prepare()) return STATUS_FAILED;
    const unsigned uFrames = std::max(1u, options.uOrbit);
    const Orbit orbit(rayTracer.scene, rayTracer.frame());
    std::optional<StudioSettings> studio;
    if (isStudio()) {
        studio = options.studio;
        studio->bSmoothEdges = !options.uSamples;
        if (source.hasGround()) studio->uGround = rayTracer.attributes.vAttributes.uSize - 1;
    }
    RenderCrew crew(rayTracer, rayTracer.parameters, studio, options.uJobs, uSamples);
    StopSignals::keep();
    pCache->finish(rayTracer);
    for (unsigned uFrame = firstFrame(); uFrame < uFrames; ++uFrame) {
        const int iStatus = renderFrame(crew, orbit.look(uFrame, uFrames), uFrame);
        if (iStatus != STATUS_DONE) return iStatus;
    }
    StopSignals::ignore();  // one that came while the last picture was written changes nothing any more
    return STATUS_DONE;
}

bool RenderJob::isStudio() const {
    const bool bBricks = options.parameters.uTexturedAttribute != NO_INDEX;  // which a studio does not know
    return options.bStudio.value_or(source.isModel() && !bBricks);
}

unsigned RenderJob::channels() const {
    return isStudio() && options.studio.bTransparent ? 4 : 3;
}

// True when the view is none whatever the scene is, which is reported.
bool RenderJob::checkView() const {
    const View& view = options.view;
    return view.v3From && view.v3At && !(length(*view.v3At - *view.v3From) > 0.0f) && reportOnePoint();
}

// True when the pictures could not be written, which is reported.
bool RenderJob::checkPicture() const {
    const std::string sFirst = pictureName(0);
    std::error_code error;
    errno = 0;
    if (fs::is_fifo(sFirst, error) || Velk::OutputFile::probe(sFirst.c_str())) {
        Console::error("%s: cannot be written: %s", sFirst.c_str(), errno ? strerror(errno) : "it is a pipe");
        return true;
    }
    bool bRefused = false;
    for (unsigned u = 0; options.bResume && !bRefused && u < std::max(1u, options.uOrbit); ++u) {
        bRefused = PartFile(pictureName(u)).isRefused();
    }
    return bRefused;
}

std::string RenderJob::pictureName(unsigned uFrame) const {
    if (!options.uOrbit) return options.sPicture;
    char szNumber[16];
    snprintf(szNumber, sizeof(szNumber), "-%04u", uFrame + 1);
    return stemOf(options.sPicture) + szNumber + suffixOf(options.sPicture);
}

// Reads the scene and makes everything ready that all pictures share. True on failure, which is reported.
bool RenderJob::prepare() {
    StopWatch watch;
    Console::status("%s: reading", source.name().c_str());
    rayTracer.parameters = options.parameters;
    rayTracer.parameters.uTexturedAttribute = NO_INDEX;  // a number that is too high is warned of below
    rayTracer.queries.uThreads = options.uJobs;
    const bool bUnread = source.load(rayTracer);
    if (bUnread) return true;
    rayTracer.parameters.uTexturedAttribute = options.parameters.uTexturedAttribute;
    uWidth = rayTracer.parameters.uWidth;
    uHeight = rayTracer.parameters.uHeight;
    if (checkSize()) return true;
    if (!source.isModel() && options.view.apply(rayTracer)) return reportOnePoint();  // the importer applies a model's
    const bool bAsked = source.isModel() || options.view.isSet() || options.parameters.bCustomCamera;
    if (bAsked && looksNowhere(rayTracer.camera)) {
        Console::error("rt-render: there is no such view: the camera stands where it looks, or too far away");
        return true;
    }
    warnAboutStretching(rayTracer);
    Console::detail("reading: %.2f s", watch.lap());

    rayTracer.queries.eKind = options.rays.value_or(source.isModel() ? RayKind::WATERTIGHT : RayKind::TREE);
    const bool bTree = rayTracer.queries.eKind == RayKind::TREE;
    Console::status("%s: building the %s", source.name().c_str(), bTree ? "tree" : "boxes");
    const std::string sGeometryKey = geometryKey(rayTracer.scene);
    pCache = std::make_unique<TreeCache>(bTree ? uint64_t{options.uCacheLimit} << 20 : 0);
    pCache->prepare(rayTracer, sGeometryKey);
    if (rayTracer.preprocessScene()) {
        if (!Console::errorCount()) Console::error("%s: not enough memory", source.name().c_str());
        return true;
    }
    sSceneKey = sceneKey(rayTracer, sGeometryKey);
    warnAboutScene(rayTracer, source.isModel() ? options.sScene : "");
    Console::clearStatus();
    Console::detail("%s: %.2f s", bTree ? "tree" : "boxes", watch.lap());
    return false;
}

// True when the picture cannot be held, which is reported.
bool RenderJob::checkSize() const {
    const PictureFormat& format = *pictureFormat(options.sPicture);
    const uint64_t uSide = std::max(uWidth, uHeight), uPixels = uint64_t{uWidth} * uHeight;
    if (!uPixels) {
        Console::error("%s: a picture of %u x %u pixels", rayTracer.sceneDesc.szCameraFile, uWidth, uHeight);
        return true;
    }
    if (!format.holds(uWidth, uHeight)) {
        Console::error("rt-render: %u x %u pixels are too many for a %s file", uWidth, uHeight, format.szSuffix);
        return true;
    }
    if (uSide * uSamples > INT32_MAX) {
        Console::error("rt-render: %u x %u pixels are too many for --samples %u", uWidth, uHeight, uSamples);
        return true;
    }
    const uint64_t uNeeded = TilePool::bytesFor({uWidth, uHeight, uTileEdge}, channels()), uFree = freeMemory();
    if (uNeeded > SIZE_MAX / 2 || (uFree && uNeeded > uFree)) {
        Console::error("rt-render: %u x %u pixels need %llu MB of memory, %llu MB are free", uWidth, uHeight,
                       static_cast<unsigned long long>(uNeeded >> 20), static_cast<unsigned long long>(uFree >> 20));
        return true;
    }
    return false;
}

// Everything that decides about a picture's bytes.
std::string RenderJob::settingsKey(unsigned uFrame) const {
    ContentHash hash;
    hash.add(sSceneKey);
    hash.addValue(static_cast<uint32_t>(rayTracer.queries.eKind));
    hash.add(options.sBackground);
    for (const uint32_t u : {uWidth, uHeight, uint32_t{options.uSamples}, uint32_t{isStudio()}, uTileEdge,
                             uint32_t{options.uOrbit}, uint32_t{uFrame}}) {
        hash.addValue(u);
    }
    return hash.text();
}

// The frame to go on with: the one that was interrupted, if those before it are there.
unsigned RenderJob::firstFrame() const {
    if (!options.bResume || !options.uOrbit) return 0;
    for (unsigned u = 0; u < options.uOrbit; ++u) {
        if (PartFile(pictureName(u)).isOf(settingsKey(u))) return u;
        if (!fs::exists(pictureName(u))) break;
    }
    return 0;
}

int RenderJob::renderFrame(RenderCrew& crew, const Frame& frame, unsigned uFrame) {
    const std::string sFile = pictureName(uFrame), sKey = settingsKey(uFrame);
    if (pool.create(uWidth, uHeight, uTileEdge, channels())) {
        Console::error("rt-render: no memory for %u x %u pixels", uWidth, uHeight);
        return STATUS_FAILED;
    }
    const PartFile part(sFile);
    if (options.bResume) {
        switch (part.load(pool, sKey)) {
            case PartFile::Found::SAME:
                Console::note("%s: goes on at %u of %u tiles", sFile.c_str(), pool.countDone(), pool.tileCount());
                break;
            case PartFile::Found::OTHER:
                Console::warning("%s is of another scene or other settings, or damaged; starting anew",
                                 part.picture().c_str());
                break;
            case PartFile::Found::NOTHING:
                break;
        }
    }
    StopWatch watch;
    const RenderCrew::Result result = crew.render(frame, pool, sFile.c_str());
    if (result != RenderCrew::Result::DONE) return keepPart(part, sKey, StopSignals::which());
    const double dSeconds = watch.lap();
    warnAboutPicture(rayTracer, pool, isStudio(), sFile);
    if (writePicture(sFile, {pool.pixels(), uWidth, uHeight, channels()})) return STATUS_FAILED;
    part.remove();
    Console::detail("writing: %.2f s", watch.lap());
    Console::note("%s: %u x %u pixels, rendered in %.2f s", sFile.c_str(), uWidth, uHeight, dSeconds);
    return STATUS_DONE;
}

// Keeps what is done of a picture that was stopped by a signal, or failed when there was none.
int RenderJob::keepPart(const PartFile& part, const std::string& sKey, int iSignal) {
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
