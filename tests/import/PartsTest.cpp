// Parts of models: nodes, groups, objects and components, on their way to a scene, and lies on that way.

#include <sys/mman.h>
#include <unistd.h>

#include "render/PreparedScene.h"
#include "support/FileTest.h"

#ifdef RT_IMPORT
#include "import/ModelImport.h"

using namespace rt;

namespace {

class PartsTest : public FileTest {
 protected:
    static StagedScene stageParts(const std::string& sFile, const std::string& sText) {
        writeFile(sFile, sText);
        ImportOptions options;
        options.bColours = options.bGround = true;
        StagedScene scene;
        std::string sMessage;
        std::vector<std::string> vNotices;
        EXPECT_FALSE(importModel(sFile, options, scene, sMessage, vNotices)) << sFile << ": " << sMessage;
        return scene;
    }

    // The parts of the triangles in turn, then paths of the parts.
    static std::string describeParts(const StagedScene& scene) {
        std::string s;
        for (uint32_t u = 0; u < scene.vMaterials.size(); ++u) s += std::to_string(scene.parts.partOf(u));
        for (const ScenePart& part : scene.parts.vParts) s += " " + part.sPath;
        return s;
    }
};

const std::string OBJ = "v 0 0 0\nv 2 0 0\nv 0 2 0\nv 0 0 2\n";

TEST_F(PartsTest, PartsFollowTheNodesOfTheFile) {
    const std::string sGltf =
        R"({"asset":{"version":"2.0"},"scenes":[{"nodes":[0]}],"nodes":[{"name":"car","children":[1,2],"mesh":0},)"
        R"({"name":"wheel","mesh":0,"translation":[3,0,0]},{"name":"axle","children":[3]},)"
        R"({"name":"bolt","mesh":0,"translation":[0,3,0]}],"meshes":[{"primitives":[{"attributes":{"POSITION":0}},)"
        R"({"attributes":{"POSITION":0}}]}],"accessors":[{"bufferView":0,"componentType":5126,"count":3,)"
        R"("type":"VEC3","min":[0,0,0],"max":[2,2,0]}],"bufferViews":[{"buffer":0,"byteLength":36}],"buffers":)"
        R"([{"byteLength":36,"uri":"data:;base64,AAAAAAAAAAAAAAAAAAAAQAAAAAAAAAAAAAAAAAAAAEAAAAAA"}]})";
    const std::string sPoints =
        "<mesh><vertices><vertex x='0' y='0' z='0'/><vertex x='2' y='0' z='0'/><vertex x='0' y='0' z='2'/></vertices>"
        "<triangles><triangle v1='0' v2='1' v3='2' pid='6' p1='1'/><triangle v1='0' v2='1' v3='2' pid='6' p1='0'/>"
        "</triangles></mesh>";
    const std::string s3mf =
        "<model><resources><basematerials id='6'><base name='a' displaycolor='#FF0000'/><base name='b' "
        "displaycolor='#00FF00'/></basematerials><object id='1' name='tooth'>" +
        sPoints + "</object><object id='2'>" + sPoints +
        "</object><object id='3' name='gear'><components><component objectid='1'/><component objectid='2'/>"
        "</components></object></resources><build><item objectid='3'/><item objectid='1' transform='1 0 0 0 1 0 0 0 1 "
        "0 0 9'/></build></model>";
    const std::string sDae =
        "<COLLADA version='1.4.1'><asset><up_axis>Y_UP</up_axis></asset><library_geometries><geometry id='g'><mesh>"
        "<source id='p'><float_array id='pa' count='9'>0 0 0 2 0 0 0 2 0</float_array><technique_common><accessor "
        "source='#pa' count='3' stride='3'><param name='X' type='float'/><param name='Y' type='float'/><param "
        "name='Z' type='float'/></accessor></technique_common></source><vertices id='v'><input semantic='POSITION' "
        "source='#p'/></vertices><triangles count='1'><input semantic='VERTEX' source='#v' offset='0'/><p>0 1 2</p>"
        "</triangles></mesh></geometry></library_geometries><library_visual_scenes><visual_scene id='s'><node id='n1' "
        "name='car'><instance_geometry url='#g'/><node id='n2' name='wheel'><translate>0 0 1</translate>"
        "<instance_geometry url='#g'/></node></node></visual_scene></library_visual_scenes><scene>"
        "<instance_visual_scene url='#s'/></scene></COLLADA>";
    const std::string sGeometry =
        ", \"Geometry::g\", \"Mesh\" {\nVertices: *9 {\na: 0,0,0,2,0,0,0,2,0\n}\nPolygonVertexIndex: *3 {\na: "
        "0,1,-3\n}\n}\n";
    const std::string sFbx =
        "; FBX 7.3.0 project file\nFBXHeaderExtension: {\nFBXVersion: 7300\n}\nObjects: {\nGeometry: 1" + sGeometry +
        "Geometry: 4" + sGeometry +
        "Model: 2, \"Model::arm\", \"Mesh\" {\nVersion: 232\n}\nModel: 3, \"Model::hand\", \"Mesh\" {\nVersion: "
        "232\nProperties70: {\nP: \"Lcl Translation\", \"Lcl Translation\", \"\", \"A\",0,0,3\nP: \"RotationPivot\", "
        "\"Vector3D\", \"Vector\", \"\",1,0,0\n}\n}\n}\nConnections: {\nC: \"OO\",2,0\nC: \"OO\",3,2\nC: "
        "\"OO\",1,2\nC: \"OO\",4,3\n}\n";
    const auto facet = [](const char* z) {
        const std::string s(z);
        return "facet normal 0 0 1\nouter loop\nvertex 0 0 " + s + "\nvertex 2 0 " + s + "\nvertex 0 2 " + s +
               "\nendloop\nendfacet\n";
    };
    const std::string sStl = "solid one\n" + facet("0") + "endsolid one\nsolid two\n" + facet("1") + "endsolid two\n";
    const std::string sOff = "OFF\n3 1 0\n0 0 0\n2 0 0\n0 2 0\n3 0 1 2\n";
    const std::pair<const char*, std::pair<std::string, const char*>> ROWS[] = {
        {"a.obj",
         {OBJ + "f 1 2 3\no left \nf 1 2 3\nf 1 1 2\no right\ng top\nf 1 2 4\ng bottom\nf 1 3 4 2 1\no left\nf 1 3 2\n",
          "01233144 a left right/top right/bottom ground"}},
        {"vp.obj", {OBJ + "vp 0 0\ng a\nf 1 2 3\ng b\nf 1 2 4\n", "0122 a b ground"}},
        {"plain.obj", {OBJ + "usemtl a\nf 1 2 3\nusemtl b\nf 1 2 4\n", "0011 plain ground"}},
        {"a.gltf", {sGltf, "00112233 car car/wheel car/axle/bolt ground"}},
        {"a.3mf", {zip({{"3D/3dmodel.model", s3mf}}), "01201233 gear/tooth gear/object 2 tooth ground"}},
        {"a.dae", {sDae, "0122 car car/wheel ground"}},
        {"a.fbx", {sFbx, "0122 arm arm/hand ground"}},
        {"a.stl", {sStl, "0122 one two ground"}},
        {"some.off", {sOff, "011 some ground"}},
    };
    for (const auto& [szFile, row] : ROWS)
        EXPECT_EQ(describeParts(stageParts(szFile, row.first)), row.second) << szFile;
}

// The reader's process may have gone astray.
TEST_F(PartsTest, PartsThatDoNotFitTheMeshAreNotReceived) {
    const StagedScene good = stageParts("a.obj", OBJ + "g a\nf 1 2 3\ng b\nf 1 2 4\n");
    const auto isRefused = [](const StagedScene& scene, StagedScene& received) {
        const int iFile = memfd_create("test", MFD_CLOEXEC);
        EXPECT_FALSE(scene.send(iFile));
        const bool bFailed = received.receive(iFile);
        close(iFile);
        return bFailed;
    };
    StagedScene received;
    ASSERT_FALSE(isRefused(good, received));
    PreparedScene scene;
    ASSERT_FALSE(received.handOver(scene));
    EXPECT_EQ(scene.parts.counts(scene.scene.vFaces.uCount), (std::vector<uint32_t>{1, 1, 2}));
    void (*const LIES[])(SceneParts&) = {
        [](SceneParts& p) { p.vRuns[0].uFirst = 1; }, [](SceneParts& p) { p.vRuns[1].uFirst = 0; },
        [](SceneParts& p) { p.vRuns[2].uFirst = 5; }, [](SceneParts& p) { p.vRuns[1].uPart = 3; },
        [](SceneParts& p) { p.vParts.pop_back(); },   [](SceneParts& p) { p.vRuns.clear(); },
    };
    for (const auto& lie : LIES) {
        StagedScene bad = good;
        lie(bad.parts);
        EXPECT_TRUE(isRefused(bad, received)) << &lie - LIES;
    }
}

}  // namespace
#endif
