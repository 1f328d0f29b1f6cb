#pragma once

#include "RayTracer/Arguments.h"

namespace rt {

/// Handler of an option, called with the cursor on the option itself; it leaves the cursor on the last value that it
/// reads. True refuses the command line.
using CommandHandler = bool (*)(Arguments&);

/// One option. Name and description are not copied.
struct Command {
    const char* szName;
    const char* szDescription;
    CommandHandler pfnHandler;
};

/// Turns the arguments into calls of option handlers. An option is selected by an argument that begins with its name.
class CommandWalker : public Arguments {
 public:
    Velk::NDataVector<Command> vCommands;
    CommandHandler pfnDefault = nullptr;

    CommandWalker(int argc, const char** argv);

    /// Registers an option; of several that match an argument the first counts. An option is lost when out of memory.
    void AddCommand(const char* szName, const char* szDescription, CommandHandler pfnHandler);

    /// Sets the handler of arguments that match no option.
    void AddDefault(CommandHandler pfnHandler) { pfnDefault = pfnHandler; }

    /// Walks the arguments from the cursor on. True as soon as a handler refuses.
    [[nodiscard]] bool ParseCommands();

    /// Prints the table of options.
    void PrintCommands() const;

 private:
    CommandHandler findHandler(const char* szArgument) const;
};

}  // namespace rt
