#include "app/Arguments.h"

#include <cstdlib>

Arguments::Arguments(int argc, const char** argv) {
    if (argc < 1) return;
    szProgram = argv[0];
    if (argc == 1) return;
    // Without memory for a handful of pointers nothing else would work either.
    if (vArguments.create(static_cast<uint32_t>(argc - 1), 10)) abort();
    for (int i = 1; i < argc; ++i) vArguments.PushBack(argv[i]);
}

bool Arguments::Next() {
    if (uCurrent < vArguments.uSize) ++uCurrent;
    return uCurrent < vArguments.uSize;
}

const char* Arguments::Current() const {
    return uCurrent < vArguments.uSize ? vArguments[uCurrent] : nullptr;
}
