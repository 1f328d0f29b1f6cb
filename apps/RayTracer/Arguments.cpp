// The cursor over the arguments.
#include "RayTracer/Arguments.h"

#include <cstdlib>

#include "base/InputReport.h"

namespace rt {

Arguments::Arguments(int argc, const char** argv) {
    if (argc < 1) return;
    szProgram = argv[0];
    if (argc == 1) return;
    if (vArguments.create(static_cast<uint32_t>(argc - 1), 10)) {
        Velk::memoryError(static_cast<uint64_t>(argc - 1) * sizeof(*argv), "the command line");
        exit(EXIT_FAILURE);  // an incomplete command line could render something else
    }
    for (int i = 1; i < argc; ++i) vArguments.PushBack(argv[i]);
}

bool Arguments::Next() {
    if (uCurrent < vArguments.uSize) ++uCurrent;
    return uCurrent < vArguments.uSize;
}

const char* Arguments::Current() const {
    return uCurrent < vArguments.uSize ? vArguments[uCurrent] : nullptr;
}

}  // namespace rt
