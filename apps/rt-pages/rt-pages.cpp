// rt-pages TEMPLATE PAGE: makes a manual page or the completion, for the build. In the template "@VERSION@" stands for
// the version, a line "@OPTIONS rt-render@" for a program's options as the manual shows them, a line "@COMPLETIONS@"
// for what may be typed after an option, and where an option begins.
#include <cctype>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "RayTracer/Options.h"
#include "base/Version.h"
#include "rt-worker/WorkerTable.h"
#include "shared/CommandLine.h"
#ifdef RT_FARM
#include "rt-farm/FarmTable.h"
#endif
#ifdef RT_IMPORT
#include "rt-import/ImportTable.h"
#endif
#ifdef RT_RENDER
#include "rt-render/options/RenderTable.h"
#endif

using namespace rt;

namespace {

std::vector<Program> allPrograms() {
    const std::vector<Option> vStandard(STANDARD_OPTIONS, STANDARD_OPTIONS + STANDARD_COUNT);
    return {
        rayTracerProgram(), {"convert-lights", "", vStandard}, {"rt-bundle", "", vStandard}, workerProgram(),
#ifdef RT_IMPORT
        importProgram(),
#endif
#ifdef RT_FARM
        farmProgram(),
#endif
#ifdef RT_RENDER
        renderProgram(),
#endif
    };
}

// A text as it is written in a manual page.
std::string escaped(const std::string& sText) {
    std::string sAll;
    for (const char c : sText) sAll += c == '-' ? "\\-" : std::string(1, c);
    return sAll;
}

void writeManual(std::ostream& page, const Option& option) {
    if (option.eKind == Option::GROUP) {
        page << ".PP\n" << option.szNames << ":\n";
        return;
    }
    page << ".TP\n";
    const char* szBetween = "";
    for (const std::string& sName : option.names()) {
        page << szBetween << "\\fB" << escaped(sName) << "\\fR";
        szBetween = ", ";
    }
    const char* szFont = option.eKind == Option::WORD ? "\\fB" : "\\fI";
    if (option.eKind != Option::FLAG) page << " " << szFont << escaped(option.shownValues()) << "\\fR";
    std::string sSentence = escaped(option.helpText());
    sSentence[0] = static_cast<char>(toupper(static_cast<unsigned char>(sSentence[0])));
    page << "\n" << sSentence << ".\n";
    if (*option.szMore) page << escaped(option.szMore) << "\n";
}

// Branches of a shell's case about "PROGRAM PREVIOUS_WORD BEGINNING", in which files tells whether names of files do.
void writeCompletions(std::ostream& page, const Program& program) {
    std::string sNames;
    for (const Option& option : program.vOptions) {
        if (option.isOperand() || option.eKind == Option::GROUP) continue;
        for (const std::string& sName : option.names()) {
            if (sName[1] == '-') sNames += " " + sName;
            if (option.eKind == Option::FLAG) continue;
            std::string sWords;
            for (const std::string& sWord : partsOf(option.szWords, "|")) sWords += (sWords.empty() ? "" : " ") + sWord;
            page << "        \"" << program.szName << " " << sName << " \"*) words=\"" << sWords
                 << "\" files=" << (option.eKind == Option::FILE_NAME ? "true" : "") << " ;;\n";
        }
    }
    page << "        \"" << program.szName << " \"*\" -\"*) words=\"" << sNames.substr(1) << "\" ;;\n";
}

// Writes what a line of a template stands for. True when there is no program of its name.
bool writeLine(std::ostream& page, std::string sLine) {
    const std::string sVersion = "@VERSION@", sOptions = "@OPTIONS ";
    const size_t uVersion = sLine.find(sVersion);
    if (uVersion != std::string::npos) sLine.replace(uVersion, sVersion.size(), Velk::VERSION);
    if (sLine == "@COMPLETIONS@") {
        for (const Program& program : allPrograms()) writeCompletions(page, program);
    } else if (sLine.compare(0, sOptions.size(), sOptions) == 0) {
        for (const Program& program : allPrograms()) {
            if (sLine != sOptions + program.szName + "@") continue;
            for (const Option& option : program.vOptions) {
                if (!option.isOperand()) writeManual(page, option);
            }
            return false;
        }
        return true;
    } else {
        page << sLine << "\n";
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return fputs("Usage: rt-pages TEMPLATE PAGE\n", stderr), 2;
    std::ifstream in(argv[1]);
    std::ofstream out(argv[2]);
    bool bFailed = !in;
    for (std::string sLine; std::getline(in, sLine);) bFailed |= writeLine(out, sLine);
    if (bFailed || !out.flush()) return fprintf(stderr, "rt-pages: %s was not made\n", argv[2]), 1;
    return 0;
}
