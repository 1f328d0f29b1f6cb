// Scenes for tests, as files.
#include "support/Scenes.h"

#include "support/FileTest.h"

using namespace rt;

void SceneText::write(const std::string& sName) const {
    const std::string sStem = "Scenes/" + sName + "/" + sName;
    writeFile(sStem + ".brs", sGeometry);
    writeFile(sStem + ".cam", sCamera);
    writeFile(sStem + ".atr", sAttributes);
    writeFile(sStem + ".lgt", sLights);
    writeFile("Scenes/scene_descs/" + sName + ".txt",
              sStem + ".brs\n" + sStem + ".cam\n" + sStem + ".atr\n" + sStem + ".lgt\n");
}

SceneText makeScene(const Mesh& mesh, unsigned uWidth, unsigned uHeight) {
    return {mesh.text(),
            "Camera front\nviewpoint 1 3 -22\nscreen\n-7 8 -10\n7 8 -10\n-7 -4 -10\nresolution " +
                std::to_string(uWidth) + " " + std::to_string(uHeight) + "\n",
            "Attr matte\nkd 0.8\nks 0.2\ngs 20\nkf 1\ncolor 210 190 160\nenddef\n"
            "Attr wall\nkd 0.9\nks 0.1\ngs 8\nkf 1\nshading smooth\ncolor 120 160 210\nenddef\n"
            "Attr mirror\nkd 0.2\nks 0.6\ngs 90\nkts 0.8\nkf 1\ncolor 230 230 230\nenddef\n"
            "Attr glass\nkd 0.1\nks 0.5\ngs 60\nkf 0.2\neta 1.4\nshading smooth\ncolor 220 240 250\nenddef\n",
            "2\n-8 14 -15 900 0 -1 0\n12 6 -9 300 0 -1 0\n"};
}

Mesh makeShowcase() {
    Mesh mesh;
    mesh.addQuad({-10, -3, 6}, {20, 0, 0}, {0, 13, 0}, 1);
    mesh.addQuad({-10, -3, -9}, {0, 0, 15}, {20, 0, 0}, 0);
    mesh.addQuad({-9, -2, 5}, {5, 1, -4}, {0, 9, 0}, 2);
    mesh.addSphere({4, 1, 1}, 3.0f, 2, 1);
    mesh.addSphere({-1, 0, -5}, 2.0f, 2, 3);
    return mesh;
}

unsigned differingWithOwnCamera(const std::string& sDescription, unsigned uWidth, unsigned uHeight) {
    RayTracer plain, turned;
    for (RayTracer* p : {&plain, &turned}) {
        RaytracerParameters& parameters = p->parameters;
        parameters.bCustomResolution = true;
        parameters.uWidth = uWidth;
        parameters.uHeight = uHeight;
        if (plain.camera.bLoaded) {
            const Camera& own = plain.camera;
            const Velk::NMVector3f v3View = (own.v3Screen[1] + own.v3Screen[2]) * 0.5f - own.v3Position;
            parameters.bCustomCamera = true;
            parameters.v3CameraPosition = own.v3Position;
            parameters.v3CameraLook = normalize(v3View);
        }
        EXPECT_FALSE(p->load(sDescription.c_str(), false)) << sDescription;
    }
    unsigned uDiffer = 0;
    for (RayTracer* p : {&plain, &turned}) {
        EXPECT_FALSE(p->preprocessScene()) << sDescription;
        EXPECT_FALSE(p->run()) << sDescription;
    }
    for (unsigned y = 0; y < uHeight; ++y) {
        for (unsigned x = 0; x < uWidth; ++x) uDiffer += plain.image.getPixel(x, y) != turned.image.getPixel(x, y);
    }
    return uDiffer;
}

std::string renderPacks(RayTracer& rayTracer, unsigned uPackSize) {
    RaytracerParameters& parameters = rayTracer.parameters;
    parameters.uPackSize = uPackSize;
    std::string sImage(size_t{3} * parameters.uWidth * parameters.uHeight, '?');
    const TileGrid tiles = rayTracer.frame().tiles(uPackSize);
    for (uint64_t u = 0; u < tiles.count(); ++u) {
        const Tile tile = tiles.tile(u);
        const size_t uBytes = size_t{3} * tile.uColumns;
        std::string sPack(uBytes * tile.uRows, '?');
        rayTracer.calculatePack(tile.x, tile.y, reinterpret_cast<unsigned char*>(sPack.data()));
        for (size_t uRow = 0; uRow < tile.uRows; ++uRow) {
            sImage.replace(3 * ((tile.y + uRow) * parameters.uWidth + tile.x), uBytes, sPack, uBytes * uRow, uBytes);
        }
    }
    return sImage;
}
