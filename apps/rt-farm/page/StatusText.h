#pragma once

#include <string>

#include "rt-farm/page/FarmStatus.h"

namespace rt {

/// A status as JSON.
std::string statusJson(const FarmStatus& status);

/// The same in Prometheus' text format.
std::string statusMetrics(const FarmStatus& status);

}  // namespace rt
