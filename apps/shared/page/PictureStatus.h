#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "net/ClientSlots.h"

namespace rt {

/// Who renders for a farm, and what waits there.
struct FarmStatus {
    uint32_t uUntaken = 0, uParked = 0, uRefusals = 0;
    std::vector<ClientStatus> vClients;
};

/// How far a picture is, at one moment.
struct PictureStatus {
    std::string sProgram, sScene, sPicture;
    size_t uNumber = 1, uOf = 1;  // which of how many pictures
    uint32_t uWidth = 0, uHeight = 0;
    uint32_t uTiles = 0, uDone = 0;      // no tiles while the scene is being read
    double dSeconds = 0;                 // since the program was ready
    std::optional<double> dSecondsLeft;  // not before some tiles came
    std::optional<FarmStatus> farm;      // none where one process does it all

    unsigned percent() const { return uTiles ? static_cast<unsigned>(uint64_t{100} * uDone / uTiles) : 0; }
};

/// The latest status, handed from the thread that looks to those that ask. Nobody waits for more than a copy.
class StatusBoard {
 public:
    PictureStatus get() const {
        const std::lock_guard<std::mutex> lock(mutex);
        return latest;
    }
    void set(const PictureStatus& status) {
        const std::lock_guard<std::mutex> lock(mutex);
        latest = status;
    }

 private:
    mutable std::mutex mutex;
    PictureStatus latest;
};

}  // namespace rt
