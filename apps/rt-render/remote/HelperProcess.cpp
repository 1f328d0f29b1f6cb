// Starts Python where the module raytracer is found, and moves bytes.
#include "rt-render/remote/HelperProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "shared/Console.h"
#include "shared/StopSignals.h"

namespace rt {

namespace fs = std::filesystem;

namespace {

constexpr size_t HEAD_BYTES = 12;
constexpr int PIPE_BYTES = 1 << 20;
constexpr uint64_t LONGEST = uint64_t{1} << 31;  // a tile is much smaller

// Beside the program lies the module of the same build, or of the same installation. The working directory is not
// looked into: modules there may have any name.
void showModule() {
    setenv("PYTHONSAFEPATH", "1", 1);
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    std::string sPath;
    for (const fs::path& path : {folder / "python", folder.parent_path() / "lib/python3/dist-packages"}) {
        if (fs::exists(path / "raytracer" / "__init__.py", error)) sPath += (sPath.empty() ? "" : ":") + path.string();
    }
    const char* szPath = getenv("PYTHONPATH");
    if (szPath && *szPath) sPath += (sPath.empty() ? "" : ":") + std::string(szPath);
    if (!sPath.empty()) setenv("PYTHONPATH", sPath.c_str(), 1);
}

}  // namespace

HelperProcess::~HelperProcess() {
    for (const int i : {iTo, iFrom}) {
        if (i != -1) close(i);
    }
    if (iProcess == -1) return;
    kill(iProcess, SIGKILL);  // it holds nothing but what its peers notice to be gone
    while (waitpid(iProcess, nullptr, 0) == -1 && errno == EINTR) continue;
}

bool HelperProcess::start(const char* szModule, const std::string& sArgument, bool bVerbose) {
    const char* szPython = getenv("RT_PYTHON");
    sInterpreter = szPython && *szPython ? szPython : "/usr/bin/python3";
    showModule();
    std::string sModule = szModule, sWord = sArgument, sOption = "-m";
    char* const arguments[] = {sInterpreter.data(), sOption.data(), sModule.data(), sWord.data(), nullptr};
    int iInput[2], iOutput[2];
    if (pipe2(iInput, O_CLOEXEC) != 0)
        return Console::error("rt-render: cannot make a pipe: %s", strerror(errno)), true;
    iTo = iInput[1];
    if (pipe2(iOutput, O_CLOEXEC) != 0) {
        Console::error("rt-render: cannot make a pipe: %s", strerror(errno));
        close(iInput[0]);
        return true;
    }
    iFrom = iOutput[0];
    fcntl(iFrom, F_SETPIPE_SZ, PIPE_BYTES);  // if the system grants it
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, iInput[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, iOutput[1], STDOUT_FILENO);
    if (!bVerbose) posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);  // Ctrl-C is for this program, which then ends it
    const int iError = posix_spawnp(&iProcess, sInterpreter.c_str(), &actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(iInput[0]);
    close(iOutput[1]);
    if (!iError) return false;
    iProcess = -1;
    Console::error("rt-render: --on: %s cannot be started: %s", sInterpreter.c_str(), strerror(iError));
    return true;
}

bool HelperProcess::begin(const char* szKind, uint64_t uBytes) {
    char head[HEAD_BYTES];
    memcpy(head, szKind, 4);
    for (unsigned u = 0; u < 8; ++u) head[4 + u] = static_cast<char>(uBytes >> 8 * u);
    return write(head, sizeof(head));
}

bool HelperProcess::write(const void* p, size_t uBytes) {
    for (size_t u = 0; u < uBytes;) {
        const ssize_t i = ::write(iTo, static_cast<const char*>(p) + u, uBytes - u);
        if (i < 0 && errno == EINTR && !StopSignals::which()) continue;
        if (i <= 0) return true;
        u += static_cast<size_t>(i);
    }
    return false;
}

// True at the end, or when a signal came.
bool HelperProcess::read(void* p, size_t uBytes) {
    for (size_t u = 0; u < uBytes;) {
        const ssize_t i = ::read(iFrom, static_cast<char*>(p) + u, uBytes - u);
        if (i < 0 && errno == EINTR && !StopSignals::which()) continue;
        if (i <= 0) return true;
        u += static_cast<size_t>(i);
    }
    return false;
}

HelperProcess::Heard HelperProcess::listen(int iMilliseconds, std::string& sKind, std::vector<uint8_t>& vData) {
    pollfd waiting{iFrom, POLLIN, 0};
    if (poll(&waiting, 1, iMilliseconds) <= 0) return Heard::NOTHING;
    unsigned char head[HEAD_BYTES];
    if (read(head, sizeof(head))) return Heard::END;
    sKind.assign(reinterpret_cast<const char*>(head), 4);
    uint64_t uBytes = 0;
    for (unsigned u = 0; u < 8; ++u) uBytes |= uint64_t{head[4 + u]} << 8 * u;
    if (uBytes > LONGEST) return Heard::END;
    vData.resize(static_cast<size_t>(uBytes));
    return read(vData.data(), vData.size()) ? Heard::END : Heard::MESSAGE;
}

}  // namespace rt
