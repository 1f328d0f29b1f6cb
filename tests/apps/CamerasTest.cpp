// Cameras and layers of rt-render: what a file of cameras says is what its pictures show, and what layers tell is so.
// No file of cameras does harm.
#if defined(RT_RENDER) && defined(RT_IMPORT)
#include <algorithm>
#include <cmath>
#include <cstring>

#ifdef RT_EXR
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>
#endif
#include <nlohmann/json.hpp>

#include "apps/RenderSteps.h"

using namespace rt;

namespace {

using nlohmann::json;

constexpr double SHAPE[][3] = {{-2, 0, 1}, {2, 0, 1}, {-2, 3, 0}, {1, 1, -2}, {2, 2, -1.5}, {1.5, 0.5, 2}, {-1, 4, 2}};
constexpr unsigned CORNERS[][3] = {{0, 1, 2}, {1, 3, 4}, {4, 5, 0}, {2, 4, 6}};

std::string shapeText() {
    std::string s;
    for (const auto& v : SHAPE) {
        s += "v " + std::to_string(v[0]) + " " + std::to_string(v[1]) + " " + std::to_string(v[2]) + "\n";
    }
    for (const auto& t : CORNERS) {  // two triangles a part
        s += (&t - CORNERS) / 2 ? "g \"b\"\n" : "o a\n";
        s += "f " + std::to_string(t[0] + 1) + " " + std::to_string(t[1] + 1) + " " + std::to_string(t[2] + 1) + "\n";
    }
    return s;
}

// Where a camera of a transforms.json file sees a point of the file's world.
std::pair<double, double> seen(const json& all, const json& frame, const double* p) {
    const auto value = [&](const char* sz) { return frame.value(sz, all.value(sz, 0.0)); };
    const json& m = frame["transform_matrix"];
    double c[3] = {};
    for (unsigned a = 0; a < 3; ++a) {
        for (unsigned r = 0; r < 3; ++r) c[a] += m[r][a].get<double>() * (p[r] - m[r][3].get<double>());
    }
    const double dDepth = all.contains("camera_model") ? 1.0 : -c[2];
    return {value("cx") + value("fl_x") * c[0] / dDepth, value("cy") - value("fl_y") * c[1] / dDepth};
}

// How many pixels of a PPM file of 64 x 48 pixels, whose first one is background, show something else than the shape
// that the camera sees.
unsigned countWrong(const std::string& sPicture, const json& all, const json& frame) {
    const std::string sPpm = readFile(sPicture), sPixels = sPpm.substr(std::min<size_t>(sPpm.size(), 13));
    if (sPixels.size() != 64 * 48 * 3) return 9999;
    unsigned uWrong = 0, uCovered = 0;
    for (unsigned u = 0; u < 64 * 48; ++u) {
        const double x = u % 64 + 0.5, y = u / 64 + 0.5;
        bool bCovered = false;
        for (const auto& t : CORNERS) {
            const auto [ax, ay] = seen(all, frame, SHAPE[t[0]]);
            const auto [bx, by] = seen(all, frame, SHAPE[t[1]]);
            const auto [cx, cy] = seen(all, frame, SHAPE[t[2]]);
            const double d1 = (bx - ax) * (y - ay) - (by - ay) * (x - ax),
                         d2 = (cx - bx) * (y - by) - (cy - by) * (x - bx),
                         d3 = (ax - cx) * (y - cy) - (ay - cy) * (x - cx);
            bCovered = bCovered || (d1 > 0 && d2 > 0 && d3 > 0) || (d1 < 0 && d2 < 0 && d3 < 0);
        }
        uCovered += bCovered;
        uWrong += bCovered != (sPixels.compare(u * 3, 3, sPixels, 0, 3) != 0);
    }
    return uCovered > 100 ? uWrong : 9999;
}

TEST_F(RenderTest, CamerasOfAFileSeeWhatItsNumbersSay) {
    writeFile("shape.obj", shapeText());
    const std::string sSame = "shape.obj --background red --samples 1 --resolution 64 48 ";
    for (const std::string s :
         {"--views front,top,left,iso", "--ortho --views bottom,iso", "--hemisphere 3 --seed 7 --fov 20",
          "--orbit 2 --intrinsics 70 60 35 20", "--ortho --orbit 2", "--ortho --from 1 9 -9 --at 0 1 0 --orbit 2"}) {
        ASSERT_EQ(render(sSame + s + " -o x.ppm --write-cameras x.json"), 0) << sOutput;
        ASSERT_EQ(render(sSame + "--cameras x.json -o y.ppm --write-cameras y.json"), 0) << sOutput;
        for (const char* szFile : {"x.json", "y.json"}) {
            const json all = json::parse(readFile(szFile), nullptr, false);
            ASSERT_GE(all["frames"].size(), 2u) << s;
            for (const json& frame : all["frames"]) {
                EXPECT_LE(countWrong(frame["file_path"], all, frame), 2u) << s << frame["file_path"];
            }
        }
    }
    // RayTracer's pixels show their corners, and means lie between: the numbers say so.
    for (const std::string s : {"--samples 1 ", "--samples 3 "}) {
        const std::string sLamps = "shape.obj --light lamps --resolution 64 48 --views iso " + s;
        ASSERT_EQ(render(sLamps + "-o x.ppm --write-cameras x.json"), 0) << sOutput;
        const json all = json::parse(readFile("x.json"), nullptr, false);
        EXPECT_NEAR(all.value("cx", 0.0), s == "--samples 1 " ? 32.5 : 32.0 + 0.5 / 3, 1e-6);
        EXPECT_LE(countWrong("x-iso.ppm", all, all["frames"][0]), s == "--samples 1 " ? 2u : 400u) << "blurred edges";
    }
}

// The numbers of a NumPy file of 48 x 64 pixels; empty when it is none of this shape.
template <typename T>
std::vector<T> numbersOf(const std::string& sFile, unsigned uComponents) {
    const std::string s = readFile(sFile),
                      sShape = "48, 64" + (uComponents > 1 ? ", " + std::to_string(uComponents) : "");
    const size_t uData = s.find('\n') + 1;
    if (!contains(s.substr(0, uData), "(" + sShape + ")") || uData % 64) return {};
    std::vector<T> v(64 * 48 * uComponents);
    if (s.size() != uData + v.size() * sizeof(T)) return {};
    memcpy(v.data(), s.data() + uData, v.size() * sizeof(T));
    return v;
}

TEST_F(RenderTest, LayersTellWhatPixelsShow) {
    writeFile("shape.obj", shapeText());
    const std::string sAll = " --layers depth,normal,position,albedo,mesh,material,face,mask ";
    for (const std::string s :
         {"--views iso", "--ortho --views left", "--views iso --light lamps --samples 2 --ground"}) {
        const std::string sSame = "shape.obj --resolution 64 48 --write-cameras x.json " + s + sAll;
        ASSERT_EQ(render(sSame + "-o x.png --layers-format npy"), 0) << sOutput;
        const json all = json::parse(readFile("x.json"), nullptr, false), frame = all["frames"][0];
        const std::string sStem = s.find("left") == std::string::npos ? "x-iso" : "x-left";
        EXPECT_TRUE(fs::exists(sStem + ".png"));
        const auto vView = numbersOf<float>(sStem + "-depth-view.npy", 1),
                   vRay = numbersOf<float>(sStem + "-depth-ray.npy", 1),
                   vNormal = numbersOf<float>(sStem + "-normal.npy", 3),
                   vAt = numbersOf<float>(sStem + "-position.npy", 3),
                   vAlbedo = numbersOf<float>(sStem + "-albedo.npy", 3),
                   vMask = numbersOf<float>(sStem + "-mask.npy", 1);
        const auto vFace = numbersOf<uint32_t>(sStem + "-face.npy", 1),
                   vMaterial = numbersOf<uint32_t>(sStem + "-material.npy", 1),
                   vMesh = numbersOf<uint32_t>(sStem + "-mesh.npy", 1);
        const json parts = json::parse(readFile("x.parts.json"), nullptr, false);
        ASSERT_EQ(parts.size(), contains(s, "--ground") ? 3u : 2u) << parts;
        EXPECT_EQ(parts[1]["path"], "a/\"b\"");
        EXPECT_EQ(parts[1]["triangles"], 2);
        ASSERT_FALSE(vView.empty() || vRay.empty() || vNormal.empty() || vAt.empty() || vAlbedo.empty() ||
                     vMask.empty() || vFace.empty() || vMaterial.empty() || vMesh.empty());
        unsigned uSeen = 0;
        for (unsigned u = 0; u < 64 * 48; ++u) {
            const bool bSeen = vMask[u] == 1.0f;
            ASSERT_EQ(vFace[u] != ~0u, bSeen);
            ASSERT_EQ(vMesh[u], bSeen ? vFace[u] / 2 : ~0u);
            ASSERT_EQ(vMaterial[u] != ~0u && std::isfinite(vView[u]) && std::isfinite(vRay[u]), bSeen);
            if (!bSeen) continue;
            ++uSeen;
            const double p[3] = {vAt[u * 3], vAt[u * 3 + 1], -vAt[u * 3 + 2]};  // in the file's world
            const auto [x, y] = seen(all, frame, p);
            ASSERT_NEAR(x, u % 64 + 0.5, 0.01);
            ASSERT_NEAR(y, u / 64 + 0.5, 0.01);
            double dRay = 0, dView = 0;
            for (unsigned r = 0; r < 3; ++r) {
                const double d = p[r] - frame["transform_matrix"][r][3].get<double>();
                dRay += d * d;
                dView -= d * frame["transform_matrix"][r][2].get<double>();
            }
            ASSERT_NEAR(vView[u], dView, 1e-3);
            ASSERT_NEAR(vRay[u], sStem == "x-iso" ? sqrt(dRay) : dView, 1e-3);
            if (vFace[u] >= 4) continue;  // the ground
            ASSERT_GT(vAlbedo[u * 3], 0.1f);
            const double* const a = SHAPE[CORNERS[vFace[u]][0]];
            for (const unsigned uCorner : CORNERS[vFace[u]]) {  // the point and the triangle lie in the normal's plane
                const double* b = SHAPE[uCorner];
                const float* n = &vNormal[u * 3];
                ASSERT_NEAR((b[0] - a[0]) * n[0] + (b[1] - a[1]) * n[1] - (b[2] - a[2]) * n[2], 0.0, 1e-4) << vFace[u];
                ASSERT_NEAR((b[0] - p[0]) * n[0] + (b[1] - p[1]) * n[1] - (b[2] - p[2]) * n[2], 0.0, 1e-3) << vFace[u];
            }
        }
        EXPECT_GT(uSeen, 100u);
#ifdef RT_EXR
        ASSERT_EQ(render(sSame + "-o y.exr"), 0) << sOutput;
        EXPECT_FALSE(fs::exists("y-iso.png"));
        Imf::InputFile file(("y" + sStem.substr(1) + ".exr").c_str());
        std::vector<float> vZ(64 * 48), vNy(64 * 48);
        std::vector<uint32_t> vIds(64 * 48);
        Imf::FrameBuffer buffer;
        const auto read = [&](const char* sz, Imf::PixelType eType, void* p) {
            const Imf::Channel* pChannel = file.header().channels().findChannel(sz);
            EXPECT_TRUE(pChannel && pChannel->type == eType) << sz;
            buffer.insert(sz, Imf::Slice(eType, static_cast<char*>(p), 4, 4 * 64));
        };
        read("Z", Imf::FLOAT, vZ.data());
        read("N.Y", Imf::FLOAT, vNy.data());
        read("face", Imf::UINT, vIds.data());
        file.setFrameBuffer(buffer);
        file.readPixels(0, 47);
        EXPECT_TRUE(vZ == vView && vIds == vFace);
        for (unsigned u = 0; u < 64 * 48; ++u) ASSERT_EQ(vNy[u], vNormal[u * 3 + 1]);
#endif
    }
}

TEST_F(RenderTest, FilesOfCamerasAreReadWithCare) {
    const std::string sPose = R"("transform_matrix":[[1,0,0,0],[0,1,0,3],[0,0,1,9],[0,0,0,1]])";
    const auto with = [](const std::string& sFrames) { return R"({"camera_angle_x":0.9,"frames":[)" + sFrames + "]}"; };
    const auto turned = [&](const char* sz) { return with(R"({"transform_matrix":)" + std::string(sz) + "}"); };
    std::string sMany = "{" + sPose + "}";
    for (unsigned u = 1; u < 10000; ++u) sMany += ",{" + sPose + "}";
    const std::pair<std::string, const char*> cases[] = {
        {"", "not a file of cameras"},
        {std::string(100000, '['), "not a file of cameras"},
        {"{\"frames\":3}", "not a file of cameras"},
        {with(""), "not a file of cameras"},
        {with(sMany), "10000 cameras, 9999 at most"},
        {with("7"), "frames[0]: an object expected"},
        {with("{}"), "frames[0]: transform_matrix of 4 x 4 numbers expected"},
        {turned("[[1,0,0],[0,1,0],[0,0,1]]"), "frames[0]: transform_matrix of 4 x 4"},
        {turned("[[1,0,0,1e30],[0,1,0,0],[0,0,1,0]]"), "frames[0]: transform_matrix of 4 x 4"},
        {turned("[[2,0,0,0],[0,1,0,0],[0,0,1,0]]"), "is no rotation"},
        {turned("[[-1,0,0,0],[0,1,0,0],[0,0,1,0]]"), "is a mirror"},
        {with("{\"fl_x\":-1," + sPose + "}"), "frames[0]: fl_x is no such number"},
        {with("{\"w\":\"wide\"," + sPose + "}"), "frames[0]: w is no such number"},
        {"{\"frames\":[{" + sPose + "}]}", "fl_x or camera_angle_x expected"},
    };
    for (const auto& [sText, szSaid] : cases) {
        writeFile("c.json", sText);
        EXPECT_EQ(render("test --cameras c.json -o x.png"), 1) << sText.substr(0, 99);
        EXPECT_TRUE(contains(sOutput, szSaid)) << sOutput;
        EXPECT_EQ(std::count(sOutput.begin(), sOutput.end(), '\n'), 1) << sOutput;
    }
    // Names of pictures are names alone, and sizes are those of the cameras.
    writeFile("c.json", with(R"({"file_path":"../../etc/-a b.jpg","w":20,"h":10,"k1":0.5,)" + sPose + "}"));
    EXPECT_EQ(render("test --cameras c.json -o x.ppm"), 0) << sOutput;
    EXPECT_TRUE(contains(sOutput, "distortion")) << sOutput;
    EXPECT_EQ(readFile("x-_a_b.ppm").substr(0, 9), "P6\n20 10\n");
    EXPECT_EQ(list(), (std::vector<std::string>{"Scenes", "c.json", "cache", "x-_a_b.ppm"}));
    EXPECT_EQ(render("test --views front,top --sheet -o s.ppm"), 0) << sOutput;
    EXPECT_EQ(readFile("s.ppm").substr(0, 9), "P6\n112 48");
}

}  // namespace
#endif
