#pragma once

#include <cstdint>

#include "base/NArrays.h"

namespace rt {

/// A cursor over the program's arguments, so that an option's handler can read any number of values.
class Arguments {
 public:
    Velk::NDataVector<const char*> vArguments;  // argv[1] and on, not copied
    const char* szProgram = nullptr;            // argv[0]
    uint32_t uCurrent = 0;

    /// Copies the pointers of argv. Ends the process when out of memory.
    Arguments(int argc, const char** argv);
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    /// Moves to the next argument. False when there is none.
    bool Next();

    /// The argument at the cursor, null past the end.
    const char* Current() const;
};

}  // namespace rt
