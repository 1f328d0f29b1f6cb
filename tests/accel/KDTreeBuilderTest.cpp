#include "accel/KDTreeBuilder.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "accel/PlainKDTreeBuilder.h"
#include "scene/Scene.h"

using Velk::NMVector3f;

namespace {

// Random meshes that are hard on the overlap tests: coordinates that coincide or miss each other by a hair, faces
// without area, needles, planes, signed zeros, far from the origin, huge, tiny.
class HardMesh {
 public:
    enum Kind { WHOLE, SIGNED_ZEROS, PLANE, THIN, TINY, CLOSE, SOUP, KINDS };
    enum Shape { COLLINEAR, EDGE, POINT, NEEDLE, FLAT, SMALL, ANY, SHAPES };

    explicit HardMesh(unsigned uSeed) : random(uSeed) {
        kind = static_cast<Kind>(integer(0, KINDS - 1));
        shape = static_cast<Shape>(integer(0, SHAPES - 1));
        iRange = integer(1, 12);
        fScale = std::ldexp(1.0f, integer(0, 4) ? integer(-3, 8) : integer(-60, 60));
        bHair = integer(0, 1) != 0;
        for (float& f : fOffset) f = integer(0, 4) ? 0.0f : fScale * std::ldexp(real() - 0.5f, integer(0, 26));
    }

    HardMesh(unsigned uSeed, Kind onlyKind, Shape mainShape) : HardMesh(uSeed) {
        kind = onlyKind;
        shape = mainShape;
    }

    void fill(Scene& scene, uint32_t uFaces) {
        std::vector<NMVector3f> vCorners;
        for (uint32_t u = 0; u < uFaces; ++u) {
            addFace(vCorners, integer(0, 5) ? shape : static_cast<Shape>(integer(0, SHAPES - 1)));
        }
        scene.pVertices = new SceneVertex[vCorners.size()]();
        scene.uVertexCount = static_cast<uint32_t>(vCorners.size());
        for (size_t u = 0; u < vCorners.size(); ++u) scene.pVertices[u].v3Position = vCorners[u];
        ASSERT_FALSE(scene.vFaces.allocate(uFaces, 16));
        for (uint32_t u = 0; u < uFaces; ++u) {
            const SceneVertex* pFirst = scene.pVertices + 3 * u;
            scene.vFaces[u] = FaceData{};
            scene.vFaces[u].pA = pFirst;
            scene.vFaces[u].pB = pFirst + 1;
            scene.vFaces[u].pC = pFirst + 2;
        }
    }

    int integer(int iMin, int iMax) { return std::uniform_int_distribution<int>(iMin, iMax)(random); }

 private:
    float real() { return std::uniform_real_distribution<float>(0.0f, 1.0f)(random); }
    float hair(float f) { return std::nextafter(f, integer(0, 1) ? 1e30f : -1e30f); }

    float coordinate(unsigned uAxis) {
        const float fWhole = static_cast<float>(integer(0, iRange));
        float f = real() * 10.0f;
        if (kind == WHOLE || (kind == PLANE && uAxis != 1)) f = fWhole;
        if (kind == PLANE && uAxis == 1) f = 0.0f;
        if (kind == SIGNED_ZEROS) f = static_cast<float>(integer(-1, 1)) * (integer(0, 1) ? 1.0f : -0.0f);
        if (kind == THIN) f = uAxis == 1 ? real() * 1e-6f : real();
        if (kind == TINY) f = std::ldexp(real(), integer(-20, 0));
        if (kind == CLOSE) f = fWhole + real() * 1e-5f;
        if (bHair && integer(0, 2) == 0) f = hair(f);
        return f * fScale + fOffset[uAxis];
    }

    void addFace(std::vector<NMVector3f>& vCorners, Shape own) {
        NMVector3f v3[3];
        for (NMVector3f& v : v3) v = {coordinate(0), coordinate(1), coordinate(2)};
        if (own == COLLINEAR) v3[2] = v3[0] + (v3[1] - v3[0]) * 0.5f;
        if (own == EDGE) v3[2] = v3[1];
        if (own == POINT) v3[1] = v3[2] = v3[0];
        if (own == NEEDLE) v3[2] = {hair(v3[1].x), hair(v3[1].y), hair(v3[1].z)};
        const unsigned uAxis = static_cast<unsigned>(integer(0, 2));
        if (own == FLAT) v3[1][uAxis] = v3[2][uAxis] = v3[0][uAxis];
        const float fSize = own == SMALL ? 0.05f : 1.0f;
        for (unsigned k = 1; k < 3; ++k) v3[k] = v3[0] + (v3[k] - v3[0]) * fSize;
        vCorners.insert(vCorners.end(), v3, v3 + 3);
    }

    std::mt19937 random;
    Kind kind;
    Shape shape;
    int iRange;
    float fScale;
    bool bHair;
    float fOffset[3];
};

template <typename Builder>
struct Built {
    KDTree tree;
    Velk::NDataVector<KDTreeNode> nodes;

    explicit Built(const Scene& scene) {
        tree.pScene = &scene;
        EXPECT_FALSE(Builder(tree, nodes).build());
    }
    ~Built() { nodes.Release(); }
};

bool isSame(const Scene& scene) {
    const Built<KDTreeBuilder> fast(scene);
    const Built<PlainKDTreeBuilder> plain(scene);
    const auto &vFast = fast.tree.vFacesList, &vPlain = plain.tree.vFacesList;
    return fast.nodes.uSize == plain.nodes.uSize && vFast.uSize == vPlain.uSize &&
           fast.tree.uFreeListHead == plain.tree.uFreeListHead &&
           memcmp(fast.nodes.pData, plain.nodes.pData, fast.nodes.uSize * sizeof(KDTreeNode)) == 0 &&
           memcmp(vFast.pData, vPlain.pData, vFast.uSize * sizeof(FacesListNode)) == 0;
}

}  // namespace

TEST(KDTreeBuilder, WritesTheNodesAndListsOfThePlainSweepForHardMeshes) {
    for (unsigned uSeed = 1; uSeed <= 1500; ++uSeed) {
        HardMesh mesh(uSeed);
        Scene scene;
        mesh.fill(scene, static_cast<uint32_t>(mesh.integer(0, 24) ? mesh.integer(1, 30) : mesh.integer(60, 150)));
        if (uSeed % 8) {
            scene.preprocessScene();
        } else {
            scene.findMinMax();  // as it comes: up to 1e20
        }
        ASSERT_TRUE(isSame(scene)) << "seed " << uSeed;
    }
}

TEST(KDTreeBuilder, WritesTheNodesAndListsOfThePlainSweepForLargerSoups) {
    for (unsigned uSeed = 1; uSeed <= 2; ++uSeed) {
        Scene scene;
        HardMesh(uSeed, HardMesh::SOUP, HardMesh::SMALL).fill(scene, 1000);
        scene.preprocessScene();
        ASSERT_TRUE(isSame(scene)) << "seed " << uSeed;
    }
}
