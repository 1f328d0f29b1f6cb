#pragma once

namespace rt {

/// Call this before anything else. Standard streams that are closed are opened on /dev/null, or a message would go to
/// the next file that is opened, a picture. A write to a pipe that nobody reads, or beyond the limit of a file's size,
/// fails from now on instead of ending the process. Without memory for the stack the process ends here, with a
/// message: later it would crash.
void prepareProcess();

}  // namespace rt
