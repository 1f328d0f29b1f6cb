// What the user's scene is, and how it is read.
#include "rt-render/SceneSource.h"

#include "rt-render/SpooledModel.h"
#include "shared/Console.h"

namespace rt {

bool SceneSource::find(const RenderOptions& options) {
    if (options.bStandardInput) return importInput(options);
    return place.find(options.sScene) || (isModel() && importFrom(options, options.sScene));
}

bool SceneSource::isName(const std::string& sScene) {
    return !ScenePlace().findByName(sScene);
}

bool SceneSource::importInput(const RenderOptions& options) {
    SpooledModel spool;
    bInput = true;
    return spool.take(options.sScene) || importFrom(options, spool.file());
}

// Makes a scene of a model file, in memory.
bool SceneSource::importFrom(const RenderOptions& options, [[maybe_unused]] const std::string& sModel) {
#ifdef RT_IMPORT
    std::string sMessage;
    std::vector<std::string> vNotices;
    ImportOptions wanted = options.import;
    wanted.bProgress = Console::showsStatus();
    wanted.bStudio = options.bStudio.value_or(true);
    wanted.bColours = wanted.bStudio;  // lamps show materials alone
    const auto triple = [](const Velk::NMVector3f& v) { return std::array<double, 3>{v.x, v.y, v.z}; };
    if (options.view.v3From) wanted.vFrom = triple(*options.view.v3From);
    if (options.view.v3At) wanted.vAt = triple(*options.view.v3At);
    if (options.view.fFov) wanted.dFov = *options.view.fFov;
    if (options.parameters.bCustomResolution) {
        wanted.uWidth = options.parameters.uWidth;
        wanted.uHeight = options.parameters.uHeight;
    }
    const bool bFailed = importModel(sModel, wanted, staged, sMessage, vNotices);
    const size_t uAt = options.bStandardInput ? sMessage.find(sModel) : std::string::npos;
    if (uAt != std::string::npos) sMessage.replace(uAt, sModel.size(), "standard input");  // as the user knows it
    for (const std::string& sNotice : vNotices) {
        // Only who gives a point of the scene meets its numbers.
        const bool bNumbers = sNotice.rfind("scaled by ", 0) == 0 || sNotice.rfind("moved to the origin ", 0) == 0;
        const bool bMet = options.view.v3From || options.view.v3At || options.parameters.bCustomCamera;
        (bNumbers && !bMet ? Console::detail : Console::warning)("%s: %s", options.sScene.c_str(), sNotice.c_str());
    }
    if (bFailed) {
        Console::error("%s", sMessage.c_str());
        return true;
    }
    uGround = staged.uGround;
    Console::detail("%s", sMessage.c_str());
    return false;
#else
    Console::error("%s: model files cannot be read: rt-render was built without libassimp-dev", options.sScene.c_str());
    return true;
#endif
}

bool SceneSource::load(RayTracer& rayTracer) const {
#ifdef RT_IMPORT
    if (isModel()) {
        if (staged.handOver(rayTracer)) return true;
        rayTracer.useCamera(staged.camera);
        return false;
    }
#endif
    return place.visit([&](const char* szDescription) { return rayTracer.load(szDescription, false); });
}

}  // namespace rt
