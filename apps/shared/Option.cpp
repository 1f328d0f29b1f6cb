// What is told of options, and the text of --help.
#include "shared/Option.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace rt {

namespace {

constexpr size_t HELP_COLUMN = 28;
constexpr size_t HELP_WIDTH = 80;

// Prints a text between the column and the width, from the cursor's column on.
void printWrapped(const std::string& sText, size_t uCursor) {
    for (const std::string& sWord : partsOf(sText.c_str(), " ")) {
        const bool bBegin = uCursor < HELP_COLUMN;
        if (!bBegin && uCursor + 1 + sWord.size() > HELP_WIDTH) {
            printf("\n");
            uCursor = 0;
        }
        const size_t uBlanks = uCursor < HELP_COLUMN ? HELP_COLUMN - uCursor : 1;
        printf("%*s%s", static_cast<int>(uBlanks), "", sWord.c_str());
        uCursor += uBlanks + sWord.size();
    }
    printf("\n");
}

void printOption(const Option& option) {
    const std::string sValues = option.shownValues();
    const std::string sHead = std::string("  ") + option.szNames + (sValues.empty() ? "" : " " + sValues);
    printf("%s", sHead.c_str());
    const bool bFits = sHead.size() + 2 <= HELP_COLUMN;
    if (!bFits) printf("\n");
    printWrapped(option.helpText(), bFits ? sHead.size() : 0);
}

}  // namespace

std::vector<std::string> partsOf(const char* szText, const char* szBetween) {
    std::vector<std::string> vParts;
    for (szText += strspn(szText, szBetween); *szText; szText += strspn(szText, szBetween)) {
        const size_t uLength = strcspn(szText, szBetween);
        vParts.emplace_back(szText, uLength);
        szText += uLength;
    }
    return vParts;
}

bool Option::isRepeated() const {
    const size_t uLength = strlen(szNames);
    return isOperand() && uLength > 3 && !strcmp(szNames + uLength - 3, "...");
}

std::vector<std::string> Option::names() const {
    return partsOf(szNames, ", ");
}

std::string Option::shownValues() const {
    if (isOperand()) return "";
    return eKind == WORD ? szWords : szValues;
}

std::string Option::helpText() const {
    std::string sRemarks = szDefault;
    const auto remark = [&sRemarks](const std::string& s) { sRemarks += (sRemarks.empty() ? "" : "; ") + s; };
    if ((eKind == NUMBER && dMost < FLT_MAX) || (eKind == COUNT && dMost < INT32_MAX)) {
        char szRange[64];
        snprintf(szRange, sizeof(szRange), "from %.10g to %.10g", dLeast, dMost);
        remark(szRange);
    }
    if (*szNotWith) remark(std::string("not with ") + szNotWith);
    return szHelp + (sRemarks.empty() ? "" : " (" + sRemarks + ")");
}

size_t Program::find(const std::string& sName) const {
    const auto isIt = [&sName](const Option& option) {
        const std::vector<std::string> vNames = option.names();
        return option.eKind != Option::GROUP && std::find(vNames.begin(), vNames.end(), sName) != vNames.end();
    };
    return static_cast<size_t>(std::find_if(vOptions.begin(), vOptions.end(), isIt) - vOptions.begin());
}

const char* Program::groupOf(size_t uIndex) const {
    while (uIndex-- > 0) {
        if (vOptions[uIndex].eKind == Option::GROUP) return vOptions[uIndex].szNames;
    }
    return "";
}

void Program::printHelp() const {
    printf("%s\nUsage: %s [OPTIONS]", szPurpose, szName);
    for (const Option& option : vOptions) {
        if (option.isOperand()) printf(*option.szDefault ? " [%s]" : " %s", option.szNames);
    }
    printf("\n\n");
    for (const Option& option : vOptions) {
        if (option.isOperand()) printOption(option);
    }
    printf("\nOptions:\n");
    for (const Option& option : vOptions) {
        if (option.eKind == Option::GROUP) printf("\n%s:\n", option.szNames);
        if (option.eKind != Option::GROUP && !option.isOperand()) printOption(option);
    }
}

}  // namespace rt
