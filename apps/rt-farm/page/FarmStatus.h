#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "net/ClientSlots.h"

namespace rt {

/// How far a farm is, at one moment.
struct FarmStatus {
    std::string sScene, sPicture;
    uint32_t uWidth = 0, uHeight = 0;
    uint32_t uTiles = 0, uDone = 0, uUntaken = 0, uParked = 0, uRefusals = 0;
    double dSeconds = 0;                 // since the server was ready
    std::optional<double> dSecondsLeft;  // not before some tiles came
    std::vector<ClientStatus> vClients;

    unsigned percent() const { return uTiles ? static_cast<unsigned>(uint64_t{100} * uDone / uTiles) : 100; }
};

/// The latest status, handed from the thread that looks to those that ask. Nobody waits for more than a copy.
class FarmStatusBoard {
 public:
    FarmStatus get() const {
        const std::lock_guard<std::mutex> lock(mutex);
        return latest;
    }
    void set(const FarmStatus& status) {
        const std::lock_guard<std::mutex> lock(mutex);
        latest = status;
    }

 private:
    mutable std::mutex mutex;
    FarmStatus latest;
};

}  // namespace rt
