// Processes that tests start, and how they ended.
#include "support/Process.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

static int statusOf(int iWaited) {
    return WIFEXITED(iWaited) ? WEXITSTATUS(iWaited) : 1000 + WTERMSIG(iWaited);
}

Process::Process(const std::function<int()>& pfnWork) : iProcess(fork()) {
    if (!iProcess) _exit(pfnWork());
}

Process::Process(const std::string& sShellCommand)
    : Process([&] { return execl("/bin/sh", "sh", "-c", sShellCommand.c_str(), nullptr); }) {}

Process::~Process() {
    send(SIGKILL);
    wait();
}

void Process::send(int iSignal) {
    if (!hasEnded()) kill(iProcess, iSignal);
}

bool Process::hasEnded() {
    bEnded = bEnded || waitpid(iProcess, &iStatus, WNOHANG) == iProcess;
    return bEnded;
}

int Process::wait() {
    if (!bEnded) waitpid(iProcess, &iStatus, 0);
    bEnded = true;
    return statusOf(iStatus);
}

int runCommand(const std::string& sCommand, std::string& sOutput) {
    FILE* pPipe = popen(sCommand.c_str(), "r");
    if (!pPipe) abort();
    sOutput.clear();
    for (int i; (i = fgetc(pPipe)) != EOF;) sOutput += static_cast<char>(i);
    return statusOf(pclose(pPipe));
}
