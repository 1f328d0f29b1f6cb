// rt-import on models that readers find hard: they come whole, or a line says what is lost or why they are refused.

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "ImportSteps.h"
#include "scene/Camera.h"
#include "scene/Lights.h"
#include "scene/Scene.h"
#include "support/Files.h"
#include "support/Letter.h"
#include "support/Meshes.h"

using namespace rt;

#ifdef RT_IMPORT
namespace {

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

// Files that were refused, lost their faces or turned black without a word.
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
    const std::string sDae = readFile("letter.dae");
    const size_t uDae = sDae.find("<geometry"), uDaeEnd = sDae.find("</library_geometries>");
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
        {"utf16.dae", utf16(replaced(sDae, "utf-8", "utf-16"), true), "48 triangles"},
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
        {"lines.off", "OFF\n4 4 0\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n3 0 1 2\n3 0 1 3\n2 0 1\n2 1 0\n",
         "only 2 of 4 faces could be read\n"},
        {"spare.dae",
         sDae.substr(0, uDaeEnd) + replaced(sDae.substr(uDae, uDaeEnd - uDae), "<geometry id=\"", "<geometry id=\"2") +
             sDae.substr(uDaeEnd),
         "only 48 of 96 faces could be read\n"},
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
                  {"1.5, 2.5, 40", "shows little more than a speck of"},
                  {"1.5, 1.0, 3.5", "shows only a part of"},
                  {"7.358891, 4.958309, 6.925791", ""}};
    for (const auto& [szPlace, sSays] : places) {
        const bool bBlenders = szPlace == places[4].szPlace;
        std::string sPlaced = std::string(sText).replace(uPlace, 10, szPlace);
        if (bBlenders) sPlaced.replace(sPlaced.find("4,9,12"), 6, "4.076245,5.903862,-1.005454");
        writeFile("camera.gltf", sPlaced);
        double x = 0, y = 0, z = 0;
        sscanf(szPlace, "%lf, %lf, %lf", &x, &y, &z);
        for (const std::string sOption : {"", " --camera-of-file"}) {
            ASSERT_EQ(import("camera.gltf own --force" + sOption), 0) << sErrors;
            EXPECT_EQ(contains(sErrors, "the file's camera " + sSays), !sSays.empty() && sOption.empty()) << sErrors;
            Camera camera;
            ASSERT_FALSE(camera.loadCamera("Scenes/own/own.cam"));
            const bool bTaken = fabs(static_cast<double>(camera.v3Position.z) + z) < 1e-3;
            EXPECT_EQ(bTaken, !sOption.empty() || szPlace == places[0].szPlace) << szPlace;
            Lights lights;
            ASSERT_FALSE(lights.loadLights("Scenes/own/own.lgt"));
            EXPECT_EQ(lights.uCount, bBlenders ? 3u : 2u) << "three of ours, or the file's and a weak one";
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
    // A prism with an edge down and a side across y.
    std::string sSolid = "solid a\n";
    for (const char* sz : {"1 1 3 1 1 5 9 1 3", "9 1 3 1 1 5 9 1 5", "1 1 3 1 3 4 1 1 5", "9 1 3 9 1 5 9 3 4",
                           "1 1 3 9 1 3 1 3 4", "9 1 3 9 3 4 1 3 4", "1 1 5 1 3 4 9 1 5", "9 1 5 1 3 4 9 3 4"}) {
        int i[9] = {};
        std::istringstream in(sz);
        for (int& iNumber : i) in >> iNumber;
        sSolid += "facet normal 0 0 0\nouter loop\n";
        for (unsigned u = 0; u < 9; u += 3)
            sSolid += "vertex " + std::to_string(i[u]) + " " + std::to_string(i[u + 1]) + " " +
                      std::to_string(i[u + 2]) + "\n";
        sSolid += "endloop\nendfacet\n";
    }
    writeFile("prism.stl", sSolid + "endsolid a\n");
    ASSERT_EQ(import("prism.stl"), 0) << sErrors;
    EXPECT_TRUE(contains(sErrors, "y is taken as up, since it rests best so (--up decides)")) << sErrors;
    // A tent on four feet without a flat side, which would fall over if y were up.
    writeFile("tent.ply",
              "ply\nformat ascii 1.0\nelement vertex 6\nproperty float x\nproperty float y\nproperty float z\n"
              "element face 8\nproperty list uchar int vertex_indices\nend_header\n"
              "1 1 1\n3 1 1\n3 3 1\n1 3 1\n2 2 1.2\n2 2 4\n"
              "3 0 1 5\n3 1 2 5\n3 2 3 5\n3 3 0 5\n3 1 0 4\n3 2 1 4\n3 3 2 4\n3 0 3 4\n");
    ASSERT_EQ(import("tent.ply"), 0) << sErrors;
    EXPECT_TRUE(contains(sErrors, "z is taken as up")) << sErrors;
}

}  // namespace
#endif
