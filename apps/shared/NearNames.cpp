// Suggestions for misspelt names.
#include "shared/NearNames.h"

#include <algorithm>

namespace rt {

namespace {

constexpr size_t LONGEST = 64;  // letters that are compared: a path is no misspelt name

}  // namespace

// Row by row of the table of prefixes (the optimal string alignment distance).
unsigned distanceBetween(const std::string& sOne, const std::string& sOther) {
    const std::string a = sOne.substr(0, LONGEST), b = sOther.substr(0, LONGEST);
    std::vector<unsigned> vBefore, vAbove, vRow(b.size() + 1);
    for (size_t u = 0; u <= b.size(); ++u) vRow[u] = static_cast<unsigned>(u);
    for (size_t i = 1; i <= a.size(); ++i) {
        vBefore = vAbove;
        vAbove = vRow;
        vRow[0] = static_cast<unsigned>(i);
        for (size_t j = 1; j <= b.size(); ++j) {
            vRow[j] = std::min({vAbove[j] + 1, vRow[j - 1] + 1, vAbove[j - 1] + (a[i - 1] != b[j - 1])});
            const bool bSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (bSwapped) vRow[j] = std::min(vRow[j], vBefore[j - 2] + 1);
        }
    }
    return vRow[b.size()];
}

std::vector<std::string> nearestFirst(std::vector<std::string> vNames, const std::string& sTyped) {
    std::sort(vNames.begin(), vNames.end());
    std::stable_sort(vNames.begin(), vNames.end(), [&](const std::string& a, const std::string& b) {
        return distanceBetween(a, sTyped) < distanceBetween(b, sTyped);
    });
    return vNames;
}

bool isNear(const std::string& sName, const std::string& sTyped) {
    return distanceBetween(sName, sTyped) <= std::max<size_t>(1, sName.size() / 3);
}

std::string listOf(const std::vector<std::string>& vNames, size_t uMost) {
    std::string sAll;
    for (size_t u = 0; u < std::min(uMost, vNames.size()); ++u) sAll += (u ? ", " : "") + vNames[u];
    if (vNames.size() > uMost) sAll += " and " + std::to_string(vNames.size() - uMost) + " more";
    return sAll;
}

}  // namespace rt
