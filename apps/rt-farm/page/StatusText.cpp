// How far a farm is, for programs.
#include "rt-farm/page/StatusText.h"

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

std::string statusJson(const FarmStatus& status) {
    Json json{{"scene", status.sScene},     {"picture", status.sPicture},  {"width", status.uWidth},
              {"height", status.uHeight},   {"tiles", status.uTiles},      {"done", status.uDone},
              {"untaken", status.uUntaken}, {"percent", status.percent()}, {"seconds", status.dSeconds},
              {"secondsLeft", nullptr},     {"parked", status.uParked},    {"refusals", status.uRefusals},
              {"clients", Json::array()}};
    if (status.dSecondsLeft) json["secondsLeft"] = *status.dSecondsLeft;
    for (const ClientStatus& client : status.vClients) json["clients"].push_back(clientJson(client));
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);  // names need not be UTF-8
}

std::string statusMetrics(const FarmStatus& status) {
    std::string sAll;
    const auto add = [&sAll](const char* szName, const char* szType, const char* szHelp, double d) {
        char sz[512];
        snprintf(sz, sizeof(sz), "# HELP rt_farm_%s %s\n# TYPE rt_farm_%s %s\nrt_farm_%s %.10g\n", szName, szHelp,
                 szName, szType, szName, d);
        sAll += sz;
    };
    add("tiles", "gauge", "Tiles of the picture.", status.uTiles);
    add("tiles_done", "gauge", "Tiles that are in the picture.", status.uDone);
    add("tiles_untaken", "gauge", "Tiles that nobody renders yet.", status.uUntaken);
    add("clients", "gauge", "Connections that are served.", static_cast<double>(status.vClients.size()));
    add("connections_parked", "gauge", "Connections that wait for a tile.", status.uParked);
    add("refusals_total", "counter", "Clients that gave back their first tile.", status.uRefusals);
    add("running_seconds", "gauge", "Time since the server was ready.", status.dSeconds);
    if (status.dSecondsLeft) add("left_seconds", "gauge", "Time until the picture is done.", *status.dSecondsLeft);
    return sAll;
}

}  // namespace rt
