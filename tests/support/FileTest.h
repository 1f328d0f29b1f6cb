#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

/// A test in a new, empty working directory with an open log. Directory and log go when the test ends.
class FileTest : public testing::Test {
 protected:
    FileTest();
    ~FileTest() override;

    /// What was logged since the last call, stamps included.
    std::string takeLog();

    /// Names in the working directory, sorted, without the log's.
    static std::vector<std::string> list();

 private:
    std::string sOldDirectory, sDirectory;
    size_t uLogRead = 0;
};

void writeFile(const std::string& sFile, const std::string& sText);

/// The whole file, empty when there is none.
std::string readFile(const std::string& sFile);

/// The code block of a page in docs/ that begins with this text, empty when there is none.
std::string documentedExample(const std::string& sPage, const std::string& sStart);

/// In words, how two byte strings too long to print differ; empty when they are equal.
std::string firstDifference(const std::string& sGot, const std::string& sWanted);

bool contains(const std::string& sText, const std::string& sPhrase);

/// 64-bit FNV-1a.
uint64_t hashOf(const std::string& sBytes);
