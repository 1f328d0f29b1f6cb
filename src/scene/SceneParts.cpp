// Which faces of a mesh belong together.
#include "scene/SceneParts.h"

#include <algorithm>
#include <utility>

#include "scene/FaceData.h"

namespace rt {

ScenePart ScenePart::below(const std::string& sAbove, const std::string& sName) {
    ScenePart part{sName.substr(0, LONGEST), sAbove};
    if (!sAbove.empty()) part.sPath += '/';
    part.sPath.append(part.sName).resize(std::min(part.sPath.size(), LONGEST));
    return part;
}

void SceneParts::startRun(uint32_t uFaces, uint32_t uPart) {
    if (!vRuns.empty() && vRuns.back().uFirst == uFaces) vRuns.pop_back();
    if (vRuns.empty() || vRuns.back().uPart != uPart) vRuns.push_back({uFaces, uPart});
}

void SceneParts::finish(uint32_t uFaces) {
    if (!vRuns.empty() && vRuns.back().uFirst == uFaces) vRuns.pop_back();
    std::vector<uint32_t> vNumbers(vParts.size(), NO_INDEX);
    std::vector<ScenePart> vUsed;
    for (Run& run : vRuns) {
        uint32_t& uNumber = vNumbers[run.uPart];
        if (uNumber == NO_INDEX) {
            uNumber = static_cast<uint32_t>(vUsed.size());
            vUsed.push_back(std::move(vParts[run.uPart]));
        }
        run.uPart = uNumber;
    }
    vParts = std::move(vUsed);
}

uint32_t SceneParts::partOf(uint32_t uFace) const {
    const auto next =
        std::upper_bound(vRuns.begin(), vRuns.end(), uFace, [](uint32_t u, const Run& run) { return u < run.uFirst; });
    return next == vRuns.begin() ? 0 : std::prev(next)->uPart;
}

std::vector<uint32_t> SceneParts::counts(uint32_t uFaces) const {
    std::vector<uint32_t> vCounts(std::max<size_t>(vParts.size(), 1));
    if (vRuns.empty()) vCounts[0] = uFaces;
    for (size_t u = 0; u < vRuns.size(); ++u) {
        const uint32_t uEnd = u + 1 < vRuns.size() ? vRuns[u + 1].uFirst : uFaces;
        vCounts[vRuns[u].uPart] += uEnd - vRuns[u].uFirst;
    }
    return vCounts;
}

bool SceneParts::areWrong(uint64_t uFaces) const {
    if (vRuns.empty()) return !vParts.empty();
    if (vRuns[0].uFirst != 0 || vRuns.back().uFirst > uFaces) return true;
    for (size_t u = 1; u < vRuns.size(); ++u) {
        if (vRuns[u].uFirst <= vRuns[u - 1].uFirst) return true;
    }
    return std::any_of(vRuns.begin(), vRuns.end(), [this](const Run& run) { return run.uPart >= vParts.size(); });
}

}  // namespace rt
