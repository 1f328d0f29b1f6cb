#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace rt {

/// A program of Python that this one talks with through two pipes. A message is four letters, the length of the rest in
/// eight bytes, and the rest.
class HelperProcess {
 public:
    HelperProcess() = default;
    ~HelperProcess();  // ends it
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;

    /// Runs a module of raytracer's in $RT_PYTHON, or Debian's Python. What it says on standard error is shown when
    /// bVerbose. True on failure, which is reported.
    [[nodiscard]] bool start(const char* szModule, const std::string& sArgument, bool bVerbose);

    /// Writes the beginning of a message, and then its parts, which together have uBytes. True when it has ended.
    [[nodiscard]] bool begin(const char* szKind, uint64_t uBytes);
    [[nodiscard]] bool write(const void* p, size_t uBytes);

    enum class Heard { MESSAGE, NOTHING, END };

    /// Waits for a message for some milliseconds, or until a signal comes that StopSignals keeps.
    Heard listen(int iMilliseconds, std::string& sKind, std::vector<uint8_t>& vData);

    /// What it is called in messages.
    const std::string& interpreter() const { return sInterpreter; }

 private:
    bool read(void* p, size_t uBytes);

    std::string sInterpreter;
    pid_t iProcess = -1;
    int iTo = -1, iFrom = -1;
};

}  // namespace rt
