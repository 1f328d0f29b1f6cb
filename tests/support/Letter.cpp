// A solid letter F, written as a model file of each kind.
#include "support/Letter.h"

#include <cstring>
#include <vector>

#include "support/FileTest.h"

namespace {

struct Point {
    double x, y, z;
};

std::string text(const Point& p) {
    char sz[100];
    snprintf(sz, sizeof(sz), "%.9g %.9g %.9g\n", p.x, p.y, p.z);
    return sz;
}

void put(std::string& sBytes, float f) {
    sBytes.append(reinterpret_cast<const char*>(&f), sizeof(f));
}

std::string number(size_t u) {
    return std::to_string(u);
}

// A box's corners, bit 0 for x, bit 1 for y, bit 2 for z, and its sides counter-clockwise as seen from outside.
Point corner(const double* pBox, unsigned u) {
    return {pBox[u & 1 ? 3 : 0], pBox[u & 2 ? 4 : 1], pBox[u & 4 ? 5 : 2]};
}
const unsigned QUADS[6][4] = {{2, 3, 1, 0}, {4, 5, 7, 6}, {0, 1, 5, 4}, {3, 2, 6, 7}, {1, 3, 7, 5}, {2, 0, 4, 6}};

// Four boxes of twelve triangles, three points each, counter-clockwise from outside; front towards +z.
std::vector<Point> boxes() {
    static const double BOX[4][6] = {
        {0, 0, 0, 1, 5, 1}, {1, 2, 0, 2.5, 3, 1}, {1, 4, 0, 3, 5, 1}, {0, 0, 1, 1, 0.5, 3}};
    std::vector<Point> v;
    for (const auto& b : BOX) {
        for (const auto& q : QUADS) {
            for (const unsigned u : {0u, 1u, 2u, 0u, 2u, 3u}) v.push_back(corner(b, q[u]));
        }
    }
    return v;
}

std::string objText(const LetterPlace& at) {
    static const double OUTLINE[10][2] = {{0, 0}, {1, 0}, {1, 2}, {2.5, 2}, {2.5, 3},
                                          {1, 3}, {1, 4}, {3, 4}, {3, 5},   {0, 5}};
    std::string sText, sFront = "f", sBack = "f", sSides;
    for (const int z : {0, 1}) {
        for (const auto& p : OUTLINE) {
            sText += "v " + text({p[0] * at.dScale + at.dX, p[1] * at.dScale + at.dY, z * at.dScale + at.dZ});
        }
    }
    for (size_t u = 0; u < 10; ++u) {
        const size_t uNext = (u + 1) % 10;
        sFront += " " + number(u + 11);
        sBack += " " + number(10 - u);
        sSides +=
            "f " + number(u + 1) + " " + number(uNext + 1) + " " + number(uNext + 11) + " " + number(u + 11) + "\n";
    }
    static const double FOOT[6] = {0, 0, 1, 1, 0.5, 3};
    for (unsigned u = 0; u < 8; ++u) {
        const Point p = corner(FOOT, u);
        sText += "v " + text({p.x * at.dScale + at.dX, p.y * at.dScale + at.dY, p.z * at.dScale + at.dZ});
    }
    for (const auto& q : QUADS) {
        sSides += "f";
        for (const unsigned u : q) sSides += " " + number(u + 21);
        sSides += "\n";
    }
    return sText + sFront + "\n" + sBack + "\n" + sSides;
}

std::string stlBytes(const std::vector<Point>& v) {
    std::string sBytes(80, ' ');
    const uint32_t uTriangles = static_cast<uint32_t>(v.size() / 3);
    sBytes.append(reinterpret_cast<const char*>(&uTriangles), 4);
    for (size_t u = 0; u < v.size(); u += 3) {
        sBytes.append(12, '\0');
        for (size_t i = u; i < u + 3; ++i) {
            for (const double d : {v[i].x, -v[i].z, v[i].y}) put(sBytes, static_cast<float>(d));
        }
        sBytes.append(2, '\0');
    }
    return sBytes;
}

std::string plyText(const std::vector<Point>& v) {
    std::string sText = "ply\nformat ascii 1.0\nelement vertex " + number(v.size()) +
                        "\nproperty float x\nproperty float y\nproperty float z\nelement face " + number(v.size() / 3) +
                        "\nproperty list uchar int vertex_indices\nend_header\n";
    for (const Point& p : v) sText += text(p);
    for (size_t u = 0; u < v.size(); u += 3)
        sText += "3 " + number(u) + " " + number(u + 1) + " " + number(u + 2) + "\n";
    return sText;
}

std::string gltfText(const std::vector<Point>& v, const std::string& sMore, const std::string& sNodes,
                     const std::string& sRoots) {
    std::string sBytes;
    for (const Point& p : v) {
        for (const double d : {p.x, p.y, p.z}) put(sBytes, static_cast<float>(d));
    }
    writeFile("letter.bin", sBytes);
    const std::string sLength = number(sBytes.size());
    return R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[)" + sRoots + R"(]}],"nodes":[{"mesh":0},)" +
           sNodes +
           R"(],"meshes":[{"primitives":[{"attributes":{"POSITION":0},"material":0}]}],"materials":[{"name":"paint",)"
           R"("pbrMetallicRoughness":{"baseColorFactor":[0.5,0.2,0.05,1],"metallicFactor":0,"roughnessFactor":1}}],)"
           R"("buffers":[{"uri":"letter.bin","byteLength":)" +
           sLength + R"(}],"bufferViews":[{"buffer":0,"byteLength":)" + sLength +
           R"(}],"accessors":[{"bufferView":0,"componentType":5126,"type":"VEC3","min":[0,0,0],"max":[3,5,3],"count":)" +
           number(v.size()) + "}]" + sMore + "}";
}

std::string daeText(const std::vector<Point>& v) {
    std::string sPoints, sIndices;
    for (const Point& p : v) sPoints += text({p.x, -p.z, p.y});
    for (size_t u = 0; u < v.size(); ++u) sIndices += number(u) + " ";
    return R"(<?xml version="1.0"?><COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1"><asset>
<unit meter="0.01"/><up_axis>Z_UP</up_axis></asset><library_geometries><geometry id="g"><mesh><source id="p"><float_array
id="a" count=")" +
           number(3 * v.size()) + "\">" + sPoints + R"(</float_array><technique_common><accessor source="#a" count=")" +
           number(v.size()) +
           R"(" stride="3"><param name="X" type="float"/><param name="Y" type="float"/><param name="Z"
type="float"/></accessor></technique_common></source><vertices id="v"><input semantic="POSITION" source="#p"/></vertices>
<triangles count=")" +
           number(v.size() / 3) + R"("><input semantic="VERTEX" source="#v" offset="0"/><p>)" + sIndices +
           R"(</p></triangles></mesh></geometry></library_geometries><library_visual_scenes><visual_scene id="s"><node
id="n"><instance_geometry url="#g"/></node></visual_scene></library_visual_scenes><scene><instance_visual_scene
url="#s"/></scene></COLLADA>)";
}

}  // namespace

std::string writeLetter(const std::string& sSuffix, const LetterPlace& place) {
    std::vector<Point> v = boxes();
    for (Point& p : v) {
        p = {p.x * place.dScale + place.dX, p.y * place.dScale + place.dY, p.z * place.dScale + place.dZ};
    }
    const std::string sFile = "letter." + sSuffix;
    if (sSuffix == "obj") writeFile(sFile, objText(place));
    if (sSuffix == "stl") writeFile(sFile, stlBytes(v));
    if (sSuffix == "ply") writeFile(sFile, plyText(v));
    if (sSuffix == "dae") writeFile(sFile, daeText(v));
    if (sSuffix == "gltf") {
        writeFile(sFile, gltfText(v, "", R"({"mesh":0,"translation":[-10,0,0],"scale":[-0.5,0.5,0.5]})", "0,1"));
    }
    return sFile;
}

std::string writeLetterWithCamera() {
    writeFile(
        "camera.gltf",
        gltfText(boxes(),
                 R"(,"cameras":[{"type":"perspective","perspective":{"yfov":0.5,"aspectRatio":1.5,"znear":0.1}}],)"
                 R"("extensionsUsed":["KHR_lights_punctual"],"extensions":{"KHR_lights_punctual":{"lights":[)"
                 R"({"type":"point","intensity":7}]}})",
                 R"({"camera":0,"translation":[1.5,2.5,14]},{"translation":[4,9,12],"extensions":)"
                 R"({"KHR_lights_punctual":{"light":0}}})",
                 "0,1,2"));
    return "camera.gltf";
}
