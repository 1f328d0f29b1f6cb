// Walks the command line and prints the table of options.
#include "RayTracer/CommandWalker.h"

#include <cstdio>
#include <cstring>

namespace rt {

CommandWalker::CommandWalker(int argc, const char** argv) : Arguments(argc, argv) {
    vCommands.create(4, 4);  // on failure the first AddCommand tries again
}

void CommandWalker::AddCommand(const char* szName, const char* szDescription, CommandHandler pfnHandler) {
    vCommands.PushBack({szName, szDescription, pfnHandler});
}

CommandHandler CommandWalker::findHandler(const char* szArgument) const {
    for (const Command& command : vCommands) {
        if (!strncmp(szArgument, command.szName, strlen(command.szName))) return command.pfnHandler;
    }
    return pfnDefault;
}

bool CommandWalker::ParseCommands() {
    for (; uCurrent < vArguments.uSize; ++uCurrent) {
        const CommandHandler pfnHandler = findHandler(Current());
        if (pfnHandler && pfnHandler(*this)) return true;
    }
    return false;
}

void CommandWalker::PrintCommands() const {
    printf("Command list:\n");
    for (const Command& command : vCommands) printf("'%s'\t%s\n", command.szName, command.szDescription);
    printf("\n");
}

}  // namespace rt
