// Tests in a directory of their own.
#include "support/FileTest.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "base/NLogger.h"
#include "base/Progress.h"

namespace fs = std::filesystem;

// Tests of refused sizes let allocations fail on purpose.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}

// Thousands of small files are written over and over: many times faster in memory than on a disk.
static std::string temporaryRoot() {
    const char* szMemory = "/dev/shm";
    return getenv("TMPDIR") || access(szMemory, W_OK | X_OK) ? fs::temp_directory_path().string() : szMemory;
}

FileTest::FileTest() : sOldDirectory(fs::current_path()), sDirectory(temporaryRoot() + "/rt_tests-XXXXXX") {
    if (!mkdtemp(sDirectory.data())) abort();
    fs::current_path(sDirectory);
    EXPECT_EQ(Velk::NLogger::InitLogger("test.log", false), 0u);
    Velk::setProgressSink([](const char* szText) { fputs(szText, stdout); });
}

FileTest::~FileTest() {
    Velk::NLogger::Release();
    fs::current_path(sOldDirectory);
    fs::remove_all(sDirectory);
}

std::string FileTest::takeLog() {
    const std::string sAll = readFile(sDirectory + "/test.log");
    const size_t uFrom = std::min(uLogRead, sAll.size());
    uLogRead = sAll.size();
    return sAll.substr(uFrom);
}

std::vector<std::string> FileTest::list() {
    std::vector<std::string> vNames;
    for (const fs::directory_entry& entry : fs::directory_iterator(".")) {
        if (entry.path().filename() != "test.log") vNames.push_back(entry.path().filename());
    }
    std::sort(vNames.begin(), vNames.end());
    return vNames;
}

std::string documentedExample(const std::string& sPage, const std::string& sStart) {
    const std::string sText = readFile(RT_SOURCE_DIR "/docs/" + sPage), sFence = "```text\n";
    const size_t uFrom = sText.find(sFence + sStart), uBlock = uFrom + sFence.size();
    return uFrom == std::string::npos ? "" : sText.substr(uBlock, sText.find("```\n", uBlock) - uBlock);
}
