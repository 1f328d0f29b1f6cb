#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

/// Work in a process of its own, to be watched and disturbed. It is killed when the test leaves it.
class Process {
 public:
    /// What the function returns is the exit status.
    explicit Process(const std::function<int()>& pfnWork);
    explicit Process(const std::string& sShellCommand);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void send(int iSignal);
    bool hasEnded();

    /// The exit status once the process has ended, or 1000 more than the signal that ended it.
    int wait();

    /// Its name in /proc.
    std::string id() const { return std::to_string(iProcess); }

 private:
    pid_t iProcess;
    int iStatus = 0;
    bool bEnded = false;
};

/// Runs a shell command to its end. Returns its status as Process::wait() does; its standard output is in sOutput.
int runCommand(const std::string& sCommand, std::string& sOutput);
