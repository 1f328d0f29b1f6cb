// rt-import on small models of every kind: what comes out stands upright, is framed and lit, or is refused in one line.

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>

#include "ImportSteps.h"
#include "render/RayTracer.h"
#include "scene/Scene.h"
#include "support/Letter.h"
#include "support/Meshes.h"
#include "support/Process.h"
#include "support/Scenes.h"

using namespace rt;

#ifdef RT_IMPORT
namespace {

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

TEST_F(ImportTest, MaterialsKeepTheirColoursMirrorsGlassAndMeanOfTexture) {
    writeFile("two.mtl",
              "newmtl clay\nKd 1 0.5 0\nKs 0.5 0.5 0.5\nNs 41\n"
              "newmtl chrome\nKd 0.2 0.2 0.2\nKs 1 1 1\nillum 3\n"
              "newmtl glass\nKd 1 1 1\nd 0.2\nNi 1.45\nillum 7\nnewmtl paper\nKd 1 1 1\nTr 1\nmap_Kd dot.png\n");
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
    EXPECT_TRUE(contains(sText, "kf 1\neta 1\ncolor 128 0 128\n")) << sText << "seen, though it is all transparent";
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
