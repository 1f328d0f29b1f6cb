// Streams of rays through every kernel against single rays.
#include <array>
#include <cmath>
#include <functional>
#include <memory>

#include "support/Answers.h"
#include "support/FileTest.h"
#include "support/Meshes.h"

using namespace rt;

namespace {

using Velk::NMVector3f;

// A node of a tree that is made by hand, so that it can be chosen where each face is listed. Axis 3 is a leaf.
struct Node {
    unsigned uAxis;
    float fSplit;
    uint32_t uChild;
    std::vector<uint32_t> vFaces;
};

Node leaf(std::vector<uint32_t> vFaces) {
    return {3, 0.0f, 0, std::move(vFaces)};
}
Node plane(unsigned uAxis, float fSplit, uint32_t uChild) {
    return {uAxis, fSplit, uChild, {}};
}

// A scene and the streams that it is asked for, one in each round.
struct Case {
    std::string sName;
    Mesh mesh;
    std::function<void(RayStream&, Random&, const KDTree&, unsigned)> rays;
    unsigned uRounds = 1;
    float fFarthestOrigin = 0.0f;
    std::vector<Node> vTree{};                 // none: one is built
    uint32_t uFewest = 0, uMost = UINT32_MAX;  // rays that hit the first face: the case is there
    bool bSingular = false;                    // coefficients of the first face without an inverse
};

// A point that lies exactly on the split planes of two or three nodes, where rounding decides what a ray visits.
NMVector3f onPlanes(Random& random, const KDTree& tree) {
    NMVector3f v3 = random.inside(tree.pScene->boxScene);
    for (int i = 0; i < 3; ++i) {
        const KDTreeNode& node = tree.vNodes[random.below(tree.vNodes.uCount)];
        if (!node.isLeaf()) v3[node.axis()] = node.fSplit;
    }
    return v3;
}

// Rays in bundles from one point, as a camera makes them, or towards one, as shadow rays are, and single ones; many
// through vertices and the edges of split planes, level with an axis or along it; now and then one that is hostile.
void mixed(RayStream& stream, Random& random, const KDTree& tree, unsigned) {
    const Scene& scene = *tree.pScene;
    const float special[] = {NAN, HUGE_VALF, -0.0f, 0.0f, 1e38f, -1e-45f};
    const uint32_t uRays = 1 + random.below(RayStream::CAPACITY);
    const bool bTowards = random.below(2) == 1;
    const float fSpread = random.below(3) ? 300.0f : 3000.0f;
    NMVector3f v3Centre = random.vector(20000.0f), v3About = v3Centre;
    for (stream.uCount = 0; stream.uCount < uRays;) {
        const uint32_t uKind = random.below(40);
        if (uKind < 3) {
            v3Centre = uKind ? random.inside(scene.boxScene) : random.vector(20000.0f);
            v3About = scene.pVertices[random.below(scene.uVertexCount)].v3Position;
        }
        NMVector3f v3Target = v3About + random.vector(fSpread);
        if (uKind < 10) v3Target = onPlanes(random, tree);
        if (uKind > 25) v3Target = scene.pVertices[random.below(scene.uVertexCount)].v3Position;
        NMVector3f v3From = v3Centre;
        if (uKind > 35) v3From[uKind % 3] = v3Target[uKind % 3];
        NMVector3f v3Dir = v3Target - v3From;
        if (bTowards) {
            v3From = v3Target;
            v3Dir = v3Dir * -1.0f;
        }
        if (uKind == 20) v3From[random.below(3)] = special[random.below(6)];
        if (uKind == 21) v3Dir[random.below(3)] = special[random.below(6)];
        if (uKind == 22) v3From = v3From + v3Dir * random.between(-30.0f, 0.0f);
        float fEnd = uKind == 23 ? 100.0f : random.between(0.0f, 2.0f);
        if (uKind == 24) fEnd = special[random.below(6)];
        stream.add(v3From, v3Dir, bTowards && uKind < 22 ? 1.0f : fEnd);
    }
}

// A face of nearly the whole scene across an axis.
void addWall(Mesh& mesh, unsigned uAxis, float fWhere) {
    NMVector3f corners[3] = {};
    for (NMVector3f& v3 : corners) v3[uAxis] = fWhere;
    corners[1][(uAxis + 1) % 3] = corners[2][(uAxis + 2) % 3] = 9996;
    mesh.add(corners[0], corners[1], corners[2]);
}

Mesh makeWalls(unsigned uAxis, std::initializer_list<float> positions) {
    Mesh mesh;
    for (const float f : positions) addWall(mesh, uAxis, f);
    return mesh;
}

float heightOf(const KDTree& tree, unsigned uAxis) {
    return tree.pScene->vFaces[0].pA->v3Position[uAxis];
}

// Meshes of every kind under mixed rays.
void addMeshes(std::vector<Case>& vCases) {
    Random random(1);
    std::vector<Mesh> vMeshes = makeMeshes(random);
    Mesh fan, needles, boxes, flat;
    for (int i = 0; i < 60; ++i) fan.add({0, 0, 0}, random.vector(5.0f), {1, 2, 3});  // one large leaf
    for (int i = 0; i < 300; ++i) {  // so thin that rounding decides where they are hit
        const NMVector3f v3 = random.vector(5.0f), v3Long = random.vector(i % 2 ? 1.0f : 4.0f);
        needles.add(v3, v3 + v3Long, v3 + v3Long * 0.5f + random.vector(1e-6f));
    }
    for (uint32_t u = 0; u < 81; ++u) {  // on whole numbers
        const float x = static_cast<float>(u % 9), z = static_cast<float>(u / 9), h = static_cast<float>(u * 7 % 4);
        boxes.addQuad({x, h, z}, {1, 0, 0}, {0, 0, 1});
        boxes.addQuad({x, 0, z}, {0, h, 0}, {0, 0, 1});
        boxes.addQuad({x, 0, z}, {1, 0, 0}, {0, h, 0});
    }
    for (int i = 0; i < 7; ++i) flat.add({0, 0, 0}, random.vector(1.0f), {0, 0, 0});  // without area
    vMeshes.insert(vMeshes.end(), {fan, needles, boxes, flat, makeSoup(random, 1, 5.0f)});
    for (const Mesh& mesh : vMeshes) {
        vCases.push_back({"mixed rays " + std::to_string(vCases.size()), mesh, mixed, 8});
        if (random.below(2)) vCases.back().fFarthestOrigin = random.between(0.0f, 1e5f);
    }
}

// Scenes whose sums overflow must not lead from an empty place of a node to the root again, without end.
void addOverflow(std::vector<Case>& vCases) {
    const auto rays = [](RayStream& stream, Random& random, const KDTree&, unsigned uRound) {
        const float f = std::array{1.0f, 1e19f, 8e37f, 3e38f, HUGE_VALF}[uRound];
        NMVector3f v3Eye{};
        for (uint32_t u = 0; u < 256; ++u) {
            if (u % 64 == 0) v3Eye = random.vector(1.0f) * f;
            stream.add(v3Eye, v3Eye * (-1.0f / f) + random.vector(0.1f), u % 3 ? HUGE_VALF : f);
        }
    };
    Mesh point, thin;
    point.vVertices = {{1e38f, 0, 0}};
    for (float f = 0.1f; f < 1; f += 0.1f) thin.add({2.5e34f, f, 0}, {2.5e34f, 0, 1 - f}, {2.5e34f, 1, 1});
    for (const float f : {0.0f, 1e5f, HUGE_VALF}) {
        vCases.push_back({"a point", point, rays, 5, f});
        vCases.push_back({"thin", thin, rays, 5, f});
    }
}

// A face so thin that rounding decides: the test accepts rays that pass far beside it, on the diagonal along which its
// coefficients cancel. They must be found where they are, for any width, and however far away the segment ends.
void addThinFaces(std::vector<Case>& vCases) {
    for (float fWidth = 1e-2f; fWidth > 1e-9f; fWidth *= 0.3f) {
        Mesh thin;
        thin.add({1, 1, 0}, {0.6f, 0.6f + std::max(fWidth, 6e-8f), 0}, {0, 0, 0});
        const auto rays = [fWidth](RayStream& stream, Random&, const KDTree& tree, unsigned) {
            const float fLength = heightOf(tree, 0);
            const auto aim = [&](float h) { stream.add({h, h, 500.0f}, {0, 0, -1}, 1000.0f); };
            for (float f = 0; f < 100; ++f) {
                aim(fLength * (f * 0.03f - 1.0f));
                for (unsigned u = 0; u < 4; ++u)
                    aim(fLength * (1.0f + (4 * f + static_cast<float>(u)) * 1e-9f / fWidth));
                aim(fLength * f * -4e-9f / fWidth);
                // Far beyond the scene, and from near its middle to its end.
                const float fSlope = std::exp2(f * 0.2f), h = fLength - 3000 - f;
                stream.add({100, 100, 5000}, {1, 1, -1 / fSlope}, 10000 * fSlope);
                stream.add({h, h, 3000}, {1, 1, -1}, 5000);
            }
        };
        for (const float fFarthest : {0.0f, 1.0f}) vCases.push_back({"thin face", thin, rays, 1, fFarthest});
        vCases.push_back({"singular face", thin, rays, 1, 0, {}, 0, UINT32_MAX, true});
    }
}

void addDirections(std::vector<Case>& vCases) {
    Random random(3);
    const Mesh soup = makeSoup(random, 500, 2.0f);
    // The frustum of rays to a light so far away that the rounding of their ends is larger than the boxes' margin.
    const auto toFarLight = [](RayStream& stream, Random& rays, const KDTree& tree, unsigned) {
        const NMVector3f v3Light = normalize(rays.vector(1.0f)) * 3e8f;
        NMVector3f v3Vertex{};
        for (uint32_t u = 0; u < RayStream::CAPACITY; ++u) {
            if (u % 64 == 0) v3Vertex = tree.pScene->pVertices[rays.below(tree.pScene->uVertexCount)].v3Position;
            const NMVector3f v3Way = v3Light - v3Vertex, v3Dir = normalize(v3Way);
            stream.add(v3Vertex - v3Dir * 300.0f + rays.vector(0.5f), v3Dir, length(v3Way) + 300.0f);
        }
    };
    vCases.push_back({"to a far light", soup, toFarLight, 50});
    // Directions so small that a slope is not a number, beside rays that need theirs; nearly along a face, where the
    // face test refuses by a limit; opposite to each other.
    const auto vanishing = [](RayStream& stream, Random& rays, const KDTree& tree, unsigned) {
        const Scene& scene = *tree.pScene;
        const NMVector3f v3Eye{scene.boxScene.v3Min.x * 2, 0, 0};
        for (uint32_t u = 0; u < RayStream::CAPACITY; ++u) {
            const uint32_t uKind = u / 64 % 4;
            const NMVector3f v3Target = scene.pVertices[rays.below(scene.uVertexCount)].v3Position;
            if (uKind == 2) {
                const NMVector3f O{rays.between(-2000, 2000), rays.between(-2000, 2000), heightOf(tree, 2) + 1e-3f};
                stream.add(O, {0.01f, 0.01f, -rays.between(3e-8f, 9e-8f)}, 1e5f);
            } else if (uKind == 3) {
                stream.add({}, {u % 2 ? 1.0f : -1.0f, rays.between(-1, 1), rays.between(-1, 1)}, 1e5f);
            } else if (rays.below(12) == 0) {
                stream.add(v3Eye, {1e-40f, static_cast<float>(uKind), 0}, 1e4f);
            } else {
                const float fSpread = rays.below(16) ? 0.1f : 1.0f;  // few rays decide how wide the bound must be
                stream.add(v3Eye, (v3Target * fSpread - v3Eye) * rays.between(0.5f, 1.0f), 2.0f);
            }
        }
    };
    Mesh floor;
    floor.addQuad({-10, -10, -15}, {20, 0, 0}, {0, 20, 0});
    for (int i = 0; i < 300; ++i) {
        const NMVector3f v3 = random.vector(10.0f);
        floor.add(v3 + random.vector(2.0f), v3 + random.vector(2.0f), v3 + random.vector(2.0f));
    }
    vCases.push_back({"vanishing", floor, vanishing, 1, 0, {}, 20});
    // So large that the sum overflows, which puts the hit at the origin.
    Mesh roof;
    roof.add({1000, 1000, 5000}, {9000, 1000, 4000}, {1000, 9000, 4000});
    for (int i = 0; i < 8; ++i) {  // so that it has a box of its own
        const float f = i % 2 ? 9990.0f : 0.0f;
        roof.add({f, f, f}, {f + 1, f, f}, {f, f + 1, f});
    }
    const auto overflowing = [](RayStream& stream, Random& rays, const KDTree&, unsigned) {
        for (int i = 0; i < 100; ++i) {
            const NMVector3f O{rays.between(6000, 7500), rays.between(1100, 1400), 100};
            stream.add(O, {3e38f, 3e38f, 3e38f}, 1.0f);
        }
    };
    vCases.push_back({"overflowing", roof, overflowing, 1, 0, {leaf({0})}, 100});
}

// The sides of planes, on trees of few leaves.
void addPlanes(std::vector<Case>& vCases) {
    // The cut point's rounding decides on which side of the plane a hit lies, and there the face may not be listed.
    for (const float fDistance : {0.0f, 6e5f}) {  // or that of the origins, where it is larger
        const auto beside = [fDistance](RayStream& stream, Random& random, const KDTree& tree, unsigned) {
            while (stream.uCount < RayStream::CAPACITY) {
                NMVector3f O = random.inside(tree.pScene->boxScene) * 0.07f;
                O.x -= fDistance * random.between(0.9f, 1.0f);
                stream.add(O, (NMVector3f{1234.59f, 800, heightOf(tree, 2)} - O) * random.between(0.5f, 1.0f), 3.0f);
            }
        };
        const std::vector<Node> vTree = {plane(0, 1234.59f, 1), leaf({0}), leaf({})};
        vCases.push_back({"beside a plane", makeWalls(2, {5000}), beside, 8, fDistance, vTree, 0, 8100});
    }
    // A slow ray downwards: its segment ends on a plane at the last place of y, is cut there once more, and the cut
    // point, computed from that place, lies behind the segment's end. Then the same on z.
    for (const bool bBoth : {false, true}) {
        Mesh mesh;
        for (const float x : {5000.5f, 5000.6f}) mesh.add({x, 9996, 0}, {x, 0, 9996}, {x, 9996, 9996});
        // Half a last place above 8192 is 0.82 times the rounding of the scene's largest coordinate.
        const float fPlane = 5000.5f * (10000.0f / 9998.0f) - (bBoth ? 7.6f : 3.2f);
        const auto slow = [=](RayStream& stream, Random& random, const KDTree&, unsigned) {
            while (stream.uCount < RayStream::CAPACITY) {
                const float fY = random.between(-1.02e-4f, -1e-4f), fZ = bBoth ? random.between(-1.02e-4f, -1e-4f) : 0;
                const float fWay = random.between(500, 1500);
                // The cut on y lies up to 4.9 behind the plane, that on z as far again.
                const float z = bBoth ? 8200.0f - fZ * (fWay + 4.5f) : 9000.0f;
                stream.add({fPlane - fWay, 8200.0f - fY * fWay, z}, {1, fY, fZ}, 3000.0f);
            }
        };
        const std::vector<Node> vTree = {plane(0, fPlane, 1), plane(1, 8200, 3), leaf({0, 1}), leaf({}),
                                         plane(2, 8200, 5),   leaf({}),          leaf({1})};
        vCases.push_back({"turned around", mesh, slow, 1, 0, vTree, 0, RayStream::CAPACITY - 6});
    }
    // A hit beside a plane is looked for on both sides, and on the far side the segment still has its own end, as it
    // has on the only side of a ray within the plane: where that lies on a plane, the walk goes to the high child, in
    // which the face is not listed.
    for (const float fSign : {-1.0f, 0.0f, 1.0f}) {
        const auto ending = [fSign](RayStream& stream, Random&, const KDTree& tree, unsigned) {
            for (int i = 0; i < 100; ++i) {
                const float fAside = fSign * static_cast<float>(100 + i);
                const NMVector3f O{5000.0f + 0.002f * fSign - fAside / 2, 1100, heightOf(tree, 2) - 500};
                const float fEnd = 1.0f + 0.01f * static_cast<float>(i);  // its t and the plane's differ by rounding
                stream.add(O, NMVector3f{fAside, i % 2 ? 50.0f : 49.0f, 1000} / fEnd, fEnd);
            }
        };
        std::vector<Node> vTree = {plane(0, 5000.0f, 1), leaf({0}), leaf({0}), leaf({0}), leaf({})};
        vTree[fSign < 0 ? 1 : 2] = plane(1, 1150.0f, 3);  // behind the hit
        vCases.push_back({"ending on a plane", makeWalls(2, {5000}), ending, 1, 0, vTree, 50, 50});
    }
    // So does a segment that was cut at a plane, where the plane comes once more: the cut point lies on it exactly.
    const auto cut = [](RayStream& stream, Random& random, const KDTree&, unsigned) {
        while (stream.uCount < 200) {
            const NMVector3f O{random.between(0, 3900), random.between(0, 4000), random.between(0, 4000)};
            stream.add(O, NMVector3f{random.between(6e3f, 7e3f), 500, 500} - O, 1.0f);
        }
    };
    const std::vector<Node> vThin = {plane(0, 5200.37f, 1), plane(0, 5200.37f, 3), leaf({}), leaf({0}), leaf({})};
    vCases.push_back({"a cell without thickness", makeWalls(0, {4000}), cut, 1, 0, vThin, 0, 0});
    // Lists lie one behind the other and are read in whole vectors: the face that a ray meets stands only in the list
    // behind that of its leaf.
    const auto ahead = [](RayStream& stream, Random&, const KDTree&, unsigned) {
        for (int i = 0; i < 100; ++i) stream.add({2000.0f + static_cast<float>(i), 2000, 100}, {0, 0, 1}, 1e4f);
    };
    const std::vector<Node> vCrossed = {plane(0, 3000, 1), leaf({1}), leaf({0})};
    vCases.push_back({"the next list", makeWalls(2, {4000, 5000}), ahead, 1, 0, vCrossed});
    // A denormal component downwards makes the margin of a component of zero NaN, which comparing with all hits of a
    // packet does not notice.
    const auto denormal = [](RayStream& stream, Random&, const KDTree&, unsigned) {
        for (unsigned u = 0; u < 64; ++u) {
            stream.add({u ? 2000.0f : 4000.0f, 2000, 100}, {0, u ? 0.0f : -1e-40f, 1}, 1e4f);
        }
    };
    const std::vector<Node> vApart = {plane(0, 3000, 1), leaf({0}), leaf({1})};
    vCases.push_back({"a margin of NaN", makeWalls(2, {4000, 5000}), denormal, 1, 0, vApart, 63, 63});
}

// A needle that is accepted outside of the scene, at points x = 8 y of z = 0.
void addNeedles(std::vector<Case>& vCases) {
    constexpr float LENGTH = 0x1.921d12p+9f, MIDDLE = 0x1.e2894ap+8f, FAR = 7357.0f, NEAR = 3000.0f;
    Mesh thin;
    thin.add({8 * LENGTH, LENGTH, 0}, {8 * MIDDLE, std::nextafter(MIDDLE, 1e9f), 0}, {0, 0, 0});
    // A slow ray meets it outside of the limit of origins, too: its y changes by one last place on its way, so that
    // rounding moves a cut to twice the segment's length.
    const auto slow = [](RayStream& stream, Random&, const KDTree&, unsigned) {
        const float fLast = std::nextafter(FAR, 1e9f) - FAR;
        for (int i = 0; i < 100; ++i) {
            const float fWay = 98800.0f + static_cast<float>(i);
            stream.add({8 * FAR - fWay, FAR + fLast, fWay / 16}, {1, fLast / fWay * -0.999f, -0.0625f}, 1e6f);
        }
    };
    vCases.push_back({"slow, beyond the scene", thin, slow, 1, 0, {plane(1, FAR, 1), leaf({}), leaf({0})}, 51});
    const auto before = [](RayStream& stream, Random&, const KDTree&, unsigned) {
        for (float y = 2400.0f; y < 2600.0f; ++y) {
            // Met where the ray begins, which never enters the scene; and before it enters, on the plane's other side.
            stream.add({8 * y, y, 0}, {2, 0, -1}, 3e38f);
            stream.add({8 * y + 512, y - 32, -32}, {-1, 0.0625f, 0.0625f}, 1e5f);
        }
    };
    vCases.push_back({"before the scene", thin, before, 1, 0, {plane(1, NEAR, 1), leaf({0}), leaf({})}, 0, 0});
}

class RayStreamTest : public FileTest {
 protected:
    // Loads the scene and its tree, or builds one. A tree made by hand is handed over in the cache file.
    void prepare(const Case& c, Scene& scene, RayQueries& queries) {
        Mesh mesh = c.mesh;
        if (!c.vTree.empty()) {  // a small face in each of two corners gives the scene a size of 10000
            mesh.add({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
            mesh.add({9998, 9998, 9998}, {9997, 9998, 9998}, {9998, 9997, 9998});
        }
        loadMesh(scene, mesh);
        if (c.bSingular) {
            scene.vFaces[0].fLambdaU = scene.vFaces[0].fMuV = 1000;
            scene.vFaces[0].fLambdaV = scene.vFaces[0].fMuU = -1000;
        }
        if (!c.vTree.empty()) save(c.vTree, scene);
        testing::internal::CaptureStdout();
        const bool bFailed = queries.build(scene, c.vTree.empty(), c.fFarthestOrigin);
        const bool bLoaded = testing::internal::GetCapturedStdout().find("OK") != std::string::npos;
        ASSERT_FALSE(bFailed);
        ASSERT_EQ(bLoaded, !c.vTree.empty());
    }

    static void save(const std::vector<Node>& vTree, const Scene& scene) {
        KDTree tree;
        Velk::NDataVector<KDTreeNode> nodes;
        tree.pScene = &scene;
        ASSERT_FALSE(nodes.create(8, 8) || tree.vFacesList.create(8, 8, 32));
        for (const Node& from : vTree) {
            KDTreeNode node;
            if (from.uAxis < 3) node.makeInterior(from.uChild, from.uAxis);
            if (from.uAxis < 3) node.fSplit = from.fSplit;
            if (!from.vFaces.empty()) node.setList(tree.vFacesList.uSize);
            ASSERT_FALSE(nodes.PushBack(node));
            for (const uint32_t& uFace : from.vFaces) {
                const uint32_t uNext = &uFace == &from.vFaces.back() ? NO_INDEX : tree.vFacesList.uSize + 1;
                ASSERT_FALSE(tree.vFacesList.PushBack({uFace, uNext}));
            }
        }
        EXPECT_EQ(tree.saveTree("kdtree.tmp", nodes), 0);
    }
};

TEST_F(RayStreamTest, GivesTheAnswersOfSingleRays) {
    std::vector<Case> vCases;
    for (const auto add : {addMeshes, addOverflow, addThinFaces, addDirections, addPlanes, addNeedles}) add(vCases);
    const auto pStream = std::make_unique<RayStream>();
    for (const Case& c : vCases) {
        Random random(5);
        Scene scene;
        RayQueries queries;
        prepare(c, scene, queries);
        if (HasFatalFailure()) return;
        uint32_t uFirst = 0;
        for (unsigned uRound = 0; uRound < c.uRounds; ++uRound) {
            SCOPED_TRACE(c.sName + ", round " + std::to_string(uRound));
            pStream->uCount = 0;
            c.rays(*pStream, random, queries.kdTree, uRound);
            ASSERT_EQ(firstWrongAnswer(queries, *pStream, uFirst), "");
        }
        EXPECT_TRUE(c.uFewest <= uFirst && uFirst <= c.uMost)
            << c.sName << ": " << uFirst << " rays hit the first face";
    }
}

}  // namespace
