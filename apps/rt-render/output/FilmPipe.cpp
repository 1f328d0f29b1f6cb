// Runs ffmpeg on the frames of a film.
#include "rt-render/output/FilmPipe.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "shared/Console.h"
#include "shared/Option.h"

namespace rt {

namespace {

// How ffmpeg is to make a film of this kind.
std::vector<std::string> settingsFor(const std::string& sSuffix) {
    if (sSuffix == ".gif") {
        return {"-filter_complex", "[0:v]split[a][b];[a]palettegen[p];[b][p]paletteuse", "-loop", "0"};
    }
    if (sSuffix == ".webp") return {"-c:v", "libwebp_anim", "-loop", "0", "-quality", "85"};
    // Players want colours at half the resolution, so even sides.
    return {"-vf",       "pad=ceil(iw/2)*2:ceil(ih/2)*2",
            "-c:v",      "libx264",
            "-crf",      "18",
            "-pix_fmt",  "yuv420p",
            "-movflags", "+faststart"};
}

}  // namespace

FilmPipe::~FilmPipe() {
    if (iProcess == -1) return;
    kill(iProcess, SIGKILL);
    end();
    unlink(sPart.c_str());
}

bool FilmPipe::isMissing() {
    const char* szPath = getenv("PATH");
    for (const std::string& sFolder : partsOf(szPath ? szPath : "/usr/bin:/bin", ":")) {
        if (access((sFolder + "/ffmpeg").c_str(), X_OK) == 0) return false;
    }
    Console::error("rt-render: films need the program ffmpeg, which is not installed");
    return true;
}

bool FilmPipe::open(const std::string& sFilm, uint32_t uWidth, uint32_t uHeight, unsigned uChannels,
                    unsigned uFramesPerSecond) {
    sFile = sFilm;
    sPart = stemOf(sFilm) + ".part" + suffixOf(sFilm);
    std::vector<std::string> vWords = {"ffmpeg",       "-nostdin",
                                       "-hide_banner", "-loglevel",
                                       "error",        "-y",
                                       "-f",           "rawvideo",
                                       "-pix_fmt",     uChannels == 4 ? "bgra" : "bgr24",
                                       "-s",           std::to_string(uWidth) + "x" + std::to_string(uHeight),
                                       "-framerate",   std::to_string(uFramesPerSecond),
                                       "-i",           "pipe:0"};
    for (const std::string& s : settingsFor(suffixOf(sFilm))) vWords.push_back(s);
    vWords.push_back("file:" + sPart);
    std::vector<char*> vArguments;
    vArguments.reserve(vWords.size() + 1);
    for (std::string& s : vWords) vArguments.push_back(s.data());
    vArguments.push_back(nullptr);

    int iEnds[2];
    if (pipe2(iEnds, O_CLOEXEC) != 0) return Console::error("rt-render: cannot make a pipe: %s", strerror(errno)), true;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, iEnds[0], STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);  // Ctrl-C is for this program, which then ends it
    const int iError = posix_spawnp(&iProcess, "ffmpeg", &actions, &attributes, vArguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(iEnds[0]);
    iPipe = iEnds[1];
    if (!iError) return false;
    iProcess = -1;
    close(iPipe);
    Console::error("rt-render: ffmpeg cannot be started: %s", strerror(iError));
    return true;
}

bool FilmPipe::write(const PixelView& picture) {
    const size_t uBytes = size_t{picture.uWidth} * picture.uHeight * picture.uChannels;
    for (size_t u = 0; u < uBytes;) {
        const ssize_t i = ::write(iPipe, picture.pData + u, uBytes - u);
        if (i < 0 && errno == EINTR) continue;
        if (i <= 0) return finish() || true;  // which tells how it ended
        u += static_cast<size_t>(i);
    }
    return false;
}

bool FilmPipe::finish() {
    const int iStatus = end();
    if (iStatus == 0 && rename(sPart.c_str(), sFile.c_str()) == 0) return false;
    if (iStatus == 0) {
        Console::error("%s: cannot be written: %s", sFile.c_str(), strerror(errno));
    } else {
        Console::error("%s: ffmpeg did not make it (status %d)", sFile.c_str(),
                       WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 128 + WTERMSIG(iStatus));
    }
    unlink(sPart.c_str());
    return true;
}

// Its status, as wait has it.
int FilmPipe::end() {
    int iStatus = 0;
    close(iPipe);
    while (waitpid(iProcess, &iStatus, 0) == -1 && errno == EINTR) continue;
    iProcess = -1;
    return iStatus;
}

}  // namespace rt
