// The kd-tree builder against a plain one that does the same the long way.
#include "accel/build/KDTreeBuilder.h"

#include <cmath>
#include <cstring>

#include "accel/PlainKDTreeBuilder.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

namespace {

using KDTreeBuilderTest = FileTest;
using Velk::NMVector3f;

// Random meshes that are hard on the overlap tests: coordinates that coincide or miss each other by a hair, faces
// without area, needles, planes, signed zeros, far from the origin, huge, tiny.
class HardMesh {
 public:
    enum Kind { WHOLE, SIGNED_ZEROS, PLANE, THIN, TINY, CLOSE, SOUP, KINDS };
    enum Shape { COLLINEAR, EDGE, POINT, NEEDLE, FLAT, SMALL, ANY, SHAPES };

    // One kind and shape, any when they are not given.
    explicit HardMesh(unsigned uSeed, Kind ownKind = KINDS, Shape ownShape = SHAPES) : random(uSeed) {
        kind = ownKind == KINDS ? anyOf(KINDS) : ownKind;
        shape = ownShape == SHAPES ? anyOf(SHAPES) : ownShape;
        iRange = integer(1, 12);
        fScale = std::ldexp(1.0f, integer(0, 4) ? integer(-3, 8) : integer(-60, 60));
        bHair = integer(0, 1) != 0;
        for (float& f : fOffset) {
            const int iExponent = integer(0, 26);
            f = integer(0, 4) ? -0.0f : fScale * std::ldexp(random.between(-0.5f, 0.5f), iExponent);  // -0 keeps a sign
        }
    }

    Mesh make(int iFaces) {
        Mesh mesh;
        for (int i = 0; i < iFaces; ++i) addFace(mesh, integer(0, 5) ? shape : anyOf(SHAPES));
        return mesh;
    }

    int integer(int iMin, int iMax) {
        return iMin + static_cast<int>(random.below(static_cast<uint32_t>(iMax - iMin + 1)));
    }

 private:
    template <typename Enum>
    Enum anyOf(Enum end) {
        return static_cast<Enum>(integer(0, end - 1));
    }
    float hair(float f) { return std::nextafter(f, integer(0, 1) ? 1e30f : -1e30f); }

    float coordinate(unsigned uAxis) {
        const float fWhole = static_cast<float>(integer(0, iRange)), fReal = random.between(0.0f, 1.0f);
        float f = fReal * 10.0f;
        if (kind == WHOLE || kind == PLANE) f = kind == PLANE && uAxis == 1 ? 0.0f : fWhole;
        if (kind == SIGNED_ZEROS) f = static_cast<float>(integer(0, 1)) * (fReal < 0.5f ? 1.0f : -1.0f);
        if (kind == THIN) f = uAxis == 1 ? fReal * 1e-6f : fReal;
        if (kind == TINY) f = std::ldexp(fReal, integer(-20, 0));
        if (kind == CLOSE) f = fWhole + fReal * 1e-5f;
        if (bHair && integer(0, 2) == 0) f = hair(f);
        return f * fScale + fOffset[uAxis];
    }

    void addFace(Mesh& mesh, Shape own) {
        NMVector3f v3[3];
        for (NMVector3f& v : v3) v = {coordinate(0), coordinate(1), coordinate(2)};
        if (own == COLLINEAR) v3[2] = v3[0] + (v3[1] - v3[0]) * 0.5f;
        if (own == EDGE) v3[2] = v3[1];
        if (own == POINT) v3[1] = v3[2] = v3[0];
        if (own == NEEDLE) v3[2] = {hair(v3[1].x), hair(v3[1].y), hair(v3[1].z)};
        const unsigned uAxis = random.below(3);
        if (own == FLAT) v3[1][uAxis] = v3[2][uAxis] = v3[0][uAxis];
        const float fSize = own == SMALL ? 0.05f : 1.0f;
        mesh.add(v3[0], v3[0] + (v3[1] - v3[0]) * fSize, v3[0] + (v3[2] - v3[0]) * fSize);
    }

    Random random;
    Kind kind;
    Shape shape;
    int iRange;
    float fScale;
    bool bHair;
    float fOffset[3];
};

template <typename Builder>
struct Built {
    FaceLists lists;
    Velk::NDataVector<KDTreeNode> nodes;

    explicit Built(const Scene& scene) { EXPECT_FALSE(Builder(scene, lists, nodes).build()); }
    ~Built() {
        nodes.Release();
        lists.vFacesList.Release();
    }
};

void expectSame(const Scene& scene) {
    const Built<KDTreeBuilder> fast(scene);
    const Built<PlainKDTreeBuilder> plain(scene);
    const auto &vFast = fast.lists.vFacesList, &vPlain = plain.lists.vFacesList;
    ASSERT_EQ(fast.nodes.uSize, plain.nodes.uSize);
    ASSERT_EQ(vFast.uSize, vPlain.uSize);
    ASSERT_EQ(fast.lists.uFreeListHead, plain.lists.uFreeListHead);
    ASSERT_EQ(memcmp(fast.nodes.pData, plain.nodes.pData, fast.nodes.uSize * sizeof(KDTreeNode)), 0);
    ASSERT_EQ(memcmp(vFast.pData, vPlain.pData, vFast.uSize * sizeof(FacesListNode)), 0);
}

TEST_F(KDTreeBuilderTest, WritesTheNodesAndListsOfThePlainSweep) {
    for (unsigned uSeed = 1; uSeed <= 1502 && !HasFailure(); ++uSeed) {
        SCOPED_TRACE(uSeed);
        HardMesh hard = uSeed > 1500 ? HardMesh(uSeed, HardMesh::SOUP, HardMesh::SMALL) : HardMesh(uSeed);
        Scene scene;
        const int iFaces = hard.integer(0, 24) ? hard.integer(1, 30) : hard.integer(60, 150);
        loadMesh(scene, hard.make(uSeed > 1500 ? 1000 : iFaces), uSeed % 8 != 0);  // as it comes: up to 1e20
        expectSame(scene);
    }
}

}  // namespace
