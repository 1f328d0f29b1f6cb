#pragma once

#include <string>

#include "shared/page/PictureStatus.h"

namespace rt {

/// A status as JSON.
std::string statusJson(const PictureStatus& status);

/// The same in Prometheus' text format.
std::string statusMetrics(const PictureStatus& status);

}  // namespace rt
