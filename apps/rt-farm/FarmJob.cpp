// The way from a scene's name to a picture that other machines render.
#include "rt-farm/FarmJob.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "base/LineReader.h"
#include "base/OutputFile.h"
#include "net/SceneFiles.h"
#include "picture/PictureFile.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/StopSignals.h"
#include "shared/StopWakeup.h"
#include "shared/parts/ContentHash.h"

namespace rt {

namespace {

constexpr uint32_t DEFAULT_PAGE = 8080;

}  // namespace

bool readRange(const std::string& sText, AddressRange& range) {
    const size_t uSlash = std::min(sText.find('/'), sText.size());
    in_addr address{};
    if (inet_pton(AF_INET, sText.substr(0, uSlash).c_str(), &address) != 1) return true;
    unsigned uBits = 32;
    if (uSlash < sText.size()) {
        const char* pEnd = sText.data() + sText.size();
        const std::from_chars_result result = std::from_chars(sText.data() + uSlash + 1, pEnd, uBits);
        if (result.ec != std::errc() || result.ptr != pEnd || uBits > 32) return true;
    }
    range.uMask = uBits ? 0xFFFFFFFFu << (32 - uBits) : 0;
    range.uFirst = ntohl(address.s_addr) & range.uMask;
    return false;
}

int FarmJob::run() {
    if (wakeup.init()) {
        Console::error("rt-farm: no pipe for signals");
        return STATUS_FAILED;
    }
    const StopWakeup signals(wakeup);
    if (readScene() || preparePicture() || listenForWorkers()) return STATUS_FAILED;
    const PartFile part(settings.sPicture);
    if (settings.bResume) {
        if (part.isRefused()) return STATUS_FAILED;
        takeUpPart(part);
    }
    RaytracerParameters& sent = rayTracer.parameters;
    Velk::copyText(sent.szOutFile, sizeof(sent.szOutFile), settings.sPicture.c_str());
    if (board.create(sent, pool.pixels(), pool.width(), pool.height(), wakeup) ||
        slots.create(listener.uMaxConnections, board, wakeup.file())) {
        return STATUS_FAILED;  // said by the library
    }
    for (uint32_t u = 0; u < pool.tileCount(); ++u) {
        if (pool.isDone(u)) board.markDone(u);
    }
    return serve(part);
}

// Only the description and the camera: the rest is for those who render.
bool FarmJob::readScene() {
    rayTracer.parameters = settings.parameters;
    if (place.find(settings.sScene)) return true;
    if (place.isModel()) {
        Console::error("%s: a farm renders scenes: rt-import makes one of a model, for this machine and the workers'",
                       settings.sScene.c_str());
        return true;
    }
    const auto read = [this](const char* szDescription) {
        if (rayTracer.load(szDescription, true)) return true;
        vSceneFiles = describeSceneFiles(szDescription, rayTracer.sceneDesc);
        return false;
    };
    if (place.visit(read)) return true;
    for (const std::string& sLine : vSceneFiles) Console::detail("Scene file %s", sLine.c_str());
    return false;
}

// True when the picture could not be held or written, which is reported.
bool FarmJob::preparePicture() {
    const RaytracerParameters& parameters = rayTracer.parameters;
    const uint32_t uWidth = parameters.uWidth, uHeight = parameters.uHeight;
    const std::string& sFile = settings.sPicture;
    if (!uWidth || !uHeight) {
        Console::error("%s: a picture of %u x %u pixels", rayTracer.sceneDesc.szCameraFile, uWidth, uHeight);
        return true;
    }
    if (!pictureFormat(sFile)->holds(uWidth, uHeight)) {
        Console::error("rt-farm: %u x %u pixels are too many for a %s file", uWidth, uHeight,
                       pictureFormat(sFile)->szSuffix);
        return true;
    }
    errno = 0;
    if (Velk::OutputFile::probe(sFile.c_str())) {
        Console::error("%s: cannot be written: %s", sFile.c_str(), errno ? strerror(errno) : "not a file");
        return true;
    }
    if (!pool.create(uWidth, uHeight, parameters.uPackSize)) return false;
    Console::error("rt-farm: no memory for %u x %u pixels", uWidth, uHeight);
    return true;
}

bool FarmJob::listenForWorkers() {
    if (readRange(settings.sAllow, listener.allowed)) {
        Console::error("rt-farm: --allow: \"%s\" is no range of addresses such as 10.1.0.0/16",
                       settings.sAllow.c_str());
        return true;
    }
    listener.bReuse = true;  // --resume soon after Ctrl-C
    errno = 0;
    if (!listener.initServer(static_cast<uint16_t>(settings.uPort), settings.uClients)) return false;
    Console::error("rt-farm: --port %u: %s", settings.uPort, errno ? strerror(errno) : "cannot be listened on");
    return true;
}

// Everything that decides about the picture's bytes.
std::string FarmJob::settingsKey() const {
    ContentHash hash;
    for (const std::string& sLine : vSceneFiles) hash.add(sLine);
    const RaytracerParameters& p = rayTracer.parameters;
    for (const float f :
         {p.fAngleCoeff, p.fBrickWidth, p.fBrickHeight, p.fMortarWidth, p.v3CameraPosition.x, p.v3CameraPosition.y,
          p.v3CameraPosition.z, p.v3CameraLook.x, p.v3CameraLook.y, p.v3CameraLook.z}) {
        hash.addValue(f);
    }
    for (const uint32_t u :
         {p.uPackSize, p.uTexturedAttribute, uint32_t{p.bDirt}, uint32_t{p.bCustomCamera}, p.uWidth, p.uHeight}) {
        hash.addValue(u);
    }
    return hash.text();
}

void FarmJob::takeUpPart(const PartFile& part) {
    const PartFile::Found found = part.load(pool, settingsKey());
    if (found == PartFile::Found::SAME) {
        Console::note("%s: goes on at %u of %u tiles", settings.sPicture.c_str(), pool.countDone(), pool.tileCount());
    } else if (found == PartFile::Found::OTHER) {
        Console::warning("%s is of another scene or other settings, or damaged; starting anew", part.picture().c_str());
    }
}

// True when the user wants a page and there is none, which is reported.
bool FarmJob::startPage() {
    const uint32_t uPage = settings.uPage.value_or(DEFAULT_PAGE);
    if (!uPage) return false;
    pPage = std::make_unique<StatusPage>(pWatch->status());
    pPage->watch(&pool);
    return pPage->start("rt-farm", uPage, settings.uPage.has_value()) && settings.uPage;
}

int FarmJob::serve(const PartFile& part) {
    AcceptLoop loop(listener, board, slots, wakeup);
    PictureStatus status;
    status.sProgram = "rt-farm";
    status.sScene = settings.sScene;
    status.sPicture = settings.sPicture;
    status.uWidth = pool.width();
    status.uHeight = pool.height();
    const std::string sPort = std::to_string(listener.uPort);
    std::error_code error;
    const std::string sDirectory = std::filesystem::canonical(place.directory(), error);  // empty: here
    const std::string sPlace = sDirectory.empty() ? "" : ", as in " + sDirectory;
    Console::note("rt-farm: %u tiles wait on port %s for rt-worker or RayTracer --client, where the same files lie%s:",
                  pool.tileCount() - pool.countDone(), sPort.c_str(), sPlace.c_str());
    for (const std::string& sLine : vSceneFiles) Console::note("    %s", sLine.c_str());
    pWatch = std::make_unique<FarmWatch>(status, "waiting for rt-worker HOST " + sPort, vSceneFiles, board, slots, loop,
                                         pool);
    const bool bPageless = startPage();
    const bool bStopped = bPageless || loop.run();
    slots.joinThreads();
    listener.release();
    pWatch->stop();
    return bPageless ? STATUS_FAILED : finish(part, bStopped);
}

// Writes the picture, or what there is of it.
int FarmJob::finish(const PartFile& part, bool bStopped) {
    const std::string& sFile = settings.sPicture;
    const bool bWritten = !bStopped && !writePicture(sFile, {pool.pixels(), pool.width(), pool.height(), 3});
    if (bWritten) {
        part.remove();
        Console::note("%s: %u x %u pixels", sFile.c_str(), pool.width(), pool.height());
        return STATUS_DONE;
    }
    StopSignals::endProcess();  // a second one, while the part is written
    board.clearUndone();
    if (!part.save(pool, settingsKey())) {
        Console::error("rt-farm: %s; %u of %u tiles are in %s, --resume goes on from there",
                       bStopped ? "interrupted" : "not written", pool.countDone(), pool.tileCount(),
                       part.picture().c_str());
    }
    return bStopped ? STATUS_SIGNAL + StopSignals::which() : STATUS_FAILED;
}

}  // namespace rt
