#pragma once

#include <filesystem>
#include <string>

#include "support/FileTest.h"
#include "support/Process.h"

#ifdef RT_IMPORT
/// A test that runs rt-import.
class ImportTest : public FileTest {
 protected:
    // Exit status; what was printed is in sOutput and sErrors.
    int import(const std::string& sArguments) {
        const int iStatus =
            runCommand("timeout 300 " RT_EMULATOR " " RT_IMPORT " " + sArguments + " 2>err.txt", sOutput);
        sErrors = readFile("err.txt");
        std::filesystem::remove("err.txt");
        return iStatus;
    }

    std::string sOutput, sErrors;
};
#endif
