// Which pictures a run makes, and from where.
#include "rt-render/cameras/Shots.h"

#include <cmath>
#include <cstdio>
#include <set>

#include "picture/PictureFile.h"
#include "rt-render/cameras/Framing.h"
#include "rt-render/cameras/Pinhole.h"
#include "shared/Console.h"

namespace rt {

namespace {

constexpr double GOLDEN_ANGLE = 137.50776405003785;  // degrees

std::string withPart(const std::string& sPicture, const std::string& sPart) {
    return stemOf(sPicture) + sPart + suffixOf(sPicture);
}

// Numbers from 0 to 1 that look random, the same on every machine (SplitMix64).
class Dice {
 public:
    explicit Dice(uint64_t uSeed) : u(uSeed) {}

    double roll() {
        uint64_t z = u += 0x9E3779B97F4A7C15u;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9u;
        z = (z ^ z >> 27) * 0x94D049BB133111EBu;
        return static_cast<double>((z ^ z >> 31) >> 11) * 0x1p-53;
    }

 private:
    uint64_t u;
};

bool isLeftHanded(const Frame& frame) {
    const Velk::NMVector3f v3Look =
        frame.v3ImageOrigin + frame.v3ImageSpanX * 0.5f + frame.v3ImageSpanY * 0.5f - frame.v3Eye;
    return !(dot(cross(frame.v3ImageSpanX, v3Look), frame.v3ImageSpanY) < 0.0f);
}

bool isSound(const Frame& frame) {
    const Frame::Ray ray = frame.rayThrough(0.5f * static_cast<float>(frame.uWidth), 0.5f);
    return isFinite(ray.v3From) && std::isfinite(length(ray.v3Dir)) && length(ray.v3Dir) > 0.0f &&
           std::isfinite(frame.fMaxDistance) && length(frame.v3ImageSpanX) > 0.0f && length(frame.v3ImageSpanY) > 0.0f;
}

}  // namespace

bool Shots::plan(const RenderOptions& options) {
    const CameraWishes& wishes = options.cameras;
    if (!wishes.sCameras.empty()) {
        if (readCameras(wishes.sCameras, vCameras)) return true;
        std::set<std::string> names;
        bool bNamed = true;
        for (const FileCamera& camera : vCameras) {
            bNamed = bNamed && !camera.sName.empty() && names.insert(camera.sName).second;
        }
        if (!bNamed) addNumbered(options, static_cast<uint32_t>(vCameras.size()));
        for (size_t u = 0; bNamed && u < vCameras.size(); ++u) {
            vPictures.push_back(withPart(options.sPicture, "-" + vCameras[u].sName));
        }
    } else if (options.uOrbit || wishes.uHemisphere) {
        addNumbered(options, options.uOrbit + wishes.uHemisphere);
    } else {
        for (const NamedView& view : wishes.vViews) {
            vPictures.push_back(withPart(options.sPicture, std::string("-") + view.szName));
        }
        if (vPictures.empty()) vPictures.push_back(options.sPicture);
    }
    return false;
}

void Shots::addNumbered(const RenderOptions& options, uint32_t uCount) {
    for (uint32_t u = 1; u <= uCount; ++u) {
        char szNumber[16];
        snprintf(szNumber, sizeof(szNumber), "-%04u", u);
        vPictures.push_back(withPart(options.sPicture, szNumber));
    }
}

bool Shots::aim(const RayTracer& rayTracer, const RenderOptions& options, bool bModel, uint32_t uGround,
                double dPixelShift) {
    const CameraWishes& wishes = options.cameras;
    const Scene& scene = rayTracer.scene;
    Frame first = rayTracer.frame();
    const bool bMirrored = isLeftHanded(first);
    if (wishes.intrinsics) {
        Pinhole camera = pinholeOf(first, scene, dPixelShift);
        camera.fx = (*wishes.intrinsics)[0], camera.fy = (*wishes.intrinsics)[1];
        camera.cx = first.uWidth * 0.5, camera.cy = first.uHeight * 0.5;  // the middle until all is framed
        first = frameOf(camera, scene, 0.0);
    }
    first.bParallel = wishes.bParallel;
    const View& view = options.view;
    const bool bFitted = bModel && !view.v3From && !view.v3At && !options.parameters.bCustomCamera;
    if (wishes.bParallel || wishes.intrinsics) {
        const Framing framing(scene, uGround, first);
        if (bFitted) {
            first = framing.asFirst();
        } else if (wishes.bParallel) {
            first = framing.asFirstThrough(view.v3At ? *view.v3At * scene.fDomainFactor : scene.v3Center);
        }
    }
    if (vCameras.empty()) {
        aimAt(rayTracer, options, first, uGround);
    } else {
        aimAsFile(rayTracer, options, bMirrored, dPixelShift);
    }
    for (Frame& frame : vFrames) {
        if (!wishes.intrinsics) break;
        Pinhole camera = pinholeOf(frame, scene, dPixelShift);
        camera.fx = (*wishes.intrinsics)[0], camera.fy = (*wishes.intrinsics)[1];
        camera.cx = (*wishes.intrinsics)[2], camera.cy = (*wishes.intrinsics)[3];
        frame = frameOf(camera, scene, dPixelShift);
    }
    for (const Frame& frame : vFrames) {
        if (isSound(frame)) continue;
        Console::error("rt-render: there is no such view: a camera stands too far away, or its picture has no size");
        return true;
    }
    if (wishes.sWriteCameras.empty()) return false;
    std::vector<NamedCamera> vNamed;
    for (size_t u = 0; u < count(); ++u) vNamed.push_back({pinholeOf(vFrames[u], scene, dPixelShift), vPictures[u]});
    return writeCameras(wishes.sWriteCameras, vNamed, bMirrored);
}

void Shots::aimAt(const RayTracer& rayTracer, const RenderOptions& options, const Frame& first, uint32_t uGround) {
    const CameraWishes& wishes = options.cameras;
    if (!wishes.isMany()) {
        const Orbit orbit(rayTracer.scene, first);
        const unsigned uFrames = static_cast<unsigned>(count());
        for (unsigned u = 0; u < uFrames; ++u) vFrames.push_back(orbit.look(u, uFrames));
        return;
    }
    const Framing framing(rayTracer.scene, uGround, first);
    for (const NamedView& view : wishes.vViews) vFrames.push_back(framing.around(view.dTurn, view.dElevation));
    // Heights and the golden angle spread points evenly. A seed turns all of them, and moves each a little.
    Dice dice(wishes.uSeed);
    const double dTurn = wishes.uSeed ? 360.0 * dice.roll() : 0.0;
    for (uint32_t u = 0; u < wishes.uHemisphere; ++u) {
        const double dStep = wishes.uSeed ? 0.25 + 0.5 * dice.roll() : 0.5;
        const double dHeight = 1.0 - (u + dStep) / wishes.uHemisphere;
        vFrames.push_back(framing.onSphere(dTurn + GOLDEN_ANGLE * u, asin(dHeight) * 180.0 / 3.14159265358979323846));
    }
}

void Shots::aimAsFile(const RayTracer& rayTracer, const RenderOptions& options, bool bMirrored, double dPixelShift) {
    const RaytracerParameters& sizes = rayTracer.parameters;
    for (const FileCamera& camera : vCameras) {
        const bool bOwn = camera.uWidth && camera.uHeight && !options.parameters.bCustomResolution;
        const Pinhole pinhole =
            pinholeOf(camera, bOwn ? camera.uWidth : sizes.uWidth, bOwn ? camera.uHeight : sizes.uHeight, bMirrored);
        vFrames.push_back(frameOf(pinhole, rayTracer.scene, dPixelShift));
    }
}

}  // namespace rt
