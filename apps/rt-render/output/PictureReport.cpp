// Lines of JSON for programs.
#include "rt-render/output/PictureReport.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace rt {

using nlohmann::ordered_json;

namespace {

void writeLine(FILE* pOutput, const ordered_json& line) {
    const std::string s = line.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
    fwrite(s.data(), s.size(), 1, pOutput);
    fflush(pOutput);
}

ordered_json jsonOf(const Velk::NMVector3f& v) {
    return {double{v.x}, double{v.y}, double{v.z}};
}

// Thousandths are enough.
double rounded(double dSeconds) {
    return static_cast<double>(lround(dSeconds * 1000.0)) / 1000.0;
}

}  // namespace

void writeReport(FILE* pOutput, const PictureReport& report, const std::vector<std::string>& vWarnings) {
    ordered_json line;
    line["scene"] = report.sScene;
    line["picture"] = report.sPicture;
    line["width"] = report.uWidth;
    line["height"] = report.uHeight;
    line["faces"] = report.uFaces;
    line["box"] = {jsonOf(report.box.v3Min), jsonOf(report.box.v3Max)};
    line["covered"] = report.dCovered;
    line["blank"] = report.bBlank;
    line["warnings"] = vWarnings;
    line["seconds"] = {{"reading", rounded(report.times.dReading)},
                       {"preparing", rounded(report.times.dPreparing)},
                       {"rendering", rounded(report.times.dRendering)},
                       {"writing", rounded(report.times.dWriting)}};
    writeLine(pOutput, line);
}

void writeFailure(FILE* pOutput, const std::string& sScene, const std::string& sReason) {
    ordered_json line;
    line["scene"] = sScene;
    line["error"] = sReason;
    writeLine(pOutput, line);
}

}  // namespace rt
