// Compares the answers of queries with those of the code that defines them.
#include "support/Answers.h"

#include <cstring>
#include <memory>

using namespace rt;

namespace {

bool same(const RayTestOutput& a, const RayTestOutput& b) {
    return !memcmp(&a.v3Hit, &b.v3Hit, sizeof(a.v3Hit)) && a.fT == b.fT && a.fU == b.fU && a.fV == b.fV &&
           a.bFrontFace == b.bFrontFace;
}

// The sign of zero included.
bool same(const std::vector<WatertightHit>& a, const std::vector<WatertightHit>& b) {
    return a.size() == b.size() && (a.empty() || !memcmp(a.data(), b.data(), a.size() * sizeof(a[0])));
}

constexpr const char* KERNELS[] = {"generic", "sse2", "avx2", "avx512", "neon"};

}  // namespace

std::string firstWrongAnswer(RayQueries& queries, const RayStream& stream, uint32_t& uHitFirstFace) {
    const KDTree& tree = queries.kdTree;
    std::vector<RayTestOutput> vHits(RayStream::ROOM), vExpected(RayStream::ROOM);
    std::vector<uint32_t> vFaces(RayStream::ROOM), vExpectedFaces(stream.uCount, NO_INDEX);
    std::vector<bool> vExpectedBlocked;
    for (uint32_t u = 0; u < stream.uCount; ++u) {
        const Velk::NMVector3f O = stream.origin(u), D = stream.dir(u);
        const FaceData* pFace = tree.findNearestFace(O, D, stream.fMaxDist[u], &vExpected[u]);
        if (pFace) vExpectedFaces[u] = static_cast<uint32_t>(pFace - tree.pScene->vFaces.pData);
        uHitFirstFace += vExpectedFaces[u] == 0;
        vExpectedBlocked.push_back(tree.findObstacle(O, D, stream.fMaxDist[u]));
    }
    const auto pBlocked = std::make_unique<bool[]>(RayStream::ROOM);
    for (const char* szKernel : KERNELS) {
        if (!(queries.pKernel = findKernel(szKernel))) continue;
        queries.findNearestFaces(stream, vFaces.data(), vHits.data());
        queries.findObstacles(stream, pBlocked.get());
        for (uint32_t u = 0; u < stream.uCount; ++u) {
            const uint32_t uFace = vExpectedFaces[u];
            const bool bSame = vFaces[u] == uFace && (uFace == NO_INDEX || same(vHits[u], vExpected[u]));
            if (bSame && pBlocked[u] == vExpectedBlocked[u]) continue;
            return std::string(szKernel) + ", ray " + std::to_string(u) + ": face " + std::to_string(vFaces[u]) +
                   ", not " + std::to_string(uFace) + (bSame ? ", obstacle" : "");
        }
    }
    queries.pKernel = &bestKernel();
    return "";
}

std::string firstWrongAnswer(WatertightQueries& queries, const Mesh& mesh, const std::vector<WatertightRay>& vRays) {
    const size_t uRays = vRays.size();
    std::vector<WatertightHit> vNearest(uRays), vStream(RayStream::CAPACITY), vAll;
    std::vector<std::vector<WatertightHit>> vExpected, vExpectedInStream;
    const auto pAny = std::make_unique<bool[]>(uRays), pStreamAny = std::make_unique<bool[]>(uRays);
    const auto pStream = std::make_unique<RayStream>();
    for (WatertightRay r : vRays) {
        pStream->add({r.fOrigin[0], r.fOrigin[1], r.fOrigin[2]}, {r.fDir[0], r.fDir[1], r.fDir[2]}, r.fFar);
        vExpected.push_back(meetAll(mesh, r));
        r.fNear = 0.0f;
        vExpectedInStream.push_back(meetAll(mesh, r));
    }
    const auto isFirst = [](const WatertightHit& hit, bool bAny, const std::vector<WatertightHit>& vHits) {
        const WatertightHit none{0, 0, 0, WatertightHit::NO_FACE, 0};
        return bAny != vHits.empty() && same({hit}, {vHits.empty() ? none : vHits[0]});
    };
    for (const char* szKernel : KERNELS) {
        if (!(queries.pKernel = findWatertightKernel(szKernel))) continue;
        queries.nearest(vRays.data(), uRays, vNearest.data());
        queries.any(vRays.data(), uRays, pAny.get());
        queries.nearestOf(*pStream, vStream.data());
        queries.anyOf(*pStream, pStreamAny.get());
        for (size_t u = 0; u < uRays; ++u) {
            queries.all(vRays[u], vAll);
            const char* szWrong = !isFirst(vNearest[u], pAny[u], vExpected[u])                ? "nearest"
                                  : !isFirst(vStream[u], pStreamAny[u], vExpectedInStream[u]) ? "in a stream"
                                  : !same(vAll, vExpected[u])                                 ? "all"
                                  : queries.count(vRays[u]) != vAll.size()                    ? "number"
                                                                                              : nullptr;
            if (!szWrong) continue;
            return std::string(szKernel) + ", ray " + std::to_string(u) + ", " + szWrong + ": face " +
                   std::to_string(vNearest[u].uFace) + " of " + std::to_string(vExpected[u].size());
        }
    }
    queries.pKernel = &bestWatertightKernel();
    return "";
}
