// The scene that the clients of one process share: loaded once, by whichever is first.
#include "net/SharedScene.h"

#include <cstring>

#include "base/LineReader.h"
#include "base/Printable.h"
#include "net/SceneFiles.h"

namespace rt {

namespace {

// True when two servers, or one server twice, asked for the same. What follows the end of a text means nothing.
bool areSame(const RaytracerParameters& a, const RaytracerParameters& b) {
    constexpr size_t uRest = offsetof(RaytracerParameters, uPackSize);
    const auto restOf = [](const RaytracerParameters& p) { return reinterpret_cast<const char*>(&p) + uRest; };
    return !strcmp(a.szDescFile, b.szDescFile) && !strcmp(a.szOutFile, b.szOutFile) &&
           !memcmp(restOf(a), restOf(b), sizeof(a) - uRest);
}

// Before any tile is rendered: those in the first rows may fit all the same.
bool isOfOtherSize(const RaytracerParameters& wanted, const RaytracerParameters& own) {
    return wanted.uWidth && wanted.uHeight && (wanted.uWidth != own.uWidth || wanted.uHeight != own.uHeight);
}

}  // namespace

bool loadNamedScene(RayTracer& rayTracer, std::vector<std::string>& vFiles) {
    const bool bFailed = rayTracer.load(nullptr, false);
    vFiles = logSceneFiles(rayTracer.parameters.szDescFile,
                           rayTracer.sceneDesc);  // also on failure: the reason may be there
    return bFailed || rayTracer.preprocessScene();
}

bool SharedScene::take(const RaytracerParameters& settings) {
    const std::lock_guard<std::mutex> lock(loading);
    if (eState == State::EMPTY) {
        received = settings;
        rayTracer.parameters = settings;
        ++uPreparations;
        eState = pfnLoad(rayTracer, vFiles) ? State::BROKEN : State::READY;
        if (eState == State::READY && isOfOtherSize(settings, rayTracer.parameters)) {
            fail("the server's picture has another size: its scene files are not those here");
            eState = State::BROKEN;
        }
        if (eState == State::BROKEN) {
            fail(std::string("no scene to render: ") + Velk::Printable(settings.szDescFile).text());
        }
        return eState == State::BROKEN;
    }
    if (areSame(received, settings)) return eState == State::BROKEN;
    fail("the server sent one connection other settings than another; is it a new farm at the same port?");
    return true;
}

void SharedScene::fail(const std::string& sReason) {
    const std::lock_guard<std::mutex> lock(failing);
    if (sFailure.empty()) sFailure = sReason;
}

std::string SharedScene::failure() const {
    const std::lock_guard<std::mutex> lock(failing);
    return sFailure;
}

}  // namespace rt
