// Reads the command lines of the tools.
#include "shared/CommandLine.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "base/Version.h"
#include "shared/Console.h"
#include "shared/ExitStatus.h"
#include "shared/NearNames.h"

namespace rt {

namespace {

// A whole text as a number. True when it is anything else.
bool readNumber(OptionValue& value) {
    char* pEnd = nullptr;
    value.f = strtof(value.sText.c_str(), &pEnd);  // rounds as RayTracer's "%f" does
    value.d = strtod(value.sText.c_str(), nullptr);
    return value.sText.empty() || *pEnd || !std::isfinite(value.f);
}

bool readCount(OptionValue& value) {
    const char* pLast = value.sText.data() + value.sText.size();
    const std::from_chars_result result = std::from_chars(value.sText.data(), pLast, value.u);
    value.d = value.u;
    return result.ec != std::errc() || result.ptr != pLast;
}

// Reads the text of a value. What is wrong with it, empty if nothing is.
std::string readValue(const Option& option, OptionValue& value) {
    if (option.eKind == Option::WORD) {
        const std::vector<std::string> vWords = partsOf(option.szWords, "|");
        value.u = static_cast<uint32_t>(std::find(vWords.begin(), vWords.end(), value.sText) - vWords.begin());
        return value.u < vWords.size() ? ""
                                       : std::string("unknown ") + option.szValues + " \"" + value.sText +
                                             "\", there are " + listOf(vWords, vWords.size());
    }
    if (option.eKind != Option::NUMBER && option.eKind != Option::COUNT) return "";
    const bool bOther = option.eKind == Option::NUMBER ? readNumber(value) : readCount(value);
    if (!bOther && value.d >= option.dLeast && value.d <= option.dMost) return "";
    char szRange[64] = "";
    if (option.dMost < FLT_MAX) snprintf(szRange, sizeof(szRange), " from %.10g to %.10g", option.dLeast, option.dMost);
    return "\"" + value.sText + "\" is not a " + (option.eKind == Option::COUNT ? "whole " : "") + "number" + szRange;
}

// The name that somebody may have meant, as a question, or nothing.
std::string hintFor(const Program& program, const std::string& sTyped) {
    std::vector<std::string> vNames;
    for (const Option& option : program.vOptions) {
        for (const std::string& s : option.names()) {
            if (s.compare(0, 2, "--") == 0) vNames.push_back(s);
        }
    }
    const std::string sNearest = nearestFirst(vNames, sTyped)[0];
    return isNear(sNearest, sTyped) ? ", did you mean " + sNearest + "?" : "";
}

// Walks the words of a command line.
struct WordReader {
    const Program& program;
    std::vector<std::string> vWords;
    std::vector<GivenOption>& vGiven;
    size_t uNext = 0;        // the word after the current one
    std::string sWrong{};    // the first thing that is wrong
    std::string sSurplus{};  // an operand too many

    bool isGiven(size_t uIndex) const {
        return std::any_of(vGiven.begin(), vGiven.end(), [=](const GivenOption& g) { return g.uIndex == uIndex; });
    }

    void refuse(const std::string& sReason) {
        if (sWrong.empty()) sWrong = sReason;
    }

    void takeOperand(const std::string& sWord) {
        for (size_t u = 0; u < program.vOptions.size(); ++u) {
            const Option& option = program.vOptions[u];
            if (!option.isOperand() || (isGiven(u) && !option.isRepeated())) continue;
            OptionValue value{sWord};
            const std::string sReason = readValue(option, value);
            if (!sReason.empty()) refuse(option.szNames + (": " + sReason));
            return vGiven.push_back({u, {value}});
        }
        sSurplus = sWord;
    }

    // Takes an option with its values: "--out FILE", "--out=FILE", "-o FILE" or "-oFILE".
    void takeOption(const std::string& sWord) {
        const bool bLong = sWord[1] == '-';
        const size_t uName = bLong ? std::min(sWord.find('='), sWord.size()) : 2;
        const size_t uIndex = program.find(sWord.substr(0, uName));
        const bool bAttached = uName < sWord.size();
        if (uIndex == program.vOptions.size() || (bAttached && program.vOptions[uIndex].eKind == Option::FLAG)) {
            const std::string sTyped = bLong ? sWord.substr(0, uName) : sWord;
            const bool bFlag = bLong && uIndex < program.vOptions.size();
            return refuse(bFlag ? sTyped + " takes no value" : "unknown option " + sTyped + hintFor(program, sTyped));
        }
        if (bAttached) vWords.insert(vWords.begin() + static_cast<ptrdiff_t>(uNext), sWord.substr(uName + bLong));
        takeValues(uIndex);
    }

    // Two whole numbers may come as one word, "640x480": makes two of it.
    void splitSize() {
        const std::string sWord = uNext < vWords.size() ? vWords[uNext] : "";
        const std::vector<std::string> vSizes = partsOf(sWord.c_str(), "x");
        const bool bSizes = vSizes.size() == 2 && sWord == vSizes[0] + "x" + vSizes[1] &&
                            sWord.find_first_not_of("0123456789x") == std::string::npos;
        if (!bSizes) return;
        vWords[uNext] = vSizes[0];
        vWords.insert(vWords.begin() + static_cast<ptrdiff_t>(uNext + 1), vSizes[1]);
    }

    void takeValues(size_t uIndex) {
        const Option& option = program.vOptions[uIndex];
        const std::string sName = option.names().back();
        const size_t uCount = option.eKind == Option::WORD ? 1 : partsOf(option.szValues, " ").size();
        if (option.eKind == Option::COUNT && uCount == 2) splitSize();
        const size_t uEnd = uNext + uCount;
        if (uEnd > vWords.size()) {
            uNext = vWords.size();
            return refuse(sName + ": " + option.shownValues() + " expected");
        }
        GivenOption given{uIndex, {}};
        while (uNext < uEnd) {
            OptionValue value{vWords[uNext++]};
            const std::string sReason = readValue(option, value);
            if (!sReason.empty()) refuse(std::string(sName).append(": ").append(sReason));
            given.vValues.push_back(value);
        }
        vGiven.push_back(given);
    }

    void checkPairs() {
        for (const GivenOption& given : vGiven) {
            const Option& option = program.vOptions[given.uIndex];
            for (const std::string& s : partsOf(option.szNotWith, ", ")) {
                if (isGiven(program.find(s))) refuse(option.names().back() + " excludes " + s);
            }
        }
    }

    void read() {
        bool bOptionsEnd = false;
        while (uNext < vWords.size()) {
            const std::string sWord = vWords[uNext++];  // the list may grow
            if (!bOptionsEnd && sWord == "--") {
                bOptionsEnd = true;
            } else if (!bOptionsEnd && sWord.size() > 1 && sWord[0] == '-') {
                takeOption(sWord);
            } else {
                takeOperand(sWord);
            }
        }
        checkPairs();
        if (!sSurplus.empty()) refuse("\"" + sSurplus + "\" is one too many");  // what is wrong before it tells more
    }
};

}  // namespace

bool readCommandLine(const Program& program, int argc, char** argv, std::vector<GivenOption>& vGiven, int& iStatus) {
    WordReader reader{program, {argv + std::min(argc, 1), argv + argc}, vGiven};
    reader.read();
    iStatus = STATUS_DONE;
    if (reader.isGiven(program.find("--help"))) return program.printHelp(), true;  // whatever else is wrong
    if (reader.isGiven(program.find("--version"))) return printf("%s %s\n", program.szName, Velk::VERSION), true;
    if (reader.sWrong.empty()) return false;
    Console::error("%s: %s (--help lists the options)", program.szName, reader.sWrong.c_str());
    iStatus = STATUS_USAGE;
    return true;
}

}  // namespace rt
