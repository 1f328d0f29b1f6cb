// The messages between rt-render and the program that talks with Dask.
#include "rt-render/remote/RemoteCrew.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "base/Version.h"
#include "render/StagedScene.h"
#include "shared/Console.h"
#include "shared/ProgressLine.h"
#include "shared/StopSignals.h"

namespace rt {

namespace {

constexpr int REFRESH_MILLISECONDS = 200;            // of the progress line
constexpr uint64_t BYTES_AHEAD = uint64_t{1} << 28;  // of pictures that are begun before their turn
constexpr uint64_t LEAST_AHEAD = 2, MOST_AHEAD = 256;

// What all pictures have in common. Both records are those of python/raytracer/_on.py.
struct StartRecord {
    char szVersion[16];
    uint32_t uWatertight, uStudio, uTransparent, uSamples, uGround, uSkyBehind;
    float fTop[3], fBottom[3];
    uint32_t uMaterial;
    float fBrick[4];
    uint32_t uDirt;
};
static_assert(sizeof(StartRecord) == 16 + 17 * 4 + 4, "without gaps");

struct ShotRecord {
    uint32_t uNumber, uWidth, uHeight, uParallel, uEdge;
    float fView[4][3];  // eye, first pixel, across, down, as a Frame has them
};
static_assert(sizeof(ShotRecord) == 5 * 4 + 12 * 4, "without gaps");

struct TileRecord {
    uint32_t uShot, uTile;
};

void put(const Velk::NMVector3f& v3, float (&f)[3]) {
    for (unsigned a = 0; a < 3; ++a) f[a] = v3[a];
}

TileRecord headOf(const std::vector<uint8_t>& message) {
    TileRecord record{};
    if (message.size() >= sizeof(record)) memcpy(&record, message.data(), sizeof(record));
    return record;
}

}  // namespace

bool RemoteCrew::start(const std::string& sScheduler, bool bVerbose) {
    sAddress = sScheduler;
    return helper.start("raytracer._on", sAddress, bVerbose);
}

void RemoteCrew::begin(const RayTracer& rayTracer, const std::optional<StudioSettings>& studio,
                       unsigned uSamplesGiven) {
    uRays = std::max(1u, uSamplesGiven);
    const StudioSettings settings = studio.value_or(StudioSettings());
    // A helper that has ended meanwhile has said why, which is heard later.
    static_cast<void>(sendStart(rayTracer, settings, studio.has_value(), uSamplesGiven) ||
                      sendScene(rayTracer, settings.uGround));
}

bool RemoteCrew::sendStart(const RayTracer& rayTracer, const StudioSettings& settings, bool bStudio,
                           unsigned uSamples) {
    const RaytracerParameters& parameters = rayTracer.parameters;
    StartRecord record{};
    memcpy(record.szVersion, Velk::VERSION, sizeof(Velk::VERSION));
    record.uWatertight = rayTracer.queries.eKind == RayKind::WATERTIGHT;
    record.uStudio = bStudio;
    record.uTransparent = settings.bTransparent;
    record.uSamples = uSamples;
    record.uGround = settings.uGround;
    record.uSkyBehind = settings.bSkyBehind;
    put(settings.v3Top, record.fTop);
    put(settings.v3Bottom, record.fBottom);
    record.uMaterial = parameters.uTexturedAttribute;
    const float fBrick[] = {parameters.fBrickWidth, parameters.fBrickHeight, parameters.fMortarWidth,
                            parameters.fAngleCoeff};
    memcpy(record.fBrick, fBrick, sizeof(fBrick));
    record.uDirt = parameters.bDirt;
    return helper.begin("strt", sizeof(record)) || helper.write(&record, sizeof(record));
}

bool RemoteCrew::sendScene(const RayTracer& rayTracer, uint32_t uGround) {
    StagedScene scene;
    scene.takeFrom(rayTracer, rayTracer.camera);
    scene.uGround = uGround;
    uint64_t uBytes = 0;
    const auto count = [&uBytes](const void*, size_t u) { return uBytes += u, false; };
    return scene.pack(count) || helper.begin("scen", uBytes) ||
           scene.pack([this](const void* p, size_t u) { return helper.write(p, u); });
}

bool RemoteCrew::connect() {
    std::string sKind;
    Message message;
    Console::status("%s: connecting", sAddress.c_str());
    do {
        if (hear(REFRESH_MILLISECONDS, sKind, message)) return true;
    } while (sKind != "redy");
    Console::clearStatus();
    bConnected = true;
    Console::detail("%s: connected", sAddress.c_str());
    return false;
}

// Takes a message, or none, whose kind is empty then. True when none comes any more, which is reported, or when a
// signal came.
bool RemoteCrew::hear(int iMilliseconds, std::string& sKind, Message& message) {
    const HelperProcess::Heard heard = helper.listen(iMilliseconds, sKind, message);
    if (StopSignals::which()) return true;
    if (heard == HelperProcess::Heard::NOTHING) return sKind.clear(), false;
    const bool bEnd = heard == HelperProcess::Heard::END;
    const std::string sText(bEnd ? message.end() : message.begin(), message.end());
    if (bEnd) {
        Console::error(bConnected ? "rt-render: --on: %s has ended"
                                  : "rt-render: --on: %s does not run the module raytracer: is Debian's "
                                    "python3-raytracer there?",
                       helper.interpreter().c_str());
    } else if (sKind == "fail") {
        Console::error("rt-render: --on: %s", sText.c_str());
    } else if (sKind == "note") {
        Console::warning("%s: %s", sAddress.c_str(), sText.c_str());
    }
    return bEnd || sKind == "fail";
}

// Tells of a shot and of those after it. True when nobody listens.
bool RemoteCrew::announce(const Shots& shots, size_t uShot, uint32_t uEdge, const TilePool& pool) {
    const uint64_t uAhead = std::clamp(BYTES_AHEAD / (pool.stride() * pool.height()), LEAST_AHEAD, MOST_AHEAD);
    const size_t uEnd = std::min<uint64_t>(shots.count(), uShot + uAhead);
    for (uAnnounced = std::max(uAnnounced, uShot); uAnnounced < uEnd; ++uAnnounced) {
        if (sendShot(shots, uAnnounced, uEdge, uAnnounced == uShot ? &pool : nullptr)) return true;
    }
    if (bLast || uAnnounced < shots.count()) return false;
    bLast = true;
    return helper.begin("last", 0);
}

// A shot with a byte for each tile: 1 for those that are wanted. Null: all are.
bool RemoteCrew::sendShot(const Shots& shots, size_t uShot, uint32_t uEdge, const TilePool* pPool) {
    const Frame& frame = shots.frame(uShot);
    ShotRecord record{static_cast<uint32_t>(uShot), frame.uWidth, frame.uHeight, frame.bParallel, uEdge, {}};
    put(frame.v3Eye, record.fView[0]);
    put(frame.v3ImageOrigin, record.fView[1]);
    put(frame.v3ImageSpanX, record.fView[2]);
    put(frame.v3ImageSpanY, record.fView[3]);
    std::vector<uint8_t> vWanted(static_cast<size_t>(frame.tiles(uEdge).count()), uint8_t{1});
    for (uint32_t u = 0; pPool && u < pPool->tileCount(); ++u) vWanted[u] = !pPool->isDone(u);
    return helper.begin("shot", sizeof(record) + vWanted.size()) || helper.write(&record, sizeof(record)) ||
           helper.write(vWanted.data(), vWanted.size());
}

// Puts the pixels of a tile into the picture. True when they are none of it.
bool RemoteCrew::store(const Message& message, TilePool& pool) {
    const uint32_t uTile = headOf(message).uTile;
    if (message.size() < sizeof(TileRecord) || uTile >= pool.tileCount()) return true;
    const Tile tile = pool.tile(uTile);
    const unsigned uChannels = pool.channels();
    if (message.size() - sizeof(TileRecord) != size_t{tile.uColumns} * tile.uRows * uChannels) return true;
    if (pool.isDone(uTile)) return false;  // from an earlier run, which was taken up after this shot was announced
    const uint8_t* pFrom = message.data() + sizeof(TileRecord);
    for (uint32_t y = 0; y < tile.uRows; ++y) {
        uint8_t* pTo = pool.pixelsOf(tile) + y * pool.stride();
        for (uint32_t x = 0; x < tile.uColumns; ++x, pFrom += uChannels, pTo += uChannels) {
            pTo[0] = pFrom[2], pTo[1] = pFrom[1], pTo[2] = pFrom[0];  // from RGB to BGR
            if (uChannels == 4) pTo[3] = pFrom[3];
        }
    }
    pool.finish(uTile);
    return false;
}

bool RemoteCrew::render(const Shots& shots, size_t uShot, uint32_t uEdge, TilePool& pool, const char* szName,
                        const std::function<void()>& pfnLook) {
    ProgressLine progress(szName, pool, uRays);
    static_cast<void>(announce(shots, uShot, uEdge, pool));  // why nobody listens is heard below
    bool bAstray = false;
    const auto waiting = vWaiting.find(uShot);
    if (waiting != vWaiting.end()) {
        for (const Message& message : waiting->second) bAstray = store(message, pool) || bAstray;
        vWaiting.erase(waiting);
    }
    std::string sKind;
    Message message;
    while (!bAstray && pool.countDone() < pool.tileCount()) {
        if (hear(REFRESH_MILLISECONDS, sKind, message)) return true;
        const size_t uOf = headOf(message).uShot;
        if (sKind == "tile" && uOf == uShot) {
            bAstray = store(message, pool);
        } else if (sKind == "tile" && uOf > uShot) {
            vWaiting[uOf].push_back(std::move(message));
        }
        progress.update();
        pfnLook();
    }
    if (bAstray) Console::error("rt-render: --on: %s went astray", helper.interpreter().c_str());
    return bAstray;
}

}  // namespace rt
