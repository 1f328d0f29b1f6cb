#pragma once

// Files of tests and fuzz targets, and what is in them.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// Writes the whole file, and its directory where there is none. Without it nothing makes sense: aborts on failure.
void writeFile(const std::string& sFile, const std::string& sText);

/// The whole file, empty when there is none.
std::string readFile(const std::string& sFile);

/// In words, how two byte strings too long to print differ; empty when they are equal.
std::string firstDifference(const std::string& sGot, const std::string& sWanted);

bool contains(const std::string& sText, const std::string& sPhrase);

/// 64-bit FNV-1a.
uint64_t hashOf(const std::string& sBytes);

/// A number's lowest bytes, the lowest first.
std::string word(size_t u, unsigned uBytes);

/// A ZIP archive of names and texts; they are deflated in one stored block each.
std::string zip(const std::vector<std::pair<std::string, std::string>>& vFiles);
