// Colours as users write them.
#include "rt-render/options/Background.h"

#include <strings.h>

#include <cstdlib>

namespace rt {

using Velk::NMVector3f;

namespace {

struct NamedColour {
    const char* szName;
    NMVector3f v3;
};

constexpr NamedColour NAMES[] = {{"white", {255, 255, 255}}, {"black", {0, 0, 0}}, {"grey", {128, 128, 128}},
                                 {"gray", {128, 128, 128}},  {"red", {255, 0, 0}}, {"green", {0, 128, 0}},
                                 {"blue", {0, 0, 255}}};

// True when it is no colour.
bool readColour(const std::string& sText, NMVector3f& v3) {
    for (const NamedColour& named : NAMES) {
        if (strcasecmp(named.szName, sText.c_str()) != 0) continue;
        v3 = named.v3;
        return false;
    }
    const std::string sDigits = sText.substr(sText.rfind('#') == 0 ? 1 : 0);
    if (sDigits.size() != 6 || sDigits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) return true;
    const unsigned long u = strtoul(sDigits.c_str(), nullptr, 16);
    v3 = {static_cast<float>(u >> 16), static_cast<float>(u >> 8 & 255), static_cast<float>(u & 255)};
    return false;
}

}  // namespace

bool readBackground(const std::string& sText, StudioSettings& studio) {
    studio.bTransparent = sText == "transparent";
    studio.bSkyBehind = sText == "sky";
    if (studio.bTransparent || studio.bSkyBehind) return false;
    const size_t uComma = sText.find(',');
    const std::string sTop = sText.substr(0, uComma);
    const std::string sBottom = uComma == std::string::npos ? sTop : sText.substr(uComma + 1);
    return readColour(sTop, studio.v3Top) || readColour(sBottom, studio.v3Bottom);
}

}  // namespace rt
