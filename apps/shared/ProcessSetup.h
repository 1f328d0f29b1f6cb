#pragma once

namespace rt {

/// Call this before anything else. Standard streams that are closed are opened on /dev/null, or a message would go to
/// the next file that is opened, a picture. A write to a pipe that nobody reads, or beyond the limit of a file's size,
/// fails from now on instead of ending the process. Without memory for the stack the process ends here, with a
/// message: later it would crash.
void prepareProcess();

/// The main() of a tool: prepares the process and runs it. What is thrown, memory that is short included, is reported
/// under the tool's name. Returns the exit status.
int runTool(const char* szName, int (*pfnRun)(int argc, char** argv), int argc, char** argv);

}  // namespace rt
