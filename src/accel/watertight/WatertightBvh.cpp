// The life of a hierarchy: boxes of the faces, construction, corners in the order of the leaves.
#include "accel/watertight/WatertightBvh.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <vector>

#include "accel/watertight/WatertightBuilder.h"
#include "scene/OnThreads.h"

namespace rt {

namespace {

constexpr uint32_t ALIGNMENT = 64;         // a cache line
constexpr uint32_t MIN_SHARED = 1u << 14;  // faces that are worth a thread

// Calls work(part, begin, end) for uParts parts of a row, on as many threads as there are.
template <typename Work>
void inParts(uint32_t uCount, unsigned uParts, const Work& work) {
    const auto partBegin = [=](unsigned u) { return static_cast<uint32_t>(uint64_t{uCount} * u / uParts); };
    std::atomic<unsigned> uNext{0};
    onThreads(uParts, [&](unsigned) {
        for (unsigned u; (u = uNext++) < uParts;) work(u, partBegin(u), partBegin(u + 1));
    });
}

struct Mesh {
    const float* pPositions;
    uint32_t uVertices;
    const uint32_t* pIndices;

    const float* corner(uint32_t uFace, unsigned c) const {
        return pPositions + size_t{3} * pIndices[size_t{3} * uFace + c];
    }
};

// The items of some faces, those that are left out aside. True when an index is out of range.
bool makeItems(const Mesh& mesh, uint32_t uBegin, uint32_t uEnd, BoxItem* pItems, BoxRange& range) {
    constexpr float LIMIT = WatertightBvh::FARTHEST_CORNER;
    range = {uBegin, uBegin, {}, {}};
    for (uint32_t u = uBegin; u < uEnd; ++u) {
        BoxItem item{{LIMIT, LIMIT, LIMIT, 0}, {-LIMIT, -LIMIT, -LIMIT, 0}};
        bool bSound = true;
        for (unsigned c = 0; c < 3; ++c) {
            if (mesh.pIndices[size_t{3} * u + c] >= mesh.uVertices) return true;
            const float* p = mesh.corner(u, c);
            for (unsigned a = 0; a < 3; ++a) {
                bSound &= p[a] >= -LIMIT && p[a] <= LIMIT;
                item.fMin[a] = std::min(item.fMin[a], p[a]);
                item.fMax[a] = std::max(item.fMax[a], p[a]);
            }
        }
        if (!bSound) continue;
        item.setFace(u);
        range.add(item);
        pItems[range.uEnd++] = item;
    }
    return false;
}

}  // namespace

bool WatertightBvh::build(const float* pPositions, uint32_t uVertices, const uint32_t* pIndices, uint32_t uFaces,
                          unsigned uThreads, StopFlag pStop) {
    release();
    const Mesh mesh{pPositions, uVertices, pIndices};
    Velk::NAlignedArray<BoxItem> vItems;
    if (uFaces > MAX_FACES || vItems.allocate(uFaces + 1, ALIGNMENT)) return true;
    uThreads = std::max(1u, uThreads);
    const unsigned uParts = std::max(1u, std::min(uThreads, uFaces / MIN_SHARED));
    std::vector<BoxRange> vRanges(uParts);
    std::vector<char> vFailed(uParts);
    inParts(uFaces, uParts, [&](unsigned u, uint32_t uBegin, uint32_t uEnd) {
        vFailed[u] = makeItems(mesh, uBegin, uEnd, vItems.pData, vRanges[u]);
    });
    BoxRange whole{0, 0, {}, {}};
    for (const BoxRange& range : vRanges) {  // closes the gaps that left out faces have made
        if (whole.uEnd != range.uBegin) {
            memmove(vItems.pData + whole.uEnd, vItems.pData + range.uBegin, range.count() * sizeof(BoxItem));
        }
        whole.uEnd += range.count();
        whole.add(range);
    }
    bool bFailed = std::find(vFailed.begin(), vFailed.end(), 1) != vFailed.end();
    const uint32_t uItems = whole.count();
    bFailed = bFailed || vNodes.allocate(WatertightBuilder::nodesFor(uItems, uThreads), ALIGNMENT) ||
              vFaces.allocate(uItems + 1, ALIGNMENT);
    if (!bFailed) {
        vNodes.uCount = WatertightBuilder(*this, vItems.pData, uThreads, pStop).build(whole);
        bFailed = isStopped(pStop);
    }
    if (!bFailed) {
        inParts(uItems, uParts, [&](unsigned, uint32_t uBegin, uint32_t uEnd) {
            for (uint32_t u = uBegin; u < uEnd; ++u) {
                WatertightFace& face = vFaces[u];
                face.uFace = vItems[u].face();
                for (unsigned c = 0; c < 3; ++c) {
                    for (unsigned a = 0; a < 3; ++a) face.fAt[a][c] = mesh.corner(face.uFace, c)[a];
                }
            }
        });
        vFaces.uCount = uItems;
        for (unsigned a = 0; a < 3; ++a) {
            fReach[a] = uItems ? std::max(-whole.box.low[a], whole.box.high[a]) : 0.0f;
            fCentre[a] = uItems ? 0.5f * (whole.box.low[a] + whole.box.high[a]) : 0.0f;
            fHalf[a] = uItems ? 0.5f * (whole.box.high[a] - whole.box.low[a]) : 0.0f;
        }
    }
    vItems.Release();
    if (bFailed) release();
    return bFailed;
}

void WatertightBvh::release() {
    vNodes.Release();
    vFaces.Release();
}

}  // namespace rt
