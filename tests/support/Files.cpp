// Reading, writing and comparing whole files.
#include "support/Files.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

void writeFile(const std::string& sFile, const std::string& sText) {
    const fs::path directory = fs::path(sFile).parent_path();
    if (!directory.empty()) fs::create_directories(directory);
    std::ofstream file(sFile, std::ios::binary);
    if (file << sText << std::flush) return;
    perror(sFile.c_str());
    abort();
}

std::string readFile(const std::string& sFile) {
    std::stringstream text;
    text << std::ifstream(sFile, std::ios::binary).rdbuf();
    return text.str();
}

std::string firstDifference(const std::string& sGot, const std::string& sWanted) {
    if (sGot == sWanted) return "";
    size_t u = 0;
    while (u < std::min(sGot.size(), sWanted.size()) && sGot[u] == sWanted[u]) ++u;
    return std::to_string(sGot.size()) + " bytes, not " + std::to_string(sWanted.size()) + ", differ from byte " +
           std::to_string(u);
}

bool contains(const std::string& sText, const std::string& sPhrase) {
    return sText.find(sPhrase) != std::string::npos;
}

uint64_t hashOf(const std::string& sBytes) {
    uint64_t uHash = 14695981039346656037u;
    for (const char c : sBytes) uHash = (uHash ^ static_cast<uint8_t>(c)) * 1099511628211u;
    return uHash;
}

std::string word(size_t u, unsigned uBytes) {
    std::string s;
    for (unsigned uByte = 0; uByte < uBytes; ++uByte)
        s += uByte < sizeof(u) ? static_cast<char>(u >> 8 * uByte & 255) : '\0';
    return s;
}

std::string zip(const std::vector<std::pair<std::string, std::string>>& vFiles) {
    std::string s, sDirectory;
    for (const auto& [sName, sText] : vFiles) {
        const std::string sData = "\1" + word(sText.size(), 2) + word(~sText.size(), 2) + sText;
        const std::string sFields = word(20, 2) + word(0, 2) + word(8, 2) + word(0, 8) + word(sData.size(), 4) +
                                    word(sText.size(), 4) + word(sName.size(), 2) + word(0, 2);
        sDirectory += "PK\1\2" + word(20, 2) + sFields + word(0, 10) + word(s.size(), 4) + sName;
        s += "PK\3\4" + sFields + sName + sData;
    }
    return s + sDirectory + "PK\5\6" + word(0, 4) + word(vFiles.size(), 2) + word(vFiles.size(), 2) +
           word(sDirectory.size(), 4) + word(s.size(), 4) + word(0, 2);
}
