// The views that have names.
#include "rt-render/options/CameraWishes.h"

#include <algorithm>

#include "shared/Option.h"

namespace rt {

namespace {

constexpr NamedView VIEWS[] = {{"front", 0, 0}, {"back", 180, 0},   {"left", -90, 0},        {"right", 90, 0},
                               {"top", 0, 90},  {"bottom", 0, -90}, {"iso", 45, 35.26438968}};

}  // namespace

bool readViews(const std::string& sText, std::vector<NamedView>& vViews) {
    vViews.clear();
    for (const std::string& sName : partsOf(sText.c_str(), ",")) {
        const auto isIt = [&sName](const NamedView& view) { return sName == view.szName; };
        const NamedView* p = std::find_if(std::begin(VIEWS), std::end(VIEWS), isIt);
        if (p == std::end(VIEWS) || std::any_of(vViews.begin(), vViews.end(), isIt)) return true;
        vViews.push_back(*p);
    }
    return vViews.empty();
}

std::string viewNames() {
    std::string sAll;
    for (const NamedView& view : VIEWS) sAll += (sAll.empty() ? "" : ", ") + std::string(view.szName);
    return sAll;
}

}  // namespace rt
