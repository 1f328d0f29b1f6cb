// Textures and colours of vertices on their way from small files of each kind to a scene, and lies on that way.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "render/PreparedScene.h"
#include "support/FileTest.h"

#ifdef RT_IMPORT
#include "import/ModelImport.h"
#include "picture/PictureFile.h"

using namespace rt;

namespace {

class ColoursTest : public FileTest {
 protected:
    // A model of these bytes, as it comes from the reader's process.
    StagedScene stage(const std::string& sFile, const std::string& sText) {
        writeFile(sFile, sText);
        ImportOptions options;
        options.bColours = options.bGround = true;
        StagedScene scene;
        std::string sMessage;
        vNotices.clear();
        EXPECT_FALSE(importModel(sFile, options, scene, sMessage, vNotices)) << sMessage;
        return scene;
    }

    std::vector<std::string> vNotices;
};

// A red texel to the left of a blue one.
constexpr const char* PICTURE =
    "iVBORw0KGgoAAAANSUhEUgAAAAIAAAABCAIAAAB7QOjdAAAADUlEQVR4nGP4zwAE/wEHAAH/4iOeWQAAAABJRU5ErkJggg==";
const unsigned char PICTURE_BYTES[] = {137, 80, 78,  71, 13, 10,  26,  10, 0,   0,   0,  13,  73,  72,  68,  82, 0, 0,
                                       0,   2,  0,   0,  0,  1,   8,   2,  0,   0,   0,  123, 64,  232, 221, 0,  0, 0,
                                       13,  73, 68,  65, 84, 120, 156, 99, 248, 207, 0,  4,   255, 1,   7,   0,  1, 255,
                                       226, 35, 158, 89, 0,  0,   0,   0,  73,  69,  78, 68,  174, 66,  96,  130};

// Corners of the first triangles as X,Y:PLACE#COLOUR, then rules and textures.
std::string describe(const StagedScene& scene, size_t uTriangles) {
    const SurfaceColours& c = scene.colours;
    std::string s;
    char sz[100];
    const auto add = [&](auto... values) { snprintf(sz, sizeof(sz), values...), s += sz; };
    for (size_t u = 0; u < std::min(3 * uTriangles, scene.vTriangles.size()); ++u) {
        const Velk::NMVector3f& p = scene.vVertices[scene.vTriangles[u]];
        add("%s%g,%g", u ? " " : "", static_cast<double>(p.x), static_cast<double>(p.y));
        if (!c.vPlaces.empty())
            add(":%g,%g", static_cast<double>(std::round(c.vPlaces[u].x * 1000) / 1000),
                static_cast<double>(std::round(c.vPlaces[u].y * 1000) / 1000));
        if (!c.vCorners.empty()) add("#%08X", c.vCorners[u]);
    }
    for (const ColourRule& r : c.vRules)
        add(" | %d %g %g %g %u %g", static_cast<int>(r.uTexture), static_cast<double>(r.v3Factor.x),
            static_cast<double>(r.v3Factor.y), static_cast<double>(r.v3Factor.z), r.bVertices,
            static_cast<double>(r.fCutoff));
    for (const TextureImage& t : c.vTextures)
        add(" | %ux%u %u %u %02X%02X%02X", t.uWidth, t.uHeight, t.wraps[0], t.wraps[1], t.vTexels[0], t.vTexels[1],
            t.vTexels[6]);
    return s;
}

// A triangle at 0 0, 2 0 and 0 2, whose places and colours are .25 .5 red, 1 0 green, .5 1 grey.
std::string gltf(const std::string& sNode, const std::string& sMaterial, const std::string& sTexture) {
    return R"({"asset":{"version":"2.0"},"extensionsUsed":["KHR_texture_transform","KHR_materials_pbrSpecularGlossiness"],"scenes":[{"nodes":[0]}],"nodes":[{"mesh":0)" +
           sNode +
           R"(}],"meshes":[{"primitives":[{"attributes":{"POSITION":0,"TEXCOORD_0":1,"COLOR_0":2},"material":0}]}],)"
           R"("materials":[{"pbrMetallicRoughness":{"baseColorFactor":[0.5,0.25,1,1],"baseColorTexture":{"index":0)" +
           sTexture + "}}" + sMaterial +
           R"(}],"textures":[{"source":0,"sampler":0}],"samplers":[{"wrapS":33071,"wrapT":33648}],)"
           R"("images":[{"mimeType":"image/png","uri":"data:image/png;base64,)" +
           PICTURE +
           R"("}],"accessors":[{"bufferView":0,"componentType":5126,"count":3,"type":"VEC3"},)"
           R"({"bufferView":1,"componentType":5126,"count":3,"type":"VEC2"},)"
           R"({"bufferView":2,"componentType":5121,"normalized":true,"count":3,"type":"VEC4"}],)"
           R"("bufferViews":[{"buffer":0,"byteLength":36},{"buffer":0,"byteOffset":36,"byteLength":24},)"
           R"({"buffer":0,"byteOffset":60,"byteLength":12}],"buffers":[{"byteLength":72,)"
           R"("uri":"data:application/octet-stream;base64,AAAAAAAAAAAAAAAAAAAAQAAAAAAAAAAAAAAAAAAAAEAAAAAAAACAPgAAAD8)"
           R"(AAIA/AAAAAAAAAD8AAIA//wAA/wCAAP8zMzOA"}]})";
}

TEST_F(ColoursTest, PlacesColoursAndTexturesReachTheScene) {
    const std::string sPicture(reinterpret_cast<const char*>(PICTURE_BYTES), sizeof(PICTURE_BYTES));
    writeFile("dot.png", sPicture);
    writeFile("m.mtl", "newmtl black\nKd 0 0 0\nmap_Kd dot.png\nnewmtl plain\nKd 1 0 0\n");
    const std::vector<uint8_t> vWhite(4098 * 16 * 3, 255);
    for (const char* sz : {"wide.png", "wide.jpg"}) ASSERT_FALSE(writePicture(sz, {vWhite.data(), 4098, 16}));
    writeFile("w.mtl", "newmtl wide\nmap_Kd wide.png\nnewmtl white\nmap_Kd wide.jpg\n");
    const std::string sObj =
        "mtllib m.mtl\nv 0 0 0\nv 2 0 0\nv 0 2 0\nv 0.2 0.2 0\nvt 0.25 0.5\nvt 1 0\nvt 0.5 1\nusemtl black\n";
    const std::string sPly =
        "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n"
        "property uchar red\nproperty uchar green\nproperty uchar blue\nelement face 1\n"
        "property list uchar int vertex_indices\nend_header\n0 0 0 255 0 0\n2 0 0 0 128 0\n0 2 0 51 51 51\n3 0 1 2\n";
    const std::string sTurn =
        R"(,"extensions":{"KHR_texture_transform":{"offset":[0.125,0.25],"rotation":1.5707963,"scale":[2,4]}})";
    const std::string s3mf =
        "<model><resources><texture2d id='2' path='/dot.png'/><texture2dgroup id='5' texid='2'>"
        "<tex2coord u='.25' v='.5'/><tex2coord u='1' v='0'/><tex2coord u='.5' v='1'/></texture2dgroup>"
        "<colorgroup id='6'><color color='#FF0000'/><color color='#008000'/><color color='#333333'/></colorgroup>"
        "<object id='1'><mesh><vertices><vertex x='0' y='0' z='0'/><vertex x='2' y='0' z='0'/>"
        "<vertex x='0' y='0' z='2'/></vertices><triangles><triangle v1='0' v2='1' v3='2' pid='5' p1='0' p2='1' p3='2'/>"
        "<triangle v1='0' v2='1' v3='2' pid='6' p1='0' p2='1' p3='2'/></triangles></mesh></object></resources>"
        "<build><item objectid='1' transform='-1 0 0 0 1 0 0 0 1 0 0 0'/></build></model>";
    const std::string DOT = " | 2x1 0 0 FF00FF", OWN = " | -1 1 1 1 0 0", GLTF = " | 2x1 1 2 FF00FF";
    const struct {
        const char* szFile;
        std::string sText;
        size_t uTriangles;
        std::string sWanted;
    } ROWS[] = {
        {"dropped.obj", sObj + "f 1/2 1/2 2/2\nf 1/1 2/2 3/3\n", 1,
         "0,0:0.25,0.5 2,0:1,1 0,2:0.5,0 | 0 1 1 1 0 0" + OWN + DOT},
        {"turned quad.obj", sObj + "vt inf x\nf 3/3 1/1 2/9 4/-1\nusemtl plain\nf 2/2 3/3 1/1\n", 2,
         "0.2,0.2:0,1 0,2:0.5,0 0,0:0.25,0.5 0.2,0.2:0,1 0,0:0.25,0.5 2,0:0,0 | 0 1 1 1 0 0" + OWN + OWN + DOT},
        {"through assimp.obj", sObj + "vp 0 0\nf 1/1 2/2 3/3\n", 1,
         "0,0:0.25,0.5 2,0:1,1 0,2:0.5,0 | 0 1 1 1 0 0" + OWN + DOT},
        {"large pictures.obj", sObj + "mtllib w.mtl\nusemtl wide\nf 1/1 2/2 3/3\nusemtl white\nf 1/1 3/3 4/3\n", 1,
         "0,0:0.25,0.5 2,0:1,1 0,2:0.5,0 | 0 1 1 1 0 0 | 1 1 1 1 0 0" + OWN +
             " | 2049x16 0 0 FFFFFF | 2049x8 0 0 FFFFFF"},
        {"no places.obj", sObj + "f 1 2 3\n", 1, "0,0 2,0 0,2"},
        {"colours.obj", "v 0 0 0 1 0 0\nv 2 0 0 0 0.5 2\nv 0 2 0\nf 1 2 3\n", 1,
         "0,0#FF0000FF 2,0#FFFF8000 0,2#FFFFFFFF | -1 1 1 1 1 0" + OWN},
        {"colours.ply", sPly, 1, "0,0#FF0000FF 2,0#FF008000 0,0#FF333333 | -1 1 1 1 1 0" + OWN},
        {"mirrored.3mf", zip({{"3D/3dmodel.model", s3mf}, {"dot.png", sPicture}}), 2,
         "0,0:0.25,0.5#FFFFFFFF 0,2:0.5,0#FFFFFFFF -2,0:1,1#FFFFFFFF 0,0:0,0#FF0000FF 0,2:0,0#FF333333 "
         "-2,0:0,0#FF008000 | 0 1 1 1 0 0 | -1 1 1 1 1 0" +
             OWN + DOT},
        {"plain.gltf", gltf("", "", ""), 1,
         "0,0:0.25,0.5#FF0000FF 2,0:1,0#FF00BC00 0,2:0.5,1#807C7C7C | 0 0.5 0.25 1 1 0" + OWN + GLTF},
        {"mirrored.gltf", gltf(",\"scale\":[-1,1,1]", ",\"alphaMode\":\"MASK\",\"alphaCutoff\":0.25", ""), 1,
         "0,2:0.5,1#807C7C7C -2,0:1,0#FF00BC00 0,0:0.25,0.5#FF0000FF | 0 0.5 0.25 1 1 0.25" + OWN + GLTF},
        {"moved.gltf", gltf("", ",\"alphaMode\":\"BLEND\"", sTurn), 1,
         "0,0:2.125,-0.25#FF0000FF 2,0:0.125,-1.75#FF00BC00 0,2:4.125,-0.75#807C7C7C | 0 0.5 0.25 1 1 0.5" + OWN +
             GLTF},
    };
    for (const auto& row : ROWS) {
        EXPECT_EQ(describe(stage(row.szFile, row.sText), row.uTriangles), row.sWanted) << row.szFile;
        for (const std::string& s : vNotices) EXPECT_FALSE(contains(s, "colour")) << row.szFile << ": " << s;
    }
}

// Metal, roughness, textures of both, emission with its texture, mask: of what a file says outright, and of what its
// program means.
TEST_F(ColoursTest, HowMaterialsGleamReachesTheScene) {
    writeFile("dot.png", {reinterpret_cast<const char*>(PICTURE_BYTES), sizeof(PICTURE_BYTES)});
    const std::string sTexture = ",\"metallicFactor\":0.5,\"metallicRoughnessTexture\":{\"index\":0}";
    const auto obj = [&](const char* szMaterial) {
        writeFile("m.mtl", std::string("newmtl m\n") + szMaterial);
        return stage("m.obj",
                     "mtllib m.mtl\nv 0 0 0\nv 2 0 0\nv 0 2 0\nvt 0 0\nvt 1 0\nvt 0 1\nusemtl m\nf 1/1 2/2 3/3\n");
    };
    const auto describeGleam = [](const StagedScene& scene) -> std::string {
        if (scene.colours.vRules.empty()) return "plain";
        const ColourRule& r = scene.colours.vRules[0];
        char sz[200];
        const auto wide = [](float f) { return static_cast<double>(f); };
        const auto index = [](uint32_t u) { return static_cast<int>(u); };
        snprintf(sz, sizeof(sz), "%u %.3g,%d %.3g,%d %.3g,%d %d %.3g", r.bPhysical, wide(r.fMetal), index(r.uMetal),
                 wide(r.fRough), index(r.uRough), wide(r.v3Emission.y), index(r.uEmission), index(r.uMask),
                 wide(r.v3Factor.y));
        return sz;
    };
    EXPECT_EQ(describeGleam(stage("m.gltf", gltf("", ",\"emissiveFactor\":[0,0.5,0],\"emissiveTexture\":{\"index\":0}",
                                                 "}" + sTexture + ",\"x\":{\"y\":0"))),
              "1 0.5,1 1,1 0.5,0 -1 0.25");
    const std::string sOld =
        ",\"extensions\":{\"KHR_materials_pbrSpecularGlossiness\":{\"diffuseFactor\":[0,0.125,0,1],\"specularFactor\":"
        "[";
    EXPECT_EQ(describeGleam(stage("metal.gltf", gltf("", sOld + "1,0.5,0.25],\"glossinessFactor\":0.75}}", ""))),
              "1 1,-1 0.25,-1 0,-1 -1 0.5");
    EXPECT_EQ(describeGleam(stage("oldest.gltf", gltf("", sOld + "0,0,0],\"glossinessFactor\":0.75}}", ""))),
              "1 0,-1 0.25,-1 0,-1 -1 0.125");
    const struct {
        const char *szMaterial, *szWanted;
    } ROWS[] = {
        {"Kd 1 0.5 0\nPm 1\nPr 0.25\n", "1 1,-1 0.25,-1 0,-1 -1 0.214"},
        {"Kd 1 0.5 0\nPr 1\nmap_Pr dot.png\n", "1 0,-1 1,0 0,-1 -1 0.214"},
        {"Kd 1 0.5 0\nillum 3\nKa 1 1 1\nKs 0.5 0.5 0.5\nNs 250\n", "1 1,-1 0.5,-1 0,-1 -1 0.214"},
        {"Kd 1 0.5 0\nillum 3\nKa 0 0 0\nKs 0.5 0.5 0.5\nNs 250\n", "plain"},
        {"Kd 0.75 0.6 0.2\nKs 0.6 0.5 0.4\nNs 30\n", "1 1,-1 0.5,-1 0,-1 -1 0.6"},
        {"Kd 0.75 0.6 0.2\nKs 0.75 0.6 0.2\nNs 30\n", "plain"},  // a copy
        {"Kd 0 0 0\nKe 0 0.5 0\n", "0 0,-1 1,-1 0.214,-1 -1 0"},
        {"Kd 0 0.5 0\nKe 0 0.5 0\n", "plain"},  // a copy
        {"Kd 0 0 0\nmap_Ke dot.png\n", "0 0,-1 1,-1 1,0 -1 0"},
        {"Kd 0 0.5 0\nmap_Ke dot.png\n", "0 0,-1 1,-1 1,0 -1 0.214"},
        {"Kd 0 0.5 0\nmap_d dot.png\n", "0 0,-1 1,-1 0,-1 0 0.214"},
        {"map_Kd dot.png\nmap_d dot.png\n", "0 0,-1 1,-1 0,-1 -1 1"},
    };
    for (const auto& row : ROWS) EXPECT_EQ(describeGleam(obj(row.szMaterial)), row.szWanted) << row.szMaterial;
}

// A corner of three walls, of which the file says that it is round.
TEST_F(ColoursTest, PlyOfBlenderHasZUpAndFlatFaces) {
    const auto plyBy = [](const std::string& sComment) {
        std::string s = "ply\nformat ascii 1.0\n" + sComment + "element vertex 4\n";
        for (const char* sz : {"x", "y", "z", "nx", "ny", "nz"}) s += std::string("property float ") + sz + "\n";
        return s +
               "element face 3\nproperty list uchar int vertex_indices\nend_header\n0 0 0 0 0 1\n1 0 0 0 0 1\n0 1 0 0 "
               "0 1\n"
               "0 0 3 0 0 1\n3 0 1 2\n3 0 2 3\n3 0 3 1\n";
    };
    const StagedScene round = stage("round.ply", plyBy("")),
                      flat = stage("flat.ply", plyBy("comment Created by Blender 3.4.1\n"));
    EXPECT_EQ(round.vVertices.size(), 4u + 4);  // of the ground
    EXPECT_EQ(flat.vVertices.size(), 9u + 4);
    const auto highest = [](const StagedScene& scene) {
        float f = 0;
        for (const Velk::NMVector3f& v3 : scene.vVertices) f = std::max(f, v3.y);
        return f;
    };
    EXPECT_EQ(highest(flat), 3.0f);
}

// The reader's process may have gone astray.
TEST_F(ColoursTest, ColoursThatDoNotFitTheMeshAreNotReceived) {
    const StagedScene good = stage("good.gltf", gltf("", "", ""));
    const auto isRefused = [](const StagedScene& scene, size_t uAt = 0, unsigned char cChange = 0) {
        const int iFile = memfd_create("test", MFD_CLOEXEC);
        EXPECT_FALSE(scene.send(iFile));
        unsigned char c = 0;
        EXPECT_EQ(pread(iFile, &c, 1, static_cast<off_t>(uAt)), 1);
        c = static_cast<unsigned char>(c ^ cChange);
        EXPECT_EQ(pwrite(iFile, &c, 1, static_cast<off_t>(uAt)), 1);
        StagedScene received;
        const bool bFailed = received.receive(iFile);
        close(iFile);
        return bFailed;
    };
    EXPECT_FALSE(isRefused(good));
    void (*const LIES[])(SurfaceColours&) = {
        [](SurfaceColours& c) { c.vPlaces.pop_back(); },
        [](SurfaceColours& c) { c.vPlaces.clear(); },
        [](SurfaceColours& c) { c.vPlaces[1].y = INFINITY; },
        [](SurfaceColours& c) { c.vCorners.push_back(0); },
        [](SurfaceColours& c) { c.vCorners.clear(); },
        [](SurfaceColours& c) { c.vRules.pop_back(); },
        [](SurfaceColours& c) { c.vRules[1].uTexture = 1; },
        [](SurfaceColours& c) { c.vRules[0].bVertices = 2; },
        [](SurfaceColours& c) { c.vRules[0].v3Factor.y = NAN; },
        [](SurfaceColours& c) { c.vRules[0].fCutoff = -1; },
        [](SurfaceColours& c) { c.vRules[1].uEmission = 1; },
        [](SurfaceColours& c) { c.vRules[0].fRough = NAN; },
        [](SurfaceColours& c) { c.vRules[0].v3Emission.z = 1e9f; },
        [](SurfaceColours& c) { c.vRules[0].bPhysical = 2; },
        [](SurfaceColours& c) { c.vTextures[0].bNumbers = 2; },
        [](SurfaceColours& c) { c.vTextures.clear(); },
        [](SurfaceColours& c) {
            c.vTextures[0] = {1u << 31, 1u << 31, {}, 0, {}};
        },
        [](SurfaceColours& c) { c.vTextures[0].uHeight = 0; },
        [](SurfaceColours& c) { c.vTextures[0].wraps[1] = static_cast<TextureImage::Wrap>(3); },
        [](SurfaceColours& c) { c.vTextures[0].vTexels.pop_back(); },
    };
    for (const auto& lie : LIES) {
        StagedScene bad = good;
        lie(bad.colours);
        EXPECT_TRUE(isRefused(bad)) << &lie - LIES;
    }
    for (size_t u = 32 + 5 * 8; u < 32 + 9 * 8; ++u)
        EXPECT_TRUE(isRefused(good, u, 0x41)) << "byte " << u << " of the counts";
    PreparedScene prepared;
    ASSERT_FALSE(good.handOver(prepared));
    EXPECT_EQ(prepared.colours.vPlaces.size(), good.vTriangles.size());
    prepared.release();
    EXPECT_TRUE(prepared.colours.vTextures.empty());
}

}  // namespace
#endif
