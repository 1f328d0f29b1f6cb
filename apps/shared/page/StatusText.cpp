// How far a picture is, for programs.
#include "shared/page/StatusText.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace rt {

namespace {

using Json = nlohmann::ordered_json;

double secondsOf(std::chrono::milliseconds time) {
    return static_cast<double>(time.count()) / 1000.0;
}

Json clientJson(const ClientStatus& client) {
    Json json{{"address", client.sAddress},
              {"tiles", client.uTiles},
              {"meanSeconds", nullptr},
              {"silentSeconds", secondsOf(client.silent)},
              {"task", nullptr},
              {"heldSeconds", nullptr}};
    if (client.uTiles) json["meanSeconds"] = secondsOf(client.rendering) / client.uTiles;
    if (client.bHoldsTask) {
        json["task"] = client.uTask;
        json["heldSeconds"] = secondsOf(client.held);
    }
    return json;
}

}  // namespace

std::string statusJson(const PictureStatus& status) {
    Json json{{"program", status.sProgram},  {"scene", status.sScene},     {"picture", status.sPicture},
              {"number", status.uNumber},    {"of", status.uOf},           {"width", status.uWidth},
              {"height", status.uHeight},    {"tiles", status.uTiles},     {"done", status.uDone},
              {"percent", status.percent()}, {"seconds", status.dSeconds}, {"secondsLeft", nullptr}};
    if (status.dSecondsLeft) json["secondsLeft"] = *status.dSecondsLeft;
    if (status.farm) {
        json["untaken"] = status.farm->uUntaken;
        json["parked"] = status.farm->uParked;
        json["refusals"] = status.farm->uRefusals;
        json["clients"] = Json::array();
        for (const ClientStatus& client : status.farm->vClients) json["clients"].push_back(clientJson(client));
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);  // names need not be UTF-8
}

std::string statusMetrics(const PictureStatus& status) {
    std::string sAll;
    const std::string sPrefix = status.sProgram == "rt-farm" ? "rt_farm_" : "rt_render_";
    const auto add = [&](const char* szName, const char* szType, const char* szHelp, double d) {
        char sz[64];
        snprintf(sz, sizeof(sz), " %.10g\n", d);
        const std::string sName = sPrefix + szName;
        sAll += "# HELP " + sName + ' ' + szHelp + "\n# TYPE " + sName + ' ' + szType + '\n' + sName + sz;
    };
    add("tiles", "gauge", "Tiles of the picture.", status.uTiles);
    add("tiles_done", "gauge", "Tiles that are in the picture.", status.uDone);
    if (status.farm) {
        const FarmStatus& farm = *status.farm;
        add("tiles_untaken", "gauge", "Tiles that nobody renders yet.", farm.uUntaken);
        add("clients", "gauge", "Connections that are served.", static_cast<double>(farm.vClients.size()));
        add("connections_parked", "gauge", "Connections that wait for a tile.", farm.uParked);
        add("refusals_total", "counter", "Clients that gave a tile back.", farm.uRefusals);
    }
    add("pictures", "gauge", "Pictures of this run.", static_cast<double>(status.uOf));
    add("picture_number", "gauge", "The picture that is being made, counted from 1.",
        static_cast<double>(status.uNumber));
    add("running_seconds", "gauge", "Time since the program was ready.", status.dSeconds);
    if (status.dSecondsLeft) add("left_seconds", "gauge", "Time until the picture is done.", *status.dSecondsLeft);
    return sAll;
}

}  // namespace rt
