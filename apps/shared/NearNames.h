#pragma once

#include <string>
#include <vector>

namespace rt {

/// How many letters must be put in, left out, replaced or swapped with their neighbour to make one name of another.
unsigned distanceBetween(const std::string& sOne, const std::string& sOther);

/// The names, those first that are nearest to the one that somebody typed.
std::vector<std::string> nearestFirst(std::vector<std::string> vNames, const std::string& sTyped);

/// True when somebody may have meant this name.
bool isNear(const std::string& sName, const std::string& sTyped);

/// "a, b, c"; those beyond the first uMost as "and 3 more".
std::string listOf(const std::vector<std::string>& vNames, size_t uMost);

}  // namespace rt
