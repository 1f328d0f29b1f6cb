// Reads, checks and writes the tree's cache file kdtree.tmp; and the diagnostic walks.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "accel/CacheFile.h"
#include "accel/kdtree/KDTree.h"
#include "base/LineReader.h"
#include "base/NLogger.h"
#include "base/NewArray.h"
#include "base/OutputFile.h"
#include "base/Printable.h"
#include "base/Progress.h"
#include "base/TextWriter.h"
#include "scene/Scene.h"

namespace rt {

namespace {

constexpr uint64_t ANY_NUMBER = uint64_t{1} << 32;

std::unique_ptr<uint8_t[]> makeZeros(uint32_t uCount) {
    std::unique_ptr<uint8_t[]> p(Velk::newArray<uint8_t>(uCount));
    if (p) memset(p.get(), 0, uCount);
    return p;
}

// True when the nodes make a tree: every reference in range, every child behind its parent and of one parent only, no
// interior node deeper than the builder makes them, and a finite plane on a valid axis in each. False without memory.
bool isTree(const Velk::NDataVector<KDTreeNode>& nodes, uint32_t uEntries) {
    if (!nodes.uSize) return false;
    const std::unique_ptr<uint8_t[]> vDepth = makeZeros(nodes.uSize);  // 0 for a node without a parent
    if (!vDepth) return false;
    for (uint32_t u = 0; u < nodes.uSize; ++u) {
        const KDTreeNode& node = nodes[u];
        if (u && !vDepth[u]) return false;
        if (node.axis() > 2) return false;
        if (node.isLeaf()) {
            if (node.hasReference() && node.index() >= uEntries) return false;
            continue;
        }
        const uint32_t uChild = node.index();
        if (uChild <= u || uChild >= nodes.uSize - 1 || vDepth[uChild] || vDepth[uChild + 1]) return false;
        if (vDepth[u] > KDTreeNode::MAX_DEPTH || !std::isfinite(node.fSplit)) return false;
        vDepth[uChild] = vDepth[uChild + 1] = static_cast<uint8_t>(vDepth[u] + 1);
    }
    return true;
}

// True when no face list leaves the pool, has a cycle or joins another. False without memory.
bool areLists(const Velk::NDataVector<KDTreeNode>& nodes, const Velk::NAlignedDataVector<FacesListNode>& vList) {
    const std::unique_ptr<uint8_t[]> vSeen = makeZeros(vList.uSize);
    if (!vSeen) return false;
    const auto isNew = [&](uint32_t u) { return u < vList.uSize && !vSeen[u]++; };
    // When each entry has at most one predecessor (an entry or a leaf), no lists join or form a cycle. Checking that in
    // memory order is faster than following the lists.
    bool bSound = true;
    for (const FacesListNode& entry : vList) bSound = bSound && (entry.next == NO_INDEX || isNew(entry.next));
    for (const KDTreeNode& node : nodes) {
        if (node.isLeaf() && node.hasReference()) bSound = bSound && isNew(node.index());
    }
    if (bSound) return true;
    // Entries that are in no list may point anywhere, so now the lists themselves are followed.
    memset(vSeen.get(), 0, vList.uSize);
    for (const KDTreeNode& node : nodes) {
        if (!node.isLeaf() || !node.hasReference()) continue;
        for (uint32_t u = node.index(); u != NO_INDEX; u = vList[u].next) {
            if (!isNew(u)) return false;
        }
    }
    return true;
}

// Reads a line of a keyword and a count. True when the line is anything else.
bool readCount(Velk::LineReader& reader, const char* szKeyword, uint32_t& uCount) {
    const char* szLine = reader.next();
    const size_t uKeyword = strlen(szKeyword);
    if (!szLine || strncmp(szLine, szKeyword, uKeyword) != 0) return true;
    int64_t iCount = 0;
    if (Velk::readIntegers(szLine + uKeyword, &iCount, 1) != 1) return true;
    if (iCount < 0 || iCount > KDTreeNode::MAX_INDEX || reader.isAbsurdCount(iCount)) return true;
    uCount = static_cast<uint32_t>(iCount);
    return false;
}

// Reads one unsigned number up to the given end character. Null when there is none.
const char* readUnsigned(const char* sz, uint32_t& u, char cEnd) {
    uint64_t uValue = 0;
    const char* p = sz;
    for (; *p >= '0' && *p <= '9' && p - sz < 11; ++p) uValue = uValue * 10 + static_cast<uint64_t>(*p - '0');
    u = static_cast<uint32_t>(uValue);
    return p != sz && uValue <= UINT32_MAX && *p == cEnd ? p + 1 : nullptr;
}

bool readNodes(Velk::LineReader& reader, Velk::NDataVector<KDTreeNode>& nodes) {
    uint32_t uCount = 0;
    if (readCount(reader, "KDNodes ", uCount) || nodes.create(uCount, 4)) return true;
    for (; nodes.uSize < uCount; ++nodes.uSize) {
        KDTreeNode& node = nodes[nodes.uSize];
        if (reader.nextPlain(&node.uData, 1, ANY_NUMBER, &node.fSplit, 1)) continue;
        const char* sz = reader.next();
        if (sz) sz = readUnsigned(sz, node.uData, ' ');
        if (!sz || Velk::readFloats(sz, &node.fSplit, 1) != 1) return true;
    }
    const char* szLine = reader.next();
    return !szLine || !Velk::LineReader::isBlank(szLine);
}

bool readList(Velk::LineReader& reader, uint32_t uFaces, Velk::NAlignedDataVector<FacesListNode>& vList) {
    uint32_t uCount = 0;
    if (readCount(reader, "ObjectList ", uCount) || vList.create(uCount, 4, 32)) return true;
    for (; vList.uSize < uCount; ++vList.uSize) {
        FacesListNode& entry = vList[vList.uSize];
        uint32_t u[2];
        if (!reader.nextPlain(u, 2, ANY_NUMBER, nullptr, 0)) {
            const char* sz = reader.next();
            if (sz) sz = readUnsigned(sz, u[0], ' ');
            if (!sz || !readUnsigned(sz, u[1], '\n')) return true;
        }
        entry = {u[0], u[1]};
        if (entry.uFace >= uFaces) return true;
    }
    return false;
}

// Goes to the log only: a cache that cannot be written is not the user's fault and costs only time.
void logReason(const char* szPath) {
    Velk::NLogger::LogLine("%s: %s\n", Velk::Printable(szPath).text(), errno ? strerror(errno) : "Not a regular file");
}

}  // namespace

std::string KDTree::cacheName() const {
    return sCacheName.empty() ? pScene->szSceneFile : sCacheName;
}

bool KDTree::loadTree(const char* szPath, Velk::NDataVector<KDTreeNode>* pNodes) {
    Velk::LineReader reader(szPath);
    const char* szFirstLine = reader.isOpen() ? reader.next() : nullptr;
    if (!szFirstLine || !isCacheOf(cacheName(), szFirstLine)) return false;
    const bool bBroken = readNodes(reader, *pNodes) || readList(reader, pScene->vFaces.uCount, vFacesList) ||
                         !isTree(*pNodes, vFacesList.uSize) || !areLists(*pNodes, vFacesList);
    if (bBroken) {
        pNodes->Release();
        vFacesList.Release();
        return false;
    }
    return true;
}

int KDTree::saveTree(const char* szPath, const Velk::NDataVector<KDTreeNode>& nodes) const {
    Velk::OutputFile file;
    if (file.open(szPath)) {
        ReportErrorFormat("Failed to open file: %s\n", Velk::Printable(szPath).text());
        logReason(szPath);
        return EOF;
    }
    {
        Velk::TextWriter writer(file.stream());
        writer.text(cacheHeadline(cacheName()).c_str()).text("KDNodes ").number(nodes.uSize).text("\n");
        for (const KDTreeNode& node : nodes) {
            writer.number(node.uData).character(' ');
            (bExactCache ? writer.shortest(node.fSplit) : writer.number(node.fSplit)).character('\n');
        }
        writer.text("\nObjectList ").number(vFacesList.uSize).text("\n");
        for (const FacesListNode& entry : vFacesList) {
            writer.number(entry.uFace).character(' ').number(entry.next).character('\n');
        }
    }
    if (!file.commit()) return 0;
    ReportErrorFormat("Failed to write to file: %s\n", Velk::Printable(szPath).text());
    logReason(szPath);
    return EOF;
}

// These two walks are for debugging, to see why a face is hit or not. Nothing calls them.
bool KDTree::walkthroughNodes(unsigned uFace, const KDTreeNode* pNode) const {
    const auto indexOf = [this](const KDTreeNode* p) { return static_cast<int>(p - vNodes.pData); };
    if (!pNode->isLeaf()) {
        const KDTreeNode* pChild = vNodes.pData + pNode->child();
        const bool bLow = walkthroughNodes(uFace, pChild);
        const bool bHigh = walkthroughNodes(uFace, pChild + 1);
        if (bLow && bHigh) {
            Velk::printProgress("Node index: %d, with two children: %d & %d.\n", indexOf(pNode), indexOf(pChild),
                                indexOf(pChild + 1));
        } else if (bLow || bHigh) {
            Velk::printProgress("Node index: %d.\n", indexOf(pNode));
        }
        return bLow || bHigh;
    }
    if (!pNode->hasReference() || !walkthroughFacesList(uFace, &vFacesList[pNode->list()])) return false;
    Velk::printProgress("Node index: %d.\n", indexOf(pNode));
    return true;
}

bool KDTree::walkthroughFacesList(unsigned uFace, const FacesListNode* pEntry) const {
    const int iEntry = static_cast<int>(pEntry - vFacesList.pData);
    if (pEntry->uFace == uFace) {
        Velk::printProgress("-------\nFace list index: %d, found!\n", iEntry);
        return true;
    }
    if (pEntry->next == NO_INDEX || !walkthroughFacesList(uFace, &vFacesList[pEntry->next])) return false;
    Velk::printProgress("Face list index: %d.\n", iEntry);
    return true;
}

}  // namespace rt
