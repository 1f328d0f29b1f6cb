// Puts an imported model on stage: a ground, a camera that frames it, lights that show it.

#include "import/Stage.h"

#include <algorithm>
#include <cmath>

namespace rt {

using Velk::NMVector3f;

namespace {

// A picture without wishes.
constexpr double USUAL_TURN = 30.0, USUAL_ELEVATION = 20.0, USUAL_FOV = 40.0;
constexpr uint32_t USUAL_WIDTH = 1024, USUAL_HEIGHT = 768;
constexpr double FILLED = 0.88;        // of the picture's width or height is the model's
constexpr double GROUND_HALF = 12.0;   // half the ground's side, in radii of the model: its end lies in the dark
constexpr double ROOM_HALF = 8.0;      // half a room's side, in radii: the lamps are inside
constexpr unsigned ROOM_TILES = 20;    // on a side of its floor
constexpr double GROUND_GAP = 2e-4;    // below the model, in radii: faces in one plane would flicker
constexpr double LAMP_DISTANCE = 5.0;  // in radii
constexpr double OWN_LIGHT = 350.0;    // light sum of the model's own lamps at its centre
constexpr double OWN_FILL = 16.0;      // and of the lamp that opens their shadows
constexpr double SUN_DISTANCE = 30.0;  // of a light without a place, in radii

constexpr double LEAST_SHOWN = 0.35;  // of the picture's width or height must be the model's for a camera of the file
constexpr double LEAST_INSIDE = 0.9;  // and so many of its vertices must be inside

struct Lamp {
    double dTurn, dElevation, dLight;  // degrees round from the eye and above the horizon; light sum at the centre
};
constexpr Lamp STUDIO[] = {{-38.37, 44.21, 420.0}, {51.73, 12.87, 36.0}, {163.19, 38.63, 240.0}};

Vector3d toVector(const std::array<double, 3>& v) {
    return {v[0], v[1], v[2]};
}

double radiusOf(const Model& model) {
    return length(model.box.size()) * 0.5;
}

// From the model to an eye that far round to the right of its front, which looks along z.
Vector3d directionTo(double dTurn, double dElevation) {
    const double t = dTurn * DEGREE, e = dElevation * DEGREE;
    return {sin(t) * cos(e), sin(e), -cos(t) * cos(e)};
}

struct Axes {
    Vector3d v3Right, v3Up, v3Forward;
};

Axes axesOf(const Vector3d& v3Look, const Vector3d& v3Upward) {
    Axes axes;
    axes.v3Forward = normalize(v3Look);
    Vector3d v3Side = cross(v3Upward, axes.v3Forward);
    if (!(length(v3Side) > 1e-6 * length(v3Upward)))
        v3Side = cross(Vector3d{0, 0, 1}, axes.v3Forward);  // straight down
    axes.v3Right = normalize(v3Side);
    axes.v3Up = cross(axes.v3Forward, axes.v3Right);
    return axes;
}

// The eye nearest to the model from which all its vertices are inside the picture, for a view along the axes. Across
// the view, x - t z is what a vertex at depth z needs of a picture whose half width is t at distance 1.
Vector3d frameAll(const Model& model, const Axes& axes, double dHalfWidth, double dHalfHeight) {
    const double tx = dHalfWidth * FILLED, ty = dHalfHeight * FILLED;
    const Vector3d c = model.box.centre();
    double dRight = -INFINITY, dLeft = -INFINITY, dTop = -INFINITY, dBottom = -INFINITY, dNearest = INFINITY;
    for (const NMVector3f& v3Vertex : model.vVertices) {
        const Vector3d p = toDouble(v3Vertex) - c;
        const double x = dot(p, axes.v3Right), y = dot(p, axes.v3Up), z = dot(p, axes.v3Forward);
        dRight = std::max(dRight, x - tx * z), dLeft = std::max(dLeft, -x - tx * z);
        dTop = std::max(dTop, y - ty * z), dBottom = std::max(dBottom, -y - ty * z);
        dNearest = std::min(dNearest, z);
    }
    const double dBack = std::max((dRight + dLeft) / (2 * tx), (dTop + dBottom) / (2 * ty));
    const double dAway = std::max(dBack, 0.05 * radiusOf(model) - dNearest);
    return c + axes.v3Right * ((dRight - dLeft) / 2) + axes.v3Up * ((dTop - dBottom) / 2) - axes.v3Forward * dAway;
}

// What is wrong with a camera of the file's, in words; null when it shows the model. An eye amid the model sees only a
// part of it.
const char* faultOf(const Model& model, const Vector3d& v3Eye, const Axes& axes, double dHalfWidth,
                    double dHalfHeight) {
    double dLeft = INFINITY, dRight = -INFINITY, dBottom = INFINITY, dTop = -INFINITY;  // of what is inside
    size_t uInside = 0;
    for (const NMVector3f& v3Vertex : model.vVertices) {
        const Vector3d p = toDouble(v3Vertex) - v3Eye;
        const double z = dot(p, axes.v3Forward);
        const double x = dot(p, axes.v3Right) / (dHalfWidth * z), y = dot(p, axes.v3Up) / (dHalfHeight * z);
        if (!(z > 0 && fabs(x) < 1 && fabs(y) < 1)) continue;
        ++uInside;
        dLeft = std::min(dLeft, x), dRight = std::max(dRight, x);
        dBottom = std::min(dBottom, y), dTop = std::max(dTop, y);
    }
    const Box3d& b = model.box;
    const bool bAmid = v3Eye.x > b.v3Min.x && v3Eye.x < b.v3Max.x && v3Eye.y > b.v3Min.y && v3Eye.y < b.v3Max.y &&
                       v3Eye.z > b.v3Min.z && v3Eye.z < b.v3Max.z;
    if (uInside == 0) return "nothing";
    if (!bAmid && static_cast<double>(uInside) < LEAST_INSIDE * static_cast<double>(model.vVertices.size()))
        return "only a part";
    return std::max(dRight - dLeft, dTop - dBottom) < 2 * LEAST_SHOWN ? "little more than a speck" : nullptr;
}

SceneCamera makeCamera(const Vector3d& v3Eye, const Axes& axes, double dDistance, double dHalfWidth,
                       double dHalfHeight) {
    SceneCamera camera;
    camera.v3Eye = v3Eye;
    const Vector3d v3Middle = v3Eye + axes.v3Forward * dDistance;
    const Vector3d v3Row = axes.v3Right * (dHalfWidth * dDistance), v3Column = axes.v3Up * (dHalfHeight * dDistance);
    camera.v3Corners[0] = v3Middle - v3Row + v3Column;
    camera.v3Corners[1] = v3Middle + v3Row + v3Column;
    camera.v3Corners[2] = v3Middle - v3Row - v3Column;
    return camera;
}

// The triangles that follow are no part of the model.
void startPart(Model& model, const char* szName) {
    model.parts.startRun(static_cast<uint32_t>(model.vTriangles.size()),
                         static_cast<uint32_t>(model.parts.vParts.size()));
    model.parts.vParts.push_back({szName, szName});
}

uint32_t addMaterial(Model& model, const char* szName, const std::array<unsigned, 3>& vColour) {
    ModelMaterial material;
    material.sName = szName;
    material.vColour = vColour;
    model.vMaterials.push_back(material);
    return static_cast<uint32_t>(model.vMaterials.size() - 1);
}

// Two triangles that look along v3Edge2 x v3Edge1.
void addQuad(Model& model, const Vector3d& v3Corner, const Vector3d& v3Edge1, const Vector3d& v3Edge2,
             uint32_t uMaterial) {
    const uint32_t u = static_cast<uint32_t>(model.vVertices.size());
    for (const Vector3d& p : {v3Corner, v3Corner + v3Edge1, v3Corner + v3Edge1 + v3Edge2, v3Corner + v3Edge2}) {
        model.vVertices.push_back({static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)});
    }
    model.vTriangles.push_back({{u, u + 1, u + 2}, uMaterial});
    model.vTriangles.push_back({{u, u + 2, u + 3}, uMaterial});
}

struct Frame {
    uint32_t uWidth, uHeight;
    double dHalfWidth, dHalfHeight;  // seen from distance 1
};

// The picture's size and angles: the options', the camera's, or the usual ones.
Frame frameOf(const ModelCamera* pOwn, const ImportOptions& options) {
    Frame frame{};
    frame.uWidth = options.uWidth.value_or(USUAL_WIDTH);
    double dShape = double{USUAL_HEIGHT} / USUAL_WIDTH;  // height by width
    if (pOwn && pOwn->dHalfWidth > 0 && pOwn->dHalfHeight > 0) dShape = pOwn->dHalfHeight / pOwn->dHalfWidth;
    frame.uHeight = options.uHeight.value_or(static_cast<uint32_t>(std::max(1.0, std::round(frame.uWidth * dShape))));
    dShape = frame.uHeight / static_cast<double>(frame.uWidth);
    frame.dHalfWidth = tan(options.dFov.value_or(USUAL_FOV) * DEGREE / 2);
    if (pOwn && !options.dFov && pOwn->dHalfHeight > 0) frame.dHalfWidth = pOwn->dHalfHeight / dShape;
    if (pOwn && !options.dFov && pOwn->dHalfWidth > 0) frame.dHalfWidth = pOwn->dHalfWidth;
    frame.dHalfHeight = frame.dHalfWidth * dShape;
    return frame;
}

// Whether a camera of the file's is worth taking.
bool isFit(const Model& model, const ModelCamera& own, const ImportOptions& options,
           std::vector<std::string>& vNotices) {
    if (own.bDefault) return false;
    if (options.vFrom || options.vAt || options.dTurn || options.dElevation) return true;  // only its angles count
    const Frame frame = frameOf(&own, options);
    const char* szFault =
        faultOf(model, own.v3Eye, axesOf(own.v3Forward, own.v3Up), frame.dHalfWidth, frame.dHalfHeight);
    if (!szFault) return true;
    vNotices.push_back(std::string("the file's camera shows ") + szFault +
                       " of the model and is not taken (--camera-of-file takes it)");
    return false;
}

}  // namespace

SceneCamera placeCamera(const Model& model, const ImportOptions& options, std::vector<std::string>& vNotices) {
    const bool bTurned = options.dTurn || options.dElevation || options.vAt;
    const ModelCamera* pOwn = model.camera ? &*model.camera : nullptr;
    if (pOwn && !options.bCameraOfFile && !isFit(model, *pOwn, options, vNotices)) pOwn = nullptr;
    const Frame frame = frameOf(pOwn, options);
    const double dHalfWidth = frame.dHalfWidth, dHalfHeight = frame.dHalfHeight;
    const Vector3d v3Centre = model.box.centre(), v3Sky{0, 1, 0};
    SceneCamera camera;
    const auto place = [&](const Vector3d& v3Eye, const Axes& axes) {
        const double dDistance = std::max(length(v3Centre - v3Eye), 0.1 * radiusOf(model));
        camera = makeCamera(v3Eye, axes, dDistance, dHalfWidth, dHalfHeight);
    };
    if (options.vFrom) {
        const Vector3d v3Eye = toVector(*options.vFrom);
        place(v3Eye, axesOf((options.vAt ? toVector(*options.vAt) : v3Centre) - v3Eye, v3Sky));
    } else {
        const Axes own = pOwn ? axesOf(pOwn->v3Forward, pOwn->v3Up) : Axes{};
        if (pOwn && !bTurned) {
            place(pOwn->v3Eye, own);
        } else {
            const Vector3d v3Back =
                directionTo(options.dTurn.value_or(USUAL_TURN), options.dElevation.value_or(USUAL_ELEVATION));
            const Axes axes = axesOf(v3Back * -1.0, v3Sky);
            const Vector3d v3Eye = frameAll(model, axes, dHalfWidth, dHalfHeight);
            place(v3Eye, options.vAt ? axesOf(toVector(*options.vAt) - v3Eye, v3Sky) : axes);
        }
    }
    camera.uWidth = frame.uWidth;
    camera.uHeight = frame.uHeight;
    return camera;
}

std::vector<SceneLight> placeLights(const Model& model, const SceneCamera& camera) {
    const Vector3d c = model.box.centre();
    const double dRadius = radiusOf(model);
    std::vector<SceneLight> vLights;
    const auto add = [&](const Vector3d& v3Position, double dLight) {
        const Vector3d v3Uneven{v3Position.x + 1.37e-4 * dRadius, v3Position.y + 2.11e-4 * dRadius,
                                v3Position.z - 1.73e-4 * dRadius};
        const double dDistance = std::max(length(v3Uneven - c), 0.25 * dRadius);
        vLights.push_back({v3Uneven, dLight * dDistance * dDistance});
    };
    if (model.vLights.empty()) {
        const Vector3d v3Eye = camera.v3Eye - c;
        const double dTurn = atan2(v3Eye.x, -v3Eye.z) / DEGREE;
        for (const Lamp& lamp : STUDIO) {
            add(c + directionTo(dTurn + lamp.dTurn, lamp.dElevation) * (LAMP_DISTANCE * dRadius), lamp.dLight);
        }
        return vLights;
    }
    std::vector<double> vLight;  // at the centre, in the file's unit
    double dSum = 0;
    for (const ModelLight& light : model.vLights) {
        const double d = std::max(length(light.v3Position - c), 0.25 * dRadius);
        const double dFalloff = light.vFalloff[0] + light.vFalloff[1] * d + light.vFalloff[2] * d * d;
        vLight.push_back(light.bDirectional || !(dFalloff > 0) ? light.dIntensity : light.dIntensity / dFalloff);
        dSum += vLight.back();
    }
    for (size_t u = 0; u < model.vLights.size(); ++u) {
        const ModelLight& light = model.vLights[u];
        add(light.bDirectional ? c - light.v3Direction * (SUN_DISTANCE * dRadius) : light.v3Position,
            OWN_LIGHT * vLight[u] / dSum);
    }
    add(camera.v3Eye, OWN_FILL);
    return vLights;
}

void addGround(Model& model) {
    startPart(model, GROUND_NAME);
    const Vector3d c = model.box.centre();
    const double dRadius = radiusOf(model), dHalf = GROUND_HALF * dRadius, y = model.box.v3Min.y - GROUND_GAP * dRadius;
    const uint32_t uGround = addMaterial(model, GROUND_NAME, {158, 168, 182});
    addQuad(model, {c.x - dHalf, y, c.z - dHalf}, {2 * dHalf, 0, 0}, {0, 0, 2 * dHalf}, uGround);
    model.bGround = true;
}

void addRoom(Model& model, const SceneCamera& camera) {
    startPart(model, "room");
    const Vector3d c = model.box.centre();
    const double dRadius = radiusOf(model), y = model.box.v3Min.y - GROUND_GAP * dRadius;
    const double dHalf = std::max(ROOM_HALF * dRadius, 1.3 * length(camera.v3Eye - c)), dSide = 2 * dHalf;
    const uint32_t uWall = addMaterial(model, "wall", {150, 172, 200}),
                   uCeiling = addMaterial(model, "ceiling", {236, 236, 230});
    const uint32_t uTiles[] = {addMaterial(model, "light_tile", {206, 202, 192}),
                               addMaterial(model, "dark_tile", {84, 92, 108})};
    const Vector3d low{c.x - dHalf, y, c.z - dHalf}, high{c.x + dHalf, y + dSide, c.z + dHalf};
    const Vector3d x{dSide, 0, 0}, up{0, dSide, 0}, z{0, 0, dSide};
    for (unsigned u = 0; u < ROOM_TILES * ROOM_TILES; ++u) {
        const unsigned uColumn = u % ROOM_TILES, uRow = u / ROOM_TILES;
        const double d = 1.0 / ROOM_TILES;
        addQuad(model, low + x * (uColumn * d) + z * (uRow * d), x * d, z * d, uTiles[(uColumn + uRow) % 2]);
    }
    addQuad(model, low, up, x, uWall);
    addQuad(model, low, z, up, uWall);
    addQuad(model, high, x * -1.0, up * -1.0, uWall);
    addQuad(model, high, up * -1.0, z * -1.0, uWall);
    addQuad(model, high, z * -1.0, x * -1.0, uCeiling);
}

void replaceMaterials(Model& model, ImportOptions::Material eMaterial) {
    if (eMaterial == ImportOptions::KEEP) return;
    const bool bSmooth =
        std::any_of(model.vMaterials.begin(), model.vMaterials.end(), [](const auto& m) { return m.bSmooth; });
    ModelMaterial m;
    m.bSmooth = bSmooth;
    if (eMaterial == ImportOptions::MATTE) {
        m.sName = "matte";
        m.vColour = {205, 170, 125};
    } else if (eMaterial == ImportOptions::MIRROR) {
        m.sName = "mirror";
        m.vColour = {235, 238, 242};
        m.dDiffuse = 0.12, m.dSpecular = 0.6, m.uExponent = 200, m.dReflection = 0.8;
    } else {
        m.sName = "glass";
        m.vColour = {240, 248, 246};
        m.dDiffuse = 0.02, m.dSpecular = 0.8, m.uExponent = 200, m.dReflection = 0.08;
        m.dTransmission = 0.9, m.dEta = 1.5;
    }
    model.vMaterials = {m};
    model.colours = SurfaceColours();
    for (ModelTriangle& t : model.vTriangles) t.uMaterial = 0;
}

}  // namespace rt
