// rt-import on small models of every kind: what comes out stands upright, is framed and lit, or is refused in one line.

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "render/RayTracer.h"
#include "scene/Scene.h"
#include "support/FileTest.h"
#include "support/Letter.h"
#include "support/Meshes.h"
#include "support/Process.h"
#include "support/Scenes.h"

using namespace rt;

#ifdef RT_IMPORT
namespace {

class ImportTest : public FileTest {
 protected:
    // Exit status; what was printed is in sOutput and sErrors.
    int import(const std::string& sArguments) {
        const int iStatus =
            runCommand("timeout 300 " RT_EMULATOR " " RT_IMPORT " " + sArguments + " 2>err.txt", sOutput);
        sErrors = readFile("err.txt");
        std::filesystem::remove("err.txt");
        return iStatus;
    }

    std::string sOutput, sErrors;
};

std::string descriptionOf(const std::string& sName) {
    return "Scenes/scene_descs/" + sName + ".txt";
}

// The scene's picture, a red value a pixel.
std::vector<std::vector<unsigned>> pictureOf(const std::string& sName, unsigned uWidth, unsigned uHeight) {
    RayTracer tracer;
    tracer.parameters.bCustomResolution = tracer.parameters.bResetCache = true;
    tracer.parameters.uWidth = uWidth;
    tracer.parameters.uHeight = uHeight;
    EXPECT_FALSE(tracer.load(descriptionOf(sName).c_str(), false));
    EXPECT_FALSE(tracer.preprocessScene());
    EXPECT_FALSE(tracer.run());
    std::vector<std::vector<unsigned>> vRows(uHeight, std::vector<unsigned>(uWidth));
    for (unsigned y = 0; y < uHeight; ++y) {
        for (unsigned x = 0; x < uWidth; ++x) vRows[y][x] = tracer.image.getPixel(x, y) >> 16;
    }
    return vRows;
}

struct Found {
    unsigned uLeft = ~0u, uRight = 0, uTop = ~0u, uBottom = 0, uLit = 0;
    double dMean = 0;
};

// The box and brightness of what is not background, looking at columns from uFrom on.
Found find(const std::vector<std::vector<unsigned>>& vRows, unsigned uFrom = 0) {
    Found f;
    for (unsigned y = 0; y < vRows.size(); ++y) {
        for (unsigned x = uFrom; x < vRows[y].size(); ++x) {
            if (vRows[y][x] < 8) continue;
            f.uLeft = std::min(f.uLeft, x), f.uRight = std::max(f.uRight, x);
            f.uTop = std::min(f.uTop, y), f.uBottom = y;
            f.dMean += vRows[y][x], ++f.uLit;
        }
    }
    f.dMean /= f.uLit ? f.uLit : 1;
    return f;
}

// Whether the box holds an F: which of its places, as shares of width and height, are the letter.
void expectLetter(const std::vector<std::vector<unsigned>>& vRows, const Found& f, const std::string& sWhat) {
    const auto lit = [&](double dX, double dY) {
        return vRows[static_cast<size_t>(f.uTop + dY * (f.uBottom - f.uTop))]
                    [static_cast<size_t>(f.uLeft + dX * (f.uRight - f.uLeft))] >= 8;
    };
    const std::pair<double, double> letter[] = {{0.16, 0.05}, {0.16, 0.5}, {0.16, 0.95}, {0.9, 0.1}, {0.7, 0.5}};
    for (const auto& [dX, dY] : letter) EXPECT_TRUE(lit(dX, dY)) << sWhat << " at " << dX << ' ' << dY;
    for (const auto& [dX, dY] : {std::pair{0.9, 0.9}, {0.5, 0.9}, {0.95, 0.5}}) {
        EXPECT_FALSE(lit(dX, dY)) << sWhat << " at " << dX << ' ' << dY;
    }
}

TEST_F(ImportTest, LettersOfEveryFormatStandUprightAndAreNotMirrored) {
    for (const std::string sSuffix : {"obj", "stl", "ply", "gltf", "dae"}) {
        ASSERT_EQ(import(writeLetter(sSuffix) + " --fov 4 --turn 0 --elevation 0 --force"), 0) << sErrors;
        const auto vRows = pictureOf("letter", 120, 90);
        // The mirroring node's letter of the glTF file lies to the left of the other one.
        expectLetter(vRows, find(vRows, sSuffix == "gltf" ? 60 : 0), sSuffix);
        EXPECT_LT(differingWithOwnCamera(descriptionOf("letter"), 120, 90), 20u) << sSuffix;
        if (sSuffix == "gltf") continue;
        ASSERT_EQ(import("letter." + sSuffix + " --turn 90 --elevation 0 --force"), 0) << sErrors;
        const auto vSide = pictureOf("letter", 120, 90);
        const Found f = find(vSide);
        EXPECT_GE(vSide[f.uBottom - 1][f.uLeft + 1], 8u) << sSuffix << ": the foot";
        EXPECT_LT(vSide[f.uTop + 1][f.uLeft + 1], 8u) << sSuffix << ": above the foot";
    }
}

TEST_F(ImportTest, ModelsOfAnySizeAndPlaceAreFramedAndLit) {
    for (const LetterPlace& place :
         {LetterPlace{}, LetterPlace{1e-6}, LetterPlace{1e6}, LetterPlace{1e-3, 0.2, -0.3, 0.1},
          LetterPlace{10, 20000, -3e4, 5e4}, LetterPlace{0.02, 3, 0, 0}}) {
        const std::string sWhat = std::to_string(place.dScale) + " " + std::to_string(place.dX);
        ASSERT_EQ(import(writeLetter("obj", place) + " --force"), 0) << sErrors;
        const Found f = find(pictureOf("letter", 120, 90));
        EXPECT_GT(std::min(f.uLeft, f.uTop), 2u) << sWhat << ": inside the picture";
        EXPECT_LT(f.uRight, 117u) << sWhat << ": inside the picture";
        EXPECT_LT(f.uBottom, 87u) << sWhat << ": inside the picture";
        EXPECT_GT(std::max((f.uRight - f.uLeft) / 120.0, (f.uBottom - f.uTop) / 90.0), 0.8)
            << sWhat << ": and fills it";
        EXPECT_NEAR(f.dMean, 155, 65) << sWhat;
    }
}

// The renderer takes the outside of glass from the windings: all must agree, after mirroring nodes too.
TEST_F(ImportTest, EveryInstanceIsInPlaceAndKeepsItsOutside) {
    ASSERT_EQ(import(writeLetter("gltf")), 0) << sErrors;
    Scene scene;
    ASSERT_FALSE(scene.loadScene("Scenes/letter/letter.brs"));
    double dVolume = 0;
    for (const FaceData& face : scene.vFaces) {
        dVolume += static_cast<double>(dot(face.pA->v3Position, cross(face.pB->v3Position, face.pC->v3Position))) / 6;
    }
    EXPECT_EQ(scene.vFaces.uCount, 96u);
    EXPECT_NEAR(dVolume, -(9.5 + 9.5 / 8), 1e-3) << "counter-clockwise from outside, z into the picture";
    scene.findMinMax();
    EXPECT_NEAR(scene.boxScene.v3Min.x, -11.6f, 1e-3f);
    EXPECT_NEAR(scene.boxScene.v3Min.z, -3.1f, 1e-3f) << "the front";
}

TEST_F(ImportTest, CameraAndLampsOfTheModelAreUsed) {
    ASSERT_EQ(import(writeLetterWithCamera() + " own"), 0) << sErrors;
    Camera camera;
    ASSERT_FALSE(camera.loadCamera("Scenes/own/own.cam"));
    EXPECT_LT(length(camera.v3Position - Velk::NMVector3f{1.5f, 2.5f, -14.0f}), 1e-4f);
    const float fDistance = length((camera.v3Screen[1] + camera.v3Screen[2]) * 0.5f - camera.v3Position);
    EXPECT_NEAR(length(camera.v3Screen[2] - camera.v3Screen[0]) / fDistance, 2 * tanf(0.25f), 1e-3f);
    EXPECT_EQ(std::pair(camera.uWidth, camera.uHeight), std::pair(1024u, 683u));
    Lights lights;
    ASSERT_FALSE(lights.loadLights("Scenes/own/own.lgt"));
    EXPECT_EQ(lights.uCount, 2u) << "the lamp and the weak one at the eye";
    EXPECT_LT(length(lights.pLights[0].v3Position - Velk::NMVector3f{4, 9, -12}), 0.01f);
    const auto vRows = pictureOf("own", 120, 80);
    const Found f = find(vRows);
    expectLetter(vRows, f, "own camera");
    EXPECT_NEAR(f.dMean, 140, 80);
    ASSERT_EQ(import("camera.gltf own --force --from 0 0 -50 --at 0 0 0 --resolution 30 20"), 0) << sErrors;
    ASSERT_FALSE(camera.loadCamera("Scenes/own/own.cam"));
    EXPECT_EQ(camera.v3Position.z, -50.0f);
    EXPECT_EQ(std::pair(camera.uWidth, camera.uHeight), std::pair(30u, 20u));
}

// Where a camera of the file stands, and whether it is taken.
TEST_F(ImportTest, CamerasThatShowTheModelAreTaken) {
    writeLetterWithCamera();
    const std::string sText = readFile("camera.gltf");
    const size_t uPlace = sText.find("1.5,2.5,14");
    ASSERT_NE(uPlace, std::string::npos);
    const struct {
        const char* szPlace;
        std::string sSays;
    } places[] = {{"1.5, 2.5, 20", ""},
                  {"900, 2.5, 14", "shows nothing of"},
                  {"1.5, 2.5, 800", "shows a speck of"},
                  {"1.5, 1.0, 3.5", "shows a small part of"},
                  {"7.358891, 4.958309, 6.925791", ""}};
    for (const auto& [szPlace, sSays] : places) {
        writeFile("camera.gltf", std::string(sText).replace(uPlace, 10, szPlace));
        double x = 0, y = 0, z = 0;
        sscanf(szPlace, "%lf, %lf, %lf", &x, &y, &z);
        for (const std::string sOption : {"", " --camera-of-file"}) {
            ASSERT_EQ(import("camera.gltf own --force" + sOption), 0) << sErrors;
            EXPECT_EQ(contains(sErrors, "the file's camera " + sSays), !sSays.empty() && sOption.empty()) << sErrors;
            Camera camera;
            ASSERT_FALSE(camera.loadCamera("Scenes/own/own.cam"));
            const bool bTaken = fabs(static_cast<double>(camera.v3Position.z) + z) < 1e-3;
            EXPECT_EQ(bTaken, !sOption.empty() || szPlace == places[0].szPlace) << szPlace;
        }
    }
}

// A plate of 3 x 3 x 0.1 off the floor, flat across one axis, as the files that do not say which axis is up.
TEST_F(ImportTest, PartsLieOnTheirFlatSide) {
    for (const char cUp : {'y', 'z'}) {
        std::string sPoints, sFaces;
        for (unsigned u = 0; u < 8; ++u) {
            const double a = u & 1 ? 4 : 1, b = u & 2 ? 4 : 1, c = u & 4 ? 1.1 : 1;
            char szPoint[100];
            snprintf(szPoint, sizeof(szPoint), "%g %g %g\n", a, cUp == 'z' ? b : c, cUp == 'z' ? c : b);
            sPoints += szPoint;
        }
        for (const char* sz : {"0 1 3 2", "4 5 7 6", "0 1 5 4", "2 3 7 6", "0 2 6 4", "1 3 7 5"})
            sFaces += std::string("4 ") + sz + "\n";
        writeFile("plate.ply",
                  "ply\nformat ascii 1.0\nelement vertex 8\nproperty float x\nproperty float y\nproperty float z\n"
                  "element face 6\nproperty list uchar int vertex_indices\nend_header\n" +
                      sPoints + sFaces);
        ASSERT_EQ(import("plate.ply --force"), 0) << sErrors;
        EXPECT_EQ(contains(sErrors, "z is taken as up, since it rests best so (--up decides)"), cUp == 'z') << sErrors;
        Scene scene;
        ASSERT_FALSE(scene.loadScene("Scenes/plate/plate.brs"));
        scene.findMinMax();
        EXPECT_LT(scene.boxScene.v3Max.y - scene.boxScene.v3Min.y, 0.5f) << cUp;
    }
}

TEST_F(ImportTest, MaterialsKeepTheirColoursMirrorsGlassAndMeanOfTexture) {
    writeFile("two.mtl",
              "newmtl clay\nKd 1 0.5 0\nKs 0.5 0.5 0.5\nNs 41\n"
              "newmtl chrome\nKd 0.2 0.2 0.2\nKs 1 1 1\nillum 3\n"
              "newmtl glass\nKd 1 1 1\nd 0.2\nNi 1.45\nillum 7\nnewmtl paper\nKd 1 1 1\nmap_Kd dot.png\n");
    // One red and one blue pixel.
    const unsigned char PNG[] = {137, 80,  78,  71, 13, 10,  26,  10, 0,   0,   0,  13,  73,  72,  68,  82, 0, 0,
                                 0,   2,   0,   0,  0,  1,   8,   2,  0,   0,   0,  123, 64,  232, 221, 0,  0, 0,
                                 13,  73,  68,  65, 84, 120, 218, 99, 248, 207, 0,  4,   255, 1,   7,   0,  1, 255,
                                 61,  125, 140, 73, 0,  0,   0,   0,  73,  69,  78, 68,  174, 66,  96,  130};
    writeFile("dot.png", std::string(reinterpret_cast<const char*>(PNG), sizeof(PNG)));
    std::string sModel = "mtllib two.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0.2\nvt 0 0\n";
    for (const std::string s : {"clay", "chrome", "glass", "paper"}) sModel += "usemtl " + s + "\nf 1/1 2/1 3/1\n";
    writeFile("two.obj", sModel);
    ASSERT_EQ(import("two.obj"), 0) << sErrors;
    EXPECT_TRUE(contains(sErrors, "material paper: texture dot.png becomes its mean colour")) << sErrors;
    const std::string sText = readFile("Scenes/two/two.atr");
    EXPECT_TRUE(contains(sText, "Attr clay\nkd 0.8\nks 0.3\ngs 42\nkts 0\nkf 1\neta 1\ncolor 255 128 0\n")) << sText;
    EXPECT_TRUE(contains(sText, "kts 0.9\nkf 1\neta 1\ncolor 51 51 51\n")) << sText;
    EXPECT_TRUE(contains(sText, "kf 0.2\neta 1.45\ncolor 255 255 255\n")) << sText;
    EXPECT_TRUE(contains(sText, "color 128 0 128\n")) << sText;
}

// Shared vertices are what is smooth: all of a ball's, none over an edge of a cube. Written numbers are the file's.
TEST_F(ImportTest, VerticesAreSharedWhereTheSurfaceIsSmoothAndReadBackExactly) {
    ASSERT_EQ(import(writeLetter("ply")), 0) << sErrors;
    EXPECT_TRUE(contains(sOutput, "letter: 92 vertices, 48 triangles")) << sOutput;
    EXPECT_TRUE(contains(readFile("Scenes/letter/letter.atr"), "shading flat")) << "edges of 90 degrees and planes";
    Mesh ball;
    Random random(5);
    ball.addSphere({random.between(0, 1), random.between(0, 1), random.between(0, 1)}, 3.0f, 3);
    std::string sModel;
    char szLine[100];
    for (const Velk::NMVector3f& p : ball.vVertices) {
        snprintf(szLine, sizeof(szLine), "v %.9g %.9g %.9g\n", static_cast<double>(p.x), static_cast<double>(p.y),
                 static_cast<double>(p.z));
        sModel += szLine;
    }
    for (const Mesh::Triangle& t : ball.vTriangles) {
        snprintf(szLine, sizeof(szLine), "f %u %u %u\n", t.a + 1, t.b + 1, t.c + 1);
        sModel += szLine;
    }
    writeFile("ball.obj", sModel + "f 1 1 2\nf 1 2 1\n");
    ASSERT_EQ(import("ball.obj"), 0) << sErrors;
    EXPECT_TRUE(contains(readFile("Scenes/ball/ball.atr"), "shading smooth"));
    Scene scene;
    ASSERT_FALSE(scene.loadScene("Scenes/ball/ball.brs"));
    EXPECT_EQ(scene.uVertexCount, ball.vVertices.size());
    ASSERT_EQ(scene.vFaces.uCount, ball.vTriangles.size()) << "those without an area are gone";
    for (uint32_t u = 0; u < scene.vFaces.uCount; ++u) {
        const Velk::NMVector3f p = ball.vVertices[ball.vTriangles[u].a], q = scene.vFaces[u].pA->v3Position;
        EXPECT_EQ(std::tuple(p.x, p.y, p.z), std::tuple(q.x, q.y, -q.z)) << u;
    }
}

// A line that only assimp knows makes it read the file: both readers must give the same scene.
TEST_F(ImportTest, PlainObjFilesGiveTheSameSceneAsThroughAssimp) {
    writeFile("m.mtl", "newmtl a\nKd 1 0 0\nnewmtl b\nKd 0 1 0\n");
    Random random(11);
    for (unsigned uFile = 0; uFile < 24; ++uFile) {
        std::string sText = uFile % 3 ? "mtllib m.mtl\nvt 0 0\n" : "vt 0 0\n";
        const auto number = [&] {
            char szNumber[40];
            const char* const FORMATS[] = {" %.6f", " %g", " %.3e", " %.17f"};
            snprintf(szNumber, sizeof(szNumber), FORMATS[random.below(4)],
                     static_cast<double>(random.between(-30, 30)));
            return std::string(szNumber);
        };
        const auto numbers = [&](const char* szKeyword, unsigned uCount) {
            sText += szKeyword;
            while (uCount-- > 0) sText += number();
            sText += '\n';
        };
        const auto index = [&](unsigned uCount) {
            return random.below(2) ? std::to_string(random.below(uCount) + 1)
                                   : "-" + std::to_string(random.below(uCount) + 1);
        };
        for (unsigned u = 4; u < 80; ++u) {
            for (unsigned i = u == 4 ? 0 : 3; i < 4; ++i) numbers("v", uFile % 4 ? 3 : 6), numbers("vn", 3);
            const char* const LINES[] = {"usemtl a", "usemtl b", "usemtl c", "g x", "o y",
                                         "o",        "s 1\r",    "vt 0 0",   "# f", "f\t1 2 3"};
            if (random.below(3) == 0) sText += LINES[random.below(10)] + std::string("\n");
            sText += 'f';
            for (unsigned i = 3 + random.below(5); i > 0; --i)
                sText += ' ' + index(u) + (uFile % 2 ? "//" + index(u) : "/1");
            sText += '\n';
        }
        writeFile("one.obj", sText);
        writeFile("two.obj", sText + "vp 0 0\n");
        ASSERT_EQ(import("one.obj one --force"), 0) << sErrors;
        ASSERT_EQ(import("two.obj two --force"), 0) << sErrors;
        for (const std::string s : {".brs", ".atr", ".cam", ".lgt"})
            EXPECT_EQ(firstDifference(readFile("Scenes/one/one" + s), readFile("Scenes/two/two" + s)), "")
                << uFile << s << '\n'
                << sText;
    }
}

// Files that were refused, lost their faces or turned black without a word.
std::string word(size_t u, unsigned uBytes) {
    std::string s;
    for (unsigned uByte = 0; uByte < uBytes; ++uByte) s += static_cast<char>(u & 255), u >>= 8;
    return s;
}

// A ZIP archive; its files are deflated in one stored block each.
std::string zip(const std::vector<std::pair<std::string, std::string>>& vFiles) {
    std::string s, sDirectory;
    for (const auto& [sName, sText] : vFiles) {
        const std::string sData = "\1" + word(sText.size(), 2) + word(~sText.size(), 2) + sText;
        const std::string sFields = word(20, 2) + word(0, 2) + word(8, 2) + word(0, 8) + word(sData.size(), 4) +
                                    word(sText.size(), 4) + word(sName.size(), 2) + word(0, 2);
        sDirectory += "PK\1\2" + word(20, 2) + sFields + word(0, 10) + word(s.size(), 4) + sName;
        s += "PK\3\4" + sFields + sName + sData;
    }
    return s + sDirectory + "PK\5\6" + word(0, 4) + word(vFiles.size(), 2) + word(vFiles.size(), 2) +
           word(sDirectory.size(), 4) + word(s.size(), 4) + word(0, 2);
}

// Each part of a 3MF file in its place and colour, components of other parts and mirrored ones among them.
TEST_F(ImportTest, ThreeMfFilesComeWithAllTheirPartsAndColours) {
    const std::string MODEL = "<?xml version=\"1.0\"?><!-- <item/> --><model xmlns:m=\"m\" xmlns:p=\"p\"><resources>",
                      MESH =
                          "<mesh><vertices><vertex x=\"0\" y=\"0\" z=\"0\"/><vertex x=\"1\" y=\"0\" z=\"0\"/>"
                          "<vertex x=\"0\" y=\"1\" z=\"0\"/><vertex x=\"0\" y=\"0\" z=\"1\"/></vertices><triangles>",
                      END = "</triangles></mesh></object>";
    const std::string sOther =
        MODEL + "<basematerials id='5'><base name='Red &amp; hot' displaycolor='#FF0000'/></basematerials>" +
        "<object id='1' pid='5' pindex='0'>" + MESH +
        "<triangle v1='0' v2='2' v3='1'/><triangle v1='0' v2='1' v3='3'/>" + END + "</resources><build/></model>";
    const std::string sRoot =
        MODEL + "<m:colorgroup id='2'><m:color color='#00FF00FF'/><m:color color='#0000FFFF'/></m:colorgroup>" +
        "<object id='7'>" + MESH + "<triangle v1='0' v2='2' v3='1' pid='2' p1='0'/>" +
        "<triangle v1='0' v2='1' v3='3' pid='2' p1='0' p2='1' p3='1'/><triangle v1='0' v2='1' v3='9'/>" + END +
        "<object id='8'><components><component objectid='7' transform='1 0 0 0 1 0 0 0 1 5 0 0'/>" +
        "<component objectid='1' p:path='/3D/other.model' transform='-1 0 0 0 1 0 0 0 1 0 0 7'/>" +
        "<component objectid='8'/></components></object></resources>" +
        "<build><item objectid='8' transform='2 0 0 0 2 0 0 0 2 0 0 0'/></build></model>";
    writeFile("parts.3mf", zip({{"3D/3dmodel.model", sRoot}, {"3D/other.model", sOther}}));
    ASSERT_EQ(import("parts.3mf"), 0) << sErrors;
    EXPECT_TRUE(contains(sOutput, " 4 triangles, 3 materials")) << sOutput;
    EXPECT_TRUE(contains(sErrors, "only 4 of 5 faces could be read")) << sErrors;
    EXPECT_TRUE(contains(sErrors, "it has more components than are taken")) << "one that holds itself: " << sErrors;
    const std::string sText = readFile("Scenes/parts/parts.atr");
    for (const auto& [szName, szColour] :
         {std::pair{"Red_&_hot", "255 0 0"}, {"colour_00FF00", "0 255 0"}, {"colour_0055AA", "0 85 170"}}) {
        const size_t u = sText.find(std::string("Attr ") + szName + "\n");
        EXPECT_TRUE(u < sText.find(std::string("color ") + szColour + "\n", u)) << szName << sText;
    }
    Scene scene;
    ASSERT_FALSE(scene.loadScene("Scenes/parts/parts.brs"));
    double dUp = 0;
    for (const FaceData& face : scene.vFaces) {  // half face down, half to the side of the smaller y
        dUp += static_cast<double>(
            cross(face.pC->v3Position - face.pA->v3Position, face.pB->v3Position - face.pA->v3Position).y);
    }
    EXPECT_NEAR(dUp, -8, 1e-3) << "the mirrored part is turned over";
    scene.findMinMax();
    EXPECT_NEAR(scene.boxScene.v3Min.x, -2.1f, 1e-3f);
    EXPECT_NEAR(scene.boxScene.v3Max.x, 12.1f, 1e-3f);
    EXPECT_NEAR(scene.boxScene.v3Max.y, 16.1f, 1e-3f);
}

TEST_F(ImportTest, HardFilesAreReadOrRefusedInWords) {
    const std::string V = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\n", F = "f 1 2 3\nf 1 4 2\n", OBJ = V + F;
    const auto replaced = [](std::string s, const char* szFrom, const std::string& sTo) {
        for (size_t u = 0; (u = s.find(szFrom, u)) != std::string::npos; u += sTo.size())
            s.replace(u, strlen(szFrom), sTo);
        return s;
    };
    const auto utf16 = [](const std::string& s, bool bBig) {
        std::string sBytes = bBig ? "\xFE\xFF" : "\xFF\xFE";
        for (const char c : s) (sBytes += bBig ? '\0' : c) += bBig ? c : '\0';
        return sBytes;
    };
    // A PLY file with an x that begins with the byte c.
    const auto ply = [](const char* szFormat, const std::string& sElements, const std::string& sData, char c = 0) {
        std::string s = std::string("ply\nformat ") + szFormat + " 1.0\n" + sElements + "end_header\n";
        if (sData[0] != '\0') return s + sData;
        for (const float f : {0.1f, 0.f, 0.f, 0.f, 1.f, 0.f, 1.f, 0.f, 0.f, 1.f, 1.f, 1.f})
            s.append(reinterpret_cast<const char*>(&f), sizeof(f));
        if (c) s[s.size() - 48] = c;
        return s + sData.substr(1);
    };
    const std::string XYZ = "element vertex 4\nproperty float x\nproperty float y\nproperty float z\n",
                      STRIPS = XYZ + "element tristrips 1\nproperty list int int vertex_indices\n",
                      FACES = "element face 2\nproperty list uchar int vertex_indices\n",
                      BINARY = "binary_little_endian", TWO("\3\0\0\0\0\1\0\0\0\2\0\0\0\3\1\0\0\0\3\0\0\0\2\0\0\0", 26),
                      NUL(1, '\0');
    const std::string STRIP_INDICES("\4\0\0\0\0\0\0\0\1\0\0\0\2\0\0\0\3\0\0\0", 20);
    writeFile("black.mtl", "newmtl a\nKd 0 0 0\n");
    writeLetter("dae");
    const std::string sGltf = readFile(writeLetter("gltf")),
                      sExtended = "{\"extensionsRequired\":[\"KHR_texture_transform\",\"EXT_odd\"]," + sGltf.substr(1);
    // Four places in bytes, the second of which is 127.
    const std::string sQuantized =
        "{\"asset\":{\"version\":\"2.0\"},\"extensionsRequired\":[\"KHR_mesh_quantization\"],\"scenes\":[{\"nodes\":"
        "[0]}],\"scene\":0,\"nodes\":[{\"mesh\":0}],\"meshes\":[{\"primitives\":[{\"attributes\":{\"POSITION\":0}}]}],"
        "\"accessors\":[{\"bufferView\":0,\"componentType\":5120,\"normalized\":true,\"count\":3,\"type\":\"VEC3\"}],"
        "\"bufferViews\":[{\"buffer\":0,\"byteLength\":12,\"byteStride\":4}],\"buffers\":[{\"byteLength\":12";
    const std::string sBytes12("\0\0\0\0\x7F\0\0\0\0\x7F\0\0", 12);
    std::string sGlb = sQuantized + "}]}";
    sGlb.resize((sGlb.size() + 3) / 4 * 4, ' ');
    const struct {
        const char* szFile;
        std::string sBytes;
        const char* szSays;
        int iStatus = 0;
    } files[] = {
        {"blanks.obj", replaced(replaced(OBJ, "v ", " v "), "f ", "\tf "), "2 triangles"},
        {"comments.obj", replaced(OBJ, "\n", " # x\n"), "2 triangles"},
        {"mark.obj", "\xEF\xBB\xBF" + OBJ, "2 triangles"},
        {"utf16.obj", utf16(OBJ, false), "2 triangles"},
        {"utf16.dae", utf16(replaced(readFile("letter.dae"), "utf-8", "utf-16"), true), "48 triangles"},
        {"comma.obj", V + "v 0,5 0 0\n" + F, "cannot read comma.obj: line 5 has a decimal comma: 0,5 0 0\n", 1},
        {"index.obj", OBJ + "f 1 2 9\n", "cannot read index.obj: a face has vertex 9 of 4\n", 1},
        {"pair.obj", "v 0 0\n" + OBJ, "line 1 has a vertex of 2 numbers\n", 1},
        {"library.obj", "mtllib none.mtl\n" + OBJ, "its materials are not there: none.mtl\n"},
        {"black.obj", "mtllib black.mtl\nusemtl a\n" + OBJ, "material a is black: light grey is taken\n"},
        {"thin.obj", OBJ + "f 1 1 2\n", "only 2 of 3 triangles have an area\n"},
        {"strips.ply", ply("ascii", STRIPS, "0 0 0\n0 1 0\n1 0 0\n1 1 1\n8 0 1 2 3 -1 1 2 0\n"), "3 triangles"},
        {"cut.ply", ply("ascii", STRIPS, "0 0 0\n0 1 0\n1 0 0\n1 1 1\n8 0 1 2 3\n"),
         "its data are shorter than its header says\n", 1},
        {"strips2.ply", ply(BINARY.c_str(), STRIPS, NUL + STRIP_INDICES), "2 triangles"},
        {"feed.ply", ply(BINARY.c_str(), XYZ + FACES, NUL + TWO, '\n'), "2 triangles"},
        {"element.ply", ply(BINARY.c_str(), XYZ + "element odd 1\nproperty uchar x\n" + FACES, NUL + "x" + TWO),
         "2 triangles"},
        {"extended.gltf", sExtended, "it needs the extension EXT_odd, which is not known here\n", 1},
        {"old.gltf", replaced(sGltf, "\"2.0\"", "\"1.0\""), "it is glTF of version 1: convert it to version 2\n", 1},
        {"bytes.gltf", sQuantized + ",\"uri\":\"data:;base64,AAAAAH8AAAAAfwAA\"}]}", "3 vertices, 1 triangles"},
        {"bytes.glb",
         "glTF" + word(2, 4) + word(40 + sGlb.size(), 4) + word(sGlb.size(), 4) + "JSON" + sGlb + word(12, 4) + "BIN" +
             NUL + sBytes12,
         "3 vertices, 1 triangles"},
        {"words.3mf", "these are words", "it is no 3MF file, which is a ZIP archive\n", 1},
        {"words.fbx", "these are words", "its text is not that of a .fbx file\n", 1},
        {"lines.ply", ply("ascii", XYZ + FACES, "0 0 0\n0 1 0\n1 0 0\n1 1 1\n3 0 1 2\n2 0 1\n"),
         "only 1 of 2 faces could be read\n"},
    };
    for (const auto& [szFile, sBytes, szSays, iStatus] : files) {
        writeFile(szFile, sBytes);
        EXPECT_EQ(import(szFile + std::string(" hard --force")), iStatus) << szFile << sErrors;
        EXPECT_TRUE(contains(sErrors + sOutput, szSays)) << szFile << ": " << sErrors << sOutput;
    }
    ASSERT_EQ(import("bytes.glb"), 0);
    EXPECT_TRUE(contains(readFile("Scenes/bytes/bytes.brs"), "vertices 3\n0 0 0\n1 0 0\n0 1 0\n"));
    ASSERT_EQ(import("black.obj"), 0);
    EXPECT_TRUE(contains(readFile("Scenes/black/black.atr"), "color 204 204 204\n"));
}

TEST_F(ImportTest, WhatCannotBeImportedIsRefusedInOneLineAndLeavesNothing) {
    writeFile("empty.obj", "");
    writeFile("words.stl", "these are words");
    writeFile("points.obj", "v 0 0 0\nv 1 0 0\np 1 2\n");
    writeFile("thin.obj", "v 0 0 0\nv 1 0 0\nv 2 0 0\nf 1 2 3\n");
    writeFile("nan.obj", "v 0 0 0\nv nan 0 0\nv 0 1 0\nf 1 2 3\n");
    writeFile("far.obj", "v 1000 0 0\nv 1000 1 0\nv 1000 1.000001 0\nf 1 2 3\n");
    writeFile("inf.obj", "v 0 0 0\nv 1e39 0 0\nv 0 1 0\nf 1 2 3\n");
    writeFile("odd.xyzw", "v 0 0 0\n");
    writeFile("counts.ply", "ply\nformat ascii 1.0\nelement vertex 999999999\nproperty float x\nend_header\n1\n");
    writeFile("endless.ply", "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nno_header\n1\n");
    writeFile("bad.ogex", "these are words");
    writeFile("bad.blend", "these are words");
    writeLetter("obj");
    std::filesystem::create_directory("folder.obj");
    const std::vector<std::string> vBefore = list();
    for (const std::string s :
         {"missing.obj", "empty.obj", "endless.ply", "words.stl", "points.obj", "thin.obj", "nan.obj", "far.obj",
          "inf.obj", "odd.xyzw", "folder.obj", "letter.obj a/b", "letter.obj 'a b'", "letter.obj --scenes letter.obj",
          "letter.obj --scenes 'a\nb'", "bad.ogex", "bad.blend", "letter.obj --scenes /dev/full",
          "letter.obj --scenes /proc/1"}) {
        EXPECT_EQ(import(s), 1) << s;
        EXPECT_EQ(sOutput, "") << s;
        EXPECT_EQ(sErrors.find('\n'), sErrors.size() - 1) << s << sErrors;
        EXPECT_TRUE(contains(sErrors, "rt-import: ")) << s << sErrors;
        EXPECT_FALSE(contains(sErrors, ": \n") || contains(sErrors, "magic")) << s << " has no reason: " << sErrors;
        EXPECT_EQ(list(), vBefore) << s;
    }
    for (const std::string s : {"", "letter.obj --material wood", "letter.obj --fov 200", "letter.obj --at 1 2",
                                "letter.obj --scenes ''", "--up w letter.obj"}) {
        EXPECT_EQ(import(s), 2) << s;
        EXPECT_EQ(list(), vBefore) << s;
    }
    ASSERT_EQ(import("letter.obj"), 0) << sErrors;
    const std::string sScene = readFile("Scenes/letter/letter.brs");
    EXPECT_EQ(import(writeLetter("obj", {2.0})), 1);
    EXPECT_TRUE(contains(sErrors, "there is a scene \"letter\" already; --force replaces it")) << sErrors;
    EXPECT_EQ(readFile("Scenes/letter/letter.brs"), sScene);
}

// What a model from a stranger names: files that never end or are not his to read, and names that a terminal obeys.
TEST_F(ImportTest, HostileModelsGetNothingButRegularFilesBelowTheirDirectory) {
    const auto obj = [](const std::string& sName, const std::string& sLibrary, const std::string& sMaterial) {
        writeFile("models/" + sName + ".obj", "mtllib " + sLibrary + "\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nusemtl " +
                                                  sMaterial + "\nf 1/1 2/1 3/1\n");
    };
    const auto textured = [&](const std::string& sName, const std::string& sTexture, const std::string& sMaterial) {
        writeFile("models/" + sName + ".mtl", "newmtl " + sMaterial + "\nKd 1 0 0\nmap_Kd " + sTexture + "\n");
        obj(sName, sName + ".mtl", sMaterial);
    };
    const auto gltf = [](const std::string& sName, const std::string& sBuffer) {
        std::string sText = readFile(writeLetter("gltf"));
        writeFile(sName + ".gltf", sText.replace(sText.find("letter.bin"), 10, sBuffer));
    };
    writeFile("outside.mtl", "newmtl a\nKd 0 1 0\n");
    gltf("models/buffer", "../letter.bin");
    gltf("models/link", "link.bin");
    gltf("zero", "/dev/zero");
    ASSERT_EQ(mkfifo("models/pipe", 0600), 0);
    ASSERT_EQ(mkfifo("models/pipe.obj", 0600), 0);
    std::filesystem::create_symlink("../letter.bin", "models/link.bin");
    // A picture of 16384 times 16384 pixels in 54 bytes.
    const unsigned char PNG[] = {137, 80, 78, 71, 13, 10, 26, 10,  0,   0,   0,   13,  73,  72,  68,  82, 0,
                                 0,   64, 0,  0,  0,  64, 0,  1,   0,   0,   0,   0,   129, 179, 45,  41, 0,
                                 0,   0,  9,  73, 68, 65, 84, 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    writeFile("models/large.png", std::string(reinterpret_cast<const char*>(PNG), sizeof(PNG)));
    textured("large", "large.png", "a");
    textured("endless", "/dev/zero", "a");
    textured("waiting", "pipe", "a");
    textured("escape", "t\x1b]0;x\x07.png", "a\x1b[31mb\xc2\x9b");
    obj("library", "../outside.mtl", "a");
    obj("waiting2", "pipe", "a");
    const std::string OUTSIDE = " is not read: it lies outside the model's directory (--allow-outside takes it)";
    const std::string TEXTURE = "rt-import: material a: texture ",
                      KEPT = " cannot be read, its colour is the material's: ";
    const struct {
        const char* szModel;
        int iStatus;
        std::string sSays;
    } cases[] = {{"models/large.obj", 0, TEXTURE + "large.png" + KEPT},
                 {"models/endless.obj", 0, TEXTURE + "/dev/zero" + KEPT + "it lies outside"},
                 {"models/waiting.obj", 0, TEXTURE + "pipe" + KEPT + "it is no regular file\n"},
                 {"models/escape.obj", 0, "material a\\x1B[31mb\\xC2\\x9B: texture t\\x1B]0;x\\x07.png"},
                 {"models/library.obj", 0, "../outside.mtl" + OUTSIDE},
                 {"models/waiting2.obj", 0, "pipe is not read: it is no regular file"},
                 {"models/buffer.gltf", 1, "../letter.bin" + OUTSIDE},
                 {"models/link.gltf", 1, "link.bin" + OUTSIDE},
                 {"zero.gltf", 1, "/dev/zero" + OUTSIDE},
                 {"models/pipe.obj", 1, "cannot read models/pipe.obj: it is no regular file\n"}};
    const std::string sLimited = "ulimit -Sv 300000; " RT_IMPORT " ";
    const bool bSanitized =
        runCommand(sLimited + "--version 2>&1", sOutput) != 0;  // ends without memory, does not throw
    for (const auto& [szModel, iStatus, sSays] : cases) {
        if (bSanitized && contains(szModel, "large")) continue;
        EXPECT_EQ(import(szModel + std::string(" hostile --force")), iStatus) << szModel;
        EXPECT_TRUE(contains(sErrors, sSays)) << szModel << ": " << sErrors;
        EXPECT_EQ(std::count_if(sErrors.begin(), sErrors.end(), [](char c) { return c >= 0 && c < ' '; }), 1)
            << szModel << ": one line without control characters: " << sErrors;
    }
    ASSERT_EQ(import("models/escape.obj escape"), 0) << sErrors;
    EXPECT_TRUE(contains(readFile("Scenes/escape/escape.atr"), "Attr a_[31mb__\n"));
    for (const std::string s : {"buffer.gltf", "link.gltf", "library.obj"}) {
        ASSERT_EQ(import("models/" + s + " allowed --force --allow-outside"), 0) << s << sErrors;
        EXPECT_EQ(sErrors, "") << s;
    }
    EXPECT_TRUE(contains(readFile("Scenes/allowed/allowed.atr"), "color 0 255 0\n"));
#ifdef RT_RENDER
    const std::string sRender = RT_RENDER " models/buffer.gltf -o x.ppm --resolution 8 6 2>&1 ";
    EXPECT_EQ(runCommand(sRender, sOutput), 1);
    EXPECT_EQ(runCommand(sRender + "--allow-outside", sOutput), 0) << sOutput;
#endif
    if (bSanitized) return;
    std::string sText = readFile("letter.gltf");
    writeFile("heavy.gltf", sText.replace(sText.find("1728"), 4, "500000000"));
    std::filesystem::resize_file("letter.bin", 500000000);
    EXPECT_EQ(runCommand(sLimited + "heavy.gltf 2>&1", sOutput), 1) << "a limit is not raised";
    EXPECT_TRUE(contains(sOutput, ": it takes more memory than there is\n")) << sOutput;
}

TEST_F(ImportTest, SignalsLimitsAndClosedStreamsLeaveAWholeSceneOrNothing) {
    Mesh ball;
    ball.addSphere({}, 3.0f, 6);
    FILE* pFile = fopen("ball.obj", "w");
    for (const Velk::NMVector3f& p : ball.vVertices) {
        fprintf(pFile, "v %g %g %g\n", static_cast<double>(p.x), static_cast<double>(p.y), static_cast<double>(p.z));
    }
    for (const Mesh::Triangle& t : ball.vTriangles) fprintf(pFile, "f %u %u %u\n", t.a + 1, t.b + 1, t.c + 1);
    fclose(pFile);
    const std::string sRun = RT_EMULATOR " " RT_IMPORT " ball.obj --force";
    const std::vector<std::string> vBefore = list();
    for (const int iSignal : {SIGTERM, SIGINT, SIGHUP}) {
        unsigned uTries = 0;
        for (bool bHit = false; !bHit && uTries < 100; ++uTries) {
            Process import("exec " + sRun + " >/dev/null");
            while (!std::filesystem::exists("Scenes/ball") && !import.hasEnded()) continue;
            import.send(iSignal);
            bHit = import.wait() != 0 && !std::filesystem::exists(descriptionOf("ball"));
            if (bHit) {
                EXPECT_EQ(list(), vBefore) << iSignal;
            }
            std::filesystem::remove_all("Scenes");
        }
        EXPECT_LT(uTries, 100u) << "signal " << iSignal << " never came while the scene was written";
    }
    std::string sText;
    EXPECT_EQ(runCommand("ulimit -f 100; " + sRun + " 2>&1", sText), 1);
    EXPECT_TRUE(contains(sText, "cannot write Scenes/ball/ball.brs: File too large\n")) << sText;
    EXPECT_EQ(list(), vBefore);
    for (const std::string s : {" >&-", " 2>&-", " <&- >&- 2>&-", " >/dev/full"}) {
        EXPECT_EQ(runCommand(sRun + s, sText), 0) << s;
        EXPECT_TRUE(std::filesystem::exists(descriptionOf("ball"))) << s;
        std::filesystem::remove_all("Scenes");
    }
    runCommand("{ " + sRun + "; echo $? >status; } | true", sText);
    EXPECT_EQ(readFile("status"), "0\n");
}

// Readers of model files crash on some broken ones; the tool must not.
TEST_F(ImportTest, FilesCutOrChangedAnywhereEndWithOneOfTwoStatuses) {
    Random random(17);
    for (const std::string sSuffix : {"obj", "stl", "ply", "gltf", "dae"}) {
        const std::string sFile = writeLetter(sSuffix), sWhole = readFile(sFile);
        for (unsigned u = 0; u < 16; ++u) {
            std::string sBroken = sWhole;
            const uint32_t uPlace = random.below(static_cast<uint32_t>(sWhole.size()));
            if (u % 2)
                sBroken.resize(uPlace);
            else
                sBroken[uPlace] = static_cast<char>(random.below(256)), sBroken[uPlace / 2] = '9';
            writeFile(sFile, sBroken);
            const int iStatus = import(sFile + " broken --force");
            EXPECT_TRUE(iStatus == 0 || iStatus == 1) << sSuffix << " " << u << ": " << iStatus;
            EXPECT_EQ(iStatus == 0, !sOutput.empty()) << sErrors;
        }
    }
}

}  // namespace
#endif
