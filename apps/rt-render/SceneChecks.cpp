// Warnings about scenes and pictures that are valid and useless.
#include "rt-render/SceneChecks.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "rt-render/DarkPicture.h"
#include "shared/Console.h"

namespace rt {

using Velk::NMVector3f;

namespace {

void warnAboutMaterial(const RayTracer& rayTracer) {
    const uint32_t uTextured = rayTracer.parameters.uTexturedAttribute, uCount = rayTracer.attributes.vAttributes.uSize;
    if (uTextured == NO_INDEX) return;
    if (uTextured >= uCount) {
        Console::warning("--texattr %u: the scene has %u material%s, counted from 0; nothing becomes bricks", uTextured,
                         uCount, uCount == 1 ? "" : "s");
        return;
    }
    const FaceData *pFirst = rayTracer.scene.vFaces.pData, *pEnd = pFirst + rayTracer.scene.vFaces.uCount;
    if (std::none_of(pFirst, pEnd, [&](const FaceData& face) { return face.uAttribute == uTextured; })) {
        Console::warning("--texattr %u: no face has the material \"%s\"; nothing becomes bricks", uTextured,
                         rayTracer.attributes.vAttributes[uTextured].szName);
    }
}

// True when the light reaches some face on the side that the eye sees. Mirrors are not followed.
bool lightsAnything(const RayTracer& rayTracer, const Frame& frame, const Light& light) {
    const FaceData *pFirst = rayTracer.scene.vFaces.pData, *pEnd = pFirst + rayTracer.scene.vFaces.uCount;
    return light.fFlux > 0.0f && std::any_of(pFirst, pEnd, [&](const FaceData& face) {
               const NMVector3f& v3Corner = face.pA->v3Position;
               return face.isSound() &&
                      dot(face.v3Normal, light.v3Position - v3Corner) * dot(face.v3Normal, frame.v3Eye - v3Corner) >
                          0.0f;
           });
}

// Nobody has made the lights of a model, so they are no mistake.
void warnAboutLights(const RayTracer& rayTracer, const Frame& frame, const std::string& sModel) {
    const auto say = sModel.empty() ? Console::warning : Console::detail;
    const std::string sFile = sModel.empty() ? rayTracer.sceneDesc.szLightsFile : sModel;
    const Lights& lights = rayTracer.lights;
    if (!lights.uCount) say("%s: no lights; every surface is black", sFile.c_str());
    for (uint32_t u = 0; u < lights.uCount; ++u) {
        if (lightsAnything(rayTracer, frame, lights.pLights[u])) continue;
        say(lights.pLights[u].fFlux > 0.0f ? "%s: light %u faces nothing that the camera sees"
                                           : "%s: light %u has no flux",
            sFile.c_str(), u + 1);
    }
}

// True when the whole box lies outside one of the planes through an edge of the screen, or behind the eye.
bool seesNothingOf(const Frame& frame, const Velk::BoxAABB& box) {
    const NMVector3f& v3Row = frame.v3ImageSpanX;
    const NMVector3f& v3Column = frame.v3ImageSpanY;
    const NMVector3f v3Last = frame.v3ImageOrigin + v3Row + v3Column;
    const Frame::Ray look = frame.rayTo(frame.v3ImageOrigin + v3Row * 0.5f + v3Column * 0.5f),
                     first = frame.rayTo(frame.v3ImageOrigin), last = frame.rayTo(v3Last);
    const struct {
        NMVector3f v3Point, v3Normal, v3Inside;
    } planes[] = {{look.v3From, look.v3Dir, look.v3Dir},
                  {first.v3From, cross(first.v3Dir, v3Row), v3Column},
                  {first.v3From, cross(first.v3Dir, v3Column), v3Row},
                  {last.v3From, cross(last.v3Dir, v3Row), v3Column * -1.0f},
                  {last.v3From, cross(last.v3Dir, v3Column), v3Row * -1.0f}};
    for (const auto& plane : planes) {
        const float fSide = dot(plane.v3Normal, plane.v3Inside) < 0.0f ? -1.0f : 1.0f;
        bool bOutside = true;
        for (unsigned u = 0; u < 8 && bOutside; ++u) {
            const NMVector3f v3Corner{u & 1 ? box.v3Max.x : box.v3Min.x, u & 2 ? box.v3Max.y : box.v3Min.y,
                                      u & 4 ? box.v3Max.z : box.v3Min.z};
            bOutside = dot(plane.v3Normal, v3Corner - plane.v3Point) * fSide < 0.0f;
        }
        if (bOutside) return true;
    }
    return false;
}

}  // namespace

void warnAboutScene(const RayTracer& rayTracer, const Frame& frame, const std::string& sModel) {
    warnAboutMaterial(rayTracer);
    warnAboutLights(rayTracer, frame, sModel);
    if (seesNothingOf(frame, rayTracer.scene.boxScene)) {
        Console::warning("the camera sees nothing of the scene: all of it is behind the camera or beside the picture");
    }
}

void warnAboutStretching(const RayTracer& rayTracer) {
    const Camera& camera = rayTracer.camera;
    const float fScreen =
        length(camera.v3Screen[1] - camera.v3Screen[0]) / length(camera.v3Screen[2] - camera.v3Screen[0]);
    const float fPixels =
        static_cast<float>(rayTracer.parameters.uWidth) / static_cast<float>(rayTracer.parameters.uHeight);
    const float fStretch = fPixels / fScreen;
    if (fStretch > 0.98f && fStretch < 1.02f) return;  // rounded to whole pixels
    Console::warning(
        "the camera's screen is %.2f times as wide as high, %u x %u pixels are %.2f times: all will look %s; "
        "--fov DEGREES fits the screen to the picture",
        static_cast<double>(fScreen), rayTracer.parameters.uWidth, rayTracer.parameters.uHeight,
        static_cast<double>(fPixels), fStretch > 1.0f ? "wide" : "tall");
}

bool warnAboutPicture(const RayTracer& rayTracer, const Frame& frame, const TilePool& pool, bool bStudio,
                      const std::string& sPicture) {
    constexpr uint8_t DARK[3] = {1, 0, 1};  // where rays hit nothing; in a studio all of a row looks alike there
    bool bBackground = true;
    uint8_t uBrightest = 0;
    for (uint32_t y = 0; y < pool.height(); ++y) {
        const uint8_t* p = pool.pixels() + y * pool.stride();
        for (size_t u = 0; u < pool.stride(); ++u) {
            bBackground = bBackground && p[u] == (bStudio ? p[u % pool.channels()] : DARK[u % 3]);
            uBrightest = std::max(uBrightest, p[u]);
        }
    }
    if (bBackground) {
        Console::warning("%s: nothing but background: the camera looks past the scene", sPicture.c_str());
    } else if (uBrightest <= 1) {
        Console::warning("%s: all black: %s", sPicture.c_str(), causeOfDarkness(rayTracer, frame).c_str());
    }
    return bBackground || uBrightest <= 1;
}

}  // namespace rt
