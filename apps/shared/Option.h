#pragma once

#include <cfloat>
#include <cstdint>
#include <string>
#include <vector>

namespace rt {

/// An option or operand of a program: all that its parser, its --help, its manual page and its completion know of it.
struct Option {
    enum Kind { FLAG, TEXT, FILE_NAME, NUMBER, COUNT, WORD, GROUP };

    const char* szNames;  // "-o, --out", the last one is shown in messages; of an operand "SCENE", or
                          // "SCENE..." when there may be several; of a group its title
    Kind eKind;
    const char* szValues;        // a word for each: "X Y Z"; of a WORD what it is: "axis"
    const char* szHelp;          // a sentence without its capital letter and its full stop
    const char* szWords = "";    // those that a WORD may be: "x|y|z"
    double dLeast = -FLT_MAX;    // of a NUMBER or COUNT
    double dMost = FLT_MAX;      // when it is as large as the kind allows, no page tells the range
    const char* szDefault = "";  // what counts when it is not given; an operand that has one may be left out
    const char* szMore = "";     // further sentences for the manual page
    const char* szNotWith = "";  // options that cannot be given together with it: "--from, --at"

    static constexpr Option flag(const char* szNames, const char* szHelp) { return {szNames, FLAG, "", szHelp}; }
    static constexpr Option text(const char* szNames, const char* szValues, const char* szHelp) {
        return {szNames, TEXT, szValues, szHelp};
    }
    static constexpr Option file(const char* szNames, const char* szValues, const char* szHelp) {
        return {szNames, FILE_NAME, szValues, szHelp};
    }
    static constexpr Option number(const char* szNames, const char* szValues, const char* szHelp) {
        return {szNames, NUMBER, szValues, szHelp};
    }
    /// Whole numbers. Two of them may be written as one word, 640x480.
    static constexpr Option count(const char* szNames, const char* szValues, const char* szHelp) {
        return Option{szNames, COUNT, szValues, szHelp}.within(0, UINT32_MAX);
    }
    static constexpr Option word(const char* szNames, const char* szWhat, const char* szWords, const char* szHelp) {
        return {szNames, WORD, szWhat, szHelp, szWords};
    }
    /// The options after it in the table are of this group.
    static constexpr Option group(const char* szTitle) { return {szTitle, GROUP, "", ""}; }

    // Copies with more of it.
    constexpr Option within(double dLow, double dHigh) const {
        Option option = *this;
        option.dLeast = dLow;
        option.dMost = dHigh;
        return option;
    }
    constexpr Option otherwise(const char* szUsed) const {
        Option option = *this;
        option.szDefault = szUsed;
        return option;
    }
    constexpr Option more(const char* szSentences) const {
        Option option = *this;
        option.szMore = szSentences;
        return option;
    }
    constexpr Option notWith(const char* szOptions) const {
        Option option = *this;
        option.szNotWith = szOptions;
        return option;
    }

    bool isOperand() const { return eKind != GROUP && szNames[0] != '-'; }

    bool isRepeated() const;

    /// "-o" and "--out" of "-o, --out".
    std::vector<std::string> names() const;

    /// What is shown as its values: "X Y Z", "x|y|z"; empty of a flag or an operand.
    std::string shownValues() const;

    /// szHelp, and in brackets its default, its range and what it cannot be given with.
    std::string helpText() const;
};

/// The parts of a text between any of some characters, without those that are empty.
std::vector<std::string> partsOf(const char* szText, const char* szBetween);

/// A program as its users see it. Operands come first, groups last.
struct Program {
    const char* szName;
    const char* szPurpose;  // a sentence
    std::vector<Option> vOptions;

    /// The index of an option or operand in vOptions, vOptions.size() when there is none of this name.
    size_t find(const std::string& sName) const;

    /// The title of an option's group, empty if it is in none.
    const char* groupOf(size_t uIndex) const;

    /// Writes what --help prints to standard output.
    void printHelp() const;
};

}  // namespace rt
