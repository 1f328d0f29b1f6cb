#pragma once

// Work in a process of its own: with other rights, with limits, or ended midway.

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

/// What pfnWork returns in a child process, -1 when a signal ended it.
template <typename Work>
int inChild(const Work& work) {
    const pid_t iProcess = fork();
    if (!iProcess) _exit(work());
    int iStatus = 0;
    waitpid(iProcess, &iStatus, 0);
    return WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : -1;
}

/// Gives up the rights of root, whom no mode of a file stops, for those of nobody. False when this process had no such
/// rights to give up, and its own are limited enough.
inline bool becomeNobody() {
    constexpr unsigned NOBODY = 65534;
    return geteuid() == 0 && !setgroups(0, nullptr) && !setgid(NOBODY) && !setuid(NOBODY);
}

/// Lets everybody look into the working directory, and write there or not.
inline void openDirectory(bool bWritable) {
    std::filesystem::permissions(".", std::filesystem::perms(bWritable ? 0777 : 0555));
}
