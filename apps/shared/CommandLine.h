#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "shared/Option.h"

namespace rt {

/// A value of an option on the command line. sText is always set, the others by the option's kind.
struct OptionValue {
    std::string sText;
    float f = 0;     // of a NUMBER, rounded once
    double d = 0;    // the same
    uint32_t u = 0;  // of a COUNT; of a WORD its index
};

/// A row of a program's table: an option or operand, and what its values do to the program's settings. A group has
/// none.
template <typename Settings>
struct OptionRow {
    Option option;
    void (*pfnStore)(Settings& settings, const OptionValue* pValues) = nullptr;
};

/// What each table begins with.
constexpr Option STANDARD_OPTIONS[] = {Option::flag("-h, --help", "prints the options"),
                                       Option::flag("--version", "prints the version")};
constexpr size_t STANDARD_COUNT = sizeof(STANDARD_OPTIONS) / sizeof(*STANDARD_OPTIONS);

/// An option or operand that is given, by its index in Program::vOptions.
struct GivenOption {
    size_t uIndex;
    std::vector<OptionValue> vValues;
};

/// Reads the command line of a program that has the standard options. An option that takes values takes as many words
/// after it, whatever they are, or the first one after a "=" or its letter; "--" ends the options. True when the
/// program is to end with iStatus: help or version were asked for and printed, or something is wrong and was said.
[[nodiscard]] bool readCommandLine(const Program& program, int argc, char** argv, std::vector<GivenOption>& vGiven,
                                   int& iStatus);

/// The program that a table makes.
template <typename Settings, size_t ROWS>
Program makeProgram(const char* szName, const char* szPurpose, const OptionRow<Settings> (&rows)[ROWS]) {
    Program program{szName, szPurpose, {STANDARD_OPTIONS, STANDARD_OPTIONS + STANDARD_COUNT}};
    for (const OptionRow<Settings>& row : rows) program.vOptions.push_back(row.option);
    return program;
}

/// Stores what is given, in the order of the command line: of an option that is given again the last one counts.
template <typename Settings, size_t ROWS>
void storeOptions(const OptionRow<Settings> (&rows)[ROWS], const std::vector<GivenOption>& vGiven, Settings& settings) {
    for (const GivenOption& given : vGiven) {
        rows[given.uIndex - STANDARD_COUNT].pfnStore(settings, given.vValues.data());
    }
}

}  // namespace rt
