#pragma once

// What the process as a whole does about signals and standard streams.

/// To be called before anything else, in every mode. A write beyond the file size limit, or to a reader that left,
/// fails from now on instead of ending the process: neither may cost a picture. Standard streams that are closed lead
/// nowhere, or the next file opened would get their output. Standard output is written line by line, for whoever
/// watches.
void prepareProcess();

/// SIGINT and SIGTERM end the process as they do by default, but leave no unfinished file behind.
void removeFilesOnSignals();
