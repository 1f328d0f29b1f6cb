// Takes a model file's own camera and lamps into the scene's world.

#include "import/reader/CameraReader.h"

#include <assimp/scene.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "base/InputFile.h"
#include "base/NRaiiFile.h"
#include "import/model/AssimpTypes.h"

namespace rt {

namespace {

// Where a camera or lamp of this name stands.
Map3d mapOf(const aiScene& scene, const aiString& name, const Map3d& world) {
    Map3d map;
    for (const aiNode* p = scene.mRootNode->FindNode(name); p; p = p->mParent)
        map = toMap(p->mTransformation).after(map);
    return world.after(map);
}

// The text of a COLLADA file's first camera. Assimp 5.2 leaves its angles at their defaults.
std::string colladaCamera(const std::string& sFile) {
    const Velk::NRaiiFile file(Velk::openInput(sFile.c_str()));
    std::string sText;
    char buffer[65536];
    for (size_t u; file.get() && (u = fread(buffer, 1, sizeof(buffer), file.get())) > 0;) sText.append(buffer, u);
    const size_t uStart = sText.find("<camera ");
    if (uStart == std::string::npos) return "";
    return sText.substr(uStart, sText.find("</camera>", uStart) - uStart);
}

// The number of an element, 0 when it is not there.
double elementOf(const std::string& sText, const char* szElement) {
    const size_t uElement = sText.find(std::string("<") + szElement), uNumber = sText.find('>', uElement);
    return uElement == std::string::npos || uNumber == std::string::npos ? 0.0 : atof(sText.c_str() + uNumber + 1);
}

// Half an angle's picture at distance 1; 0 for what is no angle of a camera.
double halfOf(double dDegrees) {
    return dDegrees > 1.0 && dDegrees < 170.0 ? tan(dDegrees * DEGREE / 2) : 0.0;
}

// Sets the angles. Each format's reader has its own idea of the one number that it hands on.
void takeAngles(const aiCamera& camera, const std::string& sFile, ModelCamera& result) {
    const std::string sSuffix = modelSuffixOf(sFile);
    double dAspect = static_cast<double>(camera.mAspect);
    const double dDegrees = static_cast<double>(camera.mHorizontalFOV) / DEGREE;
    if (sSuffix == "dae") {
        const std::string sCamera = colladaCamera(sFile);
        dAspect = elementOf(sCamera, "aspect_ratio");
        result.dHalfWidth = halfOf(elementOf(sCamera, "xfov"));
        result.dHalfHeight = halfOf(elementOf(sCamera, "yfov"));
    } else if (isGltf(sSuffix)) {
        result.dHalfHeight = halfOf(dAspect > 0 ? dDegrees / dAspect : dDegrees);  // the product of both comes
    } else {
        result.dHalfWidth = halfOf(dDegrees);
    }
    if (!(dAspect > 0.1 && dAspect < 10.0)) return;
    if (result.dHalfWidth == 0.0) result.dHalfWidth = result.dHalfHeight * dAspect;
    if (result.dHalfHeight == 0.0) result.dHalfHeight = result.dHalfWidth / dAspect;
}

// Whether something stands where Blender puts it into every new file, whatever the unit and the upright axis.
bool isBlenders(const Vector3d& v3Place, const std::vector<std::array<double, 3>>& vPlaces) {
    std::array<double, 3> v{fabs(v3Place.x), fabs(v3Place.y), fabs(v3Place.z)};
    std::sort(v.begin(), v.end());
    return std::any_of(vPlaces.begin(), vPlaces.end(), [&](const std::array<double, 3>& p) {
        return fabs(v[0] / v[2] - p[0] / p[2]) < 1e-3 && fabs(v[1] / v[2] - p[1] / p[2]) < 1e-3;
    });
}

}  // namespace

void readCamera(const aiScene& scene, const std::string& sFile, const Map3d& world, Model& model) {
    if (!scene.mNumCameras || scene.mCameras[0]->mOrthographicWidth > 0) return;
    const aiCamera& camera = *scene.mCameras[0];
    const Map3d map = mapOf(scene, camera.mName, world);
    // Of glTF's cameras assimp 5.2 gives the node's place once more.
    const Vector3d v3Place = isGltf(modelSuffixOf(sFile)) ? Vector3d{} : toDouble(camera.mPosition);
    ModelCamera result;
    // Of version 2.8 and later, and of those before.
    result.bDefault = isBlenders(mapOf(scene, camera.mName, Map3d{}).point(v3Place),
                                 {{4.95831, 6.92579, 7.35889}, {5.34366, 6.50764, 7.48113}});
    result.v3Eye = map.point(v3Place);
    result.v3Forward = normalize(map.direction(toDouble(camera.mLookAt)));
    result.v3Up = map.direction(toDouble(camera.mUp));
    takeAngles(camera, sFile, result);
    if (isFinite(result.v3Eye) && isFinite(result.v3Forward) && isFinite(result.v3Up)) model.camera = result;
}

void readLights(const aiScene& scene, const Map3d& world, double dScale, Model& model) {
    for (unsigned u = 0; u < scene.mNumLights; ++u) {
        const aiLight& light = *scene.mLights[u];
        if (light.mType == aiLightSource_AMBIENT || light.mType == aiLightSource_UNDEFINED) continue;
        const Map3d map = mapOf(scene, light.mName, world), plain = mapOf(scene, light.mName, Map3d{});
        if (isBlenders(plain.point(toDouble(light.mPosition)), {{1.00545, 4.07625, 5.90386}})) continue;
        const auto number = [](ai_real f) { return static_cast<double>(f); };
        ModelLight result;
        result.bDirectional = light.mType == aiLightSource_DIRECTIONAL;
        result.v3Position = map.point(toDouble(light.mPosition));
        result.v3Direction = normalize(map.direction(toDouble(light.mDirection)));
        const aiColor3D& c = light.mColorDiffuse;
        result.dIntensity = 0.3 * number(c.r) + 0.6 * number(c.g) + 0.1 * number(c.b);
        result.vFalloff = {number(light.mAttenuationConstant), number(light.mAttenuationLinear) / dScale,
                           number(light.mAttenuationQuadratic) / (dScale * dScale)};
        const bool bPlaced = result.bDirectional ? isFinite(result.v3Direction) : isFinite(result.v3Position);
        if (bPlaced && result.dIntensity > 0 && std::isfinite(result.dIntensity)) model.vLights.push_back(result);
    }
}

}  // namespace rt
