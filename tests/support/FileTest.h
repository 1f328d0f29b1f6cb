#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/Files.h"

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

/// The code block of a page in docs/ that begins with this text, empty when there is none.
std::string documentedExample(const std::string& sPage, const std::string& sStart);
